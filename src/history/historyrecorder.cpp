#include "historyrecorder.h"

namespace History
{

HistoryRecorder::HistoryRecorder(HistoryStore &store) : m_store(store)
{
    // A code still active when the program starts again is not a new event.
    for (const FaultRecord &f : store.faults())
        m_lastCode[int(f.source)] = f.code;
}

void HistoryRecorder::setMachine(const QString &lineName, const QString &programIdentity,
                                 int spindleCount)
{
    m_lineName = lineName;
    m_programIdentity = programIdentity;
    m_spindleCount = spindleCount;
}

void HistoryRecorder::recordShift(ShiftRecord counts, ShiftOrigin origin)
{
    // The baseline is the reading as it comes, before it is cut to the
    // machine's spindles, so the next identical reading compares equal.
    m_baseline = counts;
    m_haveBaseline = true;
    counts.origin = origin;
    if (counts.spindleCount <= 0)
        counts.spindleCount = m_spindleCount;
    if (counts.spindleCount > 0 && counts.trips.size() > counts.spindleCount)
        counts.trips.resize(counts.spindleCount);
    if (counts.lineName.isEmpty())
        counts.lineName = m_lineName;
    if (counts.programIdentity.isEmpty())
        counts.programIdentity = m_programIdentity;
    if (const qint64 id = m_store.recordShift(counts))
        m_lastShiftId = id;
}

void HistoryRecorder::lastShiftSeen(const ShiftRecord &counts)
{
    if (!m_haveBaseline) {
        m_baseline = counts;
        m_haveBaseline = true;
        return;
    }
    if (counts.sameCounts(m_baseline))
        return;
    const ShiftOrigin origin = m_programEndPending ? ShiftOrigin::Program : ShiftOrigin::Machine;
    m_programEndPending = false;
    recordShift(counts, origin);
}

void HistoryRecorder::shiftEndedByProgram()
{
    m_programEndPending = true;
}

void HistoryRecorder::shiftEndedByProgram(const ShiftRecord &lastShiftCounts)
{
    m_programEndPending = false;
    if (m_haveBaseline && lastShiftCounts.sameCounts(m_baseline))
        return;
    recordShift(lastShiftCounts, ShiftOrigin::Program);
}

void HistoryRecorder::shiftUploaded(const ShiftRecord &lastShiftCounts)
{
    const bool known = (m_haveBaseline && lastShiftCounts.sameCounts(m_baseline))
                       || lastShiftCounts.sameCounts(m_store.lastShift());
    if (known) {
        m_baseline = lastShiftCounts;
        m_haveBaseline = true;
        return;
    }
    recordShift(lastShiftCounts, ShiftOrigin::Upload);
}

void HistoryRecorder::codeSeen(FaultSource source, int code, const QString &text)
{
    const int key = int(source);
    if (m_lastCode.value(key, 0) == code)
        return;
    m_lastCode[key] = code;
    FaultRecord f;
    f.source = source;
    f.code = code;
    f.text = text;
    m_store.recordFault(f);
}

void HistoryRecorder::faultCodeSeen(int code, const QString &text)
{
    codeSeen(FaultSource::Board, code, text);
}

void HistoryRecorder::commErrorSeen(int code, const QString &text)
{
    codeSeen(FaultSource::Comm, code, text);
}

void HistoryRecorder::linkFaultSeen(int code, const QString &text)
{
    codeSeen(FaultSource::Link, code, text);
}

bool HistoryRecorder::snapshotDue() const
{
    return !m_lastSnapshot.isValid()
           || m_lastSnapshot.msecsTo(m_store.now()) >= m_snapshotIntervalMs;
}

void HistoryRecorder::productionSeen(const SnapshotRecord &values)
{
    if (!snapshotDue())
        return;
    // Counted as taken even when the store refused it: a locked file is not
    // retried on every tick.
    m_lastSnapshot = m_store.now();
    m_store.recordSnapshot(values);
}

void HistoryRecorder::linkLost()
{
    m_haveBaseline = false;
    m_programEndPending = false;
}

} // namespace History
