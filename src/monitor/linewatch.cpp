#include "linewatch.h"

LineWatch::Outcome LineWatch::take(const LiveValues &values)
{
    Outcome outcome;
    if (m_last) {
        if (values.faultCode != m_last->faultCode)
            outcome.faults.append({FaultKind::Fault, values.faultCode, m_last->faultCode});
        if (values.commErrorCode != m_last->commErrorCode)
            outcome.faults.append(
                {FaultKind::CommError, values.commErrorCode, m_last->commErrorCode});
        // A shift that ends copies the current counts over the last shift's;
        // two shifts in a row with the same counts are not told apart.
        outcome.shiftEnded = values.lastShiftGoodCans != m_last->lastShiftGoodCans ||
                             values.lastShiftBlowoffs != m_last->lastShiftBlowoffs;
    }
    m_last = values;
    return outcome;
}
