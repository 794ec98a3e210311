/// @file
/// Calls of Python functions from a thread of their own, in order.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

namespace kq::python {

/// Carries tasks out with the interpreter's lock, so that whoever posts them, the playback thread above all,
/// never waits for it. An exception that a task leaves goes to sys.unraisablehook.
class Dispatcher {
public:
    using Task = std::function<void()>;

    Dispatcher() : m_state(std::make_shared<State>()) {}
    ~Dispatcher() { Stop(); }
    Dispatcher(const Dispatcher&) = delete;
    Dispatcher& operator=(const Dispatcher&) = delete;

    /// Any thread; waits for nothing. Tasks own no objects of Python.
    /// @param replaces a task still waiting that was posted right before, with the same flag, is left out
    ///                 when there are many
    void Post(Task task, bool replaces = false);
    /// Carries out what was posted and ends the thread. Called by one of its own tasks, it lets the thread
    /// end after that. Without the interpreter's lock.
    void Stop();
    /// Starts to wait until all that was posted before is carried out, up to so many milliseconds.
    /// @return true when it is; on the thread itself, at once
    bool WaitForIdle(int milliseconds);

private:
    struct Entry {
        Task task;
        bool replaces;
    };
    /// Lives as long as the thread.
    struct State {
        std::mutex lock; ///< guards the rest
        std::condition_variable change;
        std::deque<Entry> tasks;
        bool isBusy = false;
        bool ends = false;
    };

    static void Run(const std::shared_ptr<State>& state);

    const std::shared_ptr<State> m_state;
    std::thread m_thread; ///< guarded by the state's lock; begins with the first task
};

} // namespace kq::python
