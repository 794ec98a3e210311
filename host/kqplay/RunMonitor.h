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
#include <vector>

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
    /// To be called before the first picture.
    /// @param views   how many there are; pictures of others are none of the run's
    /// @param keep    keeps the picture that a view shows; any thread calls it
    void SetPictures(std::size_t views, std::function<kq::streams::KeptPicture(int view)> keep);
    /// @param isStill the view's stream stands at what is on show, and can be asked for what nobody asked
    /// before
    /// @return the picture that a view shows; without a frame before the first one, while the view is black,
    ///         and while play goes on that nobody watched so far
    kq::streams::KeptPicture Shown(int view, bool isStill);
    /// @param on PictureFd() tells of every picture from now on
    void WatchPictures(bool on) { m_watched = on; }
    /// @return descriptor that becomes readable when a picture was handed to a view
    int PictureFd() const { return m_pictureWake.Get(); }
    void ClearPictureWake();
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
    /// What a view shows.
    struct OnShow {
        kq::streams::KeptPicture picture; ///< kept when somebody watches
        bool isBlack = true;
    };

    void OnPosition(double seconds) override;
    void OnEnd() override;
    void TraceState();

    Player& m_player;
    TraceWriter& m_trace;
    FileDescriptor m_wake; ///< an eventfd
    LateFrames m_late;
    FileDescriptor m_pictureWake; ///< an eventfd
    std::atomic<bool> m_watched{false};
    std::function<kq::streams::KeptPicture(int view)> m_keep;
    std::atomic<double> m_length{0};
    std::atomic<double> m_position{0};
    std::atomic<int> m_told{0};
    std::atomic<bool> m_pictureCame{false};
    std::atomic<bool> m_paused{false};
    std::atomic<bool> m_halting{false}; ///< the views turn black

    std::mutex m_shownLock;
    std::vector<OnShow> m_shown; ///< by view; guarded by m_shownLock

    std::mutex m_lock; ///< guards what follows
    std::condition_variable m_ended;
    int m_runs = 0; ///< started and not ended
};

} // namespace kqplay
