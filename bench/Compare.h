/// @file
/// Times several ways to do the same thing in one run, in turn, so that they meet the same machine.
#pragma once

#include <sched.h>
#include <time.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <new>
#include <string>
#include <vector>

namespace kq::bench {

/// Places buffers at cache lines.
template <class T>
struct LineAllocator {
    using value_type = T;
    static T* allocate(std::size_t count) {
        return static_cast<T*>(::operator new (count * sizeof(T), std::align_val_t{64}));
    }
    static void deallocate(T* p, std::size_t /*count*/) { ::operator delete (p, std::align_val_t{64}); }
    bool operator==(const LineAllocator& /*other*/) const { return true; }
    bool operator!=(const LineAllocator& /*other*/) const { return false; }
};

struct Contestant {
    std::string name;
    std::function<void()> run;
    std::vector<double> seconds = {}; ///< one entry a round
};

/// Keeps the process on the processor it runs on.
inline void StayOnOneProcessor() {
    cpu_set_t set;
    CPU_ZERO(&set);
    CPU_SET(sched_getcpu(), &set);
    sched_setaffinity(0, sizeof(set), &set);
}

/// Processor time, so that being preempted on a busy machine does not count.
inline double ProcessorSeconds() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

inline double SecondsOf(const std::function<void()>& run, int repetitions) {
    const double start = ProcessorSeconds();
    for (int i = 0; i < repetitions; ++i) {
        run();
    }
    return (ProcessorSeconds() - start) / repetitions;
}

/// Runs all contestants in turn, `rounds` times, each for about `slice` seconds.
inline void RunInTurn(std::vector<Contestant>& contestants, int rounds, double slice) {
    std::vector<int> repetitions;
    for (Contestant& c : contestants) {
        c.run();
        repetitions.push_back(std::max(1, static_cast<int>(slice / SecondsOf(c.run, 1))));
    }
    for (int round = 0; round < rounds; ++round) {
        for (std::size_t i = 0; i < contestants.size(); ++i) {
            contestants[i].run(); // so that nobody starts with the caches of another
            contestants[i].seconds.push_back(SecondsOf(contestants[i].run, repetitions[i]));
        }
    }
}

inline double Median(std::vector<double> values) {
    if (values.empty()) {
        return 0;
    }
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

/// How many times as fast `subject` is as `other`: the median of the rounds' ratios.
inline double TimesAsFast(const Contestant& subject, const Contestant& other) {
    std::vector<double> ratios;
    for (std::size_t i = 0; i < subject.seconds.size(); ++i) {
        ratios.push_back(other.seconds[i] / subject.seconds[i]);
    }
    return Median(ratios);
}

} // namespace kq::bench
