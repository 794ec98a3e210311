#include "Terminal.h"

#include "TraceWriter.h"

#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdlib>

namespace kqplay {
namespace {

constexpr std::array<int, 5> crashSignals = {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT};

// Plain variables, because a crash handler may touch nothing else.
termios userSettings;
volatile sig_atomic_t keyMode = 0;
std::array<struct sigaction, crashSignals.size()> crashActions;

void EnterKeyMode() {
    termios settings = userSettings;
    settings.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
    settings.c_cc[VMIN] = 0;
    settings.c_cc[VTIME] = 0;
    tcsetattr(STDIN_FILENO, TCSANOW, &settings);
    keyMode = 1;
}

void LeaveKeyMode() {
    if (keyMode == 0) {
        return;
    }
    keyMode = 0;
    tcsetattr(STDIN_FILENO, TCSANOW, &userSettings);
}

/// Gives the terminal back and returns: the fault then repeats, and meets the handler that was there before
/// ours.
void OnCrash(int) {
    LeaveKeyMode();
    for (std::size_t i = 0; i < crashSignals.size(); ++i) {
        sigaction(crashSignals[i], &crashActions[i], nullptr);
    }
}

void CatchCrashes() {
    struct sigaction action = {};
    action.sa_handler = OnCrash;
    for (std::size_t i = 0; i < crashSignals.size(); ++i) {
        sigaction(crashSignals[i], &action, &crashActions[i]);
    }
}

/// A process in the background may not change the terminal: it would be stopped.
bool OwnsTerminal() {
    return isatty(STDIN_FILENO) != 0 && tcgetpgrp(STDIN_FILENO) == getpgrp() &&
           tcgetattr(STDIN_FILENO, &userSettings) == 0;
}

} // namespace

Terminal::Terminal() {
    if (!OwnsTerminal()) {
        return;
    }
    m_fd = STDIN_FILENO;
    std::atexit(LeaveKeyMode);
    CatchCrashes();
    EnterKeyMode();
}

Terminal::~Terminal() {
    LeaveKeyMode();
}

std::vector<int> Terminal::Take(bool readable) {
    std::array<char, 64> typed;
    const ssize_t count = readable ? read(m_fd, typed.data(), typed.size()) : 0;
    if (readable && count <= 0) { // readable, yet nothing there: the terminal has gone
        m_fd = -1;
    }
    const auto length = static_cast<std::size_t>(std::max<ssize_t>(count, 0));
    return m_keys.Take({typed.data(), length}, static_cast<double>(MonotonicMicroseconds()) / 1e6);
}

void Terminal::Suspend() {
    LeaveKeyMode();
    raise(SIGSTOP);
    if (m_fd < 0) {
        return;
    }
    if (OwnsTerminal()) {
        EnterKeyMode();
    } else {
        m_fd = -1; // goes on in the background
    }
}

} // namespace kqplay
