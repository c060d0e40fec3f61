#pragma once

#include "historystore.h"

#include <QHash>

namespace History
{

// Turns the readings the program already makes into history: a shift that
// ended (the last-shift counts changed), a fault or comm error code that
// changed, a production snapshot about once a minute. It never reads the
// board itself; whoever owns the link feeds it what was read, and asks
// snapshotDue() before spending an extra exchange on a snapshot.
class HistoryRecorder
{
public:
    explicit HistoryRecorder(HistoryStore &store);

    HistoryStore &store() const { return m_store; }

    // What every shift recorded from now on carries.
    void setMachine(const QString &lineName, const QString &programIdentity, int spindleCount);
    // The program identity as read from the board.
    void setProgramIdentity(const QString &identity) { m_programIdentity = identity; }

    // The board's last-shift counts as read (trips: spindle 1 first). The
    // first reading after connecting is only remembered; any later change
    // is a shift that ended, recorded once.
    void lastShiftSeen(const ShiftRecord &counts);
    // End of Shift was pressed in the program: the change of the last-shift
    // counts that follows is that shift, ended here. When the program has
    // the new counts itself it passes them, and they are recorded now.
    void shiftEndedByProgram();
    void shiftEndedByProgram(const ShiftRecord &lastShiftCounts);
    // A shift-data upload: its last shift is recorded unless already stored.
    void shiftUploaded(const ShiftRecord &lastShiftCounts);

    // The board's fault code and comm error code, and this PC's link fault
    // (1: lost, 0: answering), as seen; only a change is recorded (a clear
    // is code 0).
    void faultCodeSeen(int code, const QString &text);
    void commErrorSeen(int code, const QString &text);
    void linkFaultSeen(int code, const QString &text);

    // Production values; stored when the last snapshot is older than the
    // interval.
    bool snapshotDue() const;
    void productionSeen(const SnapshotRecord &values);
    void setSnapshotIntervalMs(qint64 ms) { m_snapshotIntervalMs = ms; }

    // The link went down: the next readings start afresh.
    void linkLost();

    // Id of the last shift this recorder stored (0: none yet).
    qint64 lastRecordedShiftId() const { return m_lastShiftId; }

private:
    void recordShift(ShiftRecord counts, ShiftOrigin origin);
    void codeSeen(FaultSource source, int code, const QString &text);

    HistoryStore &m_store;
    QString m_lineName;
    QString m_programIdentity;
    int m_spindleCount = 0;
    bool m_haveBaseline = false;
    ShiftRecord m_baseline;
    bool m_programEndPending = false;
    QHash<int, int> m_lastCode; // by FaultSource
    QDateTime m_lastSnapshot;
    qint64 m_snapshotIntervalMs = 60'000;
    qint64 m_lastShiftId = 0;
};

} // namespace History
