/// @file
/// What there is to say about one file, handed to the host at a bearable rate.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <set>
#include <string>

namespace kq::streams {

/// Receives the streams' own notices and FFmpeg's warnings and errors. Safe for calls from any thread.
///
/// FFmpeg's messages go to the log whose address stands in the `opaque` field of the context that they are
/// about, or else to the one that is in scope on the thread (LogScope). Messages that belong to no open file
/// are dropped: nothing reaches the terminal.
class FileLog {
public:
    using Sink = std::function<void(const std::string&)>;

    /// @param file what every line begins with
    /// @param sink receives the lines; may be empty
    static std::shared_ptr<FileLog> Make(std::string file, Sink sink);
    ~FileLog();
    FileLog(const FileLog&) = delete;
    FileLog& operator=(const FileLog&) = delete;

    /// Hands on one line about the file.
    void Notice(const std::string& text) const;
    /// The same, unless the file has had that line.
    void NoticeOnce(const std::string& text);
    /// Hands on a message of FFmpeg's, unless several came within the last second; those are only counted.
    void FromFfmpeg(const std::string& text, bool isError);
    /// @return FFmpeg's first error message, empty without one
    std::string FirstError() const;
    /// @return FFmpeg's last error message, empty without one
    std::string LastError() const;

private:
    using Clock = std::chrono::steady_clock;

    FileLog(std::string file, Sink sink);

    const std::string m_file;
    const Sink m_sink;
    mutable std::mutex m_lock;
    std::set<std::string> m_given; ///< lines of NoticeOnce()
    std::string m_firstError;
    std::string m_lastError;
    Clock::time_point m_periodStart;
    int m_passed = 0;
    int m_held = 0;
};

/// While it lives, messages that FFmpeg makes on this thread belong to the log.
class LogScope {
public:
    explicit LogScope(FileLog& log);
    ~LogScope();
    LogScope(const LogScope&) = delete;
    LogScope& operator=(const LogScope&) = delete;

private:
    FileLog* m_outer;
};

} // namespace kq::streams
