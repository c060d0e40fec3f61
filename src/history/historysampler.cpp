#include "historysampler.h"

#include "comm/clock.h"
#include "machine/valuetext.h"
#include "comm/registerlink.h"
#include "machine/registermap.h"

namespace History
{

namespace
{

// Good cans, blow-offs, speed, lifetime count: speed is a live register.
constexpr int SnapshotItems[] = {Item::CurShiftGoodCans, Item::CurShiftBlowoffs, -1,
                                 Item::LifetimeCanCount};

} // namespace

HistorySampler::HistorySampler(HistoryRecorder &recorder, RegisterLink &link, const Clock &clock)
    : m_recorder(recorder), m_link(link), m_clock(clock), m_record(buildDefaultData())
{
}

QString HistorySampler::addressOf(int index) const
{
    if (index < 0)
        return QString(LiveRegister::MachineCPM);
    const QString add = m_record.addressAt(index);
    return add.isEmpty() ? defaultAddress(index) : add;
}

QList<int> HistorySampler::blockIndexes() const
{
    QList<int> indexes;
    for (int i = Item::LastShiftGoodCans; i <= Item::LastShiftRestartBlowoffs; ++i)
        indexes << i;
    const int spindles = m_spindleCount > 0 ? m_spindleCount : Item::MaxSpindles;
    for (int s = 1; s <= spindles; ++s)
        indexes << Item::lastShiftTrips(s);
    return indexes;
}

bool HistorySampler::readOne(const QString &add, qint32 &value)
{
    m_lastExchangeMs = m_clock.nowMs();
    m_exchanged = true;
    ++m_exchanges;
    const QString text = m_link.RSRead(add);
    if (m_link.commErrorSet() || m_link.lastTransactionFailed())
        return false;
    value = roundedTextValue(text);
    return true;
}

void HistorySampler::step()
{
    const qint64 now = m_clock.nowMs();
    if (m_link.commErrorSet() || (m_exchanged && now - m_lastExchangeMs < MinimumGapMs))
        return;
    qint32 value = 0;

    if (m_blockWanted) {
        const QList<int> indexes = blockIndexes();
        if (!readOne(addressOf(indexes.at(m_block.size())), value)) {
            m_block.clear();
            return;
        }
        m_block << value;
        if (m_block.size() < indexes.size())
            return;
        ShiftRecord counts;
        counts.goodCans = m_block[0];
        counts.blowoffs = m_block[1];
        counts.badCanBlowoffs = m_block[2];
        counts.manualBlowoffs = m_block[3];
        counts.qcBlowoffs = m_block[4];
        counts.restartBlowoffs = m_block[5];
        counts.trips = m_block.mid(6);
        counts.spindleCount = m_spindleCount;
        m_block.clear();
        m_blockWanted = false;
        m_haveWatch = true;
        m_watchValue = counts.goodCans;
        m_nextWatchMs = now + WatchPeriodMs;
        m_recorder.lastShiftSeen(counts);
        return;
    }

    if (now >= m_nextWatchMs) {
        m_nextWatchMs = now + WatchPeriodMs;
        if (!readOne(addressOf(Item::LastShiftGoodCans), value))
            return;
        if (m_haveWatch && value != m_watchValue)
            m_blockWanted = true;
        return;
    }

    if (m_recorder.snapshotDue()) {
        if (!readOne(addressOf(SnapshotItems[m_snapshot.size()]), value)) {
            m_snapshot.clear();
            return;
        }
        m_snapshot << value;
        if (m_snapshot.size() < int(std::size(SnapshotItems)))
            return;
        SnapshotRecord s;
        s.goodCans = m_snapshot[0];
        s.blowoffs = m_snapshot[1];
        s.speed = m_snapshot[2];
        s.lifetimeCount = m_snapshot[3];
        m_snapshot.clear();
        m_recorder.productionSeen(s);
    }
}

void HistorySampler::linkLost()
{
    m_block.clear();
    m_snapshot.clear();
    m_blockWanted = true;
    m_haveWatch = false;
    m_recorder.linkLost();
}

} // namespace History
