#include "com/Output.h"

#include <kqplayer/identifiers.h>
#include <kqplayer/log.h>

#include <array>
#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstring>

namespace {

std::atomic<std::int32_t> s_nOutput{KQ_OUTPUT_CONSOLE};

/// A record is a line; the texts bring ends of lines of their own, some in front.
void LogText(char* pText) {
    constexpr char kBlanks[] = " \r\n";
    pText += std::strspn(pText, kBlanks);
    std::size_t nLength = std::strlen(pText);
    while (nLength > 0 && std::strchr(kBlanks, pText[nLength - 1]) != nullptr) {
        --nLength;
    }
    pText[nLength] = '\0';
    if (nLength > 0) {
        KQLogEx(L"%s", pText);
    }
}

} // namespace

std::int32_t KQPlayerSetOutput(std::int32_t nOutput) {
    if (nOutput < KQ_OUTPUT_CONSOLE || nOutput > KQ_OUTPUT_NONE) {
        return kq::Refused;
    }
    s_nOutput = nOutput;
    return kq::Ok;
}

void Print(const char* pFormat, ...) {
    const std::int32_t nOutput = s_nOutput;
    va_list arguments;
    va_start(arguments, pFormat);
    if (nOutput == KQ_OUTPUT_CONSOLE) {
        std::vprintf(pFormat, arguments);
    } else if (nOutput == KQ_OUTPUT_LOG) {
        std::array<char, 4608> text{}; // a path and some words
        std::vsnprintf(text.data(), text.size(), pFormat, arguments);
        LogText(text.data());
    }
    va_end(arguments);
}

void PrintLine(const char* pText) {
    Print("%s\n", pText);
}
