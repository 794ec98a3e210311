#include "x11/SigpipeGuard.h"

#include <ctime>

namespace {

sigset_t sigpipeOnly() {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGPIPE);
    return set;
}

bool isPending() {
    sigset_t pending;
    sigpending(&pending);
    return sigismember(&pending, SIGPIPE) == 1;
}

} // namespace

SigpipeGuard::SigpipeGuard() : m_wasPending(isPending()) {
    const sigset_t set = sigpipeOnly();
    pthread_sigmask(SIG_BLOCK, &set, &m_before);
}

SigpipeGuard::~SigpipeGuard() {
    if (!m_wasPending && isPending()) {
        const sigset_t set = sigpipeOnly();
        const timespec now = {};
        sigtimedwait(&set, nullptr, &now);
    }
    pthread_sigmask(SIG_SETMASK, &m_before, nullptr);
}
