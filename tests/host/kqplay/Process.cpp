#include "Process.h"

#include "tests/support/WaitUntil.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>
#include <utmp.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <sstream>

namespace kqtest {
namespace {

[[noreturn]] void Become(const std::vector<std::string>& command, const Process::Environment& environment) {
    unsetenv("DISPLAY");
    unsetenv("WAYLAND_DISPLAY");
    for (const auto& [name, value] : environment) {
        if (value.empty()) {
            unsetenv(name.c_str());
        } else {
            setenv(name.c_str(), value.c_str(), 1);
        }
    }
    std::vector<char*> arguments;
    for (const std::string& word : command) {
        arguments.push_back(const_cast<char*>(word.c_str()));
    }
    arguments.push_back(nullptr);
    execvp(arguments[0], arguments.data());
    _exit(127);
}

/// Moves what can be read to @p text.
void Drain(int& fd, std::string& text) {
    std::array<char, 65536> block;
    const ssize_t count = read(fd, block.data(), block.size());
    if (count > 0) {
        text.append(block.data(), static_cast<std::size_t>(count));
        return;
    }
    close(fd);
    fd = -1;
}

} // namespace

std::vector<std::string> Lines(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

/// The terminal's side stays open here, so that its settings outlive the program.
Process::Process(const std::vector<std::string>& command, const Environment& environment, Streams streams) {
    const bool hasTerminal = streams == Streams::PseudoTerminal;
    int out[2] = {-1, -1};
    int err[2] = {-1, -1};
    if (hasTerminal ? openpty(&m_out, &m_terminal, nullptr, nullptr, nullptr) != 0
                    : pipe2(out, O_CLOEXEC) != 0 || pipe2(err, O_CLOEXEC) != 0) {
        return;
    }
    m_pid = fork();
    if (m_pid == 0) {
        if (hasTerminal) {
            close(m_out);
            login_tty(m_terminal);
        } else {
            dup2(open("/dev/null", O_RDONLY | O_CLOEXEC), STDIN_FILENO);
            dup2(out[1], STDOUT_FILENO);
            dup2(err[1], STDERR_FILENO);
        }
        Become(command, environment);
    }
    if (hasTerminal) {
        return;
    }
    close(out[1]);
    close(err[1]);
    m_out = out[0];
    m_err = err[0];
}

Process::~Process() {
    if (m_pid > 0) {
        kill(m_pid, SIGKILL);
        waitpid(m_pid, nullptr, 0);
    }
    for (int fd : {m_out, m_err, m_terminal}) {
        if (fd >= 0) {
            close(fd);
        }
    }
}

void Process::Type(const std::string& keys) const {
    ASSERT_EQ(write(m_out, keys.data(), keys.size()), static_cast<ssize_t>(keys.size()));
}

bool Process::TerminalIsNormal() const {
    termios settings;
    constexpr tcflag_t normal = ICANON | ECHO;
    return tcgetattr(m_terminal, &settings) == 0 && (settings.c_lflag & normal) == normal;
}

bool Process::WaitForOutput(const std::string& text) {
    std::size_t at = std::string::npos;
    const bool shown = kq::test::WaitUntil([&] {
        ReadSome(0);
        at = m_outcome.out.find(text, m_waitedFor);
        return at != std::string::npos;
    });
    if (shown) {
        m_waitedFor = at + text.size();
    }
    return shown;
}

Outcome Process::Finish() {
    int status = 0;
    const bool ended = kq::test::WaitUntil([&] {
        ReadSome(20);
        return waitpid(m_pid, &status, WNOHANG) != 0;
    });
    if (!ended) {
        ADD_FAILURE() << "killed, because it does not end; it printed:\n" << m_outcome.out << m_outcome.err;
        kill(m_pid, SIGKILL);
        waitpid(m_pid, &status, 0);
    }
    while (ReadSome(0)) {
    }
    m_pid = -1;
    m_outcome.status = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    return m_outcome;
}

/// @return false when nothing came within that time
bool Process::ReadSome(int milliseconds) {
    pollfd sources[] = {{m_out, POLLIN, 0}, {m_err, POLLIN, 0}};
    if (poll(sources, 2, milliseconds) <= 0) {
        return false;
    }
    if (sources[0].revents != 0) {
        Drain(m_out, m_outcome.out);
    }
    if (sources[1].revents != 0) {
        Drain(m_err, m_outcome.err);
    }
    return true;
}

} // namespace kqtest
