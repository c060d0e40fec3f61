// The simulated machine behind the board, the console commands and the
// register names the console accepts.
#include "boardmodel.h"
#include "boardregisters.h"
#include "commandprocessor.h"
#include "machinesim.h"
#include "registeraddress.h"
#include "simsettings.h"

#include <QSet>
#include <QTest>

using namespace BoardRegisters;

namespace
{

struct Rig {
    BoardModel board;
    MachineSim machine{board, QDateTime(QDate(2024, 2, 28), QTime(23, 59, 58))};
    SimSettings settings;
    CommandProcessor console{board, settings};

    explicit Rig(MachineSim::SetupValues setup = MachineSim::SetupValues::Distinct)
    {
        machine.loadStartValues(setup);
    }
    QString run(const QString &line) { return console.execute(line).reply; }
    quint32 get(const QString &address) const
    {
        return board.value(*RegisterAddress::parse(address));
    }
};

} // namespace

class TestBoardMachine : public QObject
{
    Q_OBJECT

private slots:
    void addressNames_data();
    void addressNames();
    void badAddressNames_data();
    void badAddressNames();
    void consoleErrors();
    void resetTrips();
    void endOfShift();
    void runningMachine();
};

void TestBoardMachine::addressNames_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("kind");
    QTest::addColumn<int>("byteAddress");
    QTest::addColumn<int>("bit");
    using K = RegisterAddress::Kind;
    QTest::newRow("W98") << "W98" << int(K::Word) << 98 << -1;
    QTest::newRow("b52") << "b52" << int(K::Byte) << 52 << -1;
    QTest::newRow("D1100") << "D1100" << int(K::Double) << 1100 << -1;
    QTest::newRow("F0") << "F0" << int(K::Bit) << 32 << 0;
    QTest::newRow("F119") << "F119" << int(K::Bit) << 46 << 7;
    QTest::newRow("f8") << "f8" << int(K::Bit) << 33 << 0;
    QTest::newRow("F825") << "F825" << int(K::Bit) << 135 << 1;
    QTest::newRow("B1016.0") << "B1016.0" << int(K::Bit) << 1016 << 0;
    QTest::newRow("W98.1") << "W98.1" << int(K::Bit) << 98 << 1;
    QTest::newRow("EFF0H") << "EFF0H" << int(K::Byte) << 61424 << -1;
    QTest::newRow("ffh") << "ffh" << int(K::Byte) << 255 << -1;
    QTest::newRow("FFFFH") << "FFFFH" << int(K::Byte) << 65535 << -1;
    QTest::newRow("blanks") << "  B8176 " << int(K::Byte) << 8176 << -1;
}

void TestBoardMachine::addressNames()
{
    QFETCH(QString, text);
    QFETCH(int, kind);
    QFETCH(int, byteAddress);
    QFETCH(int, bit);
    const auto address = RegisterAddress::parse(text);
    QVERIFY(address);
    QCOMPARE(int(address->kind()), kind);
    QCOMPARE(address->byteAddress(), byteAddress);
    if (bit >= 0)
        QCOMPARE(address->bit(), bit);
}

void TestBoardMachine::badAddressNames_data()
{
    QTest::addColumn<QString>("text");
    for (const char *t : {"", "W", "X10", "Wabc", "W-1", "B1016.8", "B1016.", "B.1", "GGGGH",
                          "12345H", "W65535", "D65533", "B65536", "Q5", "F99999999"})
        QTest::newRow(t) << QString::fromLatin1(t);
}

void TestBoardMachine::badAddressNames()
{
    QFETCH(QString, text);
    QString why;
    QVERIFY(!RegisterAddress::parse(text, &why));
    QVERIFY(!why.isEmpty());
}

void TestBoardMachine::consoleErrors()
{
    Rig rig;
    const quint32 before = rig.get("W98");
    for (const char *line : {"set B52 256", "set W98 65536", "set D1100 655360000", "set F119 2",
                             "set W98 -5", "set W98 12a", "set X10 1", "set W98", "get",
                             "get W98 W100", "silent maybe", "frozen", "delay -1", "wrong-echo x",
                             "garbage", "garbage -1", "wrong-echo-at x", "bogus", "quit now"}) {
        const QString reply = rig.run(QLatin1String(line));
        QVERIFY2(reply.startsWith(QStringLiteral("error: ")), line);
    }
    QCOMPARE(rig.get("W98"), before);
    QCOMPARE(rig.get("B52"), quint32(36));
    QVERIFY(!rig.settings.silent);
}

void TestBoardMachine::resetTrips()
{
    Rig rig;
    QVERIFY(rig.get("W1020") != 0);
    const quint32 currentShift = rig.get("W1124");
    QCOMPARE(rig.run("set B1016.0 1"), QStringLiteral("ok"));
    for (int s = 0; s < 36; ++s)
        QCOMPARE(rig.get(QStringLiteral("W%1").arg(1020 + 2 * s)), quint32(0));
    QCOMPARE(rig.get("W1124"), currentShift);
    // While the bit is held no trip is counted since the reset; the shift
    // still counts it.
    rig.run("set F830 1");
    for (int s = 0; s < 36; ++s)
        QCOMPARE(rig.get(QStringLiteral("W%1").arg(1020 + 2 * s)), quint32(0));
    const quint32 spindle = rig.get("B599");
    rig.run("set B1016.0 0");
    QCOMPARE(rig.get("B1016"), quint32(0));
    rig.run("set F830 1");
    QCOMPARE(rig.get(QStringLiteral("W%1").arg(1020 + 2 * (rig.get("B599") - 1))), quint32(1));
    Q_UNUSED(spindle);
}

void TestBoardMachine::endOfShift()
{
    Rig rig;
    const QList<int> counts = {1100, 1104, 1108, 1112, 1116, 1120};
    QList<quint32> current;
    for (int c : counts)
        current << rig.get(QStringLiteral("D%1").arg(c));
    QList<quint32> trips;
    for (int s = 0; s < 36; ++s)
        trips << rig.get(QStringLiteral("W%1").arg(1124 + 2 * s));
    const quint32 sinceReset = rig.get("W1020");

    QCOMPARE(rig.run("set F137 1"), QStringLiteral("ok"));
    for (int i = 0; i < counts.size(); ++i) {
        QCOMPARE(rig.get(QStringLiteral("D%1").arg(counts[i] + 100)), current[i]);
        QCOMPARE(rig.get(QStringLiteral("D%1").arg(counts[i])), quint32(0));
    }
    for (int s = 0; s < 36; ++s) {
        QCOMPARE(rig.get(QStringLiteral("W%1").arg(1224 + 2 * s)), trips[s]);
        QCOMPARE(rig.get(QStringLiteral("W%1").arg(1124 + 2 * s)), quint32(0));
    }
    QCOMPARE(rig.get("W1020"), sinceReset);
    QVERIFY(rig.get("W100") & (1u << 3)); // end of shift input while held

    // Holding the flag (written again) does not transfer twice.
    rig.run("set F830 1");
    rig.run("set F137 1");
    QCOMPARE(rig.get("D1208"), current[2]);
    rig.run("set F137 0");
    rig.run("set F137 1");
    QCOMPARE(rig.get("D1208"), quint32(1));
}

void TestBoardMachine::runningMachine()
{
    Rig rig;
    const quint32 good = rig.get("D1100");
    const quint32 lifetime = rig.get("D1304");
    QSet<quint32> positions;
    quint32 minCpm = 65535, maxCpm = 0;
    // A minute in 100 ms steps: 1500 cans per minute.
    for (int i = 0; i < 600; ++i) {
        rig.machine.advance(100);
        positions.insert(rig.get("W180"));
        minCpm = qMin(minCpm, rig.get("W112"));
        maxCpm = qMax(maxCpm, rig.get("W112"));
        QVERIFY(rig.get("W180") < 360);
    }
    QVERIFY2(minCpm >= 1480 && maxCpm <= 1520,
             qPrintable(QStringLiteral("%1..%2").arg(minCpm).arg(maxCpm)));
    QVERIFY(minCpm != maxCpm);
    const quint32 made = rig.get("D1100") - good;
    QVERIFY2(made > 1400 && made <= 1520, qPrintable(QString::number(made)));
    const quint32 thousands = rig.get("D1304") - lifetime;
    QVERIFY(thousands == 1 || thousands == 2);
    QVERIFY(positions.size() > 10);
    QVERIFY(rig.get("W526") > 200 && rig.get("W526") < 300);
    QCOMPARE(rig.get("W184"), quint32(60000000 / rig.get("W112")));
    // Timing channels and slots move.
    QSet<quint32> timing;
    for (int i = 0; i < 50; ++i) {
        rig.machine.advance(37);
        timing.insert(rig.get("W170"));
    }
    QVERIFY(timing.size() > 3);
    // The shift counts stay consistent while running.
    quint32 trips = 0;
    for (int s = 0; s < 36; ++s)
        trips += rig.get(QStringLiteral("W%1").arg(1124 + 2 * s));
    QCOMPARE(rig.get("D1108"), trips);
    QCOMPARE(rig.get("D1104"),
             rig.get("D1108") + rig.get("D1112") + rig.get("D1116") + rig.get("D1120"));
}

QTEST_APPLESS_MAIN(TestBoardMachine)
#include "test_boardmachine.moc"
