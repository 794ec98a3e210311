/// @file
/// Signals as something to wait for.
#pragma once

#include "FileDescriptor.h"

#include <csignal>
#include <optional>

namespace kqplay {

/// Turns the signals that end or stop a program at a terminal into messages for the event loop, so that they
/// are handled in order, on the main thread, with everything cleaned up. To be made before the first thread
/// starts.
class SignalInbox {
public:
    SignalInbox();
    /// @return descriptor that becomes readable when a signal has come
    int Fd() const { return m_fd.Get(); }
    /// @return SIGINT, SIGTERM, SIGHUP, SIGQUIT or SIGTSTP, or none when there is no further signal
    std::optional<int> Take();
    /// Takes all that have come, and stops the program where one asks for it. For work that has nothing to
    /// tidy up before that. @return true when the program is to end
    bool AsksForEnd();
    /// @return true when AsksForEnd() has said so
    bool HasAskedForEnd() const { return m_hasAsked; }

private:
    FileDescriptor m_fd;
    bool m_hasAsked = false;
};

} // namespace kqplay
