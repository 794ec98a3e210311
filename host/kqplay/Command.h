/// @file
/// What the user can ask for while a file plays.
#pragma once

namespace kqplay {

enum class Command {
    None,
    TogglePause, ///< pause, resume, or play again after a stop
    Stop,
    Quit,
    Back,         ///< 5 s
    Ahead,        ///< 5 s
    FarBack,      ///< a minute
    FarAhead,     ///< a minute
    ToBegin,      ///< of the play range
    ToEnd,        ///< the last picture
    StepForward,  ///< one frame
    StepBackward, ///< one frame
    Screenshot,
    ToggleFullScreen,
    Quieter,
    Louder,
    ToggleMute,
    ToggleLoop,
    ShowFacts,
    ShowKeys,
};

} // namespace kqplay
