/// @file
/// Counts frames that come late.
#pragma once

#include <atomic>
#include <limits>
#include <vector>

namespace kqplay {

/// @return how much a frame may come after the most punctual one and not be late: a step of the clock that
///         paces frames, and 5 ms; all in seconds
constexpr double LateTolerance(double clockStep) {
    return clockStep + 0.005;
}

/// @return a frame's delay: when it came less where in the stream it is, both in one unit. It says something
///         beside other frames' delays only, since their clocks begin at different times
constexpr double DelayOf(double now, double position) {
    return now - position;
}

/// Judges frames of a short stretch without a pause, after the fact.
/// @param came     when each frame came, in any unit
/// @param interval of the frames, in the same unit
/// @return for each frame how much later than the most punctual one it came, measured by its own time
std::vector<double> DelaysAfterMostPunctual(const std::vector<double>& came, double interval);

/// Judges frames by when they come, without knowing the player's clock.
///
/// A frame's delay is the time at which it came less its position. The punctual frames of the last seconds
/// have the smallest delay, and the smallest delay is the base line. A frame is late when it comes more than
/// a step of the player's clock plus 5 ms after the base line: within a step (10 ms for the wall clock, one
/// period of the audio device with sound) nobody can say when a frame was due. The base line covers two to
/// four seconds, so that a slow drift between the sound card's clock and ours does not count.
///
/// Frame() is called by one thread; Restart() and Count() by any.
class LateFrames {
public:
    /// @param clockStep step of the clock that paces the frames, in seconds
    explicit LateFrames(double clockStep) : m_tolerance(LateTolerance(clockStep)) {}

    /// A frame was shown.
    /// @param now      seconds of a monotonic clock
    /// @param position of the frame, in seconds
    void Frame(double now, double position);
    /// Positions and time part here: play was paused, resumed or started.
    void Restart() { m_restart = true; }
    int Count() const { return m_count; }

private:
    static constexpr double never = std::numeric_limits<double>::infinity();

    double m_tolerance;
    double m_blockStart = -never;
    double m_blockDelay = never;    ///< smallest delay of the present block
    double m_previousDelay = never; ///< smallest delay of the block before
    std::atomic<bool> m_restart{true};
    std::atomic<int> m_count{0};
};

} // namespace kqplay
