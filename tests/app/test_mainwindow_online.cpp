// The main window against kestro-boardsim on a pty: going online, the
// background cycle's alarm and fault texts, losing the board, data
// transfers with Cancel, saving what was uploaded, and exit while online.

#include "app/childform.h"
#include "app/frmmdimain.h"
#include "app/frmprocessing.h"
#include "appharness.h"
#include "machine/registermap.h"
#include "machine/sdtfile.h"

#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>

namespace
{

const QString Rule = QString(30, QLatin1Char('-')) + QStringLiteral(" ALARM MESSAGE ") +
                     QString(30, QLatin1Char('-'));
const QString FaultBox = QStringLiteral("Faults Acitve in Target Board");

QByteArray readBytes(const QString &address)
{
    const DecodedAddress decoded = RSComm::DecodeAddress(address);
    QByteArray bytes;
    for (int i = 0; i < decoded.byteCount(); ++i) {
        const int a = decoded.ByteAddress + i;
        bytes.append(char(a / 256));
        bytes.append(char(a % 256));
    }
    return bytes;
}

} // namespace

class TestMainWindowOnline : public QObject
{
    Q_OBJECT

private slots:
    void goingOnlineReadsTheBoardConstantsOncePerRun();
    void alarmWordTexts();
    void faultBoxOncePerEpisode();
    void pullingTheBoardEndsInCommFault();
    void uploadAllThenSaveHoldsTheBoardsValues();
    void cancelDuringShiftUploadKeepsTheLaterValues();
    void downloadSetupWritesTheBoard();
    void exitWithChangesCancelKeepsRunningOnline();
    void saveOnlineUploadsEverythingFirstWhenAsked();
    void exportOnlineUploadsShiftDataFirstWhenAsked();

private:
    // A started window online against a still simulator on port 1.
    bool online(AppHarness &h, BoardSimProcess &sim)
    {
        if (!h.startWithBoard(sim))
            return false;
        h.w().mnuViewOnline_Click();
        return h.comm->OnlineMode && h.w().panelText(2) == QLatin1String("ONLINE");
    }
};

void TestMainWindowOnline::goingOnlineReadsTheBoardConstantsOncePerRun()
{
    AppHarness h;
    BoardSimProcess sim;
    QVERIFY(h.startWithBoard(sim));
    QVERIFY(sim.command(QStringLiteral("set B52 24")) == QLatin1String("ok"));
    frmMDIMain &w = h.w();

    w.mnuViewOnline_Click();
    QCOMPARE(w.panelText(2), QStringLiteral("ONLINE"));
    QVERIFY(w.mnuViewOnline->isChecked());
    QVERIFY(!w.mnuViewOffline->isChecked());
    QVERIFY(w.mnuEditPasscode->isEnabled());
    QVERIFY(h.util().gBoardInfoRead);
    QCOMPARE(h.data.gSpindleCount, 24);
    // Probe, read handshake, then "B52", "F31" and "W58" and nothing else.
    const QByteArray expected = QByteArray("\xFF\xFF\x01", 3) + readBytes(QStringLiteral("B52")) +
                                readBytes(QStringLiteral("F31")) + readBytes(QStringLiteral("W58"));
    QCOMPARE(h.port->sent.toHex(' '), expected.toHex(' '));
    QVERIFY(h.prompt.asked.isEmpty());

    w.mnuViewOffline_Click();
    QCOMPARE(w.panelText(2), QStringLiteral("OFFLINE"));
    QVERIFY(w.mnuViewOffline->isChecked());
    QVERIFY(!w.mnuEditPasscode->isEnabled());
    QVERIFY(!h.port->isOpen());

    // A later connection in the same run reads none of them again.
    QVERIFY(sim.command(QStringLiteral("set B52 36")) == QLatin1String("ok"));
    h.port->sent.clear();
    w.sbrMain_PanelDblClick(2);
    QCOMPARE(w.panelText(2), QStringLiteral("ONLINE"));
    QCOMPARE(h.port->sent.toHex(' '), QByteArray("ff"));
    QCOMPARE(h.data.gSpindleCount, 24);
}

void TestMainWindowOnline::alarmWordTexts()
{
    AppHarness h;
    BoardSimProcess sim;
    QVERIFY(online(h, sim));
    frmMDIMain &w = h.w();
    QCOMPARE(sim.command(QStringLiteral("get B8176")), QStringLiteral("0"));

    QCOMPARE(sim.command(QStringLiteral("set W98 5")), QStringLiteral("ok"));
    w.tmrBackgroungUpdate_Timer();
    QCOMPARE(h.util().gSystemMessage,
             Rule + "\r\nInfeed Track Jam\r\n \r\n" + Rule +
                 "\r\nTiming Signal Failure\r\nVerify Resolver Operation\r\n");
    QCOMPARE(w.panelText(1), QStringLiteral("System Message:  Alarm(s) Active in T6800"));

    QCOMPARE(sim.command(QStringLiteral("set W98 7")), QStringLiteral("ok"));
    w.tmrBackgroungUpdate_Timer();
    QCOMPARE(h.util().gSystemMessage,
             Rule + "\r\nInfeed Track Jam\r\n \r\n" + Rule +
                 "\r\nCan on Mandrel/\r\nNo transfer Alarm\r\n" + Rule +
                 "\r\nTiming Signal Failure\r\nVerify Resolver Operation\r\n");

    // Only bit 3: no block, but the panel still reports alarms.
    QCOMPARE(sim.command(QStringLiteral("set W98 8")), QStringLiteral("ok"));
    w.tmrBackgroungUpdate_Timer();
    QCOMPARE(h.util().gSystemMessage, QString());
    QCOMPARE(w.panelText(1), QStringLiteral("System Message:  Alarm(s) Active in T6800"));

    QCOMPARE(sim.command(QStringLiteral("set W98 0")), QStringLiteral("ok"));
    w.tmrBackgroungUpdate_Timer();
    QCOMPARE(h.util().gSystemMessage,
             QStringLiteral("--- System Normal ---\r\nSet-up Program is Currently ONLINE"));
    QCOMPARE(w.panelText(1), QStringLiteral("System Message:  All Faults Normal"));
    QVERIFY(h.prompt.asked.isEmpty());
}

void TestMainWindowOnline::faultBoxOncePerEpisode()
{
    AppHarness h;
    BoardSimProcess sim;
    QVERIFY(online(h, sim));
    frmMDIMain &w = h.w();
    // A tick that comes while the box is open must not open another.
    int nestedTicks = 0;
    h.prompt.onAsk = [&](const ScriptedPrompt::Asked &asked) {
        if (asked.text == FaultBox && nestedTicks < 3) {
            ++nestedTicks;
            w.tmrBackgroungUpdate_Timer();
        }
    };

    QCOMPARE(sim.command(QStringLiteral("set B8176 92")), QStringLiteral("ok"));
    for (int i = 0; i < 6; ++i)
        w.tmrBackgroungUpdate_Timer();
    QCOMPARE(nestedTicks, 1);
    QCOMPARE(h.timesAsked(FaultBox), 1);
    QCOMPARE(h.prompt.asked[0].title, QStringLiteral("KESTRO"));
    QCOMPARE(h.prompt.asked[0].icon, PromptIcon::Critical);
    QCOMPARE(h.prompt.asked[0].buttons, PromptButtons::Ok);
    QVERIFY(w.FaultMsgShown);
    QCOMPARE(
        h.util().gSystemMessage,
        QStringLiteral("****** PROCESSOR FAULTED ******\r\nSet-up Program is Currently ONLINE"));
    QCOMPARE(w.panelText(1),
             QStringLiteral("System Message:  Fault Code (5CH): Program checksum fault"));
    QCOMPARE(w.panelText(1), "System Message:  " + h.comm->FaultDescription(92));

    // The panel follows the fault; the box does not come back.
    QCOMPARE(sim.command(QStringLiteral("set B8176 70")), QStringLiteral("ok"));
    w.tmrBackgroungUpdate_Timer();
    QCOMPARE(w.panelText(1),
             QStringLiteral("System Message:  Fault Code (46H): Math error, divide by zero"));
    // Into an alarm and back: the same episode.
    QCOMPARE(sim.command(QStringLiteral("set B8176 0")), QStringLiteral("ok"));
    QCOMPARE(sim.command(QStringLiteral("set W98 1")), QStringLiteral("ok"));
    w.tmrBackgroungUpdate_Timer();
    QVERIFY(w.FaultMsgShown);
    QCOMPARE(sim.command(QStringLiteral("set B8176 92")), QStringLiteral("ok"));
    w.tmrBackgroungUpdate_Timer();
    QCOMPARE(h.timesAsked(FaultBox), 1);
    // Through the normal state: a new episode shows the box again.
    QCOMPARE(sim.command(QStringLiteral("set B8176 0")), QStringLiteral("ok"));
    QCOMPARE(sim.command(QStringLiteral("set W98 0")), QStringLiteral("ok"));
    w.tmrBackgroungUpdate_Timer();
    QVERIFY(!w.FaultMsgShown);
    QCOMPARE(sim.command(QStringLiteral("set B8176 5")), QStringLiteral("ok"));
    w.tmrBackgroungUpdate_Timer();
    w.tmrBackgroungUpdate_Timer();
    QCOMPARE(h.timesAsked(FaultBox), 2);
    QCOMPARE(w.panelText(1),
             QStringLiteral("System Message:  Fault Code (05H): CO-CPU dual-port memory error"));
    QCOMPARE(h.prompt.asked.size(), 2);
}

void TestMainWindowOnline::pullingTheBoardEndsInCommFault()
{
    AppHarness h;
    BoardSimProcess sim;
    QVERIFY(online(h, sim));
    frmMDIMain &w = h.w();
    w.show();
    QVERIFY(QTest::qWaitForWindowExposed(&w));
    w.activateWindow();
    // The shown display's cycle is what notices the lost link.
    if (!w.currentChild()->FormActive)
        w.currentChild()->Form_Activate();
    w.tmrBackgroungUpdate->start();
    QTRY_COMPARE_WITH_TIMEOUT(w.panelText(1), QStringLiteral("System Message:  All Faults Normal"),
                              5000);

    sim.command(QStringLiteral("close"));
    const QString fault = QStringLiteral("System Message:  Comm Fault with T6800");
    QTRY_VERIFY_WITH_TIMEOUT(w.panelText(1).startsWith(fault), 20000);
    QCOMPARE(w.panelText(2), QStringLiteral("OFFLINE"));
    QVERIFY(!h.comm->OnlineMode);
    QVERIFY(w.mnuViewOffline->isChecked());
    QCOMPARE(h.util().gSystemMessage, QStringLiteral("Set-up Program is Currently OFFLINE"));
    // Stays there: later ticks keep reporting the fault, the fault box never came.
    QTest::qWait(1200);
    QVERIFY(w.panelText(1).startsWith(fault));
    QCOMPARE(h.timesAsked(FaultBox), 0);
}

void TestMainWindowOnline::uploadAllThenSaveHoldsTheBoardsValues()
{
    AppHarness h;
    BoardSimProcess sim;
    QVERIFY(online(h, sim));
    frmMDIMain &w = h.w();
    for (const char *line : {"set B1011 5", "set W1020 321", "set D1100 123456", "set D1304 98765",
                             "set W1092 777", "set B1010 30", "set W834 359"})
        QCOMPARE(sim.command(QString::fromLatin1(line)), QStringLiteral("ok"));

    h.prompt.answers = {PromptAnswer::Yes};
    w.mnuFileUploadData_Click(4);
    QCOMPARE(h.prompt.asked.size(), 1);
    QCOMPARE(h.util().gTransferMode, qint16(4));
    QVERIFY(!w.gUploadNOW.isEmpty());
    QVERIFY(h.data.hasUnsavedChanges());

    const QString path = QDir(h.programDir()).filePath(QStringLiteral("board.sdt"));
    h.dialogs.answers = {path};
    h.prompt.answers = {PromptAnswer::No};
    w.mnuFileSaveAs_Click();
    QCOMPARE(h.prompt.asked.size(), 2);
    QCOMPARE(h.prompt.asked[1].title, QStringLiteral("KESTRO"));
    QCOMPARE(h.prompt.asked[1].text,
             QStringLiteral("Do you wish to first 'Upload Data' from the T6800?  "));
    QCOMPARE(h.prompt.asked[1].buttons, PromptButtons::YesNo);

    DataSet saved;
    QCOMPARE(readSetupFile(path, saved), MachineError::None);
    QCOMPARE(saved.Value.size(), 138);
    for (int i = 0; i <= gLastIndex; ++i) {
        const QString board = sim.command(QStringLiteral("get ") + saved.Address[i]);
        QCOMPARE(QString::number(saved.Value[i]) + " " + saved.Address[i],
                 board + " " + saved.Address[i]);
    }
    QCOMPARE(saved.Value[0], 5);
    QCOMPARE(saved.Value[37], 123456);
    QCOMPARE(saved.Value[122], 777);
    QCOMPARE(saved.Value[137], 359);
    QVERIFY(!h.data.hasUnsavedChanges());
}

void TestMainWindowOnline::cancelDuringShiftUploadKeepsTheLaterValues()
{
    AppHarness h;
    BoardSimProcess sim;
    QVERIFY(online(h, sim));
    frmMDIMain &w = h.w();
    const DataSet &current = h.data.gCurrentData;
    for (int i = 1; i <= 121; ++i)
        QCOMPARE(sim.command(QStringLiteral("set %1 %2").arg(current.Address[i]).arg(1000 + i)),
                 QStringLiteral("ok"));

    // Once the window shows, Cancel is clicked when 40 registers have moved.
    constexpr int CancelAt = 40;
    QString caption;
    int maximum = 0;
    QTimer watch;
    watch.setInterval(0);
    connect(&watch, &QTimer::timeout, this, [&] {
        auto *progress = w.findChild<frmProcessing *>();
        if (!progress)
            return;
        watch.stop();
        caption = progress->lblProcessing->text();
        maximum = progress->prgProcessing->maximum();
        connect(progress->prgProcessing, &QProgressBar::valueChanged, progress,
                [progress](int value) {
                    if (value == CancelAt)
                        QTest::mouseClick(progress->cmdCancel, Qt::LeftButton);
                });
    });
    watch.start();
    h.prompt.answers = {PromptAnswer::Yes};
    w.mnuFileUploadData_Click(1);
    QVERIFY(!w.findChild<frmProcessing *>());
    QCOMPARE(caption, QStringLiteral("Uploading Shift Data, Please Standby"));
    QCOMPARE(maximum, 121);
    for (int i = 1; i <= CancelAt; ++i)
        QCOMPARE(current.Value[i], 1000 + i);
    for (int i = CancelAt + 1; i <= 121; ++i)
        QCOMPARE(current.Value[i], 0);
    QCOMPARE(current.Value[0], 0);
    // Cancel is not an error: the only box was the confirmation.
    QCOMPARE(h.prompt.asked.size(), 1);
    QVERIFY(!w.gUploadNOW.isEmpty());
}

void TestMainWindowOnline::downloadSetupWritesTheBoard()
{
    AppHarness h;
    BoardSimProcess sim;
    QVERIFY(online(h, sim));
    frmMDIMain &w = h.w();
    const QList<int> setup = dataGroupIndexes(DataGroup::SetupData);
    for (int i : setup)
        h.data.gCurrentData.Value[i] = i == 0 ? 7 : (i % 5) + 3;
    h.data.gCurrentData.Value[Item::CanfeedEnableHighSpeed] = 1500;
    const QString untouched = sim.command(QStringLiteral("get D1100"));
    const QString before = w.gUploadNOW;

    h.prompt.answers = {PromptAnswer::Yes};
    w.mnuFileDownloadData_Click(0);
    QCOMPARE(h.util().gTransferMode, qint16(10));
    QCOMPARE(h.prompt.asked.size(), 1);
    for (int i : setup)
        QCOMPARE(sim.command(QStringLiteral("get ") + h.data.gCurrentData.Address[i]),
                 QString::number(h.data.gCurrentData.Value[i]));
    QCOMPARE(sim.command(QStringLiteral("get W1094")), QStringLiteral("1500"));
    QCOMPARE(sim.command(QStringLiteral("get D1100")), untouched);
    QCOMPARE(w.gUploadNOW, before);
}

void TestMainWindowOnline::exitWithChangesCancelKeepsRunningOnline()
{
    AppHarness h;
    BoardSimProcess sim;
    QVERIFY(online(h, sim));
    frmMDIMain &w = h.w();
    QSignalSpy ended(&w, &frmMDIMain::programEnded);
    w.show();
    QVERIFY(QTest::qWaitForWindowExposed(&w));
    h.data.gCurrentData.Value[Item::InfeedOpenBlowoffCans] = 15;

    h.prompt.answers = {PromptAnswer::Cancel};
    w.close();
    QCOMPARE(h.prompt.asked.size(), 1);
    QCOMPARE(h.prompt.asked[0].text, QStringLiteral("Save Changes to File?"));
    QVERIFY(w.isVisible());
    QCOMPARE(ended.count(), 0);
    QVERIFY(h.comm->OnlineMode);
    QVERIFY(h.port->isOpen());
    QCOMPARE(w.panelText(2), QStringLiteral("ONLINE"));

    // No: the link is closed in order and the program ends.
    h.prompt.answers = {PromptAnswer::No};
    h.port->sent.clear();
    w.close();
    QCOMPARE(ended.count(), 1);
    QVERIFY(!h.port->isOpen());
    QVERIFY(!h.comm->OnlineMode);
    QVERIFY(h.port->sent.endsWith('\xFF'));
}

void TestMainWindowOnline::saveOnlineUploadsEverythingFirstWhenAsked()
{
    AppHarness h;
    BoardSimProcess sim;
    QVERIFY(online(h, sim));
    frmMDIMain &w = h.w();
    for (const char *line : {"set B1011 9", "set W1294 4242", "set D1212 65537", "set W830 12"})
        QCOMPARE(sim.command(QString::fromLatin1(line)), QStringLiteral("ok"));

    // Yes to the upload question: all data comes up with no further question.
    const QString path = QDir(h.programDir()).filePath(QStringLiteral("asked.sdt"));
    h.dialogs.answers = {path};
    h.prompt.answers = {PromptAnswer::Yes};
    w.mnuFileSave_Click();
    QCOMPARE(h.prompt.asked.size(), 1);
    QCOMPARE(h.prompt.asked[0].text,
             QStringLiteral("Do you wish to first 'Upload Data' from the T6800?  "));
    QCOMPARE(h.util().gTransferMode, qint16(4));
    QVERIFY(!w.gUploadNOW.isEmpty());
    DataSet saved;
    QCOMPARE(readSetupFile(path, saved), MachineError::None);
    QCOMPARE(saved.Value[0], 9);
    QCOMPARE(saved.Value[120], 4242);
    QCOMPARE(saved.Value[84], 65537);
    QCOMPARE(saved.Value[135], 12);
    QCOMPARE(saved, h.data.gSavedData);
    QCOMPARE(w.windowTitle(), QStringLiteral("KESTRO - [asked.sdt]"));
}

void TestMainWindowOnline::exportOnlineUploadsShiftDataFirstWhenAsked()
{
    AppHarness h;
    BoardSimProcess sim;
    QVERIFY(online(h, sim));
    frmMDIMain &w = h.w();
    for (const char *line : {"set W1124 4321", "set D1200 77", "set W1092 999"})
        QCOMPARE(sim.command(QString::fromLatin1(line)), QStringLiteral("ok"));

    const QString path = QDir(h.programDir()).filePath(QStringLiteral("shift.txt"));
    h.dialogs.answers = {path};
    h.prompt.answers = {PromptAnswer::Yes};
    w.mnuFileExport_Click();
    QCOMPARE(h.prompt.asked.size(), 1);
    QCOMPARE(h.util().gTransferMode, qint16(1));
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QStringList lines = QString::fromUtf8(file.readAll()).split(QStringLiteral("\r\n"));
    QCOMPARE(lines[0], QStringLiteral("untitled"));
    QCOMPARE(lines[1], QStringLiteral("Date: ") + w.gUploadNOW);
    QVERIFY(!w.gUploadNOW.isEmpty());
    QCOMPARE(lines[13], QStringLiteral(" 4321"));
    QCOMPARE(lines[52], QStringLiteral(" 77"));
    // Only the shift data came up.
    QCOMPARE(h.data.gCurrentData.Value[Item::CanfeedEnableLowSpeed], 600);
}

QTEST_MAIN(TestMainWindowOnline)
#include "test_mainwindow_online.moc"
