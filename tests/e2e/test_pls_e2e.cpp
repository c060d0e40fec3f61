#include "fakes/boardsimprocess.h"
#include "fakes/programrun.h"

#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QtTest>

// kestro-cli's limit-switch commands against the simulated board, through a real pty.
class TestPlsE2E : public QObject
{
    Q_OBJECT

    using Run = ProgramRun;

    static Run cli(int port, const QStringList &args)
    {
        return ProgramRun::cli(port, QStringList{QStringLiteral("pls")} + args, 30000);
    }
    Run pls(const QStringList &args) { return cli(kPort, args); }

    QString writeFile(const QString &name, const QByteArray &content)
    {
        const QString path = m_dir.filePath(name);
        QFile f(path);
        if (!f.open(QIODevice::WriteOnly))
            return {};
        f.write(content);
        return path;
    }
    qint64 traceSize() const { return QFileInfo(m_dir.filePath(QStringLiteral("trace"))).size(); }

    QTemporaryDir m_dir;
    BoardSimProcess m_sim;
    static constexpr int kPort = 61;

private slots:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        QVERIFY(m_sim.startOnCliPort(kPort, {QStringLiteral("--frozen"), QStringLiteral("--trace"),
                                             m_dir.filePath(QStringLiteral("trace"))}));
    }
    void cleanupTestCase() { m_sim.stop(); }

    void setpointProgrammedAndRecalled()
    {
        Run r = pls({QStringLiteral("setpoint"), QStringLiteral("3"), QStringLiteral("100"),
                     QStringLiteral("200")});
        QVERIFY2(r.exitCode == 0, qPrintable(r.err));
        QCOMPARE(m_sim.command(QStringLiteral("pls channel 3")),
                 QStringLiteral("setpoint 100 200"));
        r = pls({QStringLiteral("recall"), QStringLiteral("3")});
        QVERIFY2(r.exitCode == 0, qPrintable(r.err));
        QCOMPARE(r.out, QStringLiteral("state 1\nposition 100\n"));

        r = pls({QStringLiteral("setpoint"), QStringLiteral("3"), QStringLiteral("5"),
                 QStringLiteral("359"), QStringLiteral("--clear")});
        QVERIFY2(r.exitCode == 0, qPrintable(r.err));
        QCOMPARE(m_sim.command(QStringLiteral("pls channel 3")), QStringLiteral("setpoint 5 359"));
    }

    void pulseTrainProgrammedRecalledAndCleared()
    {
        Run r = pls({QStringLiteral("pulse"), QStringLiteral("4"), QStringLiteral("10"),
                     QStringLiteral("20"), QStringLiteral("300")});
        QVERIFY2(r.exitCode == 0, qPrintable(r.err));
        QCOMPARE(m_sim.command(QStringLiteral("pls channel 4")), QStringLiteral("pulse 300 10 20"));
        r = pls({QStringLiteral("recall"), QStringLiteral("4")});
        QVERIFY2(r.exitCode == 0, qPrintable(r.err));
        QCOMPARE(r.out, QStringLiteral("state 0\nposition 300\n"));

        r = pls({QStringLiteral("clear"), QStringLiteral("4")});
        QVERIFY2(r.exitCode == 0, qPrintable(r.err));
        QCOMPARE(m_sim.command(QStringLiteral("pls channel 4")), QStringLiteral("clear"));
        r = pls({QStringLiteral("recall"), QStringLiteral("4")});
        QCOMPARE(r.out, QStringLiteral("state 0\nposition 0\n"));
    }

    void configurationDownloadAndUpload()
    {
        QByteArray content;
        QStringList expected;
        for (int i = 0; i < 24; ++i) {
            content += QByteArray::number(100 + i * 5) + '\n';
            expected << QString::number(100 + i * 5);
        }
        const QString in = writeFile(QStringLiteral("config.txt"), content);
        Run r = pls({QStringLiteral("config-download"), in, QStringLiteral("720")});
        QVERIFY2(r.exitCode == 0, qPrintable(r.err));
        QCOMPARE(m_sim.command(QStringLiteral("pls config")), expected.join(u' '));
        QCOMPARE(m_sim.command(QStringLiteral("get W186")), QStringLiteral("720"));
        // Without a scale the board's own is kept.
        r = pls({QStringLiteral("config-download"), in});
        QVERIFY2(r.exitCode == 0, qPrintable(r.err));
        QCOMPARE(m_sim.command(QStringLiteral("get W186")), QStringLiteral("720"));
        QCOMPARE(m_sim.command(QStringLiteral("set W186 360")), QStringLiteral("ok"));

        const QString out = m_dir.filePath(QStringLiteral("upload.txt"));
        r = pls({QStringLiteral("config-upload"), out});
        QVERIFY2(r.exitCode == 0, qPrintable(r.err));
        QFile f(out);
        QVERIFY(f.open(QIODevice::ReadOnly));
        QByteArray lines;
        for (int i = 0; i < 19; ++i)
            lines += expected[i].toLatin1() + "\r\n";
        QCOMPARE(f.readAll(), lines);
    }

    void badConfigurationFilesSendNothing_data()
    {
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("message");
        QByteArray ones;
        for (int i = 0; i < 24; ++i)
            ones += "1\n";
        QByteArray big = ones;
        big.replace(0, 2, "256\n");
        QByteArray word = ones;
        word.replace(0, 2, "x1\n");
        QTest::newRow("23 values") << ones.left(46) << 5 << "holds 23 values, 24 needed";
        QTest::newRow("25 values") << ones + "1\n" << 5 << "holds 25 values, 24 needed";
        QTest::newRow("19 uploaded values") << ones.left(38) << 5 << "holds 19 values, 24 needed";
        QTest::newRow("value 256") << big << 4 << "value 1 (256) out of range (0-255)";
        QTest::newRow("not a number") << word << 5 << "line 1: not a whole number";
    }
    void badConfigurationFilesSendNothing()
    {
        QFETCH(QByteArray, content);
        QFETCH(int, exitCode);
        QFETCH(QString, message);
        const QString path = writeFile(QStringLiteral("bad.txt"), content);
        const QString before = m_sim.command(QStringLiteral("pls config"));
        const qint64 traced = traceSize();
        const Run r = pls({QStringLiteral("config-download"), path, QStringLiteral("360")});
        QCOMPARE(r.exitCode, exitCode);
        QVERIFY2(r.err.contains(message), qPrintable(r.err));
        QCOMPARE(traceSize(), traced); // not one byte on the link
        QCOMPARE(m_sim.command(QStringLiteral("pls config")), before);
    }

    void fileErrors()
    {
        Run r = pls({QStringLiteral("config-download"), m_dir.filePath(QStringLiteral("none"))});
        QCOMPARE(r.exitCode, 5);
        r = pls({QStringLiteral("config-upload"), m_dir.filePath(QStringLiteral("no/such/dir"))});
        QCOMPARE(r.exitCode, 5);
    }

    void failedUploadLeavesTheFileAlone()
    {
        BoardSimProcess vanishing;
        // Probe, handshake (2) and five values; the ninth byte is not answered.
        QVERIFY(vanishing.startOnCliPort(
            kPort + 3,
            {QStringLiteral("--frozen"), QStringLiteral("--close-after"), QStringLiteral("9")}));
        const QString path = writeFile(QStringLiteral("kept.txt"), "earlier\n");
        const Run r = cli(kPort + 3, {QStringLiteral("config-upload"), path});
        QCOMPARE(r.exitCode, 3);
        QVERIFY2(r.err.contains(
                     QStringLiteral("[PLS Upload] Not able to Upload Configuration from PLS.")),
                 qPrintable(r.err));
        QFile f(path);
        QVERIFY(f.open(QIODevice::ReadOnly));
        QCOMPARE(f.readAll(), QByteArray("earlier\n"));
        QCOMPARE(QDir(m_dir.path()).entryList(QDir::Files | QDir::Hidden).filter(u"kept"),
                 QStringList{QStringLiteral("kept.txt")});
    }

    void usageErrors()
    {
        QCOMPARE(pls({}).exitCode, 2);
        QCOMPARE(pls({QStringLiteral("frobnicate")}).exitCode, 2);
        QCOMPARE(
            pls({QStringLiteral("setpoint"), QStringLiteral("1"), QStringLiteral("2")}).exitCode,
            2);
        QCOMPARE(pls({QStringLiteral("clear"), QStringLiteral("one")}).exitCode, 2);
        QCOMPARE(pls({QStringLiteral("clear"), QStringLiteral("256")}).exitCode, 4);
        QCOMPARE(pls({QStringLiteral("offset"), QStringLiteral("-1")}).exitCode, 4);
    }

};

QTEST_GUILESS_MAIN(TestPlsE2E)
#include "test_pls_e2e.moc"
