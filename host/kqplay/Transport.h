/// @file
/// Playing, pausing, stepping, seeking and stopping.
#pragma once

#include "Command.h"
#include "PlaybackParts.h"

#include <optional>
#include <string>

namespace kqplay {

/// Drives the player through its runs, on the main thread.
///
/// A run plays a range of the file, from where it was started to what --length allows. One that is stepped
/// past its last picture ends, and the picture stays on show.
///
/// As long as play is forward, at normal speed and without repeats, the player keeps the range, and its times
/// are the file's. Otherwise the timeline keeps it, to the end of the run, and the player only ends it.
class Transport {
public:
    enum class State { Playing, Paused, Stopped };
    enum class Mark { Begin, End };

    /// What was interrupted, and where, in seconds in the file.
    struct Place {
        State state;
        double position;
    };

    /// @param parts opened; they stay the caller's
    explicit Transport(PlaybackParts& parts);
    ~Transport() { m_parts.monitor->Halt(); }
    Transport(const Transport&) = delete;
    Transport& operator=(const Transport&) = delete;

    /// Plays from the begin of the range, or backwards from its end. @return false when no run starts
    bool Start();
    void TogglePause();
    /// Pauses play. @return true when the picture stands still
    bool WaitForPause();
    /// Pauses first. A step past the last picture ends the run, which then stays on that picture.
    void StepForward();
    void StepBackward();
    /// Obeys a command that seeks; others do nothing.
    void Move(Command command);
    /// @param part of the range that lies before the target, 0 to 1
    void SeekToPart(double part);
    /// @param seconds in the file
    void GoTo(double seconds);
    /// @param number of a picture that the file has
    void GoToFrame(std::int64_t number);
    void Stop();
    /// Has the views drawn again where nothing else does it soon: what they show has changed.
    void Redraw();
    /// @param speed the nearest one that the input can be played with is taken
    void SetSpeed(double speed);
    /// Plays in a direction, faster when it does so already. @param direction 1 or -1
    void Shuttle(int direction);
    /// Repeats from or up to the picture on show. A mark on the wrong side of the other one replaces it.
    /// @return what is repeated now, for people
    std::string MarkLoop(Mark mark);
    /// Repeats no part any more; the whole, if that was repeated before the first mark.
    void ClearMarks();
    /// @return what has become of it, for people
    std::string ToggleLoop();

    /// To be called often: ends the run where its last picture or sample does.
    void KeepEnd();
    /// Notes the end of a run. @return true when play ended by itself, and not by a step or a stop
    bool TakeEnd();
    /// Stops, to go on with another clock or none. @return what is to be given to GoOn()
    Place Interrupt();
    void GoOn(const Place& place);

    State Now() const { return m_state; }
    double Speed() const { return m_speed; }
    /// @return true when a run that was to start did not
    bool HasFailed() const { return m_failed; }
    /// @return seconds; 0 for unknown, also after the file has turned out to be longer than it says
    double Length() const;
    /// @return seconds in the file, never beyond its length
    double Position() const;
    /// @param seconds in the file
    /// @return the part of the range that lies before that, 0 to 1, none when nobody knows
    std::optional<double> PartBefore(double seconds) const;
    /// @return what is repeated, or else played, in seconds in the file
    PlayRange Repeated() const;
    /// @return true when the user has marked what is repeated
    bool IsPartRepeated() const { return m_loop && (m_markBegin || m_markEnd); }

private:
    bool StartAt(double begin, std::optional<double> place);
    void SetRange(double begin);
    bool FollowTimeline();
    void LetMarksWait();
    double PlayEnd() const;
    bool HoldsMore() const;

    PlaybackParts& m_parts;
    State m_state = State::Stopped;
    double m_rangeBegin = 0;  ///< seconds in the file
    double m_rangeLength = 0; ///< seconds; 0 for unknown
    double m_speed;
    bool m_loop;
    std::optional<double> m_markBegin; ///< of the loop, seconds in the file
    std::optional<double> m_markEnd;
    bool m_loopedBefore = false; ///< the first mark
    /// The run has not begun: it counts its positions from the begin of the range, which must be in reach.
    bool m_marksWait = false;
    int m_toldBefore = 0;      ///< positions when the run was started
    bool m_onTimeline = false; ///< in this run the timeline keeps the range
    bool m_movedWhileStopped = false;
    bool m_endsWithFile = false;  ///< the range ends where the file says that it ends itself
    bool m_distrustsFile = false; ///< the file has turned out to be longer than it says
    bool m_steppedOut = false;    ///< stopped by a step past the last picture, which is still on show
    bool m_failed = false;
};

} // namespace kqplay
