#include "x11/SigpipeGuard.h"

#include <ctime>

namespace kq::playerview {

namespace {

sigset_t SigpipeOnly() {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGPIPE);
    return set;
}

bool IsPending() {
    sigset_t pending;
    sigpending(&pending);
    return sigismember(&pending, SIGPIPE) == 1;
}

} // namespace

SigpipeGuard::SigpipeGuard() : m_wasPending(IsPending()) {
    const sigset_t set = SigpipeOnly();
    pthread_sigmask(SIG_BLOCK, &set, &m_before);
}

SigpipeGuard::~SigpipeGuard() {
    if (!m_wasPending && IsPending()) {
        const sigset_t set = SigpipeOnly();
        const timespec now = {};
        sigtimedwait(&set, nullptr, &now);
    }
    pthread_sigmask(SIG_SETMASK, &m_before, nullptr);
}

} // namespace kq::playerview
