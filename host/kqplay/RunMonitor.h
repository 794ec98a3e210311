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
/// ended. The other functions are for the main thread.
class RunMonitor final : public PlayerListener {
public:
    /// @param clockStep step of the clock that paces pictures, in seconds
    RunMonitor(Player& player, TraceWriter& trace, double clockStep);

    /// Starts a run. @return false when there is nothing to play
    bool Begin();
    /// Opens a paused run, at the begin of the range or where the player has been moved to.
    void Load();
    void Pause();
    void Resume();
    /// @param length of the range, seconds, behind which no position is told; 0 for unknown
    void SetLength(double length) { m_length = length; }
    /// @param placeIn tells where the picture that a view shows stands in its file; any thread calls it.
    ///                To be called before the first picture.
    void SetPlaces(std::function<kq::streams::PicturePlace(int view)> placeIn) {
        m_placeIn = std::move(placeIn);
    }
    bool IsPaused() const { return m_paused; }
    /// Ends the run, and returns when the player has said its last word about it.
    void Halt();
    /// @return false when the run has ended
    bool IsRunning();

    /// @return descriptor that becomes readable when a run has ended
    int Fd() const { return m_wake.Get(); }
    void ClearWake();
    /// @return seconds since the begin of the play range
    double Position() const { return m_position; }
    /// For a move without a run, of which the player tells nothing.
    void SetPosition(double seconds) { m_position = seconds; }
    /// @return how many positions the player has told
    int ToldCount() const { return m_told; }
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
    std::function<kq::streams::PicturePlace(int view)> m_placeIn;
    std::atomic<double> m_length{0};
    std::atomic<double> m_position{0};
    std::atomic<int> m_told{0};
    std::atomic<bool> m_pictureCame{false};
    std::atomic<bool> m_paused{false};
    std::atomic<bool> m_halting{false}; ///< the views turn black

    std::mutex m_lock; ///< guards what follows
    std::condition_variable m_ended;
    int m_runs = 0; ///< started and not ended
};

} // namespace kqplay
