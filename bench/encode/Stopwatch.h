#pragma once

#include <cstdio>
#include <ctime>

/// Wall clock and the process's CPU time since it was made.
class Stopwatch {
public:
    void print() const { std::printf("%f %f\n", now(CLOCK_MONOTONIC) - m_wall, now(CLOCK_PROCESS_CPUTIME_ID) - m_cpu); }

private:
    static double now(clockid_t clock)
    {
        timespec time {};
        clock_gettime(clock, &time);
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
    }

    double m_wall = now(CLOCK_MONOTONIC);
    double m_cpu = now(CLOCK_PROCESS_CPUTIME_ID);
};
