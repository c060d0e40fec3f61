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

    void offsetMakesPositionReadAsAsked()
    {
        Run r = pls({QStringLiteral("offset"), QStringLiteral("90")});
        QVERIFY2(r.exitCode == 0, qPrintable(r.err));
        r = pls({QStringLiteral("query")});
        QVERIFY2(r.exitCode == 0, qPrintable(r.err));
        const QString offset = m_sim.command(QStringLiteral("get W188"));
        QCOMPARE(r.out, QStringLiteral("scale-factor 360\noffset %1\nposition 90\nspeed %2\n")
                            .arg(offset, m_sim.command(QStringLiteral("get W112"))));
        QCOMPARE(m_sim.command(QStringLiteral("get W180")), QStringLiteral("90"));

        QVERIFY(pls({QStringLiteral("offset"), QStringLiteral("359")}).exitCode == 0);
        QCOMPARE(m_sim.command(QStringLiteral("get W180")), QStringLiteral("359"));
    }

    void refusedValuesSendNothing_data()
    {
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<QString>("message");
        QTest::newRow("setpoint 360") << QStringList{"setpoint", "3", "360", "10"}
                                      << "[PLS Single Setpoint] Setpoint setting 360 is greater "
                                         "than scale factor.\n\nChannel can not be programmed.";
        QTest::newRow("pulse 7+10") << QStringList{"pulse", "3", "7", "10", "0"}
                                    << "[PLS Pulse Train] ON Division Plus OFF Division\nMust be "
                                       "a Multiple of 360.\n\nPLS Channel will not be Programmed.";
        QTest::newRow("pulse ON 256") << QStringList{"pulse", "3", "256", "104", "0"}
                                      << "ON Division or OFF Division Must be Less Than 255.";
        QTest::newRow("offset 361") << QStringList{"offset", "361"}
                                    << "[Set PLS Offset] Desired Position cannot be greater than "
                                       "Scale Factor of 360.";
    }
    void refusedValuesSendNothing()
    {
        QFETCH(QStringList, args);
        QFETCH(QString, message);
        const QString before = m_sim.command(QStringLiteral("pls channel 3"));
        const QString offsetBefore = m_sim.command(QStringLiteral("get W188"));
        const Run r = pls(args);
        QCOMPARE(r.exitCode, 4);
        QVERIFY2(r.err.contains(message), qPrintable(r.err));
        QCOMPARE(m_sim.command(QStringLiteral("pls channel 3")), before);
        QCOMPARE(m_sim.command(QStringLiteral("get W188")), offsetBefore);
    }

    void recalledPositionBeyondTheBoardsRangeIsRejected()
    {
        // A scale large enough for a position whose high byte is above 16.
        QCOMPARE(m_sim.command(QStringLiteral("set W186 5000")), QStringLiteral("ok"));
        Run r = pls({QStringLiteral("setpoint"), QStringLiteral("9"), QStringLiteral("4500"),
                     QStringLiteral("4600")});
        QVERIFY2(r.exitCode == 0, qPrintable(r.err));
        r = pls({QStringLiteral("recall"), QStringLiteral("9")});
        QCOMPARE(m_sim.command(QStringLiteral("set W186 360")), QStringLiteral("ok"));
        QCOMPARE(r.exitCode, 3);
        QVERIFY(r.out.isEmpty());
        QVERIFY2(r.err.contains(QStringLiteral("recall channel 9: state 2 (no position)")),
                 qPrintable(r.err));
    }

    void channelBeyondTheBoardIsRefusedByIt()
    {
        const Run r = pls({QStringLiteral("setpoint"), QStringLiteral("40"), QStringLiteral("1"),
                           QStringLiteral("2")});
        QCOMPARE(r.exitCode, 3);
        QVERIFY2(r.err.contains(QStringLiteral("refused by the limit switch")), qPrintable(r.err));
        const Run recall = pls({QStringLiteral("recall"), QStringLiteral("40")});
        QCOMPARE(recall.exitCode, 3);
        QVERIFY(recall.out.isEmpty());
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

    void busyLimitSwitch()
    {
        BoardSimProcess busy;
        QVERIFY(busy.startOnCliPort(
            kPort + 1,
            {QStringLiteral("--frozen"), QStringLiteral("--pls-busy-ms"), QStringLiteral("1500")}));
        Run r = cli(kPort + 1, {QStringLiteral("clear"), QStringLiteral("1")});
        QVERIFY2(r.exitCode == 0, qPrintable(r.err));
        QVERIFY2(r.ms >= 1500, qPrintable(QString::number(r.ms)));
        QVERIFY(!r.err.contains(QStringLiteral("READY")));

        // Busy beyond the poll's three seconds: the message, answered Cancel.
        QCOMPARE(busy.command(QStringLiteral("pls busy 5000")), QStringLiteral("ok"));
        r = cli(kPort + 1, {QStringLiteral("setpoint"), QStringLiteral("1"), QStringLiteral("10"),
                            QStringLiteral("20")});
        QCOMPARE(r.exitCode, 3);
        QVERIFY2(r.err.contains(QStringLiteral("[WARNING - Communication Error!] Cannot Determine "
                                               "PLS READY Mode Within Target Board.")),
                 qPrintable(r.err));
        QVERIFY(r.err.contains(QStringLiteral("stayed busy")));
        QVERIFY2(r.ms >= 3000 && r.ms < 5000, qPrintable(QString::number(r.ms)));
        // What the board took is stored; it is only the ready answer that never came.
        QCOMPARE(busy.command(QStringLiteral("pls channel 1")), QStringLiteral("setpoint 10 20"));
    }

    void silentBoard()
    {
        BoardSimProcess silent;
        QVERIFY(silent.startOnCliPort(kPort + 2,
                                      {QStringLiteral("--frozen"), QStringLiteral("--silent")}));
        const Run r = cli(kPort + 2, {QStringLiteral("query")});
        QCOMPARE(r.exitCode, 3);
        QVERIFY(r.out.isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestPlsE2E)
#include "test_pls_e2e.moc"
