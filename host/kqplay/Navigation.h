/// @file
/// Moving through the file.
#pragma once

#include "RunMonitor.h"

#include <optional>

namespace kqplay {

/// Turns keys into exact seeks and frame steps. Seeks are asynchronous: of many that are asked for while one
/// is under way only the last is carried out, and each is relative to the one before. Times are seconds from
/// the begin of the play range. Main thread only.
class Navigation {
public:
    Navigation(Player& player, RunMonitor& monitor) : m_player(player), m_monitor(monitor) {}

    /// Names what the player shows. @param video reference stream, or null
    void SetVideo(IMediaStream* video);
    /// A new run: nothing is under way.
    /// @param end   length of the range, 0 for unknown
    /// @param isCut the file goes on behind the range
    void SetRange(double begin, double end, bool isCut);

    /// Goes to a time; one outside of the range is moved to its first or last picture.
    void SeekTo(double seconds);
    void SeekBy(double seconds) { SeekTo(Position() + seconds); }
    void SeekToEnd();
    /// While paused: shows the next frame, if it belongs to the range. The first step past the file's last
    /// frame ends the run.
    void StepForward();
    /// While paused: shows the frame before.
    void StepBackward();

    /// @return where play is, or is about to go
    double Position();
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
    bool IsUnderWay();
    void FinishSteps();
    double FrameTime() const;
    double FrameDuration() const;
    double LastPicture() const;

    Player& m_player;
    RunMonitor& m_monitor;
    IMediaStream* m_video = nullptr;
    double m_frame = 0; ///< duration of a frame, seconds; 0 for unknown
    double m_begin = 0; ///< seconds in the file
    double m_end = 0;
    bool m_isCut = false;
    std::optional<double> m_stepped; ///< time of the frame that the posted steps lead to
    std::optional<double> m_target;
    std::int64_t m_takenSince = 0; ///< microseconds; the seek was still posted then
};

} // namespace kqplay
