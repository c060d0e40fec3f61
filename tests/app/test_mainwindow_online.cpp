// The main window against kestro-boardsim on a pty: going online, the
// background cycle's alarm and fault texts, the passcode and saving what
// was uploaded.

#include "appharness.h"
#include "machine/sdtfile.h"

#include <QLabel>

namespace
{

const QString FaultBox = QStringLiteral("Faults Acitve in Target Board");

QByteArray readBytes(const QString &address)
{
    const DecodedAddress decoded = RSComm::DecodeAddress(address);
    QByteArray bytes;
    for (int a = decoded.ByteAddress; a < decoded.ByteAddress + decoded.byteCount(); ++a)
        bytes.append(char(a / 256)).append(char(a % 256));
    return bytes;
}

} // namespace

class TestMainWindowOnline : public QObject
{
    Q_OBJECT

private slots:
    void goingOnlineReadsTheBoardConstantsOncePerRun()
    {
        AppHarness h;
        BoardSimProcess sim;
        QVERIFY(h.startWithBoard(sim) && h.show());
        frmMDIMain &w = h.w();
        QCOMPARE(sim.command(QStringLiteral("set B52 24")), QStringLiteral("ok"));

        QVERIFY(chooseMenu(w, {"mnuView", "mnuViewOnline"}));
        QCOMPARE(w.panelText(2), QStringLiteral("ONLINE"));
        QCOMPARE(h.data.gSpindleCount, 24);
        // Probe, read handshake, then "B52", "F31" and "W58" and nothing else.
        const QByteArray expected =
            QByteArray("\xFF\xFF\x01", 3) + readBytes("B52") + readBytes("F31") + readBytes("W58");
        QCOMPARE(h.port->sent.toHex(' '), expected.toHex(' '));
        QVERIFY(h.prompt.asked.isEmpty());

        QTest::keyClick(&w, Qt::Key_F4);
        QCOMPARE(w.panelText(2), QStringLiteral("OFFLINE"));
        QVERIFY(!h.port->isOpen());
        // Once a board has answered, the panel no longer says how to go online.
        w.tmrBackgroungUpdate_Timer();
        QCOMPARE(w.panelText(1), QStringLiteral("System Message:  Program is Currently OFFLINE"));

        // A later connection in the same run reads none of them again.
        QCOMPARE(sim.command(QStringLiteral("set B52 36")), QStringLiteral("ok"));
        h.port->sent.clear();
        QTest::mouseDClick(w.findChild<QLabel *>("MODE"), Qt::LeftButton);
        QCOMPARE(w.panelText(2), QStringLiteral("ONLINE"));
        QCOMPARE(h.port->sent.toHex(' '), QByteArray("ff"));
        QCOMPARE(h.data.gSpindleCount, 24);
    }

    void alarmWordTexts()
    {
        AppHarness h;
        BoardSimProcess sim;
        QVERIFY(h.online(sim));
        const QString rule = QString(30, u'-') + " ALARM MESSAGE " + QString(30, u'-') + "\r\n";
        const QString jam = rule + "Infeed Track Jam\r\n \r\n";
        const QString timing = rule + "Timing Signal Failure\r\nVerify Resolver Operation\r\n";
        const QString alarms = QStringLiteral("System Message:  Alarm(s) Active in T6800");
        const QList<std::tuple<int, QString, QString>> cases = {
            {5, jam + timing, alarms},
            // Bit 3 has no text, but the panel still reports alarms.
            {8, QString(), alarms},
            {0, "--- System Normal ---\r\nSet-up Program is Currently ONLINE",
             "System Message:  All Faults Normal"}};
        for (const auto &[word, message, status] : cases) {
            QCOMPARE(sim.command(QStringLiteral("set W98 %1").arg(word)), QStringLiteral("ok"));
            h.w().tmrBackgroungUpdate_Timer();
            QCOMPARE(h.util().gSystemMessage, message);
            QCOMPARE(h.w().panelText(1), status);
        }
        QVERIFY(h.prompt.asked.isEmpty());
        // The device gone while the link is idle: the tick's first send meets it.
        sim.command(QStringLiteral("close"));
        h.w().tmrBackgroungUpdate_Timer();
        QVERIFY(h.comm->CommError); // a failed send is a link error, never a reading
    }

    void faultBoxOncePerEpisode()
    {
        AppHarness h;
        BoardSimProcess sim;
        QVERIFY(h.online(sim));
        frmMDIMain &w = h.w();
        auto boxes = [&] {
            return int(std::count_if(h.prompt.asked.begin(), h.prompt.asked.end(),
                                     [](const auto &a) { return a.text == FaultBox; }));
        };
        // A tick that comes while the box is open must not open another.
        int nestedTicks = 0;
        h.prompt.onAsk = [&](const ScriptedPrompt::Asked &asked) {
            if (asked.text == FaultBox && nestedTicks++ < 3)
                w.tmrBackgroungUpdate_Timer();
        };
        // Sets the board's registers, then one background tick.
        auto tick = [&](const QStringList &commands) {
            for (const QString &command : commands)
                QCOMPARE(sim.command(command), QStringLiteral("ok"));
            w.tmrBackgroungUpdate_Timer();
        };
        tick({"set B8176 92"});
        tick({"set B8176 92"});
        QCOMPARE(nestedTicks, 1);
        QCOMPARE(boxes(), 1);
        QCOMPARE(h.util().gSystemMessage,
                 QStringLiteral(
                     "****** PROCESSOR FAULTED ******\r\nSet-up Program is Currently ONLINE"));
        QCOMPARE(w.panelText(1),
                 QStringLiteral("System Message:  Fault Code (5CH): Program checksum fault"));
        // The panel follows the fault; into an alarm and back is the same episode.
        tick({"set B8176 70"});
        QCOMPARE(w.panelText(1),
                 QStringLiteral("System Message:  Fault Code (46H): Math error, divide by zero"));
        tick({"set B8176 0", "set W98 1"});
        tick({"set B8176 92"});
        QCOMPARE(boxes(), 1);
        // Through the normal state: a new episode shows the box again.
        tick({"set B8176 0", "set W98 0"});
        QVERIFY(!w.FaultMsgShown);
        tick({"set B8176 5"});
        tick({"set B8176 5"});
        QCOMPARE(boxes(), 2);
        QCOMPARE(h.prompt.asked.size(), 2);
    }

    // Shows the board's value; only a whole number in range is written, and
    // nothing is read or written after a link error.
    void passcode()
    {
        AppHarness h;
        BoardSimProcess sim;
        QVERIFY(h.online(sim));
        QCOMPARE(sim.command(QStringLiteral("set W1298 4321")), QStringLiteral("ok"));
        h.prompt.inputAnswers = {QString(), QStringLiteral("1.5"), QStringLiteral("1298")};
        for (int i = 0; i < 3; ++i) {
            QVERIFY(backInFront(h.w()));
            QVERIFY(chooseMenu(h.w(), {"mnuEdit", "mnuEditPasscode"}));
            QCOMPARE(h.prompt.inputs[i].defaultText, QStringLiteral("4321"));
            if (i < 2)
                QVERIFY(!wroteAnything(*h.port));
        }
        QCOMPARE(h.prompt.asked.size(), 1); // the fraction is refused
        QCOMPARE(sim.command(QStringLiteral("get W1298")), QStringLiteral("1298"));

        h.comm->CommError = true;
        h.prompt.inputAnswers = {QStringLiteral("77")};
        const qsizetype sent = h.port->sent.size();
        QVERIFY(backInFront(h.w()));
        QVERIFY(chooseMenu(h.w(), {"mnuEdit", "mnuEditPasscode"}));
        QCOMPARE(h.prompt.inputs.size(), 4);
        QCOMPARE(h.prompt.inputs.last().defaultText, QString());
        QCOMPARE(h.port->sent.size(), sent);
        QCOMPARE(sim.command(QStringLiteral("get W1298")), QStringLiteral("1298"));
    }

    // Yes to the upload question: all data comes up with no further question.
    void saveOnlineUploadsEverythingFirstWhenAsked()
    {
        AppHarness h;
        BoardSimProcess sim;
        QVERIFY(h.online(sim));
        for (const char *line : {"set B1011 9", "set W1294 4242", "set D1212 65537", "set W830 12"})
            QCOMPARE(sim.command(QString::fromLatin1(line)), QStringLiteral("ok"));
        const QString path = QDir(h.programDir()).filePath(QStringLiteral("asked.sdt"));
        h.dialogs.answers = {path};
        h.prompt.answers = {PromptAnswer::Yes};
        QTest::keyClick(&h.w(), Qt::Key_S, Qt::ControlModifier);
        QCOMPARE(h.prompt.asked.size(), 1);
        QCOMPARE(h.util().gTransferMode, qint16(4));
        DataSet saved;
        QCOMPARE(readSetupFile(path, saved), MachineError::None);
        QCOMPARE(
            (QList<qint32>{saved.Value[0], saved.Value[120], saved.Value[84], saved.Value[135]}),
            (QList<qint32>{9, 4242, 65537, 12}));
        QCOMPARE(saved, h.data.gSavedData);
    }
};

QTEST_MAIN(TestMainWindowOnline)
#include "test_mainwindow_online.moc"
