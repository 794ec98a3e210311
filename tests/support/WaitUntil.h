/// @file
/// Threads, and waiting for what another thread or program does.
#pragma once

#include <chrono>
#include <thread>
#include <vector>

namespace kq::test {

/// Polls until the condition holds. @return whether it did before a limit ran out that no busy machine needs
template <class Condition>
bool WaitUntil(Condition condition, std::chrono::seconds limit = std::chrono::seconds(60)) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

/// Runs a body in that many threads at once, each with its number, and waits for the end of all.
template <class Body>
void RunThreads(int count, const Body& body) {
    std::vector<std::thread> threads;
    for (int i = 0; i < count; ++i) {
        threads.emplace_back([&body, i] { body(i); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

} // namespace kq::test
