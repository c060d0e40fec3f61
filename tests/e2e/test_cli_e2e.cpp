#include "fakes/boardsimprocess.h"
#include "fakes/programrun.h"

#include <QElapsedTimer>
#include <QtTest>

// kestro-cli against the simulated board, through a real pty.
class TestCliE2E : public QObject
{
    Q_OBJECT

    using Run = ProgramRun;

    static Run cli(int port, const QStringList &args) { return ProgramRun::cli(port, args, 30000); }

    BoardSimProcess m_sim;
    static constexpr int kPort = 21;

private slots:
    void initTestCase() { QVERIFY(m_sim.startOnCliPort(kPort, {QStringLiteral("--frozen")})); }
    void cleanupTestCase() { m_sim.stop(); }

    void writeThenReadBack_data()
    {
        QTest::addColumn<QString>("address");
        QTest::addColumn<QString>("value");
        QTest::newRow("byte") << "B1000"
                              << "200";
        QTest::newRow("word") << "W98"
                              << "1234";
        QTest::newRow("word max") << "W1092"
                                  << "65535";
        QTest::newRow("double") << "D1100"
                                << "655359999";
        QTest::newRow("double small") << "D1304"
                                      << "19999";
        QTest::newRow("bit set") << "B1016.0"
                                 << "1";
        QTest::newRow("bit clear") << "B1016.0"
                                   << "0";
        QTest::newRow("flag set") << "F119"
                                  << "1";
        QTest::newRow("flag clear") << "F119"
                                    << "0";
        QTest::newRow("hex byte") << "EFF0H"
                                  << "77";
    }
    void writeThenReadBack()
    {
        QFETCH(QString, address);
        QFETCH(QString, value);
        const Run w = cli(kPort, {QStringLiteral("write"), address, value});
        QVERIFY2(w.exitCode == 0, qPrintable(w.err));
        const Run r = cli(kPort, {QStringLiteral("read"), address});
        QCOMPARE(r.exitCode, 0);
        QCOMPARE(r.out.trimmed(), value);
        // The board itself agrees.
        QCOMPARE(m_sim.command(QStringLiteral("get ") + address), value);
    }

    void bitWriteKeepsTheOtherBits()
    {
        QCOMPARE(m_sim.command(QStringLiteral("set B46 37")), QStringLiteral("ok"));
        QCOMPARE(cli(kPort, {QStringLiteral("write"), QStringLiteral("F119"), QStringLiteral("1")})
                     .exitCode,
                 0);
        QCOMPARE(m_sim.command(QStringLiteral("get B46")), QStringLiteral("165"));
    }

    void readsSeveralAndBoardChanges()
    {
        QCOMPARE(m_sim.command(QStringLiteral("set W98 5")), QStringLiteral("ok"));
        const Run r =
            cli(kPort, {QStringLiteral("read"), QStringLiteral("W98"), QStringLiteral("B52")});
        QCOMPARE(r.exitCode, 0);
        QCOMPARE(r.out, QStringLiteral("W98 5\nB52 36\n"));
    }

    void refusedValueWritesNothing()
    {
        QCOMPARE(m_sim.command(QStringLiteral("set W98 7")), QStringLiteral("ok"));
        Run r = cli(kPort, {QStringLiteral("write"), QStringLiteral("W98"), QStringLiteral("-5")});
        QCOMPARE(r.exitCode, 4);
        QVERIFY2(
            r.err.contains(QStringLiteral("[ENTRY ALERT] Error:\nOnly Numerical Data Allowed.")),
            qPrintable(r.err));
        r = cli(kPort, {QStringLiteral("write"), QStringLiteral("B1000"), QStringLiteral("256")});
        QCOMPARE(r.exitCode, 4);
        QVERIFY(r.err.contains(QStringLiteral("Entry out of Range (0-255).")));
        QCOMPARE(m_sim.command(QStringLiteral("get W98")), QStringLiteral("7"));
    }

    void usageErrors()
    {
        QCOMPARE(cli(kPort, {QStringLiteral("frobnicate")}).exitCode, 2);
        QCOMPARE(cli(kPort, {QStringLiteral("read")}).exitCode, 2);
        QCOMPARE(cli(kPort, {QStringLiteral("write"), QStringLiteral("W98")}).exitCode, 2);
    }

    void silentBoardIsACommFailure()
    {
        QCOMPARE(m_sim.command(QStringLiteral("silent on")), QStringLiteral("ok"));
        const Run r = cli(kPort, {QStringLiteral("read"), QStringLiteral("W98")});
        QCOMPARE(m_sim.command(QStringLiteral("silent off")), QStringLiteral("ok"));
        QCOMPARE(r.exitCode, 3);
        QVERIFY2(r.err.contains(QStringLiteral(
                     "[WARNING - Communication Error!] Cannot Communicate with Target Board.\n"
                     "Verify RS-232 Cable is Connected Between\nCOMM Port and PROG Port.")),
                 qPrintable(r.err));
        // Three waits: 1 s, 2 s, 2 s.
        QVERIFY2(r.ms >= 4900 && r.ms < 15000, qPrintable(QString::number(r.ms)));
        QVERIFY(r.out.isEmpty());
    }

    void missingDeviceIsReported()
    {
        const Run r = cli(29, {QStringLiteral("read"), QStringLiteral("W98")});
        QCOMPARE(r.exitCode, 3);
        QVERIFY2(r.err.contains(QStringLiteral("[Comm Port Error] Error Number = 8002")),
                 qPrintable(r.err));
    }

    void boardVanishingMidReadFailsCleanly()
    {
        BoardSimProcess vanishing;
        // Probe, handshake (2), then part of a double read: gone after 6 bytes.
        QVERIFY(vanishing.startOnCliPort(
            kPort + 1,
            {QStringLiteral("--frozen"), QStringLiteral("--close-after"), QStringLiteral("6")}));
        const Run r = cli(kPort + 1, {QStringLiteral("read"), QStringLiteral("D1100")});
        QCOMPARE(r.exitCode, 3);
        QVERIFY2(r.ms < 4000, qPrintable(QString::number(r.ms))); // no time-out sequence
        QVERIFY(r.out.isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestCliE2E)
#include "test_cli_e2e.moc"
