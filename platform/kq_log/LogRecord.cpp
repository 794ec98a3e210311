#include "LogRecord.h"

#include "text/Utf8.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

LogRecord::~LogRecord() {
    if (m_pText != m_inline) {
        std::free(m_pText);
    }
}

void LogRecord::append(std::uint32_t codePoint) {
    if (reserve(kq::text::MaxUtf8Length)) {
        m_length += kq::text::encodeUtf8(codePoint, m_pText + m_length);
    }
}

void LogRecord::makeLine() {
    const auto isLineEnd = [](char c) { return c == '\n' || c == '\r'; };
    while (m_length > 0 && isLineEnd(m_pText[m_length - 1])) {
        --m_length;
    }
    const auto isControl = [](unsigned char c) { return (c < 0x20 && c != '\t') || c == 0x7F; };
    char* pEnd = m_pText;
    char before = '\0';
    for (std::size_t i = 0; i < m_length; ++i) {
        const char c = m_pText[i];
        const bool secondOfPair = c == '\n' && before == '\r';
        if (!secondOfPair) {
            *pEnd++ = isControl(c) ? ' ' : c;
        }
        before = c;
    }
    *pEnd = '\0';
    m_length = pEnd - m_pText;
}

bool LogRecord::reserve(std::size_t count) {
    const std::size_t needed = m_length + count + 1;
    if (needed <= m_room) {
        return true;
    }
    const std::size_t room = std::max(needed, m_room * 2);
    const bool isInline = m_pText == m_inline;
    auto* pText = static_cast<char*>(std::realloc(isInline ? nullptr : m_pText, room));
    if (pText == nullptr) {
        return false;
    }
    if (isInline) {
        std::memcpy(pText, m_inline, m_length);
    }
    m_pText = pText;
    m_room = room;
    return true;
}
