/// @file
/// Code points to UTF-8 and back. Independent of the process locale.
#pragma once

#include <cstdint>

namespace kq::text {

inline constexpr std::uint32_t replacement = 0xFFFD; ///< stands for what is not a character
inline constexpr int maxUtf8Length = 4;

inline bool IsCodePoint(std::uint32_t c) {
    return c < 0xD800 || (c >= 0xE000 && c <= 0x10FFFF);
}

/// Encodes one code point; anything that is not one becomes U+FFFD.
/// @param out room for MaxUtf8Length bytes
/// @return the number of bytes written, 1 to 4
inline int EncodeUtf8(std::uint32_t c, char* out) {
    if (!IsCodePoint(c)) {
        c = replacement;
    }
    const auto tail = [c](int shift) { return static_cast<char>(0x80 | ((c >> shift) & 0x3F)); };
    if (c < 0x80) {
        out[0] = static_cast<char>(c);
        return 1;
    }
    if (c < 0x800) {
        out[0] = static_cast<char>(0xC0 | (c >> 6));
        out[1] = tail(0);
        return 2;
    }
    if (c < 0x10000) {
        out[0] = static_cast<char>(0xE0 | (c >> 12));
        out[1] = tail(6);
        out[2] = tail(0);
        return 3;
    }
    out[0] = static_cast<char>(0xF0 | (c >> 18));
    out[1] = tail(12);
    out[2] = tail(6);
    out[3] = tail(0);
    return 4;
}

/// Decodes the code point at @p text, which is not at its terminating zero, and moves past it. A byte that
/// begins no well-formed sequence counts as U+FFFD by itself. Never reads past a zero byte.
inline std::uint32_t DecodeUtf8(const char*& text) {
    const auto first = static_cast<std::uint8_t>(*text++);
    if (first < 0x80) {
        return first;
    }
    const int tails = first >= 0xF0 ? 3 : first >= 0xE0 ? 2 : 1;
    if (first < 0xC2 || first > 0xF4) {
        return replacement;
    }
    std::uint32_t c = first & (0x3F >> tails);
    for (int i = 0; i < tails; ++i) {
        const auto byte = static_cast<std::uint8_t>(text[i]);
        if ((byte & 0xC0) != 0x80) {
            return replacement;
        }
        c = c << 6 | (byte & 0x3F);
    }
    constexpr std::uint32_t shortest[] = {0, 0x80, 0x800, 0x10000};
    if (c < shortest[tails] || !IsCodePoint(c)) {
        return replacement;
    }
    text += tails;
    return c;
}

} // namespace kq::text
