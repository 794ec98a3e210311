#include "Terminal.h"

#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdlib>
#include <string_view>

namespace kqplay {
namespace {

constexpr std::array<int, 5> crashSignals = {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT};

// Plain variables, because a crash handler may touch nothing else.
termios g_userSettings;
volatile sig_atomic_t g_keyMode = 0;
std::array<struct sigaction, crashSignals.size()> g_crashActions;

void EnterKeyMode() {
    termios settings = g_userSettings;
    settings.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
    settings.c_cc[VMIN] = 0;
    settings.c_cc[VTIME] = 0;
    tcsetattr(STDIN_FILENO, TCSANOW, &settings);
    g_keyMode = 1;
}

void LeaveKeyMode() {
    if (g_keyMode == 0)
        return;
    g_keyMode = 0;
    tcsetattr(STDIN_FILENO, TCSANOW, &g_userSettings);
}

/// Gives the terminal back and returns: the fault then repeats, and meets the handler that was there before
/// ours.
void OnCrash(int) {
    LeaveKeyMode();
    for (std::size_t i = 0; i < crashSignals.size(); ++i)
        sigaction(crashSignals[i], &g_crashActions[i], nullptr);
}

void CatchCrashes() {
    struct sigaction action = {};
    action.sa_handler = OnCrash;
    for (std::size_t i = 0; i < crashSignals.size(); ++i)
        sigaction(crashSignals[i], &action, &g_crashActions[i]);
}

/// A process in the background may not change the terminal: it would be stopped.
bool OwnsTerminal() {
    return isatty(STDIN_FILENO) != 0 && tcgetpgrp(STDIN_FILENO) == getpgrp() &&
           tcgetattr(STDIN_FILENO, &g_userSettings) == 0;
}

/// @return how many bytes the first key sent: arrow keys and the like send Esc, [ and more, up to a letter or
/// ~
std::size_t KeyLength(std::string_view typed) {
    constexpr char escape = 27;
    if (typed.front() != escape || typed.size() == 1)
        return 1;
    std::size_t end = 2;
    if (typed[1] == '[') {
        while (end < typed.size() && (typed[end] < '@' || typed[end] > '~'))
            ++end;
        ++end;
    }
    return std::min(end, typed.size());
}

} // namespace

Terminal::Terminal() {
    if (!OwnsTerminal())
        return;
    m_fd = STDIN_FILENO;
    std::atexit(LeaveKeyMode);
    CatchCrashes();
    EnterKeyMode();
}

Terminal::~Terminal() {
    LeaveKeyMode();
}

std::vector<Command> Terminal::Take() {
    std::array<char, 64> keys;
    const ssize_t count = read(m_fd, keys.data(), keys.size());
    if (count <= 0) // readable, yet nothing there: the terminal has gone
        m_fd = -1;
    std::vector<Command> commands;
    for (std::string_view rest(keys.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
         !rest.empty();) {
        const std::size_t length = KeyLength(rest);
        if (length == 1)
            commands.push_back(CommandOfKey(rest.front()));
        rest.remove_prefix(length);
    }
    return commands;
}

void Terminal::Suspend() {
    LeaveKeyMode();
    raise(SIGSTOP);
    if (m_fd < 0)
        return;
    if (OwnsTerminal())
        EnterKeyMode();
    else
        m_fd = -1; // goes on in the background
}

} // namespace kqplay
