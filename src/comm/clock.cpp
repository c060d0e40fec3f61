#include "clock.h"

#include <chrono>
#include <thread>

qint64 SteadyClock::nowMs() const
{
    using namespace std::chrono;
    return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

void SteadyClock::sleepMs(qint64 ms)
{
    if (ms > 0)
        std::this_thread::sleep_for(std::chrono::milliseconds(ms));
}
