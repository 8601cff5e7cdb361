// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#pragma once

#include <sys/resource.h>

#include <chrono>
#include <cstdio>

/// What this process has used since the object was made.
class Usage
{
public:
    double cpuSeconds() const { return cpuNow() - m_cpu; }

    double wallSeconds() const
    {
        return std::chrono::duration<double>(Clock::now() - m_wall).count();
    }

private:
    using Clock = std::chrono::steady_clock;

    static double seconds(const timeval& time)
    {
        return double(time.tv_sec) + double(time.tv_usec) / 1e6;
    }

    static double cpuNow()
    {
        rusage usage = {};
        getrusage(RUSAGE_SELF, &usage);
        return seconds(usage.ru_utime) + seconds(usage.ru_stime);
    }

    double m_cpu = cpuNow();
    Clock::time_point m_wall = Clock::now();
};

/// Prints the figures of one measured piece of work for bench.py.
inline void printUsage(const Usage& usage)
{
    const double cpu = usage.cpuSeconds();
    std::printf("{\"cpu\": %.6f, \"wall\": %.6f}\n", cpu, usage.wallSeconds());
}
