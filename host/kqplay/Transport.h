/// @file
/// Playing, pausing, stepping, seeking and stopping.
#pragma once

#include "PlaybackParts.h"

#include <optional>

namespace kqplay {

/// Drives the player through its runs, on the main thread.
///
/// A run plays a range of the file, from where it was started to what --length allows. One that is stepped
/// past its last picture ends, and the picture stays on show.
class Transport {
public:
    enum class State { Playing, Paused, Stopped };

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

    /// Plays from @p begin, in seconds in the file. @return false when no run starts
    bool Start(double begin);
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
    void Stop();
    /// @return whether runs are repeated from now on
    bool ToggleLoop();

    /// Notes the end of a run. @return true when play ended by itself, and not by a step or a stop
    bool TakeEnd();
    /// Stops, to go on with another clock or none. @return what is to be given to GoOn()
    Place Interrupt();
    void GoOn(const Place& place);

    State Now() const { return m_state; }
    /// @return true when a run that was to start did not
    bool HasFailed() const { return m_failed; }
    /// @return seconds; 0 for unknown, also after the file has turned out to be longer than it says
    double Length() const;
    /// @return seconds in the file, never beyond its length
    double Position() const;
    /// @return the part of the range that lies before the position, none when nobody knows
    std::optional<double> PlayedPart() const;

private:
    void SetRange(double begin);
    bool HoldsMore() const;

    PlaybackParts& m_parts;
    State m_state = State::Stopped;
    double m_rangeBegin = 0;  ///< seconds in the file
    double m_rangeLength = 0; ///< seconds; 0 for unknown
    bool m_loop;
    bool m_endsWithFile = false;  ///< the range ends where the file says that it ends itself
    bool m_distrustsFile = false; ///< the file has turned out to be longer than it says
    bool m_steppedOut = false;    ///< stopped by a step past the last picture, which is still on show
    bool m_failed = false;
};

} // namespace kqplay
