/// @file
/// The keys, in the window and in the terminal alike: what each does, and how it is explained.
#pragma once

#include "Command.h"

#include <string>
#include <string_view>
#include <vector>

namespace kqplay {

/// A key's code: its character's in ASCII, or one of these.
enum KeyCode : int {
    KeyTab = 9,
    KeyEnter = 10,
    KeyEscape = 27,
    KeyBackspace = 127,
    KeyLeft = 256,
    KeyRight,
    KeyUp,
    KeyDown,
    KeyHome,
    KeyEnd,
    KeyFile1, ///< F1, or Alt and 1; those of the other files follow
    KeyFile9 = KeyFile1 + 8,
    KeyControlPlus, ///< no terminal sends these two
    KeyControlMinus,
};

/// One row of the table of keys.
struct KeyAction {
    std::vector<int> keys; ///< codes; each does the same
    Command command;
    const char* help; ///< what it does, without a full stop; the documents have it word by word
    /// A key that is held down does it again and again: it goes on from where the last time has led, and is
    /// no choice that the next time would take back.
    bool isRepeated = false;
};

/// @return all actions that have keys, in the order in which they are explained
const std::vector<KeyAction>& KeyActions();
/// @return the command of a key, Command::None for one that does nothing
Command CommandOfKey(int key);
/// @return KeyAction::isRepeated of a key; true for one that has no action, which may be typed
bool IsRepeated(int key);
/// @return the names of an action's keys, each between two quotation marks, joined by ", "
std::string KeyNames(const KeyAction& action, std::string_view quote = {});
/// @return the table as text, a line a row, each with its end
std::string DescribeKeys();

} // namespace kqplay
