/// @file
/// Moving through the file.
#pragma once

#include "RunMonitor.h"

#include <kqplayer/media_file.h>

#include <optional>

namespace kqplay {

/// Turns keys into exact seeks and frame steps. Seeks are asynchronous: of many that are asked for while one
/// is under way only the last is carried out, and each is relative to the one before. Times are seconds in
/// the file, counted from the begin of the play range. Main thread only.
class Navigation {
public:
    Navigation(Player& player, RunMonitor& monitor) : m_player(player), m_monitor(monitor) {}

    /// Names what the player shows. @param video reference stream, or null
    void SetFile(IMediaStream* video, kq::streams::Timeline& timeline);
    /// A new run: nothing is under way.
    /// @param end   length of the range, 0 for unknown
    /// @param isCut the file goes on behind the range
    void SetRange(double begin, double end, bool isCut);
    /// From here on play time goes its own way: the player's next frame need not be the file's, and positions
    /// are not the file's times. Until the next SetRange().
    /// @param low,high the part that can be gone to; @p high 0 for unknown
    void FollowTimeline(double low, double high);

    /// Goes to a time; one outside of the range is moved to its first or last picture.
    void SeekTo(double seconds);
    /// Goes to a picture by its place in the file, which has a number; one outside of the range likewise.
    void SeekTo(const kq::streams::PicturePlace& place);
    void SeekBy(double seconds) { SeekTo(Position() + seconds); }
    void SeekToEnd();
    /// While paused: shows the file's next frame, if it belongs to the range. The first step past the file's
    /// last frame ends the run, unless it follows the timeline.
    void StepForward();
    /// While paused: shows the frame before.
    void StepBackward();

    /// @return where play is, or is about to go
    double Position();
    /// @return where the picture on show stands; without a number while that is not known
    kq::streams::PicturePlace PictureOnShow();
    /// @return true while the stream's current picture is the one on show
    bool IsStill() { return !IsUnderWay() && (m_player.IsPaused() || !m_monitor.IsRunning()); }
    /// @return true while a seek has not brought its picture
    bool IsUnderWay();
    /// Waits until a seek under way and the steps are over, a few seconds at most.
    void Arrive();
    /// Forgets a seek that may be under way, and steps.
    void Forget() {
        m_target.reset();
        ForgetSteps();
    }
    /// To be called when the pause is over in which the steps were made.
    void ForgetSteps() { m_stepped.reset(); }
    /// @return true when the stream's present frame is the one of that time in the file, or a later one
    bool HasPictureAt(double seconds) const;

private:
    void Go(double seconds);
    bool StepByNumber(int step);
    bool IsWithin(const kq::streams::PicturePlace& place) const;
    void FinishSteps();
    double FrameTime() const;
    double FrameDuration() const;
    double LastPicture() const;

    Player& m_player;
    RunMonitor& m_monitor;
    IMediaStream* m_video = nullptr;
    kq::streams::Timeline* m_timeline = nullptr;
    double m_frame = 0; ///< duration of a frame, seconds; 0 for unknown
    double m_begin = 0; ///< seconds in the file
    double m_low = 0;
    double m_end = 0;
    bool m_isCut = false;
    bool m_followsTimeline = false;
    std::optional<double> m_stepped; ///< time of the frame that the posted steps lead to
    std::optional<double> m_target;
    std::int64_t m_targetNumber = -1; ///< of the picture that is gone to, if known
    int m_toldBefore = 0;             ///< positions told when the seek was posted or last seen untaken
    std::int64_t m_takenSince = 0;    ///< microseconds; the seek was still posted then
};

} // namespace kqplay
