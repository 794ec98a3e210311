#include "thread/TimeSource.h"

#include <unistd.h>

#include <atomic>
#include <ctime>

namespace {

class SystemTime final : public TimeSource {
public:
    std::uint32_t NowMs() override {
        // Not times(): its ticks are counted by the kernel's timer interrupt and come up to 4 ms late.
        timespec now{};
        clock_gettime(CLOCK_MONOTONIC, &now);
        const std::uint64_t nTicks = static_cast<std::uint64_t>(now.tv_sec) * 100u +
                                     static_cast<std::uint64_t>(now.tv_nsec) / 10'000'000u;
        return static_cast<std::uint32_t>(nTicks * 10u);
    }

    void Sleep(std::uint32_t nMicroseconds) override { usleep(nMicroseconds); }
};

SystemTime& System() {
    // Never destroyed: threads that outlive main() still sleep.
    static auto* const s_pSystem = new SystemTime;
    return *s_pSystem;
}

std::atomic<TimeSource*> s_pInstalled{nullptr};

} // namespace

TimeSource& TimeSource::Current() {
    TimeSource* const pInstalled = s_pInstalled;
    return pInstalled != nullptr ? *pInstalled : System();
}

void TimeSource::Install(TimeSource* pSource) {
    s_pInstalled = pSource;
}
