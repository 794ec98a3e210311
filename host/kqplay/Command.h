/// @file
/// What keys do, in the window and in the terminal alike.
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
};

/// @param key ASCII code of the key
inline Command CommandOfKey(int key) {
    constexpr int escape = 27;
    switch (key) {
    case ' ':
        return Command::TogglePause;
    case 'S':
        return Command::Stop;
    case 'q':
    case escape:
        return Command::Quit;
    case '.':
        return Command::StepForward;
    case ',':
        return Command::StepBackward;
    case 's':
        return Command::Screenshot;
    case 'f':
        return Command::ToggleFullScreen;
    case '9':
        return Command::Quieter;
    case '0':
        return Command::Louder;
    case 'm':
        return Command::ToggleMute;
    case 'L':
        return Command::ToggleLoop;
    case 'i':
        return Command::ShowFacts;
    default:
        return Command::None;
    }
}

} // namespace kqplay
