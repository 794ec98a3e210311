/// @file
#pragma once

#include <csignal>

namespace kq::playerview {

/// Keeps a SIGPIPE that this thread causes in its scope from reaching the process: XCB writes to its socket
/// without suppressing the signal, and a server that went away must not end the host.
class SigpipeGuard {
public:
    SigpipeGuard();
    ~SigpipeGuard();
    SigpipeGuard(const SigpipeGuard&) = delete;
    SigpipeGuard& operator=(const SigpipeGuard&) = delete;

private:
    sigset_t m_before;
    bool m_wasPending;
};

} // namespace kq::playerview
