#include "fakes/boardsimprocess.h"
#include "fakes/programrun.h"

#include <QDateTime>
#include <QTemporaryDir>
#include <QtTest>

// kestro-cli board against the simulated board, through a real pty.
class TestCliBoardE2E : public QObject
{
    Q_OBJECT

    using Run = ProgramRun;

    static Run cli(const QStringList &args)
    {
        return ProgramRun::cli(kPort, QStringList{QStringLiteral("board")} + args);
    }

    bool set(const QString &address, int value)
    {
        return m_sim.command(QStringLiteral("set %1 %2").arg(address).arg(value)) == u"ok";
    }
    QString get(const QString &address) { return m_sim.command(QStringLiteral("get ") + address); }

    BoardSimProcess m_sim;
    QTemporaryDir m_dir;
    static constexpr int kPort = 27;

private slots:
    void initTestCase() { QVERIFY(m_sim.startOnCliPort(kPort, {QStringLiteral("--frozen")})); }
    void cleanupTestCase() { m_sim.stop(); }
    void init()
    {
        QCOMPARE(m_sim.command(QStringLiteral("silent off")), QStringLiteral("ok"));
        for (const char *a : {"B8175", "B8176", "B8177", "B8178", "B8179"})
            QVERIFY(set(QString::fromLatin1(a), 0));
        QVERIFY(set("B8180", 7));
    }

    void healthyBoard()
    {
        // The project holds the program the board has: DECOR213, checksum CD, revision 5.
        const QString pdx = m_dir.filePath(QStringLiteral("DECOR.pdx"));
        QFile p(pdx);
        QVERIFY(p.open(QIODevice::WriteOnly));
        p.write("DDECOR,1\r\n");
        p.close();
        QFile rev(m_dir.filePath(QStringLiteral("DECOR.rev")));
        QVERIFY(rev.open(QIODevice::WriteOnly));
        rev.write("DECOR213<=05\r\n");
        rev.close();
        const Run r = cli({QStringLiteral("--project"), pdx});
        QCOMPARE(r.exitCode, 0);
        QVERIFY2(r.out.contains(QStringLiteral("Current Fault: Code = 00H")), qPrintable(r.out));
        QVERIFY(r.out.contains(QStringLiteral("Corrective Action: None\n")));
        QVERIFY(
            r.out.contains(QStringLiteral("Last Comm Error: Code = 00H  No communications error")));
        QVERIFY(r.out.contains(
            QStringLiteral("In Target Board: Name: DECOR213  Revision: 5  Checksum: 205")));
        QVERIFY(r.out.contains(QStringLiteral("On Disk: Name: DECOR213  Revision: 5  Checksum: 205 "
                                              " Target Board: T6800(PLC)  Rev Date: -")));
        QVERIFY(r.out.contains(QStringLiteral("Program: the board holds the project's program")));
        QVERIFY(r.out.contains(QStringLiteral("Current Network Address 1: 07\n")));
        QVERIFY(r.out.contains(QStringLiteral("Target Board Time: ")));
        QVERIFY(r.out.contains(QStringLiteral("Current Time: ")));
        QVERIFY(!r.out.contains(QStringLiteral("CO-CPU Slot")));
    }

    void faultedBoard()
    {
        // Fault 26 is raised, then fault 5 is the current one.
        QCOMPARE(m_sim.command(QStringLiteral("fault 26")), QStringLiteral("ok"));
        QVERIFY(set("B8176", 5));
        QVERIFY(set("B8179", 0x12));
        const Run r = cli({});
        QCOMPARE(r.exitCode, 0);
        QVERIFY2(r.out.contains(
                     QStringLiteral("Current Fault: Code = 05H  CO-CPU dual-port memory error\n")),
                 qPrintable(r.out));
        QVERIFY(r.out.contains(QStringLiteral("Last Fault: Code = 1AH  ")));
        QVERIFY(r.out.contains(QStringLiteral(
            "Corrective Action: Replace CO-CPU board at \"CO-CPU Slot\" and try again.")));
        QVERIFY(r.out.contains(
            QStringLiteral("Current Comm Error: Code = 12H  Break detected on the network line")));
        // Resetting writes the codes to 0 first.
        const Run reset = cli({QStringLiteral("--reset-faults")});
        QCOMPARE(reset.exitCode, 0);
        QVERIFY(reset.out.contains(QStringLiteral("Current Fault: Code = 00H")));
        QCOMPARE(get(QStringLiteral("B8177")), QStringLiteral("0"));
        QCOMPARE(get(QStringLiteral("B8179")), QStringLiteral("0"));
    }

    void addressIsCheckedAndWritten()
    {
        const Run refused = cli({QStringLiteral("--address"), QStringLiteral("33")});
        QCOMPARE(refused.exitCode, 4);
        QVERIFY(
            refused.err.contains(QStringLiteral("Only a Number Between 1 and 32 can be Entered")));
        QCOMPARE(get(QStringLiteral("B8180")), QStringLiteral("7"));
        const Run ok = cli({QStringLiteral("--address"), QStringLiteral("12")});
        QCOMPARE(ok.exitCode, 0);
        QVERIFY(ok.out.contains(QStringLiteral("Current Network Address 1: 12\n")));
        QCOMPARE(get(QStringLiteral("B8180")), QStringLiteral("12"));
    }

    void setClockWritesTheTime()
    {
        QVERIFY(set("B43012", 0));
        QVERIFY(set("B43010", 0));
        QVERIFY(set("B43008", 0));
        const QDateTime before = QDateTime::currentDateTime();
        const Run r = cli({QStringLiteral("--set-clock")});
        const QDateTime after = QDateTime::currentDateTime();
        QCOMPARE(r.exitCode, 0);
        const QTime board(get(QStringLiteral("B43012")).toInt(),
                          get(QStringLiteral("B43010")).toInt(),
                          get(QStringLiteral("B43008")).toInt());
        QVERIFY(board.isValid());
        QVERIFY2(board >= before.time().addMSecs(-before.time().msec()) && board <= after.time(),
                 qPrintable(board.toString() + u' ' + before.time().toString()));
        QCOMPARE(get(QStringLiteral("B43017")).toInt(), after.date().year() % 100);
        QCOMPARE(get(QStringLiteral("B43016")).toInt(), after.date().month());
    }

    void silentBoard()
    {
        QCOMPARE(m_sim.command(QStringLiteral("silent on")), QStringLiteral("ok"));
        const Run r = cli({});
        QCOMPARE(r.exitCode, 3);
        QVERIFY(!r.out.contains(QStringLiteral("Current Fault")));
        QVERIFY(r.err.contains(QStringLiteral("no answer from the board")));
    }

    void usageAndFileErrors()
    {
        QCOMPARE(cli({QStringLiteral("--bogus")}).exitCode, 2);
        QCOMPARE(
            cli({QStringLiteral("--project"), m_dir.filePath(QStringLiteral("none.pdx"))}).exitCode,
            5);
        const QString pdx = m_dir.filePath(QStringLiteral("SHORT.pdx"));
        QFile p(pdx);
        QVERIFY(p.open(QIODevice::WriteOnly));
        p.write("D,1\r\n");
        p.close();
        QFile rev(m_dir.filePath(QStringLiteral("SHORT.rev")));
        QVERIFY(rev.open(QIODevice::WriteOnly));
        rev.write("AB\r\n");
        rev.close();
        QCOMPARE(cli({QStringLiteral("--project"), pdx}).exitCode, 5);
    }
};

QTEST_MAIN(TestCliBoardE2E)
#include "test_cli_board_e2e.moc"
