// The shown main window against kestro-boardsim on a pty, driven as the
// operator drives it: mouse clicks, keys, the Window menu opened with its
// mnemonic, tab clicks. Nothing reaches the board that the operator did not
// enter, and a question the link asks holds the link for itself.

#include "app/childform.h"
#include "app/frmmdimain.h"
#include "appharness.h"
#include "displays/frmdata.h"
#include "displays/frmmain.h"
#include "displays/frmsetup.h"
#include "machine/registermap.h"

#include <QLineEdit>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QMenu>
#include <QPushButton>
#include <QTabBar>
#include <QTest>

namespace
{

// The bytes that switch the board into write mode: no write without them.
const QByteArray WriteMode("\xFF\x02", 2);

bool wroteAnything(const AppHarness &h)
{
    return h.port->sent.contains(WriteMode);
}

void clickTab(QTabBar *bar, int index)
{
    QTest::mouseClick(bar, Qt::LeftButton, {}, bar->tabRect(index).center());
}

// What a double click delivers: press, release, double click, release.
void doubleClick(QWidget *button)
{
    QTest::mousePress(button, Qt::LeftButton);
    QTest::mouseRelease(button, Qt::LeftButton);
    QTest::mouseDClick(button, Qt::LeftButton);
    QTest::mouseRelease(button, Qt::LeftButton);
}

void clickInto(QLineEdit *txt)
{
    QTest::mouseClick(txt, Qt::LeftButton, {}, txt->rect().center());
}

// Opens the Window menu with Alt+W on the shown window and picks item n by
// its mnemonic digit, as the operator does.
void chooseWindow(frmMDIMain &w, int n)
{
    QTest::keyClick(&w, Qt::Key_W, Qt::AltModifier);
    QTRY_VERIFY(w.mnuWindow->isVisible());
    QTest::keyClick(w.mnuWindow, Qt::Key(Qt::Key_0 + n));
    QTRY_VERIFY(!w.mnuWindow->isVisible());
    // The offscreen platform has no window manager to give the main window
    // back its activation when the popup closes; do what one would.
    w.activateWindow();
    QTRY_COMPARE(QApplication::activeWindow(), &w);
}

} // namespace

class TestOperatorTrust : public QObject
{
    Q_OBJECT

private slots:
    void tabChangesWriteNothing();
    void windowSwitchWithAFocusedFieldWritesNothingAndAsksNothing();
    void onlyTheOperatorsChangedTextOrEnterWrites();
    void retryAfterTheBoardAnswersAgainGoesOnline();
    void doubleClickOnAMomentaryButtonSendsTwoPulses();

private:
    // The shown, active main window online against a still board, with the
    // background tick running as in the program.
    bool online(AppHarness &h, BoardSimProcess &sim, const QStringList &simArgs = {})
    {
        if (!h.startWithBoard(sim, QStringList{QStringLiteral("--frozen")} + simArgs,
                              AppHarness::BackgroundTimer::Running))
            return false;
        h.w().resize(1000, 720);
        h.w().show();
        if (!QTest::qWaitForWindowActive(&h.w()))
            return false;
        h.w().mnuViewOnline->trigger();
        return h.comm->OnlineMode;
    }

    frmSetup *showSetup(AppHarness &h)
    {
        chooseWindow(h.w(), 2);
        auto *setup = qobject_cast<frmSetup *>(h.w().currentChild());
        if (setup && !QTest::qWaitFor([&] { return setup->passCount() > 0; }, 5000))
            return nullptr;
        return setup;
    }
};

void TestOperatorTrust::tabChangesWriteNothing()
{
    AppHarness h;
    BoardSimProcess sim;
    QVERIFY(online(h, sim));
    frmSetup *setup = showSetup(h);
    QVERIFY(setup && setup->FormActive);

    // The operator clicks into a field and, without typing, picks the other
    // pages; the page change puts the focus into their fields.
    clickInto(setup->txtSetup[1]);
    for (int page : {1, 2, 1, 0, 2}) {
        clickTab(setup->tbsSetup, page);
        QTest::qWait(150);
    }
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
    clickTab(setup->tbsSetup, 1);
    QTest::qWait(300);

    QVERIFY2(!wroteAnything(h), h.port->sent.toHex(' ').constData());
    QVERIFY(h.prompt.asked.isEmpty());
    QVERIFY(h.data.gCurrentData == h.data.gSavedData);
}

void TestOperatorTrust::windowSwitchWithAFocusedFieldWritesNothingAndAsksNothing()
{
    AppHarness h;
    BoardSimProcess sim;
    QVERIFY(online(h, sim));
    frmSetup *setup = showSetup(h);
    QVERIFY(setup);
    clickInto(setup->txtSetup[0]);
    QVERIFY(setup->txtSetup[0]->hasFocus());
    // A stale or blank text is not the operator's entry either.
    setup->txtSetup[0]->setText(QString());

    chooseWindow(h.w(), 1);
    QVERIFY(qobject_cast<frmMain *>(h.w().currentChild()));
    QTest::qWait(300);
    QVERIFY2(!wroteAnything(h), h.port->sent.toHex(' ').constData());
    QVERIFY(h.prompt.asked.isEmpty());
    QVERIFY(h.data.gCurrentData == h.data.gSavedData);

    // The operator had typed, then switched away: the edit goes with the window.
    setup = showSetup(h);
    QVERIFY(setup);
    clickTab(setup->tbsSetup, 1);
    clickInto(setup->txtSetup[4]);
    QTest::keyClicks(setup->txtSetup[4], QStringLiteral("77"));
    chooseWindow(h.w(), 3);
    QTest::qWait(300);
    QVERIFY(!wroteAnything(h));
    QVERIFY(h.prompt.asked.isEmpty());
    QVERIFY(h.data.gCurrentData == h.data.gSavedData);
}

void TestOperatorTrust::onlyTheOperatorsChangedTextOrEnterWrites()
{
    AppHarness h;
    BoardSimProcess sim;
    QVERIFY(online(h, sim));
    QCOMPARE(sim.command(QStringLiteral("set B1000 9")), QStringLiteral("ok"));
    QCOMPARE(sim.command(QStringLiteral("set B1001 3")), QStringLiteral("ok"));
    frmSetup *setup = showSetup(h);
    QVERIFY(setup);
    clickTab(setup->tbsSetup, 1);
    QTRY_COMPARE(setup->txtSetup[5]->text(), QStringLiteral("9"));

    // Looked at and left with Tab: nothing written.
    clickInto(setup->txtSetup[5]);
    QTest::keyClick(setup->txtSetup[5], Qt::Key_Tab);
    QVERIFY(!wroteAnything(h));

    // Typed and left with a click elsewhere: written.
    clickInto(setup->txtSetup[5]);
    QTest::keyClicks(setup->txtSetup[5], QStringLiteral("15"));
    QTest::mouseClick(setup->cmdDefault, Qt::LeftButton);
    QTRY_COMPARE(sim.command(QStringLiteral("get B1000")), QStringLiteral("15"));
    QCOMPARE(h.data.gCurrentData.Value[Item::FirstSetupParameter + 5], 15);

    // Enter on an unchanged field moves on and writes nothing.
    QCOMPARE(sim.command(QStringLiteral("set B1001 4")), QStringLiteral("ok"));
    QTRY_COMPARE(setup->txtSetup[6]->text(), QStringLiteral("4"));
    h.port->sent.clear();
    clickInto(setup->txtSetup[6]);
    QTest::keyClick(setup->txtSetup[6], Qt::Key_Return);
    QVERIFY(!wroteAnything(h));
    QVERIFY(!setup->txtSetup[6]->hasFocus());

    // Typed and left by picking another page: the operator left the field.
    clickInto(setup->txtSetup[7]);
    QTest::keyClicks(setup->txtSetup[7], QStringLiteral("3"));
    clickTab(setup->tbsSetup, 2);
    QTRY_COMPARE(sim.command(QStringLiteral("get B1002")), QStringLiteral("3"));
    clickTab(setup->tbsSetup, 1);

    // Typed out of range and left with Tab: the message, nothing written.
    h.port->sent.clear();
    clickInto(setup->txtSetup[4]);
    QTest::keyClicks(setup->txtSetup[4], QStringLiteral("9"));
    QTest::keyClick(setup->txtSetup[4], Qt::Key_Tab);
    QCOMPARE(h.prompt.asked.size(), 1);
    QCOMPARE(h.prompt.asked.first().text,
             QStringLiteral("Only a Number Between 1 and 5 can be Entered"));
    QCOMPARE(h.prompt.asked.first().title, QStringLiteral("Set-up"));
    QVERIFY(setup->txtSetup[4]->hasFocus());
    QVERIFY(!wroteAnything(h));
}

void TestOperatorTrust::retryAfterTheBoardAnswersAgainGoesOnline()
{
    AppHarness h;
    BoardSimProcess sim;
    QVERIFY(h.startWithBoard(sim, {QStringLiteral("--frozen"), QStringLiteral("--silent")},
                             AppHarness::BackgroundTimer::Running));
    h.w().show();
    QVERIFY(QTest::qWaitForWindowActive(&h.w()));
    QPointer<ChildForm> display = h.w().currentChild();
    QVERIFY(display && display->FormActive);

    // While "Cannot Communicate" is up, the background tick and the Main
    // Display's cycle keep firing; the board comes back; the operator
    // presses Retry.
    int boxes = 0;
    h.prompt.onAsk = [&](const ScriptedPrompt::Asked &asked) {
        if (!asked.text.startsWith(QStringLiteral("Cannot Communicate")))
            return;
        ++boxes;
        QTest::qWait(1200);
        sim.command(QStringLiteral("silent off"));
    };
    h.prompt.answers = {PromptAnswer::Retry};
    h.w().mnuViewOnline->trigger();

    QCOMPARE(boxes, 1);
    QVERIFY(h.comm->OnlineMode);
    QVERIFY(h.port->isOpen());
    QCOMPARE(h.w().panelText(2), QStringLiteral("ONLINE"));
    QTRY_VERIFY(qobject_cast<DisplayForm *>(display.data())->passCount() > 0);
    QVERIFY(!h.comm->CommError);
}

void TestOperatorTrust::doubleClickOnAMomentaryButtonSendsTwoPulses()
{
    AppHarness h;
    BoardSimProcess sim;
    QVERIFY(online(h, sim));
    auto *display = qobject_cast<frmMain *>(h.w().currentChild());
    QVERIFY(display);
    QTRY_VERIFY(display->cmdSingleBlowoff->isEnabled());
    const qint64 qcBefore = sim.command(QStringLiteral("get D1120")).toLongLong();
    doubleClick(display->cmdSingleBlowoff);
    // Two clicks of a blow-off button are two blow-offs on the board.
    QTRY_COMPARE(sim.command(QStringLiteral("get D1120")).toLongLong(), qcBefore + 2);

    // End of Shift is held while the button is down: a double click ends
    // the shift twice, so the second copies the emptied counts.
    chooseWindow(h.w(), 3);
    auto *data = qobject_cast<frmData *>(h.w().currentChild());
    QVERIFY(data);
    clickTab(data->tbsData, 1);
    QTRY_VERIFY(data->cmdEndofShift->isVisible() && data->cmdEndofShift->isEnabled());
    QCOMPARE(sim.command(QStringLiteral("set D1100 5000")), QStringLiteral("ok"));
    doubleClick(data->cmdEndofShift);
    QTRY_COMPARE(sim.command(QStringLiteral("get F137")), QStringLiteral("0"));
    QCOMPARE(sim.command(QStringLiteral("get D1100")), QStringLiteral("0"));
    QCOMPARE(sim.command(QStringLiteral("get D1200")), QStringLiteral("0"));
}

QTEST_MAIN(TestOperatorTrust)
#include "test_operatortrust.moc"
