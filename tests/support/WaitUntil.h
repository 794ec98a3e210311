/// @file
/// Waiting for what another thread or program does.
#pragma once

#include <chrono>
#include <thread>

namespace kq::test {

/// Polls until the condition holds. @return whether it did before a limit ran out that no busy machine needs
template <class Condition>
bool WaitUntil(Condition condition, std::chrono::seconds limit = std::chrono::seconds(60)) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

} // namespace kq::test
