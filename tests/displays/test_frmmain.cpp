#include "displayfixture.h"
#include "displays/frmmain.h"
#include "displays/numericentryfield.h"
#include "displays/updownspinner.h"

#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>

// The Main Display against the simulated board.
class TestFrmMain : public QObject
{
    Q_OBJECT

    DisplayFixture f;
    std::unique_ptr<frmMain> form;

    frmMain &open() { return f.open(form); }

private slots:
    void initTestCase() { QVERIFY(f.start(61)); }
    void cleanupTestCase() { f.stop(); }
    void cleanup() { f.reset(form); }

    void onlinePanelsShowTheBoard()
    {
        QVERIFY(f.set("W112", 345) && f.set("W526", 120) && f.set("W528", 7));
        QVERIFY(f.set("D1100", 1234567) && f.set("D1104", 89) && f.set("D1304", 4321));
        f.util->gSystemMessage = QStringLiteral("--- System Normal ---\r\nAll Clear");
        QVERIFY(f.goOnline());
        frmMain &w = open();
        QVERIFY(DisplayFixture::waitPasses(w, 2));
        const QStringList expected = {"345", "120", "7", "1,234,567", "89", "4,321"};
        for (int i = 0; i < 6; ++i)
            QCOMPARE(w.lblDisplay[i]->text(), expected[i]);
        QCOMPARE(w.txtMessageDisplay->toPlainText(),
                 QStringLiteral("--- System Normal ---\nAll Clear"));
        QCOMPARE(w.fraDisplay[5]->title(), QStringLiteral("Lifetime Count (x1000)"));
        QVERIFY(w.cmdSingleBlowoff->isEnabled() && w.txtSpindleBlowoff->isEnabled());
        // A value changing on the board shows on a later pass.
        QVERIFY(f.set("W112", 1200));
        QTRY_COMPARE(w.lblDisplay[0]->text(), QStringLiteral("1200"));
    }

    void spindleNumberWhenGoingOnline_data()
    {
        QTest::addColumn<int>("board");
        QTest::addColumn<int>("spindles");
        QTest::addColumn<QString>("shown");
        QTest::newRow("zero shows 1") << 0 << 24 << "1";
        QTest::newRow("above 36") << 40 << 36 << "36";
        QTest::newRow("above 24") << 30 << 24 << "24";
        QTest::newRow("as read") << 12 << 36 << "12";
    }
    void spindleNumberWhenGoingOnline()
    {
        QFETCH(int, board);
        QFETCH(int, spindles);
        QFETCH(QString, shown);
        QVERIFY(f.set("B2088", board));
        QVERIFY(f.goOnline());
        f.data.gSpindleCount = spindles;
        frmMain &w = open();
        QCOMPARE(w.txtSpindleBlowoff->text(), shown);
        QCOMPARE(w.updSpindleNumber->maximum(), spindles);
    }

    void refusedSpindleNumber_data()
    {
        QTest::addColumn<int>("spindles");
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QString>("message");
        QTest::newRow("37 of 36") << 36 << "37"
                                  << "Only a Number Between 1 and 36 can be Entered";
        QTest::newRow("abc") << 24 << "abc"
                             << "Only a Number Between 1 and 24 can be Entered";
        QTest::newRow("0") << 36 << "0"
                           << "Only a Number Between 1 and 36 can be Entered";
        QTest::newRow("empty") << 24 << ""
                               << "Only a Number Between 1 and 24 can be Entered";
    }
    void refusedSpindleNumber()
    {
        QFETCH(int, spindles);
        QFETCH(QString, typed);
        QFETCH(QString, message);
        QVERIFY(f.set("B2088", 5));
        QVERIFY(f.goOnline());
        f.data.gSpindleCount = spindles;
        frmMain &w = open();
        w.txtSpindleBlowoff->setFocus(Qt::TabFocusReason);
        QCOMPARE(w.spindleField()->ValueOnEntry, 5);
        w.txtSpindleBlowoff->selectAll();
        QTest::keyClicks(w.txtSpindleBlowoff, typed);
        if (typed.isEmpty())
            QTest::keyClick(w.txtSpindleBlowoff, Qt::Key_Delete);
        QTest::keyClick(w.txtSpindleBlowoff, Qt::Key_Tab);
        QCOMPARE(f.prompt.asked.size(), 1);
        QCOMPARE(f.prompt.asked[0].title, QStringLiteral("Q.C. Blow-off"));
        QCOMPARE(f.prompt.asked[0].text, message);
        QCOMPARE(f.prompt.asked[0].icon, PromptIcon::Information);
        QCOMPARE(f.prompt.asked[0].buttons, PromptButtons::Ok);
        QCOMPARE(QApplication::focusWidget(), w.txtSpindleBlowoff);
        QCOMPARE(w.txtSpindleBlowoff->text(), QStringLiteral("5"));
        QCOMPARE(w.txtSpindleBlowoff->selectedText(), QStringLiteral("5"));
        // Accepted on the second try: the focus moves on, nothing is written.
        w.txtSpindleBlowoff->selectAll();
        QTest::keyClicks(w.txtSpindleBlowoff, QStringLiteral("9"));
        QTest::keyClick(w.txtSpindleBlowoff, Qt::Key_Tab);
        QCOMPARE(f.prompt.asked.size(), 1);
        QVERIFY(QApplication::focusWidget() != w.txtSpindleBlowoff);
        QCOMPARE(f.get("B2088"), QStringLiteral("5"));
    }

    void enterAndEscape()
    {
        QVERIFY(f.set("B2088", 7));
        QVERIFY(f.goOnline());
        frmMain &w = open();
        QLineEdit *txt = w.txtSpindleBlowoff;
        txt->setFocus(Qt::MouseFocusReason);
        QVERIFY(w.spindleField()->BeingEdited);
        QTest::keyClicks(txt, QStringLiteral("3"));
        // Enter: like Tab, to the next control.
        QTest::keyClick(txt, Qt::Key_Return);
        QCOMPARE(QApplication::focusWidget(), w.cmdSingleBlowoff);
        QCOMPARE(txt->text(), QStringLiteral("3"));

        txt->setFocus(Qt::TabFocusReason);
        QCOMPARE(w.spindleField()->ValueOnEntry, 3);
        txt->selectAll();
        QTest::keyClicks(txt, QStringLiteral("12"));
        QTest::keyClick(txt, Qt::Key_Escape);
        QCOMPARE(txt->text(), QStringLiteral("3"));
        QCOMPARE(QApplication::focusWidget(), txt);
        QCOMPARE(txt->selectedText(), QStringLiteral("3"));
        // A key in between forgets the first Esc.
        QTest::keyClicks(txt, QStringLiteral("4"));
        QTest::keyClick(txt, Qt::Key_Escape);
        QCOMPARE(QApplication::focusWidget(), txt);
        QTest::keyClick(txt, Qt::Key_Escape);
        QCOMPARE(txt->text(), QStringLiteral("3"));
        QCOMPARE(QApplication::focusWidget(), w.cmdDefault);
        QVERIFY(f.prompt.asked.isEmpty());
    }

    void spinnerStepWritesAtOnce()
    {
        QVERIFY(f.set("B2088", 23));
        QVERIFY(f.goOnline());
        f.data.gSpindleCount = 24;
        frmMain &w = open();
        w.txtSpindleBlowoff->setFocus(Qt::TabFocusReason);
        QVERIFY(w.updSpindleNumber->step(UpDownSpinner::Direction::Up));
        QCOMPARE(w.txtSpindleBlowoff->text(), QStringLiteral("24"));
        QCOMPARE(f.get("B2088"), QStringLiteral("24"));
        QCOMPARE(QApplication::focusWidget(), w.cmdDefault);
        // At the maximum a step changes and writes nothing.
        QVERIFY(!w.updSpindleNumber->step(UpDownSpinner::Direction::Up));
        QVERIFY(w.updSpindleNumber->step(UpDownSpinner::Direction::Down));
        QCOMPARE(f.get("B2088"), QStringLiteral("23"));
        QVERIFY(f.prompt.asked.isEmpty());
    }

    void blowoffSequence_data()
    {
        QTest::addColumn<int>("spindles");
        QTest::newRow("24 spindles") << 24;
        QTest::newRow("36 spindles") << 36;
    }
    void blowoffSequence()
    {
        QFETCH(int, spindles);
        RecordingLink link;
        frmMain::QCBlowoff(link, BlanketBlowoffCode(spindles));
        frmMain::QCBlowoff(link, MandrelBlowoffCode(spindles));
        const QString blanket = QString::number(spindles + 1);
        const QString mandrel = QString::number(spindles + 2);
        QCOMPARE(link.writes, QStringList({"B2088=" + blanket, "F825=1", "F102=1",
                                           "B2088=" + mandrel, "F825=1", "F102=1"}));

        // The buttons against the board: its Q.C. blow-off count moves by
        // one can for a mandrel or a single spindle and by every spindle
        // for a blanket blow-off.
        QVERIFY(f.set("B52", spindles) && f.set("D1120", 0) && f.set("D1108", 0));
        QVERIFY(f.goOnline());
        f.data.gSpindleCount = spindles;
        frmMain &w = open();
        w.cmdMandrelBlowoff->click();
        QCOMPARE(f.get("B2088"), mandrel);
        QCOMPARE(f.get("D1120"), QStringLiteral("1"));
        w.cmdBlanketBlowoff->click();
        QCOMPARE(f.get("B2088"), blanket);
        QCOMPARE(f.get("D1120"), QString::number(1 + spindles));
        w.txtSpindleBlowoff->setText(QStringLiteral("17"));
        w.cmdSingleBlowoff->click();
        QCOMPARE(f.get("B2088"), QStringLiteral("17"));
        QCOMPARE(f.get("D1120"), QString::number(2 + spindles));
        w.cmdBadCanBlowoff->click();
        QCOMPARE(f.get("D1108"), QStringLiteral("1"));
    }

    void blowoffStopsAtTheFirstFailure()
    {
        RecordingLink first;
        first.failAtWrite = 0;
        frmMain::QCBlowoff(first, 5);
        QCOMPARE(first.writes, QStringList({"B2088=5"}));
        RecordingLink second;
        second.failAtWrite = 1;
        frmMain::QCBlowoff(second, 5);
        QCOMPARE(second.writes, QStringList({"B2088=5", "F825=1"}));
    }

    void silentBoardSwitchesOffline()
    {
        QVERIFY(f.set("W112", 300));
        QVERIFY(f.goOnline());
        frmMain &w = open();
        QTRY_COMPARE(w.lblDisplay[0]->text(), QStringLiteral("300"));
        QCOMPARE(f.sim.command(QStringLiteral("silent on")), QStringLiteral("ok"));
        QTRY_VERIFY_WITH_TIMEOUT(!f.comm->OnlineMode, 20000);
        QTRY_COMPARE(w.lblDisplay[0]->text(), QStringLiteral("-"));
        QVERIFY(!w.cmdSingleBlowoff->isEnabled());
        QCOMPARE(w.txtSpindleBlowoff->text(), QStringLiteral("-"));
        QVERIFY(w.OfflineReady && !w.OnlineReady);
        QCOMPARE(f.sim.command(QStringLiteral("silent off")), QStringLiteral("ok"));
    }

    void unloadEndsTheCycle()
    {
        QVERIFY(f.goOnline());
        frmMain &w = open();
        QVERIFY(DisplayFixture::waitPasses(w, 1));
        w.Form_Unload();
        const qint64 reads = w.readCount();
        QTest::qWait(200);
        QCOMPARE(w.readCount(), reads);
        QVERIFY(!w.FormActive);
    }
};

QTEST_MAIN(TestFrmMain)
#include "test_frmmain.moc"
