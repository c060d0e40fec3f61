#pragma once

#include "historyrecorder.h"

#include "machine/dataset.h"

class Clock;
class RegisterLink;

namespace History
{

// The extra reading the history needs beyond what the windows read: the
// last-shift counts (watched through last shift's good cans, read whole
// when that changes) and the production snapshot values. Driven by the
// program's update cycle, it makes at most one exchange a second, so the
// link's own traffic barely notices it. A value that could not be read is
// never taken as 0: the reading under way is dropped and tried again later.
class HistorySampler
{
public:
    HistorySampler(HistoryRecorder &recorder, RegisterLink &link, const Clock &clock);

    // Addresses come from the working record (items), as transfers use them.
    void setRecord(const DataSet &record) { m_record = record; }
    void setSpindleCount(int count) { m_spindleCount = count; }
    static constexpr qint64 MinimumGapMs = 1000;
    static constexpr qint64 WatchPeriodMs = 5000;

    // One step; call it from the update cycle while the link is free.
    void step();
    // The link went down or offline: readings under way are forgotten.
    void linkLost();
    // Exchanges made so far (for the figures).
    int exchanges() const { return m_exchanges; }

private:
    bool readOne(const QString &add, qint32 &value);
    QList<int> blockIndexes() const;
    QString addressOf(int index) const;

    HistoryRecorder &m_recorder;
    RegisterLink &m_link;
    const Clock &m_clock;
    DataSet m_record;
    int m_spindleCount = 0;
    qint64 m_lastExchangeMs = 0;
    bool m_exchanged = false;
    int m_exchanges = 0;

    bool m_haveWatch = false;
    qint32 m_watchValue = 0;
    qint64 m_nextWatchMs = 0;
    bool m_blockWanted = true; // the first full reading is the baseline
    QList<qint32> m_block;
    QList<qint32> m_snapshot;
};

} // namespace History
