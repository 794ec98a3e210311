/// @file
/// The keyboard side of the terminal.
#pragma once

#include "KeyDecoder.h"

#include <vector>

namespace kqplay {

/// Reads single keys from the terminal on standard input, if there is one.
///
/// While it lives the terminal does not echo and gives keys at once. The user's settings come back when it is
/// destroyed, while the program is suspended, and also when the process exits or crashes. One object a
/// process.
class Terminal {
public:
    Terminal();
    ~Terminal();
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    /// @return descriptor that becomes readable when keys were typed, or -1 without a terminal
    int Fd() const { return m_fd; }
    /// To be called when Fd() is readable, and again soon while IsWaiting().
    /// @param readable nothing is read without
    /// @return the keys that were typed, by their codes
    std::vector<int> Take(bool readable);
    /// @return true while the beginning of a key's sequence waits for its rest
    bool IsWaiting() const { return m_keys.IsWaiting(); }
    /// Suspends the process as Ctrl-Z should, and returns when it goes on.
    void Suspend();

private:
    int m_fd = -1;
    KeyDecoder m_keys;
};

} // namespace kqplay
