#include "history/historysampler.h"

#include "comm/registerlink.h"
#include "comm/targetboardfacts.h"
#include "fakes/fakeclock.h"
#include "machine/registermap.h"

#include <QHash>
#include <QTemporaryDir>
#include <QTest>

using namespace History;

namespace
{

// Registers as a map; reads fail while `failing` is set.
struct MapLink : RegisterLink {
    QHash<QString, qint32> values;
    bool failing = false;
    bool failed = false;
    int reads = 0;
    QHash<QString, int> readsOf;
    QString RSRead(const QString &add) override
    {
        ++reads;
        ++readsOf[add];
        failed = failing;
        return failing ? QStringLiteral("0") : QString::number(values.value(add));
    }
    void RSWrite(const QString &, const QString &) override {}
    bool commErrorSet() const override { return false; }
    bool lastTransactionFailed() const override { return failed; }
};

} // namespace

class TestHistorySampler : public QObject
{
    Q_OBJECT

private slots:
    // Ten minutes of the 500 ms cycle with a shift ending at the machine half
    // way, a link that fails while the new counts are being read, the board's
    // comm error code raised and cleared, and a window reading the production
    // values on every tick.
    void shiftEndedAtTheMachineOnceWithinTheExchangeBudget()
    {
        QTemporaryDir dir;
        FakeClock clock;
        QDateTime wall(QDate(2026, 3, 2), QTime(6, 0));
        HistoryStore store([&] { return wall; });
        QVERIFY(store.open(dir.filePath(QStringLiteral("h.sqlite"))));
        HistoryRecorder recorder(store);
        MapLink link;
        HistorySampler sampler(recorder, link, clock);
        sampler.setSpindleCount(4);
        link.values[defaultAddress(Item::LastShiftGoodCans)] = 100;
        link.values[defaultAddress(Item::CurShiftGoodCans)] = 7;
        const QByteArray ident("LINE7\0\0\0\xCD\x05", 10);
        for (int k = 0; k < ident.size(); ++k)
            link.values[TargetBoardFacts::identityRegister(k)] = quint8(ident[k]);
        sampler.setCommErrorText([](int code) { return QStringLiteral("text %1").arg(code, 0, 16); });
        const QStringList windowReads{defaultAddress(Item::CurShiftGoodCans),
                                      defaultAddress(Item::CurShiftBlowoffs), QStringLiteral("W112"),
                                      defaultAddress(Item::LifetimeCanCount)};

        const int ticks = 1200;
        for (int tick = 0; tick < ticks; ++tick) {
            if (tick == 600) {
                link.values[defaultAddress(Item::LastShiftGoodCans)] = 900;
                link.values[defaultAddress(Item::lastShiftTrips(3))] = 44;
                link.values[defaultAddress(Item::lastShiftTrips(5))] = 99; // not on this machine
            }
            link.failing = tick >= 615 && tick < 625;
            link.values[QStringLiteral("B8179")] = tick >= 300 && tick < 400 ? 0x26 : 0;
            for (const QString &add : windowReads)
                sampler.valueSeen(add, QString::number(link.values.value(add)));
            sampler.step();
            clock.advance(500);
            wall = wall.addMSecs(500);
        }
        QVERIFY2(link.reads <= ticks / 2, qPrintable(QString::number(link.reads)));
        const QList<ShiftRecord> shifts = store.shifts();
        QCOMPARE(shifts.size(), 1);
        QCOMPARE(shifts[0].goodCans, 900);
        QCOMPARE(shifts[0].trips, (QList<qint32>{0, 0, 44, 0}));
        QCOMPARE(shifts[0].origin, ShiftOrigin::Machine);
        QCOMPARE(shifts[0].programIdentity, QStringLiteral("LINE7 (revision 5, checksum 205)"));
        const QList<SnapshotRecord> snaps = store.snapshots();
        QVERIFY2(snaps.size() >= 8 && snaps.size() <= 10, qPrintable(QString::number(snaps.size())));
        QCOMPARE(snaps.constLast().goodCans, 7);
        for (const QString &add : windowReads)
            QCOMPARE(link.readsOf.value(add), 0);
        const QList<FaultRecord> faults = store.faults();
        QCOMPARE(faults.size(), 2);
        QCOMPARE(faults[0].source, FaultSource::Comm);
        QCOMPARE(faults[0].code, 0x26);
        QCOMPARE(faults[0].text, QStringLiteral("text 26"));
        QCOMPARE(faults[1].code, 0);
    }
};

QTEST_GUILESS_MAIN(TestHistorySampler)
#include "test_historysampler.moc"
