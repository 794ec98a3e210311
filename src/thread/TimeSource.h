/// @file
/// Where the component takes the time from, and how its threads sleep.
#pragma once

#include <cstdint>

/// The wall clock and the sleep of the component's threads. Any thread may call the operations.
///
/// Everything that waits in the component goes through here, so that a test can put its own source in place
/// and run a player in simulated time.
class TimeSource {
public:
    TimeSource() = default;
    TimeSource(const TimeSource&) = delete;
    TimeSource& operator=(const TimeSource&) = delete;
    virtual ~TimeSource() = default;

    /// @return milliseconds of a monotonic clock that moves in ticks of 10 ms; it wraps after 49.7 days, so
    /// only differences in unsigned arithmetic count
    virtual std::uint32_t NowMs() = 0;
    virtual void Sleep(std::uint32_t nMicroseconds) = 0;

    /// @return the source in use: the system's monotonic clock, unless a test has installed another one
    static TimeSource& Current();
    /// Puts another source in place for the whole process, while no thread of the component runs.
    /// @param pSource not owned; null for the system's
    static void Install(TimeSource* pSource);
};
