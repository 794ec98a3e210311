/// @file
/// What the component and the streams log, in Python's logging.
#pragma once

#include <string>

namespace kq::python {

/// Hands lines on to the logger "kqplayer", from a thread of its own: whoever logs never waits for the
/// interpreter.
class LogRelay {
public:
    /// Receives the component's records from now on, as DEBUG.
    static void Begin();
    /// Hands a line about a file on, as WARNING. Any thread.
    static void Warn(const std::string& line);
    /// In the copy of the process that fork() has made.
    static void BeginAsCopy();
    /// Hands on what is left; with the interpreter's lock, before it ends.
    static void Stop();

    /// While it lives, the component's records of this thread are kept as well.
    class Capture {
    public:
        Capture();
        ~Capture();
        Capture(const Capture&) = delete;
        Capture& operator=(const Capture&) = delete;
        /// @return the last one, empty without
        const std::string& Last() const { return m_last; }

    private:
        std::string m_last;
    };
};

} // namespace kq::python
