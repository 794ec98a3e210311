/// @file
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>

namespace kq::log {

/// The text of one record while it is put together. Short records live in the object itself, longer ones on
/// the heap. Where memory ends, the text ends: what no longer fits is dropped.
class LogRecord {
public:
    LogRecord() = default;
    ~LogRecord();
    LogRecord(const LogRecord&) = delete;
    LogRecord& operator=(const LogRecord&) = delete;

    /// Appends a character as UTF-8.
    void Append(std::uint32_t codePoint);

    /// Appends one value as snprintf() renders it. @param args a width or precision, if any, and the value
    template <typename... Args>
    void AppendFormatted(const char* format, Args... args) {
        const int length = std::snprintf(m_text + m_length, m_room - m_length, format, args...);
        if (length < 0) {
            return;
        }
        if (m_length + length >= m_room) {
            if (!Reserve(length)) {
                return;
            }
            std::snprintf(m_text + m_length, m_room - m_length, format, args...);
        }
        m_length += length;
    }

    /// Makes the text one line: trims line ends at its end; a line break within and any other control
    /// character but a tab becomes a space.
    void MakeLine();

    /// @return the text, followed by a zero byte that a caller may overwrite
    char* Text() { return m_text; }
    std::size_t Length() const { return m_length; }

private:
    /// Makes room for @p count more bytes and a zero. @return false without memory
    bool Reserve(std::size_t count);

    char m_inline[1024];
    char* m_text = m_inline;
    std::size_t m_room = sizeof(m_inline);
    std::size_t m_length = 0;
};

} // namespace kq::log
