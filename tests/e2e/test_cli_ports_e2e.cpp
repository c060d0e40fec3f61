#include "fakes/boardsimprocess.h"
#include "fakes/programrun.h"

#include <QtTest>

// kestro-cli ports: the listing, and a port assigned to the simulated board
// that is then read through. The tool runs from a copy in a folder of its own,
// so the links it writes land there and not beside the shared build.
class TestCliPortsE2E : public QObject
{
    Q_OBJECT

    QTemporaryDir m_program;
    QTemporaryDir m_config;
    BoardSimProcess m_sim;

    using Run = ProgramRun;

    Run cli(const QStringList &args)
    {
        QProcess p;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("XDG_CONFIG_HOME"), m_config.path());
        p.setProcessEnvironment(env);
        p.setProgram(m_program.filePath(QStringLiteral("kestro-cli")));
        p.setArguments(args);
        p.start();
        p.closeWriteChannel();
        return ProgramRun::finish(p, 30000);
    }

private slots:
    void initTestCase()
    {
        QVERIFY(QFile::copy(QDir(BoardSimProcess::binDir()).filePath(QStringLiteral("kestro-cli")),
                            m_program.filePath(QStringLiteral("kestro-cli"))));
        QFile::setPermissions(m_program.filePath(QStringLiteral("kestro-cli")),
                              QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        QVERIFY(QDir(m_program.path()).mkpath(QStringLiteral("Support")));
        QVERIFY(m_sim.start({QStringLiteral("--frozen")}));
    }
    void cleanupTestCase() { m_sim.stop(); }

    void listsTheSettingsAndThePort()
    {
        const Run r = cli({QStringLiteral("ports")});
        QCOMPARE(r.exitCode, 0);
        QVERIFY2(r.out.contains(QStringLiteral("Settings: port 1 at 9600 baud (defaults)")),
                 qPrintable(r.out));
        QVERIFY2(r.out.contains(QStringLiteral("Port 1 is /dev/ttyS0: ")), qPrintable(r.out));
        QVERIFY(r.out.contains(QStringLiteral("Serial devices:\n")));
        // Listing changes nothing.
        QCOMPARE(QDir(m_program.filePath(QStringLiteral("Support")))
                     .entryList(QDir::NoDotAndDotDot | QDir::AllEntries | QDir::System),
                 QStringList());
    }

    void assignsAPortThatIsThenUsed()
    {
        const Run a = cli({QStringLiteral("ports"), QStringLiteral("--assign"),
                           QStringLiteral("33"), m_sim.slavePath()});
        QCOMPARE(a.exitCode, 0);
        const QString link = m_program.filePath(QStringLiteral("Support/COM33"));
        QCOMPARE(QFileInfo(link).symLinkTarget(), m_sim.slavePath());
        QVERIFY2(a.out.contains(QStringLiteral("Port 33 is Support/COM33 -> ") + m_sim.slavePath() +
                                QStringLiteral(": usable")),
                 qPrintable(a.out));

        // Options may also stand before the command.
        const Run shown =
            cli({QStringLiteral("--port"), QStringLiteral("33"), QStringLiteral("ports")});
        QCOMPARE(shown.exitCode, 0);
        QVERIFY(shown.out.contains(QStringLiteral("Port 33 is Support/COM33 -> ")));

        m_sim.command(QStringLiteral("set W98 4321"));
        const Run r = cli({QStringLiteral("--port"), QStringLiteral("33"), QStringLiteral("read"),
                           QStringLiteral("W98")});
        QCOMPARE(r.exitCode, 0);
        QCOMPARE(r.out.trimmed(), QStringLiteral("4321"));
    }

    void refusesWhatCannotBeAssigned()
    {
        Run r = cli({QStringLiteral("ports"), QStringLiteral("--assign"), QStringLiteral("0"),
                     m_sim.slavePath()});
        QCOMPARE(r.exitCode, 2);
        r = cli({QStringLiteral("ports"), QStringLiteral("--assign"), QStringLiteral("2"),
                 QStringLiteral("/dev/kestro-no-such-device")});
        QCOMPARE(r.exitCode, 2);
        QVERIFY(r.err.contains(QStringLiteral("does not exist")));
        r = cli({QStringLiteral("ports"), QStringLiteral("--assign"), QStringLiteral("2")});
        QCOMPARE(r.exitCode, 2);
        QVERIFY(!QFileInfo::exists(m_program.filePath(QStringLiteral("Support/COM2"))));
    }
};

QTEST_GUILESS_MAIN(TestCliPortsE2E)
#include "test_cli_ports_e2e.moc"
