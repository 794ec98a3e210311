#include "thread/TickClock.h"

#include <ctime>

std::uint32_t TickClockMs() {
    // Not times(): its ticks are counted by the kernel's timer interrupt and come up to 4 ms late.
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    const std::uint64_t nTicks =
        static_cast<std::uint64_t>(now.tv_sec) * 100u + static_cast<std::uint64_t>(now.tv_nsec) / 10'000'000u;
    return static_cast<std::uint32_t>(nTicks * 10u);
}
