// The register names the simulator's console takes, and the machine behind
// the board as time passes.
#include "boardmodel.h"
#include "machinesim.h"
#include "registeraddress.h"

#include <QSet>
#include <QTest>

namespace
{
struct Rig {
    BoardModel board;
    MachineSim machine{board, QDateTime(QDate(2024, 2, 28), QTime(23, 59, 58))};
    explicit Rig(MachineSim::SetupValues setup = MachineSim::SetupValues::Distinct)
    {
        machine.loadStartValues(setup);
    }
    quint32 get(const QString &address) const
    {
        return board.value(*RegisterAddress::parse(address));
    }
    quint32 sum(const char *kind, int from, int count, int step) const
    {
        quint32 total = 0;
        for (int i = 0; i < count; ++i)
            total += get(QStringLiteral("%1%2").arg(QLatin1String(kind)).arg(from + i * step));
        return total;
    }
};

// The machine data table as the PC walks it.
QStringList dataTable()
{
    QStringList a{"B1011"};
    for (int base : {1000, 1100, 1200}) {
        if (base != 1000)
            for (int d : {0, 4, 8, 16, 20, 12})
                a << QStringLiteral("D%1").arg(base + d);
        for (int s = 0; s < 36; ++s)
            a << QStringLiteral("W%1").arg(base + 20 + (base == 1000 ? 0 : 4) + 2 * s);
    }
    a << "D1304";
    for (const char *r : {"W1092", "W1094", "W1096", "W1004", "B1003", "B1000", "B1001", "B1002",
                          "B1010", "B1006", "B1007", "B1008", "B1009", "W830", "W832", "W834"})
        a << QLatin1String(r);
    return a;
}
} // namespace

class TestBoardMachine : public QObject
{
    Q_OBJECT

private slots:
    void addressNames_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("kind"); // -1: refused
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
        for (const char *t : {"", "W", "X10", "Wabc", "W-1", "B1016.8", "B1016.", "B.1", "GGGGH",
                              "12345H", "W65535", "D65533", "B65536", "Q5", "F99999999"})
            QTest::newRow(t) << QString::fromLatin1(t) << -1 << 0 << 0;
    }
    void addressNames()
    {
        QFETCH(QString, text);
        QFETCH(int, kind);
        QFETCH(int, byteAddress);
        QFETCH(int, bit);
        QString why;
        const auto address = RegisterAddress::parse(text, &why);
        QCOMPARE(bool(address), kind >= 0);
        QCOMPARE(why.isEmpty(), kind >= 0);
        if (!address)
            return;
        QCOMPARE(int(address->kind()), kind);
        QCOMPARE(address->byteAddress(), byteAddress);
        if (bit >= 0)
            QCOMPARE(address->bit(), bit);
    }

    // Every item starts with its own value, so a transfer that swaps two
    // shows; the counts add up as the machine keeps them.
    void startValues()
    {
        Rig rig;
        const QStringList table = dataTable();
        QCOMPARE(table.size(), 138);
        QSet<quint32> seen;
        for (const QString &address : table) {
            const quint32 v = rig.get(address);
            QVERIFY2(!seen.contains(v) && v <= RegisterAddress::parse(address)->maxValue(),
                     qPrintable(address));
            seen.insert(v);
        }
        QVERIFY(rig.board.registers().wordAt(1102) > 0); // doubles use both words
        for (int base : {1100, 1200}) {
            QCOMPARE(rig.get(QStringLiteral("D%1").arg(base + 4)), rig.sum("D", base + 8, 4, 4));
            QCOMPARE(rig.get(QStringLiteral("D%1").arg(base + 8)), rig.sum("W", base + 24, 36, 2));
        }
        // Factory set-up values differ in the set-up items only.
        Rig factory(MachineSim::SetupValues::Factory);
        int differ = 0;
        for (int i = 0; i < table.size(); ++i) {
            differ += factory.get(table[i]) != rig.get(table[i]);
            if (i >= 1 && i <= 121)
                QCOMPARE(factory.get(table[i]), rig.get(table[i]));
        }
        QVERIFY(differ >= 16);
    }

    void runningMachine()
    {
        Rig rig;
        const quint32 good = rig.get("D1100"), lifetime = rig.get("D1304");
        QSet<quint32> positions, timing;
        quint32 minCpm = 65535, maxCpm = 0;
        for (int i = 0; i < 600; ++i) { // a minute at 1500 cans a minute
            rig.machine.advance(100);
            positions.insert(rig.get("W180"));
            timing.insert(rig.get("W170"));
            minCpm = qMin(minCpm, rig.get("W112"));
            maxCpm = qMax(maxCpm, rig.get("W112"));
            QVERIFY(rig.get("W180") < 360);
        }
        QVERIFY2(minCpm >= 1480 && maxCpm <= 1520 && minCpm != maxCpm,
                 qPrintable(QStringLiteral("%1..%2").arg(minCpm).arg(maxCpm)));
        const quint32 made = rig.get("D1100") - good;
        QVERIFY2(made > 1400 && made <= 1520, qPrintable(QString::number(made)));
        QVERIFY(rig.get("D1304") - lifetime == 1 || rig.get("D1304") - lifetime == 2);
        QVERIFY(positions.size() > 10 && timing.size() > 3);
        QVERIFY(rig.get("W526") > 200 && rig.get("W526") < 300);
        QCOMPARE(rig.get("W184"), quint32(60000000 / rig.get("W112")));
        QCOMPARE(rig.get("D1108"), rig.sum("W", 1124, 36, 2));
        QCOMPARE(rig.get("D1104"), rig.sum("D", 1108, 4, 4));
        // A new speed is taken up.
        rig.board.storeValue(*RegisterAddress::parse(u"W112"), 1200);
        rig.machine.advance(1000);
        QVERIFY(rig.get("W112") >= 1180 && rig.get("W112") <= 1220);
    }
};

QTEST_APPLESS_MAIN(TestBoardMachine)
#include "test_boardmachine.moc"
