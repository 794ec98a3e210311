#include "RunMonitor.h"

#include <sys/eventfd.h>

#include <algorithm>
#include <utility>

namespace kqplay {
namespace {

/// Positions that are further apart, in seconds, tell of a seek.
constexpr double longestGap = 0.5;

} // namespace

RunMonitor::RunMonitor(Player& player, TraceWriter& trace, double clockStep)
    : m_player(player), m_trace(trace), m_wake(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)), m_late(clockStep),
      m_pictureWake(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)) {}

void RunMonitor::SetPictures(std::size_t views, std::function<kq::streams::KeptPicture(int view)> keep) {
    m_shown.resize(views);
    m_keep = std::move(keep);
}

kq::streams::KeptPicture RunMonitor::Shown(int view, bool isStill) {
    OnShow shown;
    {
        const std::lock_guard guard(m_shownLock);
        shown = m_shown.at(static_cast<std::size_t>(view));
    }
    if (shown.isBlack || shown.picture.place.number >= 0 || !isStill) {
        return shown.picture;
    }
    // Nobody asked for it when it was shown, or its number was not known.
    kq::streams::KeptPicture again = m_keep(view);
    const bool isSame = !shown.picture.frame || again.place.time == shown.picture.place.time;
    return again.frame && isSame ? again : shown.picture;
}

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

void RunMonitor::ClearPictureWake() {
    eventfd_t ignored;
    eventfd_read(m_pictureWake.Get(), &ignored);
}

void RunMonitor::OnPicture(int view, int width, int height, const unsigned char* pixels) {
    const auto number = static_cast<std::size_t>(view);
    if (number >= m_shown.size()) {
        return; // a still's, or a scope's
    }
    OnShow shown;
    shown.isBlack = m_halting;
    if (!shown.isBlack && (m_watched || m_trace.IsOpen())) {
        shown.picture = m_keep(view);
    }
    m_trace.Picture(view, width, height, pixels, shown.picture.place);
    {
        const std::lock_guard guard(m_shownLock);
        std::swap(m_shown[number], shown); // what is no longer kept goes without the lock
    }
    m_pictureCame = true;
    if (m_watched) {
        eventfd_write(m_pictureWake.Get(), 1);
    }
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
