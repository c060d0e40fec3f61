// The shown main window against kestro-boardsim, driven by keys and clicks:
// what reaches the board is what the operator typed and what memory holds,
// a failed read is never shown as a value, and no stray key acts on the
// machine.

#include "app/frmhelp.h"
#include "app/frmmdimain.h"
#include "appharness.h"
#include "displays/frmmain.h"
#include "displays/frmsetup.h"
#include "displays/updownspinner.h"
#include "displays/valuelabel.h"
#include "machine/registermap.h"

#include <QLineEdit>
#include <QMenu>
#include <QMenuBar>
#include <QPushButton>
#include <QSignalSpy>
#include <QTabBar>
#include <QTest>
#include <QTextBrowser>
#include <QToolButton>

namespace
{

// Field 5 edits "B1000", the cans to blow off at infeed open.
constexpr int Field = 5;
const QString FieldRegister = QStringLiteral("B1000");

void clickTab(QTabBar *bar, int index)
{
    QTest::mouseClick(bar, Qt::LeftButton, {}, bar->tabRect(index).center());
}

void clickInto(QLineEdit *txt)
{
    QTest::mouseClick(txt, Qt::LeftButton, {}, txt->rect().center());
}

// The offscreen platform has no window manager to give the main window back
// its activation when a popup closes; do what one would.
void reactivate(frmMDIMain &w)
{
    w.activateWindow();
    QTRY_COMPARE(QApplication::activeWindow(), &w);
}

void chooseWindow(frmMDIMain &w, int n)
{
    QTest::keyClick(&w, Qt::Key_W, Qt::AltModifier);
    QTRY_VERIFY(w.mnuWindow->isVisible());
    QTest::keyClick(w.mnuWindow, Qt::Key(Qt::Key_0 + n));
    QTRY_VERIFY(!w.mnuWindow->isVisible());
    reactivate(w);
}

// Opens a menu of the bar with the mouse and clicks one of its items.
void clickMenuItem(frmMDIMain &w, QMenu *menu, QAction *item)
{
    QMenuBar *bar = w.menuBar();
    QTest::mouseClick(bar, Qt::LeftButton, {}, bar->actionGeometry(menu->menuAction()).center());
    QTRY_VERIFY(menu->isVisible());
    QTest::mouseClick(menu, Qt::LeftButton, {}, menu->actionGeometry(item).center());
    QTRY_VERIFY(!menu->isVisible());
    reactivate(w);
}

// The reply to the byte that completes `trigger` on the wire is changed
// once per arming, as one corrupted byte on the cable would be.
struct Corruption {
    QByteArray trigger;
    int times = 0;

    void install(RecordingPort &port)
    {
        port.replyFilter = [this](const QByteArray &sent, int reply) {
            if (times > 0 && sent.endsWith(trigger)) {
                --times;
                return reply ^ 0x45;
            }
            return reply;
        };
    }
};

QByteArray bytesOf(int byteAddress)
{
    QByteArray bytes;
    bytes.append(char((byteAddress / 256) & 0xFF)).append(char(byteAddress % 256));
    return bytes;
}

// A multi-byte register whose second address byte is echoed wrongly: its
// read fails without a link error.
QByteArray failedReadOf(const QString &address)
{
    const int a = RSComm::DecodeAddress(address).ByteAddress;
    return bytesOf(a) + bytesOf(a + 1).left(1);
}

} // namespace

class TestWindowTrust : public QObject
{
    Q_OBJECT

private slots:
    void typedBeforeGoingOnlineIsWhatTheBoardGets_data();
    void typedBeforeGoingOnlineIsWhatTheBoardGets();
    void wholeNumberFieldsAndPasscodeRefuseWhatTheyCannotStore();
    void uploadNamesFailedRegistersAndMarksTheData();
    void openEndsTheEntryInProgress();
    void focusIsParkedNeverOnAMachineCommand();
    void exitWaitsWhenSaveAsIsCancelled();
    void faultNeedsASecondReadAndAFailedLiveReadIsStale();
    void keyboardAfterAFieldIsDisabledSpinnersAndHelp();

private:
    bool shown(AppHarness &h, BoardSimProcess &sim)
    {
        if (!h.startWithBoard(sim))
            return false;
        const QString help = QDir(h.programDir()).filePath(QStringLiteral("Help"));
        QDir().mkpath(help);
        QFile::copy(QDir(binDir()).filePath(QStringLiteral("Help/KESTRO.html")),
                    QDir(help).filePath(QStringLiteral("KESTRO.html")));
        h.w().resize(1000, 720);
        h.w().show();
        return QTest::qWaitForWindowActive(&h.w());
    }

    frmSetup *setupPage(AppHarness &h, int page)
    {
        chooseWindow(h.w(), 2);
        auto *setup = qobject_cast<frmSetup *>(h.w().currentChild());
        if (setup)
            clickTab(setup->tbsSetup, page);
        return setup;
    }
};

void TestWindowTrust::typedBeforeGoingOnlineIsWhatTheBoardGets_data()
{
    QTest::addColumn<int>("delayMs");
    QTest::newRow("Tab at once") << 0;
    QTest::newRow("Tab after 2 s") << 2000;
}

void TestWindowTrust::typedBeforeGoingOnlineIsWhatTheBoardGets()
{
    QFETCH(int, delayMs);
    AppHarness h;
    BoardSimProcess sim;
    QVERIFY(shown(h, sim));
    QCOMPARE(sim.command(QStringLiteral("set B1000 13")), QStringLiteral("ok"));
    QTest::keyClick(&h.w(), Qt::Key_F2);
    frmSetup *setup = setupPage(h, 1);
    QVERIFY(setup);
    QTRY_VERIFY(setup->txtSetup[Field]->isEnabled());

    clickInto(setup->txtSetup[Field]);
    QTest::keyClicks(setup->txtSetup[Field], QStringLiteral("99"));
    QTest::keyClick(setup->txtSetup[Field], Qt::Key_F3);
    QVERIFY(h.comm->OnlineMode);
    QTest::qWait(delayMs);
    QCOMPARE(setup->txtSetup[Field]->text(), QStringLiteral("99"));
    QTest::keyClick(setup->txtSetup[Field], Qt::Key_Tab);

    QTRY_COMPARE(sim.command(QStringLiteral("get B1000")), QStringLiteral("99"));
    QCOMPARE(h.data.gCurrentData.Value[Item::FirstSetupParameter + Field], 99);
}

void TestWindowTrust::wholeNumberFieldsAndPasscodeRefuseWhatTheyCannotStore()
{
    AppHarness h;
    BoardSimProcess sim;
    QVERIFY(shown(h, sim));
    QCOMPARE(sim.command(QStringLiteral("set B1000 13")), QStringLiteral("ok"));
    QCOMPARE(sim.command(QStringLiteral("set W1298 4321")), QStringLiteral("ok"));
    QTest::keyClick(&h.w(), Qt::Key_F3);
    frmSetup *setup = setupPage(h, 1);
    QVERIFY(setup);
    QTRY_COMPARE(setup->txtSetup[Field]->text(), QStringLiteral("13"));
    const qint32 stored = h.data.gCurrentData.Value[Item::FirstSetupParameter + Field];

    clickInto(setup->txtSetup[Field]);
    QTest::keyClicks(setup->txtSetup[Field], QStringLiteral("12.5"));
    QTest::keyClick(setup->txtSetup[Field], Qt::Key_Tab);
    QCOMPARE(h.prompt.asked.size(), 1);
    QCOMPARE(h.prompt.asked.first().text, setup->field(Field)->rejectionMessage());
    QVERIFY(setup->txtSetup[Field]->hasFocus());
    QCOMPARE(sim.command(QStringLiteral("get B1000")), QStringLiteral("13"));
    QCOMPARE(h.data.gCurrentData.Value[Item::FirstSetupParameter + Field], stored);

    h.prompt.asked.clear();
    h.prompt.inputAnswers = {QStringLiteral("1.5")};
    clickMenuItem(h.w(), h.w().mnuEdit, h.w().mnuEditPasscode);
    QCOMPARE(h.prompt.inputs.size(), 1);
    QCOMPARE(h.prompt.asked.size(), 1);
    QCOMPARE(h.prompt.asked.first().text,
             QStringLiteral("Only a Number Between 0 and 65535 can be Entered"));
    QCOMPARE(sim.command(QStringLiteral("get W1298")), QStringLiteral("4321"));
}

void TestWindowTrust::uploadNamesFailedRegistersAndMarksTheData()
{
    AppHarness h;
    BoardSimProcess sim;
    QVERIFY(shown(h, sim));
    QCOMPARE(sim.command(QStringLiteral("set W1096 77")), QStringLiteral("ok"));
    QTest::keyClick(&h.w(), Qt::Key_F3);
    QVERIFY(h.comm->OnlineMode);
    // One register of the upload reads wrongly, and only that one.
    Corruption first{failedReadOf(QStringLiteral("W1092")), 1};
    first.install(*h.port);
    auto upload = [&] {
        reactivate(h.w());
        h.prompt.answers = {PromptAnswer::Yes};
        QTest::mouseClick(h.w().tbrUpload, Qt::LeftButton, {}, QPoint(8, 8));
    };
    upload();
    QCOMPARE(h.prompt.asked.size(), 2);
    const QString said = h.prompt.asked.last().text;
    QVERIFY2(said.startsWith(QStringLiteral("Registers Not Read: 1 of 138")), qPrintable(said));
    QVERIFY(said.contains(QStringLiteral("W1092")));
    QVERIFY(h.w().windowTitle().contains(QStringLiteral("Not Fully Read")));

    // The save question says so; Cancel keeps everything.
    h.prompt.asked.clear();
    h.prompt.answers = {PromptAnswer::Cancel};
    reactivate(h.w());
    QTest::keyClick(&h.w(), Qt::Key_N, Qt::ControlModifier);
    QCOMPARE(h.prompt.asked.size(), 1);
    QVERIFY(h.prompt.asked.first().text.contains(QStringLiteral("Not Fully Read")));
    QVERIFY(h.prompt.asked.first().text.endsWith(QStringLiteral("Save Changes to File?")));

    // A clean upload makes the data whole again.
    h.prompt.asked.clear();
    upload();
    QCOMPARE(h.prompt.asked.size(), 1);
    QVERIFY(!h.w().windowTitle().contains(QStringLiteral("Not Fully Read")));
    QCOMPARE(h.data.gCurrentData.Value[Item::FirstSetupParameter + 2], 77);
}

void TestWindowTrust::openEndsTheEntryInProgress()
{
    AppHarness h;
    BoardSimProcess sim;
    QVERIFY(shown(h, sim));
    const QString file = QDir(h.programDir()).filePath(QStringLiteral("line3.sdt"));
    h.data.gCurrentData.Value[Item::FirstSetupParameter + Field] = 42;
    QCOMPARE(h.data.saveFile(file), MachineError::None);
    h.data.resetToDefaults();
    QTest::keyClick(&h.w(), Qt::Key_F2);
    frmSetup *setup = setupPage(h, 1);
    QVERIFY(setup);
    QTRY_VERIFY(setup->txtSetup[Field]->isEnabled());
    // The layout follows the change of offline editing on a later turn.
    QTest::qWait(300);

    clickInto(setup->txtSetup[Field]);
    QTest::keyClicks(setup->txtSetup[Field], QStringLiteral("77"));
    QTest::qWait(300);
    QCOMPARE(setup->txtSetup[Field]->text(), QStringLiteral("77"));
    h.dialogs.answers = {file};
    QTest::keyClick(setup->txtSetup[Field], Qt::Key_O, Qt::ControlModifier);
    QTRY_COMPARE(setup->txtSetup[Field]->text(), QStringLiteral("42"));
    QTest::keyClick(setup->txtSetup[Field], Qt::Key_Return);
    QCOMPARE(h.data.gCurrentData.Value[Item::FirstSetupParameter + Field], 42);
    QVERIFY(!h.data.hasUnsavedChanges());
}

void TestWindowTrust::focusIsParkedNeverOnAMachineCommand()
{
    AppHarness h;
    BoardSimProcess sim;
    QVERIFY(shown(h, sim));
    auto *display = qobject_cast<frmMain *>(h.w().currentChild());
    QVERIFY(display);
    const QString qcCount = sim.command(QStringLiteral("get D1120"));

    QTest::keyClick(&h.w(), Qt::Key_F3);
    QTRY_VERIFY(display->cmdSingleBlowoff->isEnabled());
    QTRY_COMPARE(QApplication::focusWidget(), display->cmdDefault);
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Space);
    QTest::qWait(200);
    QCOMPARE(sim.command(QStringLiteral("get D1120")), qcCount);

    frmSetup *setup = setupPage(h, 2);
    QVERIFY(setup);
    QTRY_COMPARE(QApplication::focusWidget(), setup->cmdDefault);
    clickTab(setup->tbsSetup, 1);
    QTRY_COMPARE(QApplication::focusWidget(), setup->cmdDefault);
}

void TestWindowTrust::exitWaitsWhenSaveAsIsCancelled()
{
    AppHarness h;
    BoardSimProcess sim;
    QVERIFY(shown(h, sim));
    QTest::keyClick(&h.w(), Qt::Key_F2);
    frmSetup *setup = setupPage(h, 1);
    QVERIFY(setup);
    QTRY_VERIFY(setup->txtSetup[Field]->isEnabled());
    clickInto(setup->txtSetup[Field]);
    QTest::keyClicks(setup->txtSetup[Field], QStringLiteral("9"));
    QTest::keyClick(setup->txtSetup[Field], Qt::Key_Tab);
    QVERIFY(h.data.hasUnsavedChanges());

    QSignalSpy ended(&h.w(), &frmMDIMain::programEnded);
    h.prompt.answers = {PromptAnswer::Yes};
    h.dialogs.answers = {std::nullopt};
    QTest::keyClick(&h.w(), Qt::Key_F, Qt::AltModifier);
    QTRY_VERIFY(h.w().mnuFile->isVisible());
    QTest::keyClick(h.w().mnuFile, Qt::Key_X);
    QTRY_VERIFY(!h.w().mnuFile->isVisible());
    QCOMPARE(h.dialogs.asked.size(), 1);
    QVERIFY(h.dialogs.asked.first().save);
    QCOMPARE(ended.count(), 0);
    QVERIFY(h.w().isVisible());
    QVERIFY(h.data.hasUnsavedChanges());
}

void TestWindowTrust::faultNeedsASecondReadAndAFailedLiveReadIsStale()
{
    AppHarness h;
    BoardSimProcess sim;
    QVERIFY(shown(h, sim));
    const QString goodCans = defaultAddress(Item::CurShiftGoodCans);
    QCOMPARE(sim.command(QStringLiteral("set %1 93394").arg(goodCans)), QStringLiteral("ok"));
    auto *display = qobject_cast<frmMain *>(h.w().currentChild());
    QVERIFY(display);
    QTest::keyClick(&h.w(), Qt::Key_F3);
    ValueLabel *label = display->lblDisplay[3];
    QTRY_COMPARE(label->text(), QStringLiteral("93,394"));

    // One corrupted reply to the fault code raises nothing.
    Corruption fault{bytesOf(RSComm::DecodeAddress(QStringLiteral("B8176")).ByteAddress), 1};
    fault.install(*h.port);
    h.w().tmrBackgroungUpdate_Timer();
    QCOMPARE(fault.times, 0);
    QVERIFY(h.prompt.asked.isEmpty());
    QVERIFY(!h.w().panelText(1).contains(QStringLiteral("Fault Code")));
    // A fault the board holds is read twice alike and shown.
    QCOMPARE(sim.command(QStringLiteral("set B8176 69")), QStringLiteral("ok"));
    h.w().tmrBackgroungUpdate_Timer();
    QCOMPARE(h.prompt.asked.size(), 1);
    QCOMPARE(h.prompt.asked.first().text, QStringLiteral("Faults Acitve in Target Board"));

    // Failed reads of Good Cans leave the last good value, greyed, with its
    // time; the next good read brings it back.
    Corruption live{failedReadOf(goodCans), 1000};
    live.install(*h.port);
    QTRY_VERIFY(label->isStale());
    QCOMPARE(label->text(), QStringLiteral("93,394"));
    QVERIFY(label->toolTip().contains(label->lastGoodTime().toString(QStringLiteral("HH:mm:ss"))));
    live.times = 0;
    QTRY_VERIFY(!label->isStale());
    QCOMPARE(label->text(), QStringLiteral("93,394"));
}

void TestWindowTrust::keyboardAfterAFieldIsDisabledSpinnersAndHelp()
{
    AppHarness h;
    BoardSimProcess sim;
    QVERIFY(shown(h, sim));
    QTest::keyClick(&h.w(), Qt::Key_F2);
    frmSetup *setup = setupPage(h, 0);
    QVERIFY(setup);
    QTRY_VERIFY(setup->txtSetup[0]->isEnabled());

    // F2 at once disables the focused field; the tab mnemonics still work.
    clickInto(setup->txtSetup[0]);
    QTest::keyClick(setup->txtSetup[0], Qt::Key_F2);
    QTRY_VERIFY(!setup->txtSetup[0]->isEnabled());
    QTRY_COMPARE(QApplication::focusWidget(), setup->cmdDefault);
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_M, Qt::AltModifier);
    QCOMPARE(setup->tbsSetup->currentIndex(), 2);
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_P, Qt::AltModifier);
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_F2);
    QTRY_VERIFY(setup->txtSetup[1]->isEnabled());

    // Up and Down step the spinner of the field.
    clickInto(setup->txtSetup[1]);
    const qint32 before = h.data.gCurrentData.Value[Item::FirstSetupParameter + 1];
    QTRY_COMPARE(setup->txtSetup[1]->text(), QString::number(before));
    const bool atTop = before >= setup->updSetup[1]->maximum();
    QTest::keyClick(setup->txtSetup[1], atTop ? Qt::Key_Down : Qt::Key_Up);
    QCOMPARE(h.data.gCurrentData.Value[Item::FirstSetupParameter + 1], before + (atTop ? -1 : 1));
    clickInto(setup->txtSetup[1]);
    QTest::keyClick(setup->txtSetup[1], atTop ? Qt::Key_Up : Qt::Key_Down);
    QCOMPARE(h.data.gCurrentData.Value[Item::FirstSetupParameter + 1], before);

    // F1: the help at the Set-up window's topic.
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_F1);
    frmHelp *help = nullptr;
    for (QWidget *w : QApplication::topLevelWidgets()) {
        if (auto *candidate = qobject_cast<frmHelp *>(w); candidate && candidate->isVisible())
            help = candidate;
    }
    QVERIFY(help);
    QCOMPARE(help->txtHelp->source().fragment(), QStringLiteral("setup"));
}

QTEST_MAIN(TestWindowTrust)
#include "test_window_trust.moc"
