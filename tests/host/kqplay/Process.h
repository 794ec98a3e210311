/// @file
/// A program that a test runs and watches.
#pragma once

#include <sys/types.h>

#include <map>
#include <string>
#include <vector>

namespace kqtest {

/// What a program left behind.
struct Outcome {
    int status = -1; ///< exit status, or minus the signal's number
    std::string out; ///< standard output, or all that came to the pseudo-terminal
    std::string err;
};

/// Lines of a text.
std::vector<std::string> Lines(const std::string& text);

/// A running program. One that still runs when the object is destroyed, or that takes too long, is killed.
class Process {
public:
    enum class Streams { Pipes, PseudoTerminal };
    using Environment = std::map<std::string, std::string>;

    /// Starts a program without a display, whatever the test itself has.
    /// @param environment variables to set; an empty value takes the variable away
    explicit Process(const std::vector<std::string>& command, const Environment& environment = {},
                     Streams streams = Streams::Pipes);
    ~Process();
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    pid_t Id() const { return m_pid; }
    /// @return what came so far
    const std::string& Output() const { return m_outcome.out; }
    /// Types keys on the pseudo-terminal.
    void Type(const std::string& keys) const;
    /// @return true when the pseudo-terminal echoes and collects lines, as a shell's user expects
    bool TerminalIsNormal() const;
    /// Waits until standard output (or the pseudo-terminal) has shown a text, behind the one that was waited
    /// for before. @return false when it did not
    bool WaitForOutput(const std::string& text);
    /// Collects what comes until the program ends.
    Outcome Finish();

private:
    bool ReadSome(int milliseconds);

    pid_t m_pid = -1;
    int m_out = -1;
    int m_err = -1;
    int m_terminal = -1;
    std::size_t m_waitedFor = 0; ///< end of the text that was waited for last
    Outcome m_outcome;
};

/// Runs a program to its end.
inline Outcome RunProcess(const std::vector<std::string>& command,
                          const Process::Environment& environment = {}) {
    return Process(command, environment).Finish();
}

} // namespace kqtest
