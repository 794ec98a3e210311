/// @file
/// How much a machine hinders a test that measures time.
#pragma once

#include <atomic>
#include <chrono>
#include <thread>

namespace kq::test {

/// A thread that does nothing but sleep for a moment, again and again. Whatever it oversleeps, because the
/// machine is busy or stands still, a thread beside it may have lost too.
class Hindrance {
public:
    Hindrance() : m_thread([this] { Sleep(); }) {}
    ~Hindrance() {
        m_ends = true;
        m_thread.join();
    }
    Hindrance(const Hindrance&) = delete;
    Hindrance& operator=(const Hindrance&) = delete;

    /// @return milliseconds that were overslept so far
    double Lost() const { return m_lost; }

private:
    void Sleep() {
        using Clock = std::chrono::steady_clock;
        constexpr std::chrono::milliseconds moment(2);
        constexpr double usual = 3; // a timer's slack, and the scheduler's
        while (!m_ends) {
            const auto begun = Clock::now();
            std::this_thread::sleep_for(moment);
            const std::chrono::duration<double, std::milli> overslept = Clock::now() - begun - moment;
            if (overslept.count() > usual) {
                m_lost = m_lost + overslept.count();
            }
        }
    }

    std::atomic<bool> m_ends{false};
    std::atomic<double> m_lost{0};
    std::thread m_thread; ///< the last, because it uses the others
};

} // namespace kq::test
