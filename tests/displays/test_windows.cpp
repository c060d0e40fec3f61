// The operator windows, each on its own, with the real link to the simulated
// board on a pty and the shell's module; a scripted prompt answers every box.
// Widgets are found by their object names and driven with real events.

#include "displayfixture.h"
#include "displays/displaytext.h"
#include "displays/frmdata.h"
#include "displays/frmdisplayio.h"
#include "displays/frmmain.h"
#include "displays/frmsetup.h"
#include "displays/valuelabel.h"

#include <QTest>
#include <QtWidgets>

namespace
{

// Records a command sequence's writes; the write at failAt latches the error.
class RecordingLink final : public RegisterLink
{
public:
    QStringList writes;
    int failAt = -1;

    QString RSRead(const QString &) override { return QString(); }
    void RSWrite(const QString &add, const QString &value) override
    {
        if (!commErrorSet())
            writes << add + u'=' + value;
    }
    bool commErrorSet() const override { return failAt >= 0 && writes.size() > failAt; }
};

} // namespace

class TestWindows : public QObject, DisplayFixture
{
    Q_OBJECT

    std::unique_ptr<DisplayForm> form;

    // A fresh window, shown, active and cycling as the main window starts it;
    // online when asked, with the machine's spindle count, over a board with
    // these registers set.
    template <class Form> Form &open(bool online, int spindles = 0, const QString &board = {})
    {
        if (!board.isEmpty() && !set(board))
            qFatal("board not set");
        comm->OnlineMode = online;
        util->ApplyCommMode();
        data.gSpindleCount = spindles;
        auto *w = new Form(*util);
        form.reset(w);
        w->resize(900, 600);
        w->show();
        if (!QTest::qWaitForWindowActive(w) || comm->OnlineMode != online)
            qFatal("window not active or not in its mode");
        w->Form_Activate();
        return *w;
    }
    template <class T = QWidget> T *w(const QString &name)
    {
        T *found = form->findChild<T *>(name);
        if (!found)
            qFatal("no widget %s", qPrintable(name));
        return found;
    }
    QString shown(const QString &label) { return w<ValueLabel>(label)->text(); }
    QWidget *focus() const { return QApplication::focusWidget(); }
    void click(const QString &name) { QTest::mouseClick(w(name), Qt::LeftButton); }
    void chooseTab(const QString &bar, int index)
    {
        QTest::mouseClick(w<QTabBar>(bar), Qt::LeftButton, {},
                          w<QTabBar>(bar)->tabRect(index).center());
    }
    // Clicks into a field and types over its text; Tab leaves it.
    void typeIn(const QString &field, const QString &text, bool leave = true)
    {
        auto *txt = w<QLineEdit>(field);
        QTest::mouseClick(txt, Qt::LeftButton);
        txt->selectAll();
        QTest::keyClicks(txt, text);
        if (text.isEmpty())
            QTest::keyClick(txt, Qt::Key_Delete);
        if (leave)
            QTest::keyClick(txt, Qt::Key_Tab);
    }
    // Waits until the cycle has finished this many more whole passes.
    bool waitPasses(int passes)
    {
        const qint64 target = form->passCount() + passes;
        return QTest::qWaitFor([&] { return form->passCount() >= target; }, 10000);
    }
    // ON in its colour, or off in its own.
    bool isOn(const QString &name, bool on)
    {
        ValueLabel *l = w<ValueLabel>(name);
        return l->text() == (on ? u"ON" : u"off") &&
               l->palette().color(QPalette::WindowText) ==
                   (on ? DisplayText::OnColour : DisplayText::OffColour);
    }

private slots:
    void initTestCase() { QVERIFY(start(61)); }
    void cleanupTestCase() { stop(); }
    // Unloads the window and puts back what a test may have changed.
    void cleanup()
    {
        if (form)
            form->Form_Unload();
        form.reset();
        prompt.asked.clear();
        prompt.answers.clear();
        util->gOfflineEditing = false;
        data.resetToDefaults();
    }

    // --- Main Display
    void mainPanelsShowTheBoard()
    {
        util->gSystemMessage = QStringLiteral("--- System Normal ---\r\nAll Clear");
        open<frmMain>(true, 0, "W112=345 W526=120 W528=7 D1100=1234567 D1104=89 D1304=4321");
        QVERIFY(waitPasses(2));
        const QStringList expected = {"345", "120", "7", "1,234,567", "89", "4,321"};
        for (int i = 0; i < 6; ++i)
            QCOMPARE(shown(QStringLiteral("lblDisplay%1").arg(i)), expected[i]);
        QCOMPARE(w<QPlainTextEdit>("txtMessageDisplay")->toPlainText(),
                 QStringLiteral("--- System Normal ---\nAll Clear"));
        QVERIFY(set("W112=1200")); // a change on the board shows on a later pass
        QTRY_COMPARE(shown("lblDisplay0"), QStringLiteral("1200"));
        // A silent board switches the link off: dashes, commands off.
        QCOMPARE(sim.command(QStringLiteral("silent on")), QStringLiteral("ok"));
        QTRY_VERIFY_WITH_TIMEOUT(!comm->OnlineMode, 20000);
        QTRY_COMPARE(shown("lblDisplay0"), QStringLiteral("-"));
        QVERIFY(!w("cmdSingleBlowoff")->isEnabled());
        QCOMPARE(sim.command(QStringLiteral("silent off")), QStringLiteral("ok"));
    }

    void mainRefusedSpindleNumber_data()
    {
        QTest::addColumn<int>("spindles");
        QTest::addColumn<QString>("typed");
        QTest::newRow("37 of 36") << 36 << "37";
        QTest::newRow("0") << 24 << "0";
        QTest::newRow("empty") << 24 << "";
    }
    void mainRefusedSpindleNumber()
    {
        QFETCH(int, spindles);
        QFETCH(QString, typed);
        open<frmMain>(true, spindles, "B2088=5");
        auto *txt = w<QLineEdit>("txtSpindleBlowoff");
        typeIn("txtSpindleBlowoff", typed);
        QCOMPARE(prompt.asked.size(), 1);
        QCOMPARE(prompt.asked[0].title, QStringLiteral("Q.C. Blow-off"));
        QCOMPARE(prompt.asked[0].text,
                 QStringLiteral("Only a Number Between 1 and %1 can be Entered").arg(spindles));
        QCOMPARE(focus(), txt);
        QCOMPARE(txt->selectedText(), QStringLiteral("5"));
        // The largest number is taken: the focus moves on, nothing is written.
        typeIn("txtSpindleBlowoff", QString::number(spindles));
        QCOMPARE(prompt.asked.size(), 1);
        QVERIFY(focus() != txt);
        QCOMPARE(get("B2088"), QStringLiteral("5"));
    }

    void mainEnterAndEscape()
    {
        open<frmMain>(true, 0, "B2088=7");
        auto *txt = w<QLineEdit>("txtSpindleBlowoff");
        typeIn("txtSpindleBlowoff", QStringLiteral("3"), false);
        QTest::keyClick(txt, Qt::Key_Return); // like Tab, to the next control
        QCOMPARE(focus(), w("cmdSingleBlowoff"));
        typeIn("txtSpindleBlowoff", QStringLiteral("12"), false);
        QTest::keyClick(txt, Qt::Key_Escape);
        QCOMPARE(txt->text(), QStringLiteral("3"));
        QCOMPARE(focus(), txt);
        QCOMPARE(txt->selectedText(), QStringLiteral("3"));
        QTest::keyClick(txt, Qt::Key_Escape); // a second one parks the focus
        QCOMPARE(txt->text(), QStringLiteral("3"));
        QCOMPARE(focus(), w("cmdDefault"));
    }

    // Going online shows the board's spindle number within 1 and the
    // spindles; a spinner step writes at once, but not at the maximum.
    void mainSpindleNumberAndSpinner()
    {
        open<frmMain>(true, 0, "B2088=0");
        auto *txt = w<QLineEdit>("txtSpindleBlowoff");
        QCOMPARE(txt->text(), QStringLiteral("1"));
        open<frmMain>(true, 24, "B2088=40");
        txt = w<QLineEdit>("txtSpindleBlowoff");
        QCOMPARE(txt->text(), QStringLiteral("24"));
        QTest::mouseClick(w("updSpindleNumber")->findChild<QWidget *>("up"), Qt::LeftButton);
        QCOMPARE(get("B2088"), QStringLiteral("40"));
        QTest::mouseClick(w("updSpindleNumber")->findChild<QWidget *>("down"), Qt::LeftButton);
        QCOMPARE(txt->text() + get("B2088"), QStringLiteral("2323"));
    }

    // The board's Q.C. blow-off count moves by one can for a mandrel or a
    // single spindle and by every spindle for a blanket blow-off.
    void mainBlowoffButtons()
    {
        open<frmMain>(true, 36, "B52=36 D1120=0 D1108=0");
        click("cmdMandrelBlowoff");
        QCOMPARE(get("B2088") + get("D1120"), QStringLiteral("381"));
        click("cmdBlanketBlowoff");
        QCOMPARE(get("B2088") + get("D1120"), QStringLiteral("3737"));
        typeIn("txtSpindleBlowoff", QStringLiteral("17"));
        click("cmdSingleBlowoff");
        QCOMPARE(get("B2088") + get("D1120"), QStringLiteral("1738"));
        click("cmdBadCanBlowoff");
        QCOMPARE(get("D1108"), QStringLiteral("1"));
        form->Form_Unload(); // ends the cycle
        const qint64 reads = form->readCount();
        QTest::qWait(200);
        QCOMPARE(form->readCount(), reads);
        // The sequence stops at its first failed write.
        for (int failAt : {-1, 0, 1}) {
            RecordingLink link;
            link.failAt = failAt;
            frmMain::QCBlowoff(link, 5);
            QCOMPARE(
                link.writes,
                QStringList({"B2088=5", "F825=1", "F102=1"}).mid(0, failAt < 0 ? 3 : failAt + 1));
        }
    }

    // --- Set-Up
    void setupOfflineShowsMemoryAndFollowsOfflineEditing()
    {
        data.gCurrentData.Value[127] = 15;
        open<frmSetup>(false, 36, "B1010=1");
        QTRY_COMPARE(w<QLineEdit>("txtSetup5")->text(), QStringLiteral("15"));
        QVERIFY(!w("txtSetup5")->isEnabled() && !w("cmdZeroResolver")->isEnabled());
        QCOMPARE(shown("lblDisplay0"), QStringLiteral("-"));
        util->gOfflineEditing = true; // enables the fields on a later turn
        QTRY_VERIFY(w("txtSetup5")->isEnabled());
        QVERIFY(!w("cmdQCTest0")->isEnabled());
        chooseTab("tbsSetup", 1);
        typeIn("txtSetup8", QStringLiteral("36")); // the largest port shift of 36 spindles
        QVERIFY(prompt.asked.isEmpty());
        QCOMPARE(data.gCurrentData.Value[130], 36);
        QCOMPARE(get("B1010"), QStringLiteral("1")); // memory only
        // Memory is looked at again only after the interval.
        static_cast<frmSetup &>(*form).setOfflineTurnInterval(60000);
        data.gCurrentData.Value[122] = 500;
        QTRY_COMPARE(w<QLineEdit>("txtSetup0")->text(), QStringLiteral("500"));
        data.gCurrentData.Value[122] = 501;
        QTest::qWait(300);
        QCOMPARE(w<QLineEdit>("txtSetup0")->text(), QStringLiteral("500"));
    }

    void setupOnlineEditWritesTheRegister()
    {
        open<frmSetup>(true, 0, "B1000=12");
        chooseTab("tbsSetup", 1);
        QTRY_COMPARE(w<QLineEdit>("txtSetup5")->text(), QStringLiteral("12"));
        typeIn("txtSetup5", QStringLiteral("15"), false);
        QTest::keyClick(w("txtSetup5"), Qt::Key_Return); // like Tab
        QCOMPARE(focus(), w("txtSetup6"));
        QCOMPARE(data.gCurrentData.Value[127], 15);
        QCOMPARE(get("B1000"), QStringLiteral("15"));
    }

    void setupFieldBeingEditedIsNotOverwritten()
    {
        open<frmSetup>(true, 36, "W1092=700");
        auto *txt = w<QLineEdit>("txtSetup0");
        QTRY_COMPARE(txt->text(), QStringLiteral("700"));
        typeIn("txtSetup0", QStringLiteral("12"), false);
        QVERIFY(set("W1092=800 W1094=900"));
        QVERIFY(waitPasses(3));
        QCOMPARE(w<QLineEdit>("txtSetup1")->text(), QStringLiteral("900"));
        QCOMPARE(txt->text(), QStringLiteral("12"));
        // Esc once restores, twice parks; the next pass shows the board.
        QTest::keyClick(txt, Qt::Key_Escape);
        QCOMPARE(txt->text(), QStringLiteral("700"));
        QTest::keyClick(txt, Qt::Key_Escape);
        QCOMPARE(focus(), w("cmdDefault"));
        QTRY_COMPARE(txt->text(), QStringLiteral("800"));
        QCOMPARE(get("W1092"), QStringLiteral("800"));
    }

    void setupPagesAndZeroResolver()
    {
        // The offset first: setting it moves the position.
        open<frmSetup>(true, 0, "W188=0 W526=111 W180=725 F119=0 W830=181");
        QTRY_COMPARE(shown("lblDisplay0"), QStringLiteral("111"));
        chooseTab("tbsSetup", 2);
        QTRY_COMPARE(shown("lblDisplay3"), QStringLiteral("5")); // the machine position
        QCOMPARE(w<QLineEdit>("txtSetup13")->text(), QStringLiteral("181"));
        QVERIFY(!w("cmdZeroResolver")->isEnabled());
        QVERIFY(set("F119=1 W180=360"));
        QTRY_VERIFY(w("cmdZeroResolver")->isEnabled());
        QTRY_COMPARE(shown("lblDisplay3"), QStringLiteral("0"));
        // Zero Resolver asks first; Yes writes the command.
        prompt.answers = {PromptAnswer::No, PromptAnswer::Yes};
        click("cmdZeroResolver");
        QCOMPARE(prompt.asked.size(), 1);
        QCOMPARE(prompt.asked[0].text,
                 QStringLiteral(
                     "You are about change the Resolver offset.\r\n\r\nDo you wish to continue?"));
        QCOMPARE(prompt.asked[0].buttons, PromptButtons::YesNoCancel);
        QCOMPARE(get("W188"), QStringLiteral("0"));
        QVERIFY(set("W180=100")); // the board takes its offset from the position
        click("cmdZeroResolver");
        QVERIFY(get("W188") != QStringLiteral("0"));
    }

    // --- Shift Data
    void dataTripOffsetAndPages()
    {
        open<frmData>(true, 36, "B599=4 W1020=1234 B1011=9 D1100=7654321 W1294=77");
        QTRY_COMPARE(shown("lblData1"), QStringLiteral("1,234"));
        QCOMPARE(shown("lblData0"), QStringLiteral("4"));
        QCOMPARE(shown("lblData37"), QStringLiteral("-")); // other pages wait for their tab
        chooseTab("tbsData", 1);
        QTRY_COMPARE(shown("lblData37"), QStringLiteral("7,654,321"));
        chooseTab("tbsData", 2);
        QTRY_COMPARE(shown("lblData120"), QStringLiteral("77"));
        chooseTab("tbsData", 0);
        auto *txt = w<QLineEdit>("txtSpindleTripOffset");
        QTest::mouseClick(txt,
                          Qt::LeftButton); // the board's changes wait while the operator is in it
        QVERIFY(set("B1011=12") && waitPasses(2));
        QCOMPARE(txt->text(), QStringLiteral("9"));
        typeIn("txtSpindleTripOffset", QStringLiteral("35"));
        QCOMPARE(get("B1011"), QStringLiteral("35"));
        QCOMPARE(data.gCurrentData.Value[0], 35);
        QCOMPARE(data.gCurrentData.Value[1], 0); // the online pass does not copy into memory
    }

    void dataMomentaryCommandsByMouseOnly()
    {
        open<frmData>(true, 0, "W1020=50 D1100=500 D1200=0");
        QWidget *reset = w("cmdResetTrips");
        reset->setFocus();
        QTest::keyClick(reset, Qt::Key_Space); // the keyboard reaches neither command
        QCOMPARE(get("W1020"), QStringLiteral("50"));
        QTest::mousePress(reset, Qt::LeftButton);
        QCOMPARE(get("B1016.0") + get("W1020"), QStringLiteral("10"));
        QTest::mouseRelease(reset, Qt::LeftButton);
        QCOMPARE(get("B1016.0"), QStringLiteral("0"));
        // Any button; the end of shift moves the current counts to the last.
        chooseTab("tbsData", 1);
        QTest::mousePress(w("cmdEndofShift"), Qt::RightButton);
        QCOMPARE(get("F137"), QStringLiteral("1"));
        QTest::mouseRelease(w("cmdEndofShift"), Qt::RightButton);
        QCOMPARE(get("F137") + get("D1200") + get("D1100"), QStringLiteral("05000"));
    }

    void dataTabSwitchEndsThePass()
    {
        open<frmData>(true);
        QVERIFY(waitPasses(1));
        QStringList seen;
        qsizetype atSwitch = -1;
        qint64 passes = -1;
        qint64 passesAtSecondRead = -1;
        // Part way into a page-0 pass, switch to page 2. Switching from the
        // read itself keeps the test independent of the machine's speed.
        connect(form.get(), &DisplayForm::passRead, this, [&](const QString &a) {
            seen.append(a);
            if (atSwitch < 0 && a == u"W1030") {
                chooseTab("tbsData", 2);
                atSwitch = seen.size();
                passes = form->passCount();
            } else if (atSwitch >= 0 && seen.size() == atSwitch + 2) {
                passesAtSecondRead = form->passCount();
            }
        });
        QTRY_VERIFY(atSwitch >= 0 && seen.size() > atSwitch + 1);
        // The next read is page 2's first; the rest of page 0 is never read.
        QCOMPARE(seen.mid(atSwitch, 2), QStringList({"D1200", "D1204"}));
        QCOMPARE(passesAtSecondRead, passes); // the interrupted pass was not counted
    }

    // --- I/O Status: offline dashes and no reads. Online each bit of a word
    // register lights its own point; a board point is ON only at exactly 1.
    void ioStates()
    {
        open<frmDisplayIO>(false);
        QTest::qWait(300);
        QCOMPARE(form->readCount(), 0);
        QCOMPARE(shown("lblt6810State0") + shown("state3_3"), QStringLiteral("--"));
        auto &io =
            open<frmDisplayIO>(true, 0, "W100=1 W110=32768 W170=255 F18=1 F17=0 W112=640 W162=512");
        QVERIFY(waitPasses(2));
        const int patterns[3] = {255, 1, 32768}; // the groups of W170, W100, W110
        for (int bit = 0; bit < 48; ++bit) {
            const QString name = QStringLiteral("state%1_%2").arg(bit / 16).arg(bit % 16);
            QVERIFY2(isOn(name, patterns[bit / 16] & (1 << bit % 16)), qPrintable(name));
        }
        QVERIFY(isOn("lblt6810State0", true) && isOn("lblt6810State1", false));
        QCOMPARE(shown("lblt6810State7") + shown("lblt6810State2"), QStringLiteral("640512"));
        io.showRead(0, QStringLiteral("2"));
        QVERIFY(isOn("lblt6810State0", false));
    }
};

QTEST_MAIN(TestWindows)
#include "test_windows.moc"
