#include "comm/clock.h"
#include "comm/posixserialport.h"
#include "fakes/boardsimprocess.h"
#include "fakes/programrun.h"

#include <QtTest>

#include <sys/stat.h>
#include <unistd.h>

// kestro-cli against the link faults a technician meets: the link check on
// each of them, and an adapter pulled during an upload and plugged back in.
// The tool runs from a copy in a folder of its own, with port 5 leading to a
// stable name that the simulator makes, as udev makes /dev/serial/by-id.
class TestCliLinkE2E : public QObject
{
    Q_OBJECT

    QTemporaryDir m_program;
    QString stableName() const { return m_program.filePath(QStringLiteral("by-id/usb-board")); }

    using Run = ProgramRun;

    Run cli(const QStringList &args, const QStringList &runAs = {})
    {
        QProcess p;
        const QString tool = m_program.filePath(QStringLiteral("kestro-cli"));
        p.setProgram(runAs.isEmpty() ? tool : runAs.first());
        p.setArguments(runAs.isEmpty() ? args : runAs.mid(1) + QStringList{tool} + args);
        p.start();
        p.closeWriteChannel();
        return ProgramRun::finish(p, 60000);
    }

    bool startBoard(BoardSimProcess &sim, QStringList args)
    {
        args << QStringLiteral("--frozen") << QStringLiteral("--link") << stableName();
        return sim.start(args);
    }

private slots:
    void initTestCase()
    {
        const QString tool = m_program.filePath(QStringLiteral("kestro-cli"));
        QVERIFY(QFile::copy(QDir(BoardSimProcess::binDir()).filePath(QStringLiteral("kestro-cli")),
                            tool));
        // Readable by everyone: one case runs the tool as an ordinary user.
        QFile::setPermissions(tool, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner |
                                        QFile::ReadOther | QFile::ExeOther);
        ::chmod(QFile::encodeName(m_program.path()).constData(), 0755);
        QVERIFY(QDir(m_program.path()).mkpath(QStringLiteral("Support")));
        QVERIFY(QDir(m_program.path()).mkpath(QStringLiteral("by-id")));
        ::chmod(QFile::encodeName(m_program.filePath(QStringLiteral("Support"))).constData(), 0755);
        QVERIFY(QFile::link(stableName(), m_program.filePath(QStringLiteral("Support/COM5"))));
    }

    void doctorNamesEachFault_data()
    {
        QTest::addColumn<QStringList>("simArgs"); // empty: no simulator at all
        QTest::addColumn<QStringList>("cliArgs");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QStringList>("words");
        const QStringList port{QStringLiteral("--port"), QStringLiteral("5"),
                               QStringLiteral("doctor")};
        QTest::newRow("healthy")
            << QStringList{} << port << 0
            << QStringList{"Result: the board answered cleanly.",
                           "Exchanges: 200, round trip median ", "0 wrong echoes, 0 time-outs",
                           "Upload All (586 exchanges) projected: 1.2 s (the wire alone: 1.22 s)",
                           "Low-latency mode: not offered by the driver"};
        QTest::newRow("noisy line") << QStringList{"--garbage-every", "7"} << port << 3
                                    << QStringList{"Result: the board answers, but ",
                                                   "Fix: check the cable and its connectors"};
        QTest::newRow("silent") << QStringList{"--silent"} << port << 3
                                << QStringList{"Result: no answer at 9600 or 19200 baud.",
                                               "Fix: check that the cable goes to the board's "
                                               "PROG port"};
        QTest::newRow("loopback")
            << QStringList{"--loopback"} << port << 3
            << QStringList{"Result: every byte came back unchanged, the handshake included: a "
                           "loopback plug or a shorted cable"};
        QTest::newRow("board at 19200, port at 9600")
            << QStringList{"--board-speed", "19200"} << port << 3
            << QStringList{"Result: no answer at 9600 baud, but the board answers at 19200 baud.",
                           "Fix: set the port speed to 19200"};
        QTest::newRow("noise at both speeds")
            << QStringList{"--board-speed", "19200"} << QStringList{"--port", "5", "--speed", "9600", "doctor"}
            << 3 << QStringList{"at 9600 baud"};
        QTest::newRow("missing device")
            << QStringList{"none"} << port << 3
            << QStringList{"Result: the device " + stableName() + " does not exist.",
                           "Serial devices present: ",
                           "Fix: plug the adapter in (dmesg | tail shows it arrive), or make the "
                           "port lead to a device that exists: kestro-cli ports --assign 5 DEVICE"};
    }
    void doctorNamesEachFault()
    {
        QFETCH(QStringList, simArgs);
        QFETCH(QStringList, cliArgs);
        BoardSimProcess sim;
        if (simArgs != QStringList{QStringLiteral("none")})
            QVERIFY(startBoard(sim, simArgs));
        const Run r = cli(cliArgs);
        QFETCH(QStringList, words);
        for (const QString &w : words)
            QVERIFY2(r.out.contains(w), qPrintable(w + QStringLiteral("\n---\n") + r.out + r.err));
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
        const Run r = cli({QStringLiteral("--port"), QStringLiteral("5"), QStringLiteral("doctor")});
        QCOMPARE(r.exitCode, 3);
        QFile comm(QStringLiteral("/proc/self/comm"));
        QVERIFY(comm.open(QIODevice::ReadOnly));
        const QString me = QString::fromUtf8(comm.readAll()).trimmed();
        // The simulator holds its own side open too, as a board cannot.
        QVERIFY2(r.out.contains(QStringLiteral("Result: %1 is held by another program: ")
                                    .arg(sim.slavePath())),
                 qPrintable(r.out));
        QVERIFY2(r.out.contains(QStringLiteral("%1 (pid %2)").arg(me).arg(::getpid())),
                 qPrintable(r.out));
        QVERIFY(r.out.contains(QStringLiteral("Fix: close that program")));
    }

    void doctorTellsAUserWithoutPermissionWhatToDo()
    {
        if (::geteuid() != 0)
            QSKIP("needs root to run the tool as the user nobody");
        if (QStandardPaths::findExecutable(QStringLiteral("setpriv")).isEmpty())
            QSKIP("setpriv (util-linux) is not installed");
        BoardSimProcess sim;
        QVERIFY(startBoard(sim, {}));
        // The pty belongs to root, without access for others.
        const Run r = cli({QStringLiteral("--port"), QStringLiteral("5"), QStringLiteral("doctor")},
                          {QStringLiteral("setpriv"), QStringLiteral("--reuid=nobody"),
                           QStringLiteral("--regid=nogroup"), QStringLiteral("--clear-groups"),
                           QStringLiteral("--")});
        QCOMPARE(r.exitCode, 3);
        QVERIFY2(r.out.contains(QStringLiteral("Result: no permission to open %1 (it belongs to "
                                               "the group ")
                                    .arg(sim.slavePath())),
                 qPrintable(r.out + r.err));
        QVERIFY2(r.out.contains(QStringLiteral("sudo usermod -aG ")), qPrintable(r.out));
    }

    void uploadFailsWhenTheAdapterIsPulledAndWorksOnceItIsBack()
    {
        const QString file = m_program.filePath(QStringLiteral("line.sdt"));
        const QStringList upload{QStringLiteral("--port"), QStringLiteral("5"),
                                 QStringLiteral("upload"), QStringLiteral("all"), file};
        const auto content = [&file] {
            QFile f(file);
            return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
        };
        QByteArray before;
        {
            BoardSimProcess first;
            QVERIFY(startBoard(first, {}));
            QCOMPARE(cli(upload).exitCode, 0);
            before = content();
            QVERIFY(!before.isEmpty());
        }
        BoardSimProcess pulled;
        // The adapter goes half-way through the upload.
        QVERIFY(startBoard(pulled, {QStringLiteral("--close-after"), QStringLiteral("400")}));
        const Run gone = cli(upload);
        QVERIFY2(gone.exitCode == 3, qPrintable(gone.err));
        QVERIFY2(gone.err.contains(QStringLiteral("kestro-cli: the device Support/COM5 -> ") +
                                   pulled.slavePath() +
                                   QStringLiteral(" went away during the command")),
                 qPrintable(gone.err));
        QCOMPARE(content(), before);

        // Plugged in again: the same stable name, another pty behind it.
        BoardSimProcess back;
        QVERIFY(startBoard(back, {}));
        back.command(QStringLiteral("set B1000 77"));
        const Run again = cli(upload);
        QVERIFY2(again.exitCode == 0, qPrintable(again.err));
        QVERIFY(content() != before);
    }
};

QTEST_GUILESS_MAIN(TestCliLinkE2E)
#include "test_cli_link_e2e.moc"
