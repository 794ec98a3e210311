#include "SignalInbox.h"

#include <sys/signalfd.h>
#include <unistd.h>

namespace kqplay {
namespace {

sigset_t InboxSignals() {
    sigset_t set;
    sigemptyset(&set);
    for (int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGTSTP}) {
        sigaddset(&set, signal);
    }
    return set;
}

} // namespace

SignalInbox::SignalInbox() {
    const sigset_t set = InboxSignals();
    pthread_sigmask(SIG_BLOCK, &set, nullptr); // threads that start later inherit this
    m_fd = FileDescriptor(signalfd(-1, &set, SFD_NONBLOCK | SFD_CLOEXEC));
    std::signal(SIGPIPE, SIG_IGN); // a reader of the progress line that goes away is no reason to die
    std::signal(SIGXFSZ, SIG_IGN); // nor is a file that may not grow: the write fails
}

std::optional<int> SignalInbox::Take() {
    signalfd_siginfo info;
    if (read(m_fd.Get(), &info, sizeof info) != sizeof info) {
        return std::nullopt;
    }
    return static_cast<int>(info.ssi_signo);
}

bool SignalInbox::AsksForEnd() {
    while (const auto signal = Take()) {
        if (*signal != SIGTSTP) {
            return m_hasAsked = true;
        }
        kill(getpid(), SIGSTOP);
    }
    return false;
}

} // namespace kqplay
