#include "historysampler.h"

#include "comm/clock.h"
#include "comm/registerlink.h"
#include "comm/targetboardfacts.h"
#include "machine/registermap.h"
#include "machine/valuetext.h"

namespace History
{

namespace
{

// Good cans, blow-offs, speed, lifetime count: speed is a live register.
constexpr int SnapshotItems[] = {Item::CurShiftGoodCans, Item::CurShiftBlowoffs, -1,
                                 Item::LifetimeCanCount};

QString commErrorRegister()
{
    return TargetBoardFacts::faultRegister(TargetBoardFacts::CurrentCommErrorIndex);
}

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

QStringList HistorySampler::blockAddresses() const
{
    QStringList adds;
    for (int i = Item::LastShiftGoodCans; i <= Item::LastShiftRestartBlowoffs; ++i)
        adds << addressOf(i);
    const int spindles = m_spindleCount > 0 ? m_spindleCount : Item::MaxSpindles;
    for (int s = 1; s <= spindles; ++s)
        adds << addressOf(Item::lastShiftTrips(s));
    return adds;
}

void HistorySampler::valueSeen(const QString &add, const QString &value)
{
    m_seen.insert(add.toUpper(), {roundedTextValue(value), m_clock.nowMs()});
}

HistorySampler::Take HistorySampler::take(const QString &add, qint32 &value)
{
    const qint64 now = m_clock.nowMs();
    // Read by anyone within two gaps: as good as our own, and the windows'
    // passes come round about that often.
    const auto seen = m_seen.constFind(add.toUpper());
    if (seen != m_seen.cend() && now - seen->atMs < 2 * m_minimumGapMs) {
        value = seen->value;
        return Take::Got;
    }
    if (m_exchanged && now - m_lastExchangeMs < m_minimumGapMs)
        return Take::Later;
    m_lastExchangeMs = now;
    m_exchanged = true;
    ++m_exchanges;
    const QString text = m_link.RSRead(add);
    if (m_link.commErrorSet() || m_link.lastTransactionFailed())
        return Take::Failed;
    value = roundedTextValue(text);
    m_seen.insert(add.toUpper(), {value, now});
    return Take::Got;
}

bool HistorySampler::gather(const QStringList &adds, QList<qint32> &into)
{
    while (into.size() < adds.size()) {
        qint32 value = 0;
        switch (take(adds.at(into.size()), value)) {
        case Take::Got:
            into << value;
            break;
        case Take::Later:
            return false;
        case Take::Failed:
            into.clear();
            return false;
        }
    }
    return true;
}

void HistorySampler::step()
{
    if (m_link.commErrorSet())
        return;
    const qint64 now = m_clock.nowMs();

    if (!m_identityKnown) {
        QStringList adds;
        for (int k = 0; k < TargetBoardFacts::IdentityByteCount; ++k)
            adds << TargetBoardFacts::identityRegister(k);
        if (!gather(adds, m_identity))
            return;
        TargetBoardFacts::BoardIdentity identity;
        for (int k = 0; k < m_identity.size(); ++k)
            identity.take(k, QString::number(m_identity[k]));
        m_identity.clear();
        m_identityKnown = true;
        m_recorder.setProgramIdentity(identity.summary());
    }

    if (m_blockWanted) {
        if (!gather(blockAddresses(), m_block))
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
        m_nextWatchMs = now + m_watchPeriodMs;
        m_recorder.lastShiftSeen(counts);
        return;
    }

    if (now >= m_nextWatchMs) {
        if (!gather({addressOf(Item::LastShiftGoodCans), commErrorRegister()}, m_watch))
            return;
        m_nextWatchMs = now + m_watchPeriodMs;
        const qint32 lastShiftGood = m_watch[0];
        const int commError = m_watch[1];
        m_watch.clear();
        m_recorder.commErrorSeen(commError, commError != 0 && m_commErrorText
                                                ? m_commErrorText(commError)
                                                : QString());
        if (m_haveWatch && lastShiftGood != m_watchValue)
            m_blockWanted = true;
        return;
    }

    if (m_recorder.snapshotDue()) {
        QStringList adds;
        for (int index : SnapshotItems)
            adds << addressOf(index);
        if (!gather(adds, m_snapshot))
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
    m_identity.clear();
    m_identityKnown = false; // another board may answer next
    m_watch.clear();
    m_block.clear();
    m_snapshot.clear();
    m_seen.clear();
    m_blockWanted = true;
    m_haveWatch = false;
    m_recorder.linkLost();
}

} // namespace History
