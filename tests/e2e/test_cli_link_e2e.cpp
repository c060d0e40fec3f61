#include "comm/clock.h"
#include "comm/posixserialport.h"
#include "fakes/boardsimprocess.h"
#include "fakes/programrun.h"

#include <QtTest>

#include <sys/stat.h>
#include <unistd.h>

// kestro-cli against the link faults a technician meets: the link check on
// each, and an adapter pulled during an upload and plugged back in. The tool
// runs from a copy whose port 5 leads to a stable name that the simulator
// makes, as udev makes /dev/serial/by-id.
class TestCliLinkE2E : public QObject
{
    Q_OBJECT

    QTemporaryDir m_program;
    QString stableName() const { return m_program.filePath("by-id/usb-board"); }

    // The copy with the arguments, or another program running the copy.
    ProgramRun cli(const QStringList &args, QStringList runAs = {})
    {
        const QString tool = m_program.filePath("kestro-cli");
        QProcess p;
        ProgramRun::start(
            p, runAs.isEmpty() ? tool : QStandardPaths::findExecutable(runAs.takeFirst()),
            runAs.isEmpty() ? args : runAs + QStringList{tool} + args);
        return ProgramRun::finish(p);
    }
    bool startBoard(BoardSimProcess &sim, QStringList args)
    {
        return sim.start(args << "--frozen"
                              << "--link" << stableName());
    }

private slots:
    void initTestCase()
    {
        const QString tool = m_program.filePath("kestro-cli");
        QVERIFY(QFile::copy(ProgramRun::path("kestro-cli"), tool));
        // Open to everyone: one case runs the tool as an ordinary user.
        QFile::setPermissions(tool, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner |
                                        QFile::ReadOther | QFile::ExeOther);
        QVERIFY(QDir(m_program.path()).mkpath("Support") && QDir(m_program.path()).mkpath("by-id"));
        for (const QString &dir : {m_program.path(), m_program.filePath("Support")})
            ::chmod(QFile::encodeName(dir).constData(), 0755);
        QVERIFY(QFile::link(stableName(), m_program.filePath("Support/COM5")));
    }

    // The simulator's options ("none": no simulator), after ";" the tool's own.
    void doctorNamesEachFault_data()
    {
        QTest::addColumn<QString>("options");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QStringList>("words");
        QTest::newRow("healthy")
            << "" << 0
            << QStringList{"Result: the board answered cleanly.",
                           "Exchanges: 200, round trip median ", "0 wrong echoes, 0 time-outs",
                           "Upload All (586 exchanges) projected: 1.2 s (the wire alone: 1.22 s)",
                           "Low-latency mode: not offered by the driver"};
        QTest::newRow("noisy line") << "--garbage-every 7" << 3
                                    << QStringList{"Result: the board answers, but ",
                                                   "Fix: check the cable and its connectors"};
        QTest::newRow("silent") << "--silent" << 3
                                << QStringList{
                                       "Result: no answer at 9600 or 19200 baud.",
                                       "Fix: check that the cable goes to the board's PROG port"};
        QTest::newRow("loopback")
            << "--loopback" << 3
            << QStringList{"Result: every byte came back unchanged, the handshake included: a "
                           "loopback plug or a shorted cable"};
        QTest::newRow("board at 19200")
            << "--board-speed 19200" << 3
            << QStringList{"Result: no answer at 9600 baud, but the board answers at 19200 baud.",
                           "Fix: set the port speed to 19200"};
        QTest::newRow("speed given")
            << "--board-speed 19200;--speed 9600" << 3 << QStringList{"at 9600 baud"};
        QTest::newRow("missing device")
            << "none" << 3
            << QStringList{"Result: the device " + stableName() + " does not exist.",
                           "Serial devices present: ",
                           "Fix: plug the adapter in (dmesg | tail shows it arrive), or make the "
                           "port lead to a device that exists: kestro-cli ports --assign 5 DEVICE"};
    }
    void doctorNamesEachFault()
    {
        QFETCH(QString, options);
        QFETCH(QStringList, words);
        BoardSimProcess board;
        if (options != u"none")
            QVERIFY(startBoard(board, options.section(u';', 0, 0).split(u' ', Qt::SkipEmptyParts)));
        const ProgramRun r = cli(QStringList{"--port", "5", "doctor"} +
                                 options.section(u';', 1).split(u' ', Qt::SkipEmptyParts));
        for (const QString &w : words)
            QVERIFY2(r.out.contains(w), qPrintable(w + "\n---\n" + r.out + r.err));
        QTEST(r.exitCode, "exitCode");
    }

    void doctorNamesTheProgramThatHoldsThePort()
    {
        BoardSimProcess sim;
        QVERIFY(startBoard(sim, {}));
        SteadyClock clock;
        PosixSerialPort holder(clock, m_program.path());
        holder.setPortNumber(5);
        QVERIFY(holder.open());
        const ProgramRun r = cli({"--port", "5", "doctor"});
        QCOMPARE(r.exitCode, 3);
        QFile comm("/proc/self/comm");
        QVERIFY(comm.open(QIODevice::ReadOnly));
        const QString me = QString::fromUtf8(comm.readAll()).trimmed();
        QVERIFY2(
            r.out.contains(
                QStringLiteral("Result: %1 is held by another program: ").arg(sim.slavePath())) &&
                r.out.contains(QStringLiteral("%1 (pid %2)").arg(me).arg(::getpid())) &&
                r.out.contains("Fix: close that program"),
            qPrintable(r.out));
    }

    void doctorTellsAUserWithoutPermissionWhatToDo()
    {
        if (::geteuid() != 0 || QStandardPaths::findExecutable("setpriv").isEmpty())
            QSKIP("needs root and setpriv to run the tool as the user nobody");
        BoardSimProcess sim;
        QVERIFY(startBoard(sim, {}));
        // The pty belongs to root, without access for others.
        const ProgramRun r =
            cli({"--port", "5", "doctor"},
                {"setpriv", "--reuid=nobody", "--regid=nogroup", "--clear-groups", "--"});
        QCOMPARE(r.exitCode, 3);
        QVERIFY2(r.out.contains(
                     QStringLiteral("Result: no permission to open %1 (it belongs to the group ")
                         .arg(sim.slavePath())) &&
                     r.out.contains("sudo usermod -aG "),
                 qPrintable(r.out + r.err));
    }

    void uploadFailsWhenTheAdapterIsPulledAndWorksOnceItIsBack()
    {
        const QString file = m_program.filePath("line.sdt");
        const QStringList upload{"--port", "5", "upload", "all", file};
        const auto content = [&file] {
            QFile f(file);
            return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
        };
        {
            BoardSimProcess first;
            QVERIFY(startBoard(first, {}));
            QCOMPARE(cli(upload).exitCode, 0);
        }
        const QByteArray before = content();
        BoardSimProcess pulled; // the adapter goes half-way through
        QVERIFY(startBoard(pulled, {"--close-after", "400"}));
        const ProgramRun gone = cli(upload);
        QVERIFY2(gone.exitCode == 3 &&
                     gone.err.contains("kestro-cli: the device Support/COM5 -> " +
                                       pulled.slavePath() + " went away during the command"),
                 qPrintable(gone.err));
        QCOMPARE(content(), before);
        // Plugged in again: the same stable name, another pty behind it.
        BoardSimProcess back;
        QVERIFY(startBoard(back, {}));
        back.command("set B1000 77");
        QCOMPARE(cli(upload).exitCode, 0);
        QVERIFY(content() != before);
    }
};

QTEST_GUILESS_MAIN(TestCliLinkE2E)
#include "test_cli_link_e2e.moc"
