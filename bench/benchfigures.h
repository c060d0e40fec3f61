#pragma once

#include <sys/resource.h>

#include <chrono>
#include <cstdio>

namespace bench
{

inline double cpuSeconds()
{
    rusage u{};
    ::getrusage(RUSAGE_SELF, &u);
    return double(u.ru_utime.tv_sec + u.ru_stime.tv_sec) +
           double(u.ru_utime.tv_usec + u.ru_stime.tv_usec) / 1e6;
}

// The same split into user and system time (the kernel samples the split
// at its tick, so it is rough over short runs).
inline double userSeconds()
{
    rusage u{};
    ::getrusage(RUSAGE_SELF, &u);
    return double(u.ru_utime.tv_sec) + double(u.ru_utime.tv_usec) / 1e6;
}

// Times the process gave up the CPU to wait (voluntary) and was made to
// (involuntary).
struct Switches {
    long voluntary = 0;
    long involuntary = 0;
};
inline Switches contextSwitches()
{
    rusage u{};
    ::getrusage(RUSAGE_SELF, &u);
    return {u.ru_nvcsw, u.ru_nivcsw};
}

inline double wallSeconds()
{
    using namespace std::chrono;
    return duration<double>(steady_clock::now().time_since_epoch()).count();
}

// The machine is shared: the load beside a CPU figure says how far to trust it.
inline void printLoad()
{
    double load[3] = {0, 0, 0};
    if (std::FILE *f = std::fopen("/proc/loadavg", "r")) {
        if (std::fscanf(f, "%lf %lf %lf", &load[0], &load[1], &load[2]) != 3)
            load[0] = load[1] = load[2] = -1;
        std::fclose(f);
    }
    std::printf("load average: %.2f %.2f %.2f\n", load[0], load[1], load[2]);
}

// A time beside the least time the cable allows. A time below it cannot be
// true of a real cable, so it is reported as an error, never as a result.
// Returns false in that case.
inline bool printAgainstBound(const char *what, double seconds, double boundSeconds)
{
    const double ratio = seconds / boundSeconds;
    if (seconds < boundSeconds) {
        std::printf("ERROR: %s: %.3f s is below the wire-time bound %.3f s (ratio %.3f): the "
                    "board is faster than a cable, the figure is not a result\n",
                    what, seconds, boundSeconds, ratio);
        return false;
    }
    std::printf("%s: %.3f s; wire-time bound %.3f s; ratio %.3f\n", what, seconds, boundSeconds,
                ratio);
    return true;
}

// A rate beside the most the cable allows; above it is an error.
inline bool printAgainstCeiling(const char *what, double rate, double ceiling)
{
    if (rate > ceiling) {
        std::printf("ERROR: %s: %.1f per second is above the cable's maximum %.0f per second: "
                    "the figure is not a result\n",
                    what, rate, ceiling);
        return false;
    }
    std::printf("%s: %.1f per second; cable's maximum %.0f per second; ratio %.3f\n", what, rate,
                ceiling, rate / ceiling);
    return true;
}

} // namespace bench
