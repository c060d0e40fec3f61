#pragma once

#include <QtGlobal>

// Time source of the link. Real runs use the monotonic clock; tests hand in
// a fake one so multi-second time-out sequences run in microseconds.
class Clock
{
public:
    virtual ~Clock() = default;
    // Milliseconds on a monotonic scale; only differences are meaningful.
    virtual qint64 nowMs() const = 0;
    // Blocks for a pause the protocol asks for (program load, limit switch).
    virtual void sleepMs(qint64 ms) = 0;
};

class SteadyClock final : public Clock
{
public:
    qint64 nowMs() const override;
    void sleepMs(qint64 ms) override;
};
