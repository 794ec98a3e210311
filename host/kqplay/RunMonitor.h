/// @file
/// Follows the player's runs.
#pragma once

#include "FileDescriptor.h"
#include "LateFrames.h"
#include "Player.h"
#include "TraceWriter.h"

#include <atomic>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <utility>

namespace kqplay {

/// Starts and ends the player's runs, and notes what the player tells about them.
///
/// What the player tells comes on its own thread: it is noted, and the main thread is woken when a run has
/// ended. The one thing that is done on that thread is to start the next round of a loop. The other functions
/// are for the main thread.
class RunMonitor final : public PlayerListener {
public:
    /// @param clockStep step of the clock that paces pictures, in seconds
    RunMonitor(Player& player, TraceWriter& trace, double clockStep);

    /// Starts a run. @param loop start again whenever a run ends by itself
    /// @return false when there is nothing to play
    bool Begin(bool loop);
    /// Opens a paused run, at the begin of the range or where the player has been moved to. Loops as Begin().
    void Load(bool loop);
    void Pause();
    void Resume();
    /// A run that ends by itself while it is paused (stepped past its last frame) is not started again.
    void SetLoop(bool loop);
    /// @param length of the range, seconds, behind which no position is told; 0 for unknown. For the next
    /// run.
    void SetLength(double length) { m_length = length; }
    /// A run of a loop that ends while @p holdsMore gives true, because the range has been too short, is not
    /// started again. To be called before the first run; the player's thread calls it.
    void SetHoldsMore(std::function<bool()> holdsMore) { m_holdsMore = std::move(holdsMore); }
    bool IsPaused() const { return m_paused; }
    /// Ends the run, and returns when the player has said its last word about it.
    void Halt();
    /// @return false when the run has ended and no further one follows
    bool IsRunning();

    /// @return descriptor that becomes readable when a run has ended
    int Fd() const { return m_wake.Get(); }
    void ClearWake();
    /// @return seconds since the begin of the play range
    double Position() const { return m_position; }
    /// For a move without a run, of which the player tells nothing.
    void SetPosition(double seconds) { m_position = seconds; }
    int LateCount() const { return m_late.Count(); }

    /// A picture was handed to a view. Called on the thread that shows it.
    void OnPicture(int view, int width, int height, const unsigned char* pixels);

private:
    void OnPosition(double seconds) override;
    void OnEnd() override;
    void TraceState();

    Player& m_player;
    TraceWriter& m_trace;
    FileDescriptor m_wake; ///< an eventfd
    LateFrames m_late;
    std::function<bool()> m_holdsMore;
    std::atomic<double> m_length{0};
    std::atomic<double> m_position{0};
    std::atomic<bool> m_pictureCame{false};
    std::atomic<bool> m_paused{false};

    /// Guards what follows, and the decision to start a further round against the decision that there be
    /// none.
    std::mutex m_lock;
    std::condition_variable m_ended;
    bool m_loop = false;
    int m_runs = 0; ///< started and not ended
};

} // namespace kqplay
