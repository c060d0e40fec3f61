// The main window against kestro-boardsim on a pty: going online, the
// background cycle's alarm and fault texts, losing the board, data
// transfers with Cancel, saving what was uploaded, and exit while online.

#include "app/childform.h"
#include "app/frmmdimain.h"
#include "app/frmprocessing.h"
#include "appharness.h"
#include "comm/frmsetupcomm.h"
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
    void downloadSetupWritesTheBoard();
    void saveOnlineUploadsEverythingFirstWhenAsked();

private:
    // A started, shown window against a still simulator on port 1.
    bool shown(AppHarness &h, BoardSimProcess &sim)
    {
        if (!h.startWithBoard(sim))
            return false;
        h.w().show();
        h.w().activateWindow();
        return QTest::qWaitForWindowActive(&h.w());
    }
    // The same, taken online with its key.
    bool online(AppHarness &h, BoardSimProcess &sim)
    {
        if (!shown(h, sim))
            return false;
        QTest::keyClick(&h.w(), Qt::Key_F3);
        return h.comm->OnlineMode && panel(h, "MODE") == QLatin1String("ONLINE");
    }
    static QString panel(AppHarness &h, const char *key)
    {
        return h.w().findChild<QLabel *>(key)->text();
    }
};

void TestMainWindowOnline::goingOnlineReadsTheBoardConstantsOncePerRun()
{
    AppHarness h;
    BoardSimProcess sim;
    QVERIFY(shown(h, sim));
    QVERIFY(sim.command(QStringLiteral("set B52 24")) == QLatin1String("ok"));
    frmMDIMain &w = h.w();
    auto item = [&w](const char *name) { return w.findChild<QAction *>(name); };

    QTest::keyClick(&w, Qt::Key_F3);
    QCOMPARE(panel(h, "MODE"), QStringLiteral("ONLINE"));
    QVERIFY(item("mnuViewOnline")->isChecked());
    QVERIFY(!item("mnuViewOffline")->isChecked());
    QVERIFY(item("mnuEditPasscode")->isEnabled());
    QVERIFY(h.util().gBoardInfoRead);
    QCOMPARE(h.data.gSpindleCount, 24);
    // Probe, read handshake, then "B52", "F31" and "W58" and nothing else.
    const QByteArray expected = QByteArray("\xFF\xFF\x01", 3) + readBytes(QStringLiteral("B52")) +
                                readBytes(QStringLiteral("F31")) + readBytes(QStringLiteral("W58"));
    QCOMPARE(h.port->sent.toHex(' '), expected.toHex(' '));
    QVERIFY(h.prompt.asked.isEmpty());

    QTest::keyClick(&w, Qt::Key_F4);
    QCOMPARE(panel(h, "MODE"), QStringLiteral("OFFLINE"));
    QVERIFY(item("mnuViewOffline")->isChecked());
    QVERIFY(!item("mnuEditPasscode")->isEnabled());
    QVERIFY(!h.port->isOpen());

    // A later connection in the same run reads none of them again.
    QVERIFY(sim.command(QStringLiteral("set B52 36")) == QLatin1String("ok"));
    h.port->sent.clear();
    QTest::mouseDClick(w.findChild<QLabel *>("MODE"), Qt::LeftButton);
    QCOMPARE(panel(h, "MODE"), QStringLiteral("ONLINE"));
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
    QCOMPARE(panel(h, "STATUS"), QStringLiteral("System Message:  Alarm(s) Active in T6800"));

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
    QCOMPARE(panel(h, "STATUS"), QStringLiteral("System Message:  Alarm(s) Active in T6800"));

    QCOMPARE(sim.command(QStringLiteral("set W98 0")), QStringLiteral("ok"));
    w.tmrBackgroungUpdate_Timer();
    QCOMPARE(h.util().gSystemMessage,
             QStringLiteral("--- System Normal ---\r\nSet-up Program is Currently ONLINE"));
    QCOMPARE(panel(h, "STATUS"), QStringLiteral("System Message:  All Faults Normal"));
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
    QCOMPARE(panel(h, "STATUS"),
             QStringLiteral("System Message:  Fault Code (5CH): Program checksum fault"));
    QCOMPARE(panel(h, "STATUS"), "System Message:  " + h.comm->FaultDescription(92));

    // The panel follows the fault; the box does not come back.
    QCOMPARE(sim.command(QStringLiteral("set B8176 70")), QStringLiteral("ok"));
    w.tmrBackgroungUpdate_Timer();
    QCOMPARE(panel(h, "STATUS"),
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
    QCOMPARE(panel(h, "STATUS"),
             QStringLiteral("System Message:  Fault Code (05H): CO-CPU dual-port memory error"));
    QCOMPARE(h.prompt.asked.size(), 2);
}

void TestMainWindowOnline::pullingTheBoardEndsInCommFault()
{
    AppHarness h;
    BoardSimProcess sim;
    QVERIFY(online(h, sim));
    frmMDIMain &w = h.w();
    // The shown display's cycle is what notices the lost link.
    if (!w.currentChild()->FormActive)
        w.currentChild()->Form_Activate();
    w.tmrBackgroungUpdate->start();
    QTRY_COMPARE_WITH_TIMEOUT(panel(h, "STATUS"), QStringLiteral("System Message:  All Faults Normal"),
                              5000);

    sim.command(QStringLiteral("close"));
    const QString fault = QStringLiteral("System Message:  Comm Fault with T6800");
    QTRY_VERIFY_WITH_TIMEOUT(panel(h, "STATUS").startsWith(fault), 20000);
    QCOMPARE(panel(h, "MODE"), QStringLiteral("OFFLINE"));
    QVERIFY(!h.comm->OnlineMode);
    QVERIFY(w.findChild<QAction *>("mnuViewOffline")->isChecked());
    QCOMPARE(h.util().gSystemMessage, QStringLiteral("Set-up Program is Currently OFFLINE"));
    // Stays there: later ticks keep reporting the fault, the fault box never came.
    QTest::qWait(1200);
    QVERIFY(panel(h, "STATUS").startsWith(fault));
    QCOMPARE(h.timesAsked(FaultBox), 0);
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
    QVERIFY(chooseMenu(w, {"mnuFile", "mnuFileDownload", "mnuFileDownloadData(0)"}));
    QCOMPARE(h.util().gTransferMode, qint16(10));
    QCOMPARE(h.prompt.asked.size(), 1);
    for (int i : setup)
        QCOMPARE(sim.command(QStringLiteral("get ") + h.data.gCurrentData.Address[i]),
                 QString::number(h.data.gCurrentData.Value[i]));
    QCOMPARE(sim.command(QStringLiteral("get W1094")), QStringLiteral("1500"));
    QCOMPARE(sim.command(QStringLiteral("get D1100")), untouched);
    QCOMPARE(w.gUploadNOW, before);
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
    QTest::keyClick(&w, Qt::Key_S, Qt::ControlModifier);
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
    QCOMPARE(w.windowTitle(), QStringLiteral("KESTRO - [asked.sdt] - [Main Display]"));
}

QTEST_MAIN(TestMainWindowOnline)
#include "test_mainwindow_online.moc"
