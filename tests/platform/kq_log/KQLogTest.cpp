#include "tests/support/WaitUntil.h"

#include <kqplayer/log.h>

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <clocale>
#include <map>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace {

using Records = std::vector<std::string>;

/// Keeps the records of its scope.
struct Recorder {
    Recorder() {
        KQLogSetSink([](const char* text, void* p) { static_cast<Records*>(p)->push_back(text); }, &records);
    }
    ~Recorder() { KQLogSetSink(nullptr, nullptr); }
    Recorder(const Recorder&) = delete;
    Recorder& operator=(const Recorder&) = delete;

    Records records;
};

template <typename... Args>
std::string Logged(const wchar_t* format, Args... args) {
    Recorder recorder;
    KQLogEx(format, args...);
    return recorder.records.size() == 1 ? recorder.records[0] : "not one record";
}

/// Renders in both and compares.
#define EXPECT_AS_PRINTF(format, ...)                                                                        \
    do {                                                                                                     \
        char expected[512];                                                                                  \
        std::snprintf(expected, sizeof(expected), format, __VA_ARGS__);                                      \
        EXPECT_EQ(Logged(L##format, __VA_ARGS__), expected);                                                 \
    } while (false)

TEST(KQLog, RendersNumbersAsPrintfDoes) {
    EXPECT_AS_PRINTF("%d|%5d|%-5d|%05d|%+d|% d|%.3d", 1, 2, 3, 4, 5, 6, 7);
    EXPECT_AS_PRINTF("%i %u %o %x %X %#x %#o", -1, -1u, 8, 255, 255, 255, 8);
    EXPECT_AS_PRINTF("%d %d %d %d", 300, 300, 70000, 70000);
    EXPECT_AS_PRINTF("%ld %lu %lld %llu %lx", LONG_MIN, ULONG_MAX, LLONG_MIN, ULLONG_MAX, 1ul);
    EXPECT_AS_PRINTF("%zu %zd %td %jd %ju", SIZE_MAX, ssize_t{-5}, ptrdiff_t{-6}, intmax_t{-7}, UINTMAX_MAX);
    EXPECT_AS_PRINTF("%f %.2f %e %G %a %10.3f|%-10.1f|", 1.5, 2.345, 1e100, 1e-10, 1.0, 3.14159, 2.0);
    EXPECT_AS_PRINTF("%Lf %.0Lf", 1.25L, 2.0L);
    EXPECT_AS_PRINTF("%*d|%-*d|%.*f|%*d", 6, 1, 6, 2, 2, 3.14159, -4, 5);
    void* const none = nullptr;
    EXPECT_AS_PRINTF("%p|%20p|%p", reinterpret_cast<void*>(0x1234), reinterpret_cast<void*>(0x10), none);
}

TEST(KQLog, RendersTextAsUtf8) {
    const struct {
        std::string actual;
        std::string expected;
    } cases[] = {
        {Logged(L"Grüße, \u65E5\u672C \U0001F3AC"), u8"Grüße, \u65E5\u672C \U0001F3AC"},
        {Logged(L"%ls|%S", L"Zoë", L"\u03A9"), u8"Zoë|\u03A9"},
        {Logged(L"%s|%s", u8"Zoë", ""), u8"Zoë|"},
        {Logged(L"%5ls|%-5ls|%5s|%-5s|", L"äö", L"äö", u8"äö", u8"äö"), u8"   äö|äö   |   äö|äö   |"},
        {Logged(L"%.2ls|%.2s|%.*s", L"äöü", u8"äöü", 1, u8"äöü"), u8"äö|äö|ä"},
        {Logged(L"%c%lc%C|%3c", 'a', static_cast<wint_t>(L'ß'), static_cast<wint_t>(L'Ω'), 'z'), u8"aßΩ|  z"},
        {Logged(L"%s %ls", static_cast<char*>(nullptr), static_cast<wchar_t*>(nullptr)), "(null) (null)"},
        {Logged(L"%s", "\xC3(\xFF\xED\xA0\x80\xF5\xC0\xAF\xE2\x82"),
         u8"\uFFFD(\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD"},
        {Logged(L"%lc%lc", wint_t{0xD800}, wint_t{0x7FFFFFFF}), u8"\uFFFD\uFFFD"},
        {Logged(L"100%%"), "100%"},
        {Logged(L""), ""},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(c.actual, c.expected);
    }
}

TEST(KQLog, DoesNotDependOnTheLocale) {
    const std::string before = std::setlocale(LC_ALL, nullptr);
    for (const char* locale : {"C", "C.UTF-8", "de_DE.UTF-8", ""}) {
        std::setlocale(LC_ALL, locale); // a locale that is not installed changes nothing
        EXPECT_EQ(Logged(L"%.1f Ω %s %ls", 0.5, u8"ü", L"ü"), u8"0.5 Ω ü ü") << locale;
    }
    std::setlocale(LC_ALL, before.c_str());
}

TEST(KQLog, FaultyFormatsDoNoHarm) {
    int untouched = 7;
    EXPECT_EQ(Logged(L"a%nb", &untouched), "ab");
    EXPECT_EQ(untouched, 7);
    EXPECT_EQ(Logged(L"end %"), "end %");
    EXPECT_EQ(Logged(L"end %-08.3ll"), "end %-08.3ll");
    EXPECT_EQ(Logged(L"%d %y %s", 1, 2, 3), "1 %y %s");
    EXPECT_EQ(Logged(L"%1$d", 1), "%1$d");
    EXPECT_EQ(Logged(L"%99999999999999999999d", 1).size(), 65536u);
    EXPECT_EQ(Logged(L"%*d", INT_MIN, 1).size(), 65536u);
    EXPECT_EQ(Logged(L"%.2147483647f", 1.0).size(), 65538u);
    EXPECT_EQ(Logged(L"%-+ #0'-+ #0'd", 1), "+1");
    Recorder recorder;
    KQLogEx(nullptr);
    EXPECT_TRUE(recorder.records.empty());
}

TEST(KQLog, ARecordIsOneLine) {
    const std::pair<const wchar_t*, const char*> cases[] = {
        {L" CMediaPlayer::Stop \n", " CMediaPlayer::Stop "},
        {L"a\r\n", "a"},
        {L"\n\r\n", ""},
        {L"a\nb\r\nc\n\nd\re\n", "a b c  d e"},
        {L"a\tb", "a\tb"},
        {L"\x1b[31mred\x7f", " [31mred "},
    };
    for (const auto& [text, line] : cases) {
        EXPECT_EQ(Logged(text), line);
    }
}

TEST(KQLog, KeepsErrno) {
    Recorder recorder;
    errno = ENOENT;
    KQLogEx(L"%m|%5d", 1);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(recorder.records, Records{"No such file or directory|    1"});
}

TEST(KQLog, RecordsOfAnyLengthArriveWhole) {
    for (const std::size_t length : {1000u, 1023u, 1024u, 1025u, 5000u, 3000000u}) {
        const std::string text(length, 'x');
        EXPECT_EQ(Logged(L"<%s>", text.c_str()), "<" + text + ">");
        EXPECT_EQ(Logged((std::wstring(length, L'ä') + L"%d").c_str(), 42).size(), 2 * length + 2);
    }
}

constexpr int threads = 8;
constexpr int recordsPerThread = 300;

void LogFromManyThreads() {
    kq::test::RunThreads(threads, [](int t) {
        for (int n = 0; n < recordsPerThread; ++n) {
            KQLogEx(L"%d %d %ls\n", t, n, std::wstring(n % 7 == 0 ? 3000 : 10, L'a' + t).c_str());
        }
    });
}

/// Every record of logFromManyThreads() is there once, whole, and those of one thread are in order.
void ExpectAllWhole(const Records& records) {
    ASSERT_EQ(records.size(), std::size_t{threads} * recordsPerThread);
    std::map<int, int> next;
    for (const std::string& record : records) {
        std::istringstream in(record);
        int t = -1;
        int n = -1;
        std::string filling;
        in >> t >> n >> filling;
        EXPECT_EQ(n, next[t]++);
        EXPECT_EQ(filling, std::string(n % 7 == 0 ? 3000 : 10, static_cast<char>('a' + t)));
    }
}

TEST(KQLog, ThreadsDoNotTearRecords) {
    Recorder recorder;
    LogFromManyThreads();
    ExpectAllWhole(recorder.records);
}

TEST(KQLog, StandardErrorGetsOneLineARecord) {
    testing::internal::CaptureStderr();
    LogFromManyThreads();
    std::istringstream in(testing::internal::GetCapturedStderr());
    Records lines;
    for (std::string line; std::getline(in, line);) {
        lines.push_back(line);
    }
    ExpectAllWhole(lines);
}

TEST(KQLog, AReplacedSinkNeverRunsAgain) {
    struct Sink {
        std::atomic<bool> replaced = false;
        std::atomic<int> late = 0;
        std::atomic<int> calls = 0;
    };
    const auto count = [](const char*, void* userData) {
        auto* sink = static_cast<Sink*>(userData);
        ++sink->calls;
        std::this_thread::sleep_for(std::chrono::microseconds(200));
        sink->late += sink->replaced ? 1 : 0;
    };
    std::vector<Sink> sinks(50);
    std::atomic<bool> stop = false;
    KQLogSetSink(count, &sinks[0]);
    std::thread replacer([&] {
        EXPECT_TRUE(kq::test::WaitUntil([&] { return sinks[0].calls != 0; }));
        for (std::size_t i = 1; i < sinks.size(); ++i) {
            KQLogSetSink(count, &sinks[i]);
            sinks[i - 1].replaced = true;
        }
        EXPECT_TRUE(kq::test::WaitUntil([&] { return sinks.back().calls != 0; }));
        stop = true;
    });
    kq::test::RunThreads(3, [&](int) {
        while (!stop) {
            KQLogEx(L"record");
        }
    });
    replacer.join();
    KQLogSetSink(nullptr, nullptr);
    for (const Sink& sink : sinks) {
        EXPECT_EQ(sink.late, 0);
    }
}

TEST(KQLog, ASinkThatLogsAllTheSameDoesNotHang) {
    testing::internal::CaptureStderr();
    KQLogSetSink([](const char* text, void*) { KQLogEx(L"from the sink: %s", text); }, nullptr);
    KQLogEx(L"hello");
    KQLogSetSink(nullptr, nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "from the sink: hello\n");
}

} // namespace
