#pragma once

#include "historyrecorder.h"

#include "machine/dataset.h"

#include <QHash>

#include <functional>

class Clock;
class RegisterLink;

namespace History
{

// What the history needs from the board beyond what the windows read: the
// program identity once per connection, the last-shift counts (watched
// through last shift's good cans, read whole when that changes), the
// board's comm error code and the production snapshot values. A value a
// window or the update cycle read moments ago is taken as it is; only what
// nobody read lately costs an exchange, at most one a second, so the link's
// own traffic barely notices. A value that could not be read is never taken
// as 0: the reading under way is dropped and tried again later.
class HistorySampler
{
public:
    HistorySampler(HistoryRecorder &recorder, RegisterLink &link, const Clock &clock);

    // Addresses come from the working record (items), as transfers use them.
    void setRecord(const DataSet &record) { m_record = record; }
    void setSpindleCount(int count) { m_spindleCount = count; }
    // The text of a comm error code (from the program's code file).
    void setCommErrorText(std::function<QString(int)> text) { m_commErrorText = std::move(text); }
    static constexpr qint64 MinimumGapMs = 1000;
    static constexpr qint64 WatchPeriodMs = 5000;
    // Shorter gaps for a link of its own (a test, the monitor's own port).
    void setPacing(qint64 minimumGapMs, qint64 watchPeriodMs)
    {
        m_minimumGapMs = minimumGapMs;
        m_watchPeriodMs = watchPeriodMs;
    }

    // Any register value read on the link (the link's observer passes them on).
    void valueSeen(const QString &add, const QString &value);
    // One step; call it from the update cycle while the link is free.
    void step();
    // The link went down or offline: readings under way are forgotten.
    void linkLost();
    // Exchanges made so far (for the figures).
    int exchanges() const { return m_exchanges; }

private:
    enum class Take { Got, Later, Failed };
    // A value read lately by anyone, else one exchange when the gap allows.
    Take take(const QString &add, qint32 &value);
    // Fills `into` from `adds` in order; false until all are there.
    bool gather(const QStringList &adds, QList<qint32> &into);
    QStringList blockAddresses() const;
    QString addressOf(int index) const;

    HistoryRecorder &m_recorder;
    RegisterLink &m_link;
    const Clock &m_clock;
    DataSet m_record;
    int m_spindleCount = 0;
    std::function<QString(int)> m_commErrorText;
    qint64 m_minimumGapMs = MinimumGapMs;
    qint64 m_watchPeriodMs = WatchPeriodMs;
    qint64 m_lastExchangeMs = 0;
    bool m_exchanged = false;
    int m_exchanges = 0;

    struct Seen {
        qint32 value = 0;
        qint64 atMs = 0;
    };
    QHash<QString, Seen> m_seen;

    bool m_identityKnown = false;
    QList<qint32> m_identity;
    bool m_haveWatch = false;
    qint32 m_watchValue = 0;
    qint64 m_nextWatchMs = 0;
    QList<qint32> m_watch;
    bool m_blockWanted = true; // the first full reading is the baseline
    QList<qint32> m_block;
    QList<qint32> m_snapshot;
};

} // namespace History
