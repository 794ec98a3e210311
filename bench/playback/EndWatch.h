/// @file
/// Waiting for the end of a run.
#pragma once

#include <host/kqplay/Player.h>

#include <atomic>
#include <chrono>
#include <thread>

namespace bench {

class EndWatch : public kqplay::PlayerListener {
public:
    void OnPosition(double) override {}
    void OnEnd() override { m_ended = true; }
    /// Returns once a run has ended.
    void WaitForEnd() const {
        while (!m_ended) {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
    }

private:
    std::atomic<bool> m_ended{false};
};

} // namespace bench
