#pragma once

#include "comm/clock.h"

// Time that moves only when a wait or a test moves it.
class FakeClock final : public Clock
{
public:
    qint64 nowMs() const override { return m_now; }
    void sleepMs(qint64 ms) override { m_now += qMax<qint64>(ms, 0); }
    void advance(qint64 ms) { m_now += ms; }
    void setNow(qint64 ms) { m_now = ms; }

private:
    qint64 m_now = 1000000;
};
