#include "RunMonitor.h"

#include <sys/eventfd.h>

#include <algorithm>

namespace kqplay {
namespace {

/// Positions that are further apart, in seconds, tell of a seek.
constexpr double longestGap = 0.5;

} // namespace

RunMonitor::RunMonitor(Player& player, TraceWriter& trace, double clockStep)
    : m_player(player), m_trace(trace), m_wake(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)), m_late(clockStep) {}

bool RunMonitor::Begin() {
    {
        const std::lock_guard guard(m_lock);
        ++m_runs;
    }
    m_late.Restart();
    m_paused = false;
    const bool started = m_player.Play();
    TraceState();
    if (!started) {
        const std::lock_guard guard(m_lock);
        --m_runs;
    }
    return started;
}

void RunMonitor::Load() {
    {
        const std::lock_guard guard(m_lock);
        ++m_runs;
    }
    m_late.Restart();
    m_paused = true;
    m_player.Load();
    TraceState();
}

void RunMonitor::Pause() {
    m_late.Restart();
    m_paused = true;
    m_player.Pause();
    TraceState();
}

void RunMonitor::Resume() {
    m_late.Restart(); // entering the pause gave a position too
    m_paused = false;
    m_player.Play();
    TraceState();
}

void RunMonitor::Halt() {
    {
        const std::lock_guard guard(m_lock);
        if (m_runs == 0) {
            return;
        }
    }
    m_halting = true;
    m_player.Stop();
    m_halting = false;
    TraceState();
    std::unique_lock guard(m_lock);
    m_ended.wait(guard, [this] { return m_runs == 0; });
}

bool RunMonitor::IsRunning() {
    const std::lock_guard guard(m_lock);
    return m_runs > 0;
}

void RunMonitor::ClearWake() {
    eventfd_t ignored;
    eventfd_read(m_wake.Get(), &ignored);
}

void RunMonitor::OnPicture(int view, int width, int height, const unsigned char* pixels) {
    if (m_trace.IsOpen()) {
        const bool isOfFile = m_placeIn && !m_halting;
        m_trace.Picture(view, width, height, pixels,
                        isOfFile ? m_placeIn(view) : kq::streams::PicturePlace{});
    }
    m_pictureCame = true;
}

void RunMonitor::OnPosition(double seconds) {
    // While sound alone is playing the player looks at its range ten times a second.
    if (m_length > 0) {
        seconds = std::min(seconds, m_length.load());
    }
    const double moved = seconds - m_position.exchange(seconds);
    if (moved < 0 || moved > longestGap) { // a seek
        m_late.Restart();
    }
    if (m_pictureCame.exchange(false) && !m_paused) {
        m_late.Frame(static_cast<double>(MonotonicMicroseconds()) / 1e6, seconds);
    }
    ++m_told;
    m_trace.Position(seconds);
}

void RunMonitor::OnEnd() {
    TraceState();
    m_trace.End();
    const std::lock_guard guard(m_lock); // to the very end: Halt() may destroy us once it is released
    --m_runs;
    eventfd_write(m_wake.Get(), 1);
    m_ended.notify_all();
}

void RunMonitor::TraceState() {
    if (m_trace.IsOpen()) {
        m_trace.State(m_player.Activity());
    }
}

} // namespace kqplay
