#include "LogFormatter.h"

#include "text/Utf8.h"

#include <algorithm>
#include <clocale>
#include <cstdlib>
#include <cstring>
#include <cwchar>

namespace kq::log {

namespace {

/// Widths and precisions beyond this are faults, and must not make a record of gigabytes.
constexpr int maxCount = 65536;

enum class Size { None, Char, Short, Long, LongLong, LongDouble, IntMax, SizeT, PtrDiff };

/// One conversion specification, %[flags][width][.precision][size]type.
struct Conversion {
    char flags[8] = {};
    int width = 0;
    int precision = -1; ///< -1: none given
    Size size = Size::None;
    wchar_t type = L'\0';

    bool Has(char flag) const { return std::strchr(flags, flag) != nullptr; }
};

/// The arguments that are left, to be passed by reference.
class Arguments {
public:
    explicit Arguments(va_list list) { va_copy(m_list, list); }
    ~Arguments() { va_end(m_list); }
    Arguments(const Arguments&) = delete;
    Arguments& operator=(const Arguments&) = delete;

    template <typename T>
    T Next() {
        return va_arg(m_list, T); // NOLINT(clang-analyzer-valist.Uninitialized): the constructor copied it
    }

private:
    va_list m_list;
};

/// The "C" locale for this thread while numbers are rendered.
class CLocaleScope {
public:
    CLocaleScope() : m_before(uselocale(CLocale())) {}
    ~CLocaleScope() { uselocale(m_before); }
    CLocaleScope(const CLocaleScope&) = delete;
    CLocaleScope& operator=(const CLocaleScope&) = delete;

private:
    static locale_t CLocale() {
        static const locale_t locale = newlocale(LC_ALL_MASK, "C", nullptr);
        return locale;
    }
    locale_t m_before;
};

int ReadNumber(const wchar_t*& p) {
    int value = 0;
    for (; *p >= L'0' && *p <= L'9'; ++p) {
        value = std::min(value * 10 + static_cast<int>(*p - L'0'), maxCount);
    }
    return value;
}

void ReadFlags(const wchar_t*& p, Conversion& c) {
    constexpr wchar_t flags[] = L"-+ #0'";
    std::size_t count = 0;
    for (; *p != L'\0' && std::wcschr(flags, *p) != nullptr; ++p) {
        const char flag = static_cast<char>(*p);
        if (!c.Has(flag)) {
            c.flags[count++] = flag;
        }
    }
}

void ReadWidth(const wchar_t*& p, Conversion& c, Arguments& args) {
    if (*p != L'*') {
        c.width = ReadNumber(p);
        return;
    }
    ++p;
    const int width = args.Next<int>();
    if (width < 0 && !c.Has('-')) {
        c.flags[std::strlen(c.flags)] = '-';
    }
    c.width = static_cast<int>(std::min<long long>(std::abs(static_cast<long long>(width)), maxCount));
}

void ReadPrecision(const wchar_t*& p, Conversion& c, Arguments& args) {
    if (*p != L'.') {
        return;
    }
    ++p;
    if (*p != L'*') {
        c.precision = ReadNumber(p);
        return;
    }
    ++p;
    c.precision = std::clamp(args.Next<int>(), -1, maxCount);
}

Size ReadSize(const wchar_t*& p) {
    struct Prefix {
        const wchar_t* text;
        Size size;
    };
    constexpr Prefix prefixes[] = {
        {L"hh", Size::Char},  {L"h", Size::Short},    {L"ll", Size::LongLong},
        {L"l", Size::Long},   {L"q", Size::LongLong}, {L"L", Size::LongDouble},
        {L"j", Size::IntMax}, {L"z", Size::SizeT},    {L"t", Size::PtrDiff},
    };
    for (const Prefix& prefix : prefixes) {
        const std::size_t length = std::wcslen(prefix.text);
        if (std::wcsncmp(p, prefix.text, length) == 0) {
            p += length;
            return prefix.size;
        }
    }
    return Size::None;
}

/// @param p behind the percent sign; moved behind the conversion
Conversion ReadConversion(const wchar_t*& p, Arguments& args) {
    Conversion c;
    ReadFlags(p, c);
    ReadWidth(p, c, args);
    ReadPrecision(p, c, args);
    c.size = ReadSize(p);
    c.type = *p;
    if (*p != L'\0') {
        ++p;
    }
    return c;
}

template <typename T>
void AppendNumber(LogRecord& record, const Conversion& c, const char* size, T value) {
    char format[32];
    std::snprintf(format, sizeof(format), "%%%s*.*%s%c", c.flags, size, static_cast<char>(c.type));
    record.AppendFormatted(format, c.width, c.precision, value);
}

void AppendInteger(LogRecord& record, const Conversion& c, Arguments& args) {
    switch (c.size) {
    case Size::None:
        return AppendNumber(record, c, "", args.Next<int>());
    case Size::Char:
        return AppendNumber(record, c, "hh", args.Next<int>());
    case Size::Short:
        return AppendNumber(record, c, "h", args.Next<int>());
    case Size::Long:
        return AppendNumber(record, c, "l", args.Next<long>());
    case Size::LongLong:
    case Size::LongDouble:
        return AppendNumber(record, c, "ll", args.Next<long long>());
    case Size::IntMax:
        return AppendNumber(record, c, "j", args.Next<std::intmax_t>());
    case Size::SizeT:
        return AppendNumber(record, c, "z", args.Next<std::size_t>());
    case Size::PtrDiff:
        return AppendNumber(record, c, "t", args.Next<std::ptrdiff_t>());
    }
}

void AppendFloat(LogRecord& record, const Conversion& c, Arguments& args) {
    if (c.size == Size::LongDouble) {
        AppendNumber(record, c, "L", args.Next<long double>());
        return;
    }
    AppendNumber(record, c, "", args.Next<double>());
}

std::uint32_t NextCharacter(const char*& p) {
    return kq::text::DecodeUtf8(p);
}

std::uint32_t NextCharacter(const wchar_t*& p) {
    return static_cast<std::uint32_t>(*p++);
}

template <typename Char>
int CountCharacters(const Char* p, int limit) {
    int count = 0;
    for (; count != limit && *p != 0; ++count) {
        NextCharacter(p);
    }
    return count;
}

void AppendSpaces(LogRecord& record, int count) {
    for (; count > 0; --count) {
        record.Append(U' ');
    }
}

template <typename Char>
void AppendText(LogRecord& record, const Conversion& c, const Char* text) {
    const int count = CountCharacters(text, c.precision);
    const int padding = c.width - count;
    if (!c.Has('-')) {
        AppendSpaces(record, padding);
    }
    for (int i = 0; i < count; ++i) {
        record.Append(NextCharacter(text));
    }
    if (c.Has('-')) {
        AppendSpaces(record, padding);
    }
}

void AppendString(LogRecord& record, const Conversion& c, Arguments& args) {
    if (c.type == L'S' || c.size == Size::Long) {
        const auto* text = args.Next<const wchar_t*>();
        AppendText(record, c, text != nullptr ? text : L"(null)");
        return;
    }
    const auto* text = args.Next<const char*>();
    AppendText(record, c, text != nullptr ? text : "(null)");
}

void AppendCharacter(LogRecord& record, Conversion c, Arguments& args) {
    c.precision = 1;
    if (c.type == L'C' || c.size == Size::Long) {
        const wchar_t text[] = {static_cast<wchar_t>(args.Next<wint_t>()), L'\0'};
        AppendText(record, c, text);
        return;
    }
    const char text[] = {static_cast<char>(args.Next<int>()), '\0'};
    AppendText(record, c, text);
}

void AppendPointer(LogRecord& record, const Conversion& c, Arguments& args) {
    char format[16];
    std::snprintf(format, sizeof(format), "%%%s*p", c.Has('-') ? "-" : "");
    record.AppendFormatted(format, c.width, args.Next<void*>());
}

/// @return false for a conversion that is not known
bool AppendConversion(LogRecord& record, const Conversion& c, Arguments& args, int savedErrno) {
    switch (c.type) {
    case L'd':
    case L'i':
    case L'o':
    case L'u':
    case L'x':
    case L'X':
        AppendInteger(record, c, args);
        return true;
    case L'a':
    case L'A':
    case L'e':
    case L'E':
    case L'f':
    case L'F':
    case L'g':
    case L'G':
        AppendFloat(record, c, args);
        return true;
    case L's':
    case L'S':
        AppendString(record, c, args);
        return true;
    case L'c':
    case L'C':
        AppendCharacter(record, c, args);
        return true;
    case L'p':
        AppendPointer(record, c, args);
        return true;
    case L'm': {
        char reason[128];
        AppendText(record, c, strerror_r(savedErrno, reason, sizeof(reason)));
        return true;
    }
    case L'n':
        args.Next<void*>();
        return true;
    case L'%':
        record.Append(U'%');
        return true;
    default:
        return false;
    }
}

void AppendLiterally(LogRecord& record, const wchar_t* text) {
    while (*text != L'\0') {
        record.Append(NextCharacter(text));
    }
}

} // namespace

void FormatRecord(LogRecord& record, const wchar_t* format, va_list args, int savedErrno) {
    const CLocaleScope locale;
    Arguments arguments(args);
    const wchar_t* p = format;
    while (*p != L'\0') {
        if (*p != L'%') {
            record.Append(NextCharacter(p));
            continue;
        }
        const wchar_t* conversion = p++;
        if (!AppendConversion(record, ReadConversion(p, arguments), arguments, savedErrno)) {
            AppendLiterally(record, conversion);
            break;
        }
    }
}

} // namespace kq::log
