/// @file
/// What keys do, in the window and in the terminal alike.
#pragma once

namespace kqplay {

enum class Command {
    None,
    TogglePause, ///< pause, resume, or play again after a stop
    Stop,
    Quit,
};

/// @param key ASCII code of the key
inline Command CommandOfKey(int key) {
    constexpr int escape = 27;
    switch (key) {
    case ' ':
        return Command::TogglePause;
    case 's':
        return Command::Stop;
    case 'q':
    case escape:
        return Command::Quit;
    default:
        return Command::None;
    }
}

} // namespace kqplay
