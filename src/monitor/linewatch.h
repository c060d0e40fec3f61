#pragma once

#include <QList>
#include <QString>
#include <QtGlobal>

#include <array>
#include <optional>

// What one pass of the monitor reads from the board.
struct LiveValues {
    qint64 goodCans = 0;
    qint64 blowoffs = 0;
    qint64 lifetimeX1000 = 0;
    int machineCpm = 0;
    int appl1Rpm = 0;
    int appl2Rpm = 0;
    int faultCode = 0;
    int commErrorCode = 0;
    int alarmWord = 0;
    // The last shift's good cans and blow-offs: they change when a shift ends.
    qint64 lastShiftGoodCans = 0;
    qint64 lastShiftBlowoffs = 0;

    bool operator==(const LiveValues &) const = default;
};

// A shift the board has closed: its six counts in item order (good cans,
// blow-offs, bad can, manual, Q.C., restart) and the trips of each spindle.
struct ShiftCounts {
    std::array<qint64, 6> counts{};
    QList<int> trips;
    int spindleCount = 0;
};

// Turns successive passes into events. The first pass after start only sets
// what later ones are compared with: a monitor started on a faulted board
// reports the fault in its state, not as a new one.
class LineWatch
{
public:
    enum class FaultKind { Fault, CommError };
    struct FaultChange {
        FaultKind kind;
        int code;
        int previous;
    };
    struct Outcome {
        QList<FaultChange> faults;
        bool shiftEnded = false;
    };

    Outcome take(const LiveValues &values);
    const std::optional<LiveValues> &last() const { return m_last; }

private:
    std::optional<LiveValues> m_last;
};
