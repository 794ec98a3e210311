/// @file
/// Simulated time: the threads of a test program run one at a time, in an order that a seed decides.
#pragma once

#include "thread/TimeSource.h"

#include <sched.h>

#include <cstdint>
#include <memory>
#include <random>
#include <vector>

namespace kq::test {

/// While it lives it is the component's time source, and pthread_create(), pthread_join() and
/// pthread_mutex_lock() of the objects linked into the program go through it (with the linker's --wrap): of
/// all threads made meanwhile, and the one that made the scheduler, just one runs at any moment. Time stands
/// still while it runs, and moves when it sleeps or spends some. The same seed gives the same history.
class Scheduler final : public TimeSource {
public:
    explicit Scheduler(std::uint64_t seed);
    ~Scheduler() override;

    std::uint32_t NowMs() override { return static_cast<std::uint32_t>(m_now / 10'000 * 10); }
    void Sleep(std::uint32_t microseconds) override { SleepFor(microseconds); }

    /// Microseconds since the start.
    std::uint64_t Now() const { return m_now; }
    void SleepFor(std::uint64_t microseconds);
    /// A step of a thread takes a moment, in which others may do theirs.
    void Spend();
    std::mt19937_64& Random() { return m_random; }
    /// How much simulated time may pass before the threads count as hanging.
    void LimitTo(std::uint64_t microseconds, void (*onLimit)()) {
        m_limit = microseconds;
        m_onLimit = onLimit;
    }

    struct Thread;
    /// The calls that the linker leads here.
    static Scheduler* Active();
    Thread* Prepare();
    void Run(Thread& thread);
    void Leave(Thread& thread);
    void Join(const Thread& thread);
    Thread* Find(unsigned long handle);

private:
    void Yield();
    void HandOver(Thread& next);
    Thread& Next();

    cpu_set_t m_processors{}; ///< that the calling thread may use otherwise
    std::mt19937_64 m_random;
    std::uint64_t m_now = 1'000'000;
    std::uint64_t m_limit = UINT64_MAX;
    void (*m_onLimit)() = nullptr;
    std::vector<std::unique_ptr<Thread>> m_threads;
};

} // namespace kq::test
