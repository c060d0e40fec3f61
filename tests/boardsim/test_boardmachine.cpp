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

// The machine data table as the PC walks it: index -> register name.
QStringList dataTableAddresses()
{
    QStringList a;
    a << QStringLiteral("B1011");
    for (int s = 0; s < 36; ++s)
        a << QStringLiteral("W%1").arg(1020 + 2 * s);
    a << QStringLiteral("D1100") << QStringLiteral("D1104") << QStringLiteral("D1108")
      << QStringLiteral("D1116") << QStringLiteral("D1120") << QStringLiteral("D1112");
    for (int s = 0; s < 36; ++s)
        a << QStringLiteral("W%1").arg(1124 + 2 * s);
    a << QStringLiteral("D1200") << QStringLiteral("D1204") << QStringLiteral("D1208")
      << QStringLiteral("D1216") << QStringLiteral("D1220") << QStringLiteral("D1212");
    for (int s = 0; s < 36; ++s)
        a << QStringLiteral("W%1").arg(1224 + 2 * s);
    a << QStringLiteral("D1304");
    for (const char *r : {"W1092", "W1094", "W1096", "W1004", "B1003", "B1000", "B1001", "B1002",
                          "B1010", "B1006", "B1007", "B1008", "B1009", "W830", "W832", "W834"})
        a << QLatin1String(r);
    return a;
}

// Set-up limits of items 122..137 (36 spindles) and item 0.
struct Limits {
    quint32 min;
    quint32 max;
};
const Limits SetupLimits[16] = {{0, 1999}, {0, 1999}, {0, 500}, {0, 999}, {1, 5},  {0, 255},
                                {0, 255},  {0, 255},  {1, 36},  {5, 50},  {5, 50}, {5, 50},
                                {5, 50},   {0, 359},  {0, 359}, {0, 359}};
const quint32 FactoryDefaults[16] = {600, 1000, 380, 32, 1,  12,  0,   0,
                                     1,   15,   28,  15, 28, 180, 185, 0};

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
    void consoleCommands();
    void consoleErrors();
    void startValuesDistinct();
    void startValuesFactory();
    void boardRegisters();
    void qcBlowoff();
    void badCanTestTrip();
    void zeroResolver();
    void resetTrips();
    void endOfShift();
    void runningMachine();
    void stoppedMachine();
    void clockCarries();
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

void TestBoardMachine::consoleCommands()
{
    Rig rig;
    QCOMPARE(rig.run("set W98 5"), QStringLiteral("ok"));
    QCOMPARE(rig.run("get W98"), QStringLiteral("5"));
    QCOMPARE(rig.run("set D1304 655359999"), QStringLiteral("ok"));
    QCOMPARE(rig.run("get D1304"), QStringLiteral("655359999"));
    QCOMPARE(rig.board.registers().wordAt(1304), quint16(9999));
    QCOMPARE(rig.run("set B46 37"), QStringLiteral("ok"));
    QCOMPARE(rig.run("set F119 1"), QStringLiteral("ok"));
    QCOMPARE(rig.run("get B46"), QStringLiteral("165"));
    QCOMPARE(rig.run("get F119"), QStringLiteral("1"));
    QCOMPARE(rig.run("set EFF8H 205"), QStringLiteral("ok"));
    QCOMPARE(rig.run("get B61432"), QStringLiteral("205"));
    QCOMPARE(rig.run("  get\tW98  "), QStringLiteral("5"));

    QCOMPARE(rig.run("silent on"), QStringLiteral("ok"));
    QVERIFY(rig.settings.silent);
    QCOMPARE(rig.run("silent off"), QStringLiteral("ok"));
    QVERIFY(!rig.settings.silent);
    QCOMPARE(rig.run("frozen on"), QStringLiteral("ok"));
    QVERIFY(rig.settings.frozen);
    QCOMPARE(rig.run("delay 250"), QStringLiteral("ok"));
    QCOMPARE(rig.settings.delayMs, 250);
    QCOMPARE(rig.run("pace 9600"), QStringLiteral("ok"));
    QCOMPARE(rig.settings.paceBaud, 9600);
    QCOMPARE(rig.run("wrong-echo 4"), QStringLiteral("ok"));
    QCOMPARE(rig.board.wrongEchoEvery(), 4);
    QCOMPARE(rig.run("wrong-echo 0"), QStringLiteral("ok"));
    QCOMPARE(rig.board.wrongEchoEvery(), 0);
    QCOMPARE(rig.run("garbage 7"), QStringLiteral("ok"));
    QCOMPARE(rig.board.garbageEvery(), 7);
    QCOMPARE(rig.run("garbage 0"), QStringLiteral("ok"));
    QCOMPARE(rig.board.garbageEvery(), 0);
    // Counted from the command: the second exchange after it is wrong.
    rig.board.feed(0x00);
    QCOMPARE(rig.run("wrong-echo-at 2"), QStringLiteral("ok"));
    QCOMPARE(rig.board.feed(0xFF), std::optional<quint8>(0x55));
    QCOMPARE(rig.board.feed(0x01), std::optional<quint8>(0x54));
    QCOMPARE(rig.board.feed(0xFF), std::optional<quint8>(0x55));
    rig.board.feed(0x00); // not a mode: back to none
    QCOMPARE(rig.run("wrong-echo-at 0"), QStringLiteral("ok"));
    QCOMPARE(rig.board.wrongAnswerAt(), 0);

    QCOMPARE(rig.run("mode"), QStringLiteral("none"));
    rig.board.feed(0xFF);
    QCOMPARE(rig.run("mode"), QStringLiteral("attention"));
    rig.board.feed(0x02);
    QCOMPARE(rig.run("mode"), QStringLiteral("write"));

    QVERIFY(rig.console.execute(u"   ").reply.isEmpty());
    const auto close = rig.console.execute(u"close");
    QCOMPARE(close.reply, QStringLiteral("ok"));
    QCOMPARE(close.outcome, CommandProcessor::Outcome::Vanish);
    const auto quit = rig.console.execute(u"quit");
    QCOMPARE(quit.reply, QStringLiteral("ok"));
    QCOMPARE(quit.outcome, CommandProcessor::Outcome::Quit);
    QCOMPARE(rig.console.execute(u"get W98").outcome, CommandProcessor::Outcome::Continue);
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

void TestBoardMachine::startValuesDistinct()
{
    Rig rig;
    const QStringList table = dataTableAddresses();
    QCOMPARE(table.size(), 138);
    QSet<quint32> seen;
    for (int i = 0; i < table.size(); ++i) {
        const quint32 v = rig.get(table[i]);
        QVERIFY2(!seen.contains(v),
                 qPrintable(QStringLiteral("%1 repeats %2").arg(table[i]).arg(v)));
        seen.insert(v);
        const auto address = RegisterAddress::parse(table[i]);
        QVERIFY(v <= address->maxValue());
        if (i >= 122) {
            QVERIFY2(v >= SetupLimits[i - 122].min && v <= SetupLimits[i - 122].max,
                     qPrintable(table[i]));
            QVERIFY2(v != FactoryDefaults[i - 122], qPrintable(table[i]));
        }
        if (i >= 37 && i <= 42)
            QVERIFY2(v > 0, qPrintable(table[i]));
    }
    QVERIFY(rig.get("B1011") <= 35);
    // Doubles use both words.
    QVERIFY(rig.board.registers().wordAt(1102) > 0);
    // The counts add up: the shift's total blow-offs are the sum of the kinds,
    // and its bad can blow-offs the sum of its trips.
    for (int base : {1100, 1200}) {
        const quint32 kinds = rig.get(QStringLiteral("D%1").arg(base + 8)) +
                              rig.get(QStringLiteral("D%1").arg(base + 12)) +
                              rig.get(QStringLiteral("D%1").arg(base + 16)) +
                              rig.get(QStringLiteral("D%1").arg(base + 20));
        QCOMPARE(rig.get(QStringLiteral("D%1").arg(base + 4)), kinds);
        quint32 trips = 0;
        for (int s = 0; s < 36; ++s)
            trips += rig.get(QStringLiteral("W%1").arg(base + 24 + 2 * s));
        QCOMPARE(rig.get(QStringLiteral("D%1").arg(base + 8)), trips);
    }
}

void TestBoardMachine::startValuesFactory()
{
    Rig rig(MachineSim::SetupValues::Factory);
    const QStringList table = dataTableAddresses();
    for (int i = 122; i <= 137; ++i)
        QCOMPARE(rig.get(table[i]), FactoryDefaults[i - 122]);
    QCOMPARE(rig.get("B1011"), quint32(0));
    // The shift data are the same as without factory set-up.
    Rig distinct;
    for (int i = 1; i <= 121; ++i)
        QCOMPARE(rig.get(table[i]), distinct.get(table[i]));
}

void TestBoardMachine::boardRegisters()
{
    Rig rig;
    QCOMPARE(rig.get("B52"), quint32(36));
    QCOMPARE(rig.get("W98"), quint32(0));
    QCOMPARE(rig.get("B8176"), quint32(0));
    QCOMPARE(rig.get("B8179"), quint32(0));
    QCOMPARE(rig.get("W112"), quint32(MachineSim::StartCpm));
    QVERIFY(rig.get("W526") > 0 && rig.get("W526") <= rig.get("W1096"));
    QVERIFY(rig.get("W528") > 0 && rig.get("W528") <= rig.get("W1096"));
    QCOMPARE(rig.get("W186"), quint32(360));
    QVERIFY(rig.get("W180") < 360);
    QCOMPARE(rig.get("F119"), quint32(1));
    const quint32 network = rig.get("B8180");
    QVERIFY(network >= 1 && network <= 32);
    QString ident;
    for (int i = 0; i < 8; ++i)
        ident += QChar(rig.get(QStringLiteral("B%1").arg(61424 + i)));
    QCOMPARE(ident, QStringLiteral("DECOR213"));
    QCOMPARE(rig.get("EFF8H"), quint32(0xCD));
    QCOMPARE(rig.get("EFF9H"), quint32(5));
    // The clock holds the start time, the year as two digits.
    QCOMPARE(rig.get("B43012"), quint32(23));
    QCOMPARE(rig.get("B43010"), quint32(59));
    QCOMPARE(rig.get("B43008"), quint32(58));
    QCOMPARE(rig.get("B43016"), quint32(2));
    QCOMPARE(rig.get("B43015"), quint32(28));
    QCOMPARE(rig.get("B43017"), quint32(24));
    // Running machine I/O: main drive on, set-up enable, canfeed enabled.
    const quint32 slot00 = rig.get("W100");
    QVERIFY(slot00 & (1u << 5));
    QVERIFY(slot00 & (1u << 15));
    QVERIFY(slot00 & (1u << 4));
    // Program image for a read-back.
    QVERIFY(rig.get("B16384") != 0 || rig.get("B16385") != 0);
}

void TestBoardMachine::qcBlowoff()
{
    Rig rig;
    const quint32 qc = rig.get("D1120");
    const quint32 total = rig.get("D1104");
    // Spindle 3: the code, then F825, then F102.
    QCOMPARE(rig.run("set B2088 3"), QStringLiteral("ok"));
    QCOMPARE(rig.run("set F825 1"), QStringLiteral("ok"));
    QCOMPARE(rig.get("D1120"), qc);
    QCOMPARE(rig.get("F825"), quint32(1));
    QCOMPARE(rig.run("set F102 1"), QStringLiteral("ok"));
    QCOMPARE(rig.get("D1120"), qc + 1);
    QCOMPARE(rig.get("D1104"), total + 1);
    QCOMPARE(rig.get("F825"), quint32(0));
    QCOMPARE(rig.get("F102"), quint32(0));
    QVERIFY(rig.get("W110") & 0x8000u); // Q.C. solenoid

    // The second flag alone does nothing and is cleared.
    QCOMPARE(rig.run("set F102 1"), QStringLiteral("ok"));
    QCOMPARE(rig.get("D1120"), qc + 1);
    QCOMPARE(rig.get("F102"), quint32(0));

    // Blanket (spindle count + 1) blows off every spindle, mandrel (+2) one
    // can, anything else nothing.
    rig.run("set B2088 37");
    rig.run("set F825 1");
    rig.run("set F102 1");
    QCOMPARE(rig.get("D1120"), qc + 1 + 36);
    rig.run("set B2088 38");
    rig.run("set F825 1");
    rig.run("set F102 1");
    QCOMPARE(rig.get("D1120"), qc + 1 + 36 + 1);
    rig.run("set B2088 0");
    rig.run("set F825 1");
    rig.run("set F102 1");
    QCOMPARE(rig.get("D1120"), qc + 1 + 36 + 1);
    QCOMPARE(rig.get("D1104"), total + 1 + 36 + 1);

    // Over the wire, as the PC writes a flag: the whole byte.
    rig.run("set B2088 1");
    const int flagByte = 32 + 825 / 8;
    rig.board.feed(0xFF);
    rig.board.feed(0x02);
    for (int b : {flagByte / 256, flagByte % 256, 0x02})
        QCOMPARE(rig.board.feed(quint8(b)), std::optional<quint8>(quint8(b)));
    for (int b : {0, 32 + 102 / 8, 1 << (102 % 8)})
        rig.board.feed(quint8(b));
    QCOMPARE(rig.get("D1120"), qc + 1 + 36 + 1 + 1);
}

void TestBoardMachine::badCanTestTrip()
{
    Rig rig;
    const quint32 bad = rig.get("D1108");
    const quint32 total = rig.get("D1104");
    QCOMPARE(rig.run("set F830 1"), QStringLiteral("ok"));
    QCOMPARE(rig.get("F830"), quint32(0));
    QCOMPARE(rig.get("D1108"), bad + 1);
    QCOMPARE(rig.get("D1104"), total + 1);
    const quint32 spindle = rig.get("B599");
    QVERIFY(spindle >= 1 && spindle <= 36);
    Rig before;
    const QString sinceReset = QStringLiteral("W%1").arg(1020 + 2 * (spindle - 1));
    const QString current = QStringLiteral("W%1").arg(1124 + 2 * (spindle - 1));
    QCOMPARE(rig.get(sinceReset), before.get(sinceReset) + 1);
    QCOMPARE(rig.get(current), before.get(current) + 1);
    QVERIFY(rig.get("W110") & 0x4000u); // bad can solenoid
}

void TestBoardMachine::zeroResolver()
{
    Rig rig;
    QVERIFY(rig.get("W180") != 0);
    // Not allowed: the command is taken but does nothing.
    rig.run("set F119 0");
    const quint32 position = rig.get("W180");
    QCOMPARE(rig.run("set F831 1"), QStringLiteral("ok"));
    QCOMPARE(rig.get("F831"), quint32(0));
    QCOMPARE(rig.get("W180"), position);
    rig.run("set F119 1");
    rig.run("set F831 1");
    QCOMPARE(rig.get("F831"), quint32(0));
    QCOMPARE(rig.get("W180"), quint32(0));
    QCOMPARE(rig.board.queryValue(BoardModel::QueryPosition), quint16(0));
    // The offset now equals the raw position it was measured from.
    QCOMPARE(rig.get("W188"), (position + 37) % 360);
    // The machine turns on from zero.
    rig.machine.advance(10);
    QVERIFY(rig.get("W180") != 0);
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

void TestBoardMachine::stoppedMachine()
{
    Rig rig;
    // Writing the speed sets the machine's speed; 0 stops it.
    QCOMPARE(rig.run("set W112 0"), QStringLiteral("ok"));
    rig.machine.advance(100);
    const quint32 good = rig.get("D1100");
    const quint32 position = rig.get("W180");
    rig.machine.advance(5000);
    QCOMPARE(rig.get("D1100"), good);
    QCOMPARE(rig.get("W180"), position);
    QCOMPARE(rig.get("W112"), quint32(0));
    QCOMPARE(rig.get("W526"), quint32(0));
    QCOMPARE(rig.get("W170"), quint32(0));
    QVERIFY(!(rig.get("W100") & (1u << 5)));
    rig.run("set W112 1200");
    rig.machine.advance(1000);
    QVERIFY(rig.get("W112") >= 1180 && rig.get("W112") <= 1220);
    QVERIFY(rig.get("D1100") > good);
}

void TestBoardMachine::clockCarries()
{
    Rig rig; // 2024-02-28 23:59:58, a leap year
    rig.machine.advance(1500);
    QCOMPARE(rig.get("B43008"), quint32(59));
    rig.machine.advance(600);
    QCOMPARE(rig.get("B43008"), quint32(0));
    QCOMPARE(rig.get("B43010"), quint32(0));
    QCOMPARE(rig.get("B43012"), quint32(0));
    QCOMPARE(rig.get("B43015"), quint32(29));
    QCOMPARE(rig.get("B43016"), quint32(2));
    // Set from the PC: hour, minute, second, then it runs from there.
    rig.run("set B43012 7");
    rig.run("set B43010 30");
    rig.run("set B43008 15");
    rig.machine.advance(2000);
    QCOMPARE(rig.get("B43012"), quint32(7));
    QCOMPARE(rig.get("B43010"), quint32(30));
    QCOMPARE(rig.get("B43008"), quint32(17));
    rig.run("set B43017 7");
    rig.machine.advance(1000);
    QCOMPARE(rig.get("B43017"), quint32(7));
}

QTEST_APPLESS_MAIN(TestBoardMachine)
#include "test_boardmachine.moc"
