#include "Dispatcher.h"

#include "Interpreter.h"

#include <chrono>

namespace kq::python {
namespace {

/// So many may wait before some are left out.
constexpr std::size_t many = 64;

void CarryOut(const Dispatcher::Task& task) {
    if (IsEnding()) {
        return;
    }
    const Locked locked;
    try {
        task();
    } catch (py::error_already_set& error) {
        error.discard_as_unraisable("a callback of kqplayer");
    } catch (const std::exception& error) {
        PyErr_SetString(PyExc_RuntimeError, error.what());
        PyErr_WriteUnraisable(nullptr);
    }
}

} // namespace

void Dispatcher::Post(Task task, bool replaces) {
    const std::lock_guard guard(m_state->lock);
    auto& tasks = m_state->tasks;
    if (m_state->ends) {
        return;
    }
    if (replaces && tasks.size() >= many && tasks.back().replaces) {
        tasks.pop_back();
    }
    tasks.push_back({std::move(task), replaces});
    if (!m_thread.joinable()) {
        m_thread = std::thread(Run, m_state);
    }
    m_state->change.notify_all();
}

void Dispatcher::Stop() {
    std::thread thread;
    {
        const std::lock_guard guard(m_state->lock);
        m_state->ends = true;
        m_state->change.notify_all();
        thread.swap(m_thread);
    }
    if (!thread.joinable()) {
        return;
    }
    if (thread.get_id() == std::this_thread::get_id()) {
        thread.detach();
    } else {
        thread.join();
    }
}

bool Dispatcher::WaitForIdle(int milliseconds) {
    std::unique_lock lock(m_state->lock);
    if (m_thread.get_id() == std::this_thread::get_id()) {
        return true;
    }
    return m_state->change.wait_for(lock, std::chrono::milliseconds(milliseconds),
                                    [this] { return m_state->tasks.empty() && !m_state->isBusy; });
}

void Dispatcher::Run(const std::shared_ptr<State>& state) {
    std::unique_lock lock(state->lock);
    while (true) {
        state->change.wait(lock, [&] { return state->ends || !state->tasks.empty(); });
        if (state->tasks.empty()) {
            return;
        }
        const Entry entry = std::move(state->tasks.front());
        state->tasks.pop_front();
        state->isBusy = true;
        lock.unlock();
        CarryOut(entry.task);
        lock.lock();
        state->isBusy = false;
        state->change.notify_all();
    }
}

} // namespace kq::python
