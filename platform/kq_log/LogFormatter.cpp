#include "LogFormatter.h"

#include "text/Utf8.h"

#include <algorithm>
#include <clocale>
#include <cstdlib>
#include <cstring>
#include <cwchar>

namespace {

/// Widths and precisions beyond this are faults, and must not make a record of gigabytes.
constexpr int MaxCount = 65536;

enum class Size { None, Char, Short, Long, LongLong, LongDouble, IntMax, SizeT, PtrDiff };

/// One conversion specification, %[flags][width][.precision][size]type.
struct Conversion {
    char flags[8] = {};
    int width = 0;
    int precision = -1; ///< -1: none given
    Size size = Size::None;
    wchar_t type = L'\0';

    bool has(char flag) const { return std::strchr(flags, flag) != nullptr; }
};

/// The arguments that are left, to be passed by reference.
class Arguments {
public:
    explicit Arguments(va_list list) { va_copy(m_list, list); }
    ~Arguments() { va_end(m_list); }
    Arguments(const Arguments&) = delete;
    Arguments& operator=(const Arguments&) = delete;

    template <typename T>
    T next() {
        return va_arg(m_list, T); // NOLINT(clang-analyzer-valist.Uninitialized): the constructor copied it
    }

private:
    va_list m_list;
};

/// The "C" locale for this thread while numbers are rendered.
class CLocaleScope {
public:
    CLocaleScope() : m_before(uselocale(cLocale())) {}
    ~CLocaleScope() { uselocale(m_before); }
    CLocaleScope(const CLocaleScope&) = delete;
    CLocaleScope& operator=(const CLocaleScope&) = delete;

private:
    static locale_t cLocale() {
        static const locale_t locale = newlocale(LC_ALL_MASK, "C", nullptr);
        return locale;
    }
    locale_t m_before;
};

int readNumber(const wchar_t*& p) {
    int value = 0;
    for (; *p >= L'0' && *p <= L'9'; ++p) {
        value = std::min(value * 10 + static_cast<int>(*p - L'0'), MaxCount);
    }
    return value;
}

void readFlags(const wchar_t*& p, Conversion& c) {
    constexpr wchar_t Flags[] = L"-+ #0'";
    std::size_t count = 0;
    for (; *p != L'\0' && std::wcschr(Flags, *p) != nullptr; ++p) {
        const char flag = static_cast<char>(*p);
        if (!c.has(flag)) {
            c.flags[count++] = flag;
        }
    }
}

void readWidth(const wchar_t*& p, Conversion& c, Arguments& args) {
    if (*p != L'*') {
        c.width = readNumber(p);
        return;
    }
    ++p;
    const int width = args.next<int>();
    if (width < 0 && !c.has('-')) {
        c.flags[std::strlen(c.flags)] = '-';
    }
    c.width = static_cast<int>(std::min<long long>(std::abs(static_cast<long long>(width)), MaxCount));
}

void readPrecision(const wchar_t*& p, Conversion& c, Arguments& args) {
    if (*p != L'.') {
        return;
    }
    ++p;
    if (*p != L'*') {
        c.precision = readNumber(p);
        return;
    }
    ++p;
    c.precision = std::clamp(args.next<int>(), -1, MaxCount);
}

Size readSize(const wchar_t*& p) {
    struct Prefix {
        const wchar_t* text;
        Size size;
    };
    constexpr Prefix Prefixes[] = {
        {L"hh", Size::Char},  {L"h", Size::Short},    {L"ll", Size::LongLong},
        {L"l", Size::Long},   {L"q", Size::LongLong}, {L"L", Size::LongDouble},
        {L"j", Size::IntMax}, {L"z", Size::SizeT},    {L"t", Size::PtrDiff},
    };
    for (const Prefix& prefix : Prefixes) {
        const std::size_t length = std::wcslen(prefix.text);
        if (std::wcsncmp(p, prefix.text, length) == 0) {
            p += length;
            return prefix.size;
        }
    }
    return Size::None;
}

/// @param p behind the percent sign; moved behind the conversion
Conversion readConversion(const wchar_t*& p, Arguments& args) {
    Conversion c;
    readFlags(p, c);
    readWidth(p, c, args);
    readPrecision(p, c, args);
    c.size = readSize(p);
    c.type = *p;
    if (*p != L'\0') {
        ++p;
    }
    return c;
}

template <typename T>
void appendNumber(LogRecord& record, const Conversion& c, const char* size, T value) {
    char format[32];
    std::snprintf(format, sizeof(format), "%%%s*.*%s%c", c.flags, size, static_cast<char>(c.type));
    record.appendFormatted(format, c.width, c.precision, value);
}

void appendInteger(LogRecord& record, const Conversion& c, Arguments& args) {
    switch (c.size) {
    case Size::None:
        return appendNumber(record, c, "", args.next<int>());
    case Size::Char:
        return appendNumber(record, c, "hh", args.next<int>());
    case Size::Short:
        return appendNumber(record, c, "h", args.next<int>());
    case Size::Long:
        return appendNumber(record, c, "l", args.next<long>());
    case Size::LongLong:
    case Size::LongDouble:
        return appendNumber(record, c, "ll", args.next<long long>());
    case Size::IntMax:
        return appendNumber(record, c, "j", args.next<std::intmax_t>());
    case Size::SizeT:
        return appendNumber(record, c, "z", args.next<std::size_t>());
    case Size::PtrDiff:
        return appendNumber(record, c, "t", args.next<std::ptrdiff_t>());
    }
}

void appendFloat(LogRecord& record, const Conversion& c, Arguments& args) {
    if (c.size == Size::LongDouble) {
        appendNumber(record, c, "L", args.next<long double>());
        return;
    }
    appendNumber(record, c, "", args.next<double>());
}

std::uint32_t nextCharacter(const char*& p) {
    return kq::text::decodeUtf8(p);
}

std::uint32_t nextCharacter(const wchar_t*& p) {
    return static_cast<std::uint32_t>(*p++);
}

template <typename Char>
int countCharacters(const Char* p, int limit) {
    int count = 0;
    for (; count != limit && *p != 0; ++count) {
        nextCharacter(p);
    }
    return count;
}

void appendSpaces(LogRecord& record, int count) {
    for (; count > 0; --count) {
        record.append(U' ');
    }
}

template <typename Char>
void appendText(LogRecord& record, const Conversion& c, const Char* text) {
    const int count = countCharacters(text, c.precision);
    const int padding = c.width - count;
    if (!c.has('-')) {
        appendSpaces(record, padding);
    }
    for (int i = 0; i < count; ++i) {
        record.append(nextCharacter(text));
    }
    if (c.has('-')) {
        appendSpaces(record, padding);
    }
}

void appendString(LogRecord& record, const Conversion& c, Arguments& args) {
    if (c.type == L'S' || c.size == Size::Long) {
        const auto* text = args.next<const wchar_t*>();
        appendText(record, c, text != nullptr ? text : L"(null)");
        return;
    }
    const auto* text = args.next<const char*>();
    appendText(record, c, text != nullptr ? text : "(null)");
}

void appendCharacter(LogRecord& record, Conversion c, Arguments& args) {
    c.precision = 1;
    if (c.type == L'C' || c.size == Size::Long) {
        const wchar_t text[] = {static_cast<wchar_t>(args.next<wint_t>()), L'\0'};
        appendText(record, c, text);
        return;
    }
    const char text[] = {static_cast<char>(args.next<int>()), '\0'};
    appendText(record, c, text);
}

void appendPointer(LogRecord& record, const Conversion& c, Arguments& args) {
    char format[16];
    std::snprintf(format, sizeof(format), "%%%s*p", c.has('-') ? "-" : "");
    record.appendFormatted(format, c.width, args.next<void*>());
}

/// @return false for a conversion that is not known
bool appendConversion(LogRecord& record, const Conversion& c, Arguments& args, int savedErrno) {
    switch (c.type) {
    case L'd':
    case L'i':
    case L'o':
    case L'u':
    case L'x':
    case L'X':
        appendInteger(record, c, args);
        return true;
    case L'a':
    case L'A':
    case L'e':
    case L'E':
    case L'f':
    case L'F':
    case L'g':
    case L'G':
        appendFloat(record, c, args);
        return true;
    case L's':
    case L'S':
        appendString(record, c, args);
        return true;
    case L'c':
    case L'C':
        appendCharacter(record, c, args);
        return true;
    case L'p':
        appendPointer(record, c, args);
        return true;
    case L'm': {
        char reason[128];
        appendText(record, c, strerror_r(savedErrno, reason, sizeof(reason)));
        return true;
    }
    case L'n':
        args.next<void*>();
        return true;
    case L'%':
        record.append(U'%');
        return true;
    default:
        return false;
    }
}

void appendLiterally(LogRecord& record, const wchar_t* text) {
    while (*text != L'\0') {
        record.append(nextCharacter(text));
    }
}

} // namespace

void formatRecord(LogRecord& record, const wchar_t* format, va_list args, int savedErrno) {
    const CLocaleScope locale;
    Arguments arguments(args);
    const wchar_t* p = format;
    while (*p != L'\0') {
        if (*p != L'%') {
            record.append(nextCharacter(p));
            continue;
        }
        const wchar_t* conversion = p++;
        if (!appendConversion(record, readConversion(p, arguments), arguments, savedErrno)) {
            appendLiterally(record, conversion);
            break;
        }
    }
}
