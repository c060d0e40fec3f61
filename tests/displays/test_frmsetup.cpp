#include "displayfixture.h"
#include "displays/frmsetup.h"
#include "displays/updownspinner.h"
#include "displays/valuelabel.h"

#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTabBar>

// The Set-Up editor against the simulated board.
class TestFrmSetup : public QObject
{
    Q_OBJECT

    DisplayFixture f;
    std::unique_ptr<frmSetup> form;

    frmSetup &open() { return f.open(form); }

    // Types into field k and leaves it with Tab.
    void typeAndLeave(frmSetup &w, int k, const QString &text)
    {
        w.txtSetup[k]->setFocus(Qt::TabFocusReason);
        w.txtSetup[k]->selectAll();
        QTest::keyClicks(w.txtSetup[k], text);
        QTest::keyClick(w.txtSetup[k], Qt::Key_Tab);
    }

private slots:
    void initTestCase() { QVERIFY(f.start(62)); }
    void cleanupTestCase() { f.stop(); }
    void cleanup() { f.reset(form); }

    // Offline, the window looks at memory again only after its interval.
    void offlineTurnsWaitTheirInterval()
    {
        frmSetup &w = open();
        w.setOfflineTurnInterval(60000);
        f.data.gCurrentData.Value[122 + 5] = 16;
        QTRY_COMPARE(w.txtSetup[5]->text(), QStringLiteral("16"));
        f.data.gCurrentData.Value[122 + 5] = 17;
        QTest::qWait(500);
        QCOMPARE(w.txtSetup[5]->text(), QStringLiteral("16"));
    }

    void offlineShowsMemoryAndFollowsOfflineEditing()
    {
        f.data.gCurrentData.Value[122 + 5] = 15;
        frmSetup &w = open();
        QTRY_COMPARE(w.txtSetup[5]->text(), QStringLiteral("15"));
        QCOMPARE(w.txtSetup[0]->text(), QStringLiteral("600"));
        QCOMPARE(w.txtSetup[15]->text(), QStringLiteral("0"));
        for (int k = 0; k < frmSetup::FieldCount; ++k)
            QVERIFY(!w.txtSetup[k]->isEnabled());
        for (ValueLabel *l : w.lblDisplay)
            QCOMPARE(l->text(), QStringLiteral("-"));
        QVERIFY(!w.cmdZeroResolver->isEnabled() && !w.cmdQCTest[0]->isEnabled());
        // Enabling offline editing enables the fields on a later pass.
        f.util->gOfflineEditing = true;
        QTRY_VERIFY(w.txtSetup[5]->isEnabled());
        QVERIFY(!w.cmdQCTest[0]->isEnabled());
        QVERIFY(!w.lblDescription[3]->isEnabled());
        // An accepted edit changes memory only.
        w.tbsSetup->setCurrentIndex(1);
        typeAndLeave(w, 5, QStringLiteral("42"));
        QVERIFY(f.prompt.asked.isEmpty());
        QCOMPARE(f.data.gCurrentData.Value[127], 42);
        QVERIFY(f.set("B1000", 7));
        QCOMPARE(f.get("B1000"), QStringLiteral("7"));
    }

    void refusedEntries_data()
    {
        QTest::addColumn<int>("field");
        QTest::addColumn<QString>("typed");
        QTest::addColumn<int>("spindles");
        QTest::addColumn<QString>("message");
        QTest::newRow("canfeed 2000")
            << 0 << "2000" << 0 << "Only a Number Between 0 and 1999 can be Entered";
        QTest::newRow("solenoid 4")
            << 9 << "4" << 0 << "Only a Number Between 5 and 50 can be Entered";
        QTest::newRow("misload 0")
            << 4 << "0" << 0 << "Only a Number Between 1 and 5 can be Entered";
        QTest::newRow("port 25 of 24")
            << 8 << "25" << 24 << "Only a Number Between 1 and 24 can be Entered";
        QTest::newRow("port 37 of 36")
            << 8 << "37" << 36 << "Only a Number Between 1 and 36 can be Entered";
        QTest::newRow("text") << 13 << "x1" << 0
                              << "Only a Number Between 0 and 359 can be Entered";
    }
    void refusedEntries()
    {
        QFETCH(int, field);
        QFETCH(QString, typed);
        QFETCH(int, spindles);
        QFETCH(QString, message);
        f.data.gSpindleCount = spindles;
        f.util->gOfflineEditing = true;
        frmSetup &w = open();
        w.tbsSetup->setCurrentIndex(field <= 2 ? 0 : field <= 12 ? 1 : 2);
        QTRY_VERIFY(w.txtSetup[field]->isEnabled() && !w.txtSetup[field]->text().isEmpty());
        const QString before = w.txtSetup[field]->text();
        QCOMPARE(before, QString::number(f.data.gCurrentData.Value[122 + field]));
        const qint32 stored = f.data.gCurrentData.Value[122 + field];
        typeAndLeave(w, field, typed);
        QCOMPARE(f.prompt.asked.size(), 1);
        QCOMPARE(f.prompt.asked[0].title, QStringLiteral("Set-up"));
        QCOMPARE(f.prompt.asked[0].text, message);
        QCOMPARE(QApplication::focusWidget(), w.txtSetup[field]);
        QCOMPARE(w.txtSetup[field]->text(), before);
        QCOMPARE(f.data.gCurrentData.Value[122 + field], stored);
        // Still marked: the cycle leaves the field to the operator.
        QVERIFY(w.field(field)->BeingEdited);
    }

    void portShiftAcceptsTheSpindleCount()
    {
        f.data.gSpindleCount = 36;
        f.util->gOfflineEditing = true;
        frmSetup &w = open();
        w.tbsSetup->setCurrentIndex(1);
        QTRY_VERIFY(w.txtSetup[8]->isEnabled());
        typeAndLeave(w, 8, QStringLiteral("36"));
        QVERIFY(f.prompt.asked.isEmpty());
        QCOMPARE(f.data.gCurrentData.Value[130], 36);
    }

    void onlineEditWritesTheRegister()
    {
        QVERIFY(f.set("B1000", 12) && f.set("W1092", 600));
        QVERIFY(f.goOnline());
        frmSetup &w = open();
        w.tbsSetup->setCurrentIndex(1);
        QTRY_COMPARE(w.txtSetup[5]->text(), QStringLiteral("12"));
        typeAndLeave(w, 5, QStringLiteral("15"));
        QVERIFY(f.prompt.asked.isEmpty());
        QCOMPARE(f.data.gCurrentData.Value[127], 15);
        QCOMPARE(f.get("B1000"), QStringLiteral("15"));
        // Enter moves to the next field, like Tab.
        w.txtSetup[5]->setFocus(Qt::TabFocusReason);
        QTest::keyClick(w.txtSetup[5], Qt::Key_Return);
        QCOMPARE(QApplication::focusWidget(), w.txtSetup[6]);
        // A spinner step writes at once.
        QVERIFY(w.updSetup[5]->step(UpDownSpinner::Direction::Up));
        QCOMPARE(f.get("B1000"), QStringLiteral("16"));
        QCOMPARE(f.data.gCurrentData.Value[127], 16);
        QCOMPARE(QApplication::focusWidget(), w.cmdDefault);
    }

    void fieldBeingEditedIsNotOverwritten()
    {
        QVERIFY(f.set("W1092", 700));
        QVERIFY(f.goOnline());
        frmSetup &w = open();
        QTRY_COMPARE(w.txtSetup[0]->text(), QStringLiteral("700"));
        w.txtSetup[0]->setFocus(Qt::TabFocusReason);
        w.txtSetup[0]->selectAll();
        QTest::keyClicks(w.txtSetup[0], QStringLiteral("12"));
        QVERIFY(f.set("W1092", 800) && f.set("W1094", 900));
        QVERIFY(DisplayFixture::waitPasses(w, 3));
        QCOMPARE(w.txtSetup[1]->text(), QStringLiteral("900"));
        QCOMPARE(w.txtSetup[0]->text(), QStringLiteral("12"));
        // Esc once restores, twice parks; the next pass shows the board.
        QTest::keyClick(w.txtSetup[0], Qt::Key_Escape);
        QCOMPARE(w.txtSetup[0]->text(), QStringLiteral("700"));
        QCOMPARE(QApplication::focusWidget(), w.txtSetup[0]);
        QTest::keyClick(w.txtSetup[0], Qt::Key_Escape);
        QCOMPARE(QApplication::focusWidget(), w.cmdDefault);
        QTRY_COMPARE(w.txtSetup[0]->text(), QStringLiteral("800"));
        QCOMPARE(f.get("W1092"), QStringLiteral("800"));
    }

    void pagesAndLiveValues()
    {
        QVERIFY(f.set("W526", 111) && f.set("W528", 222) && f.set("W180", 725));
        QVERIFY(f.set("F119", 0) && f.set("W830", 181));
        QVERIFY(f.goOnline());
        frmSetup &w = open();
        QTRY_COMPARE(w.lblDisplay[0]->text(), QStringLiteral("111"));
        QTRY_COMPARE(w.lblDisplay[1]->text(), QStringLiteral("222"));
        // Page 2 is not read until its tab is chosen.
        QCOMPARE(w.lblDisplay[3]->text(), QStringLiteral("-"));
        QVERIFY(w.txtSetup[13]->text() != QStringLiteral("181"));
        w.tbsSetup->setCurrentIndex(2);
        QCOMPARE(w.currentPage(), 2);
        QTRY_COMPARE(w.lblDisplay[3]->text(), QStringLiteral("5"));
        QCOMPARE(w.txtSetup[13]->text(), QStringLiteral("181"));
        QVERIFY(!w.cmdZeroResolver->isEnabled());
        QVERIFY(!w.lblDisplay[2]->text().isEmpty() &&
                w.lblDisplay[2]->text() != QStringLiteral("-"));
        QVERIFY(f.set("F119", 1) && f.set("W180", 360));
        QTRY_VERIFY(w.cmdZeroResolver->isEnabled());
        QTRY_COMPARE(w.lblDisplay[3]->text(), QStringLiteral("0"));
        QVERIFY(f.set("W180", 359));
        QTRY_COMPARE(w.lblDisplay[3]->text(), QStringLiteral("359"));
    }

    void machinePositionRemainder()
    {
        QCOMPARE(frmSetup::machinePosition(QStringLiteral("725")), QStringLiteral("5"));
        QCOMPARE(frmSetup::machinePosition(QStringLiteral("359")), QStringLiteral("359"));
        QCOMPARE(frmSetup::machinePosition(QStringLiteral("360")), QStringLiteral("0"));
        QCOMPARE(frmSetup::machinePosition(QStringLiteral("-365")), QStringLiteral("-5"));
    }

    void zeroResolverAsksFirst()
    {
        QVERIFY(f.set("F119", 1));
        QVERIFY(f.goOnline());
        frmSetup &w = open();
        w.tbsSetup->setCurrentIndex(2);
        QTRY_VERIFY(w.cmdZeroResolver->isEnabled());
        QVERIFY(f.set("W188", 0));
        f.prompt.answers = {PromptAnswer::No};
        w.cmdZeroResolver->click();
        QCOMPARE(f.prompt.asked.size(), 1);
        QCOMPARE(f.prompt.asked[0].title, QStringLiteral("Zero Resolver"));
        QCOMPARE(f.prompt.asked[0].text,
                 QStringLiteral(
                     "You are about change the Resolver offset.\r\n\r\nDo you wish to continue?"));
        QCOMPARE(f.prompt.asked[0].buttons, PromptButtons::YesNoCancel);
        QCOMPARE(f.prompt.asked[0].icon, PromptIcon::Question);
        QCOMPARE(f.get("W188"), QStringLiteral("0"));
        // Yes writes the command; the board takes its offset from the position.
        QVERIFY(f.set("W180", 100));
        f.prompt.answers = {PromptAnswer::Yes};
        w.cmdZeroResolver->click();
        QVERIFY(f.get("W188") != QStringLiteral("0"));
    }

};

QTEST_MAIN(TestFrmSetup)
#include "test_frmsetup.moc"
