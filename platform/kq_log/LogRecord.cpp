#include "LogRecord.h"

#include "text/Utf8.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace kq::log {

LogRecord::~LogRecord() {
    if (m_text != m_inline) {
        std::free(m_text);
    }
}

void LogRecord::Append(std::uint32_t codePoint) {
    if (Reserve(kq::text::maxUtf8Length)) {
        m_length += kq::text::EncodeUtf8(codePoint, m_text + m_length);
    }
}

void LogRecord::MakeLine() {
    const auto isLineEnd = [](char c) { return c == '\n' || c == '\r'; };
    while (m_length > 0 && isLineEnd(m_text[m_length - 1])) {
        --m_length;
    }
    const auto isControl = [](unsigned char c) { return (c < 0x20 && c != '\t') || c == 0x7F; };
    char* end = m_text;
    char before = '\0';
    for (std::size_t i = 0; i < m_length; ++i) {
        const char c = m_text[i];
        const bool secondOfPair = c == '\n' && before == '\r';
        if (!secondOfPair) {
            *end++ = isControl(c) ? ' ' : c;
        }
        before = c;
    }
    *end = '\0';
    m_length = end - m_text;
}

bool LogRecord::Reserve(std::size_t count) {
    const std::size_t needed = m_length + count + 1;
    if (needed <= m_room) {
        return true;
    }
    const std::size_t room = std::max(needed, m_room * 2);
    const bool isInline = m_text == m_inline;
    auto* text = static_cast<char*>(std::realloc(isInline ? nullptr : m_text, room));
    if (text == nullptr) {
        return false;
    }
    if (isInline) {
        std::memcpy(text, m_inline, m_length);
    }
    m_text = text;
    m_room = room;
    return true;
}

} // namespace kq::log
