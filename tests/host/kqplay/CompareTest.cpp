// Two files and more: what is shown in each layout, and which pictures stand beside each other.
#include "InWindow.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>

using namespace kqtest;
using kq::test::WaitUntil;

namespace {

constexpr std::uint32_t red = 0xFF0000;
constexpr std::uint32_t blue = 0x0000FF;
constexpr std::uint32_t black = 0x000000;

/// @return true for a colour that is all but the other one
bool IsNear(std::uint32_t pixel, std::uint32_t colour) {
    for (const int shift : {0, 8, 16}) {
        const auto level = [shift](std::uint32_t value) { return static_cast<int>(value >> shift & 0xFF); };
        if (std::abs(level(pixel) - level(colour)) > 8) {
            return false;
        }
    }
    return true;
}

/// kqplay in a window, paused; red.mkv with blue.mkv beside it.
class Comparing : public InWindow {
protected:
    void SetUp() override {
        m_window = FindWindow();
        ASSERT_NE(m_window, 0u);
        m_kqplay.Press(" ", "paused  0:");
    }

    void Press(KeySym key) { Send(m_window, KeyPress, XKeysymToKeycode(m_display, key)); }
    void Release(KeySym key) { Send(m_window, KeyRelease, XKeysymToKeycode(m_display, key)); }

    /// Waits until places of the window have colours.
    /// @param places parts of its width and height
    void ExpectColours(const std::string& when,
                       std::vector<std::tuple<double, double, std::uint32_t>> places) {
        SCOPED_TRACE(when);
        const auto window = static_cast<xcb_window_t>(m_window);
        std::uint32_t wrong = 0;
        const bool isRight = WaitUntil([&] {
            const Image image = m_server.Screenshot(window);
            return std::all_of(places.begin(), places.end(), [&](const auto& place) {
                const auto& [x, y, colour] = place;
                wrong = image.At(static_cast<int>(x * image.width), static_cast<int>(y * image.height));
                return IsNear(wrong & 0xFFFFFF, colour);
            });
        });
        EXPECT_TRUE(isRight) << std::hex << wrong;
    }

    /// Waits until a row holds two strokes of grey and black.
    /// @param left,right parts of the window's width
    void ExpectCross(double left, double right) {
        EXPECT_TRUE(WaitUntil([&] {
            const Image image = m_server.Screenshot(static_cast<xcb_window_t>(m_window));
            int strokes = 0;
            bool wasGrey = false;
            for (int x = static_cast<int>(left * image.width) + 1;
                 x < static_cast<int>(right * image.width) - 1; ++x) {
                const bool isGrey = (image.At(x, image.height / 4) & 0xFF) > 0x30;
                strokes += isGrey && !wasGrey ? 1 : 0;
                wasGrey = isGrey;
            }
            return strokes == 2;
        }));
    }

    AtTerminal m_kqplay{{"--no-audio", "--loop", "--compare", Clip("blue.mkv"), "--compare",
                         Clip("small-red.mkv"), Clip("red.mkv")},
                        m_environment};
    Window m_window = 0;
};

TEST_F(Comparing, EachLayoutShowsWhatItSays) {
    ExpectColours("side", {{0.1, 0.5, red}, {0.4, 0.5, red}, {0.6, 0.5, blue}, {0.9, 0.5, blue}});
    Press(XK_c);
    ExpectColours("a small one fills the same shape", {{0.55, 0.1, red}, {0.95, 0.8, red}});
    Press(XK_F1);
    ExpectColours("the first again", {{0.1, 0.5, red}, {0.9, 0.5, blue}});
    m_kqplay.Press("\0332", "beside small-red.mkv");
    m_kqplay.Press("\0331", "beside blue.mkv");
    m_kqplay.Press("v", "stack");
    ExpectColours("stack", {{0.5, 0.1, red}, {0.5, 0.4, red}, {0.5, 0.6, blue}, {0.5, 0.8, blue}});
    m_kqplay.Press("v", "wipe");
    XWindowAttributes size = {};
    XGetWindowAttributes(m_display, m_window, &size);
    // The picture has the middle half of the width.
    Send(m_window, MotionNotify, 0, size.width * 2 / 5, size.height / 2);
    ExpectColours("wipe", {{0.3, 0.4, red}, {0.38, 0.4, red}, {0.42, 0.4, blue}, {0.7, 0.4, blue}});
    Send(m_window, MotionNotify, 0, size.width * 3 / 5, size.height / 2);
    ExpectColours("the divider follows", {{0.3, 0.4, red}, {0.58, 0.4, red}, {0.62, 0.4, blue}});
    m_kqplay.Press("v", "flip");
    ExpectColours("flip", {{0.4, 0.5, red}, {0.6, 0.5, red}});
    Press(XK_Tab);
    ExpectColours("the other one", {{0.4, 0.5, blue}, {0.6, 0.5, blue}});
    Release(XK_Tab);
    ExpectColours("the first one", {{0.4, 0.5, red}, {0.6, 0.5, red}});
    m_kqplay.Press("\t", "the other file");
    ExpectColours("by the terminal", {{0.4, 0.5, blue}, {0.6, 0.5, blue}});
    m_kqplay.Press("\tv", "difference");
    // Red and blue have luma 81 and 41: 40 apart.
    ExpectColours("difference", {{0.4, 0.5, 0x2F2F2F}, {0.6, 0.5, 0x2F2F2F}});
    m_kqplay.Press("d", "difference x2");
    ExpectColours("twice as bright", {{0.4, 0.5, 0x5D5D5D}});
    m_kqplay.Press("D", "difference of luma and chroma");
    ExpectColours("in colours", {{0.4, 0.5, 0xFF00FF}});
    m_kqplay.Press("cD", "difference of luma");
    ExpectColours("with the red one", {{0.4, 0.5, black}});
    m_kqplay.Press("-", "offset -1");
    m_kqplay.Press("<<", "there is no picture at this time");
    ExpectColours("the sign", {{0.45, 0.1, black}, {0.3, 0.5, black}});
    ExpectCross(0.25, 0.75);
    m_kqplay.Press("v", "side");
    ExpectColours("side again", {{0.1, 0.5, red}, {0.7, 0.1, black}});
    ExpectCross(0.5, 1);
    for (const auto& [modifier, key, shown] : {std::tuple(XK_Control_L, XK_equal, "offset -11"),
                                               {XK_Control_L, XK_minus, "offset -21"},
                                               {XK_Alt_L, XK_1, "beside blue.mkv"}}) {
        Press(modifier);
        Press(key);
        m_kqplay.Press("", shown);
        Release(key);
        Release(modifier);
    }
    m_kqplay.Quit();
}

TEST_F(Comparing, AChangeWhilePausedIsOnShowAtOnce) {
    std::vector<double> times;
    for (int i = 0; i < 20; ++i) {
        const bool isBlue = i % 2 == 1;
        const auto begin = std::chrono::steady_clock::now();
        const KeySym key = isBlue ? XK_F1 : XK_F2;
        Press(key);
        m_server.WaitFor(
            [&](const Image& image) { return IsNear(image.At(image.width * 3 / 4, 9), isBlue ? blue : red); },
            static_cast<xcb_window_t>(m_window));
        times.push_back(std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count());
        Release(key);
    }
    std::sort(times.begin(), times.end());
    // Each would take 100 ms if it came with the next look at the clock; a busy machine takes longer for
    // some.
    EXPECT_LT(times[5], 0.05) << testing::PrintToString(times);
    m_kqplay.Quit();
}

/// Numbers of the pictures that were shown beside each other; none where there is a sign.
std::vector<std::pair<int, int>> PairsIn(const Trace& trace) {
    const auto number = [](const std::string& place) {
        return place.rfind("null", 0) == 0 ? -1 : std::stoi(place);
    };
    std::vector<std::pair<int, int>> pairs;
    EXPECT_EQ(trace.places[0].size(), trace.places[1].size());
    for (std::size_t i = 0; i < std::min(trace.places[0].size(), trace.places[1].size()); ++i) {
        if (number(trace.places[0][i]) >= 0) {
            pairs.emplace_back(number(trace.places[0][i]), number(trace.places[1][i]));
        }
    }
    return pairs;
}

TEST(Offset, IsKeptOverSeeksStepsLoopsSpeedsAndBackwards) {
    constexpr int last = 1499;
    PlayingLong kqplay({"--no-audio", "--compare", Clip("long.mp4"), "--offset", "-3"});
    const auto go = [&] {
        kqplay.Press("g30\r..,", "paused  0:30.04");
        kqplay.Press("g20\r", "paused  0:20.00");
        for (const auto& [keys, shown] :
             {std::pair(" ", "playing  0:20"), {"}", "2x"}, {"{{", "0.5x"}, {"j", "-1x"}, {"k", "paused"}}) {
            kqplay.Press(keys, shown);
            usleep(300'000);
        }
        kqplay.Press("g58\r", "paused  0:58.00");
        kqplay.Press("I", "loop 0:58.00");
        kqplay.Press("l", "playing  0:58");
        usleep(2'600'000);
        kqplay.Press("Uk", "paused");
        kqplay.Press("g0\r", "paused  0:00.00");
        kqplay.Arrive();
    };
    kqplay.Press(" ", "offset -3");
    go();
    kqplay.Press("g20\r+>", "offset +8");
    go();
    const auto pairs = PairsIn(kqplay.Quit());
    ASSERT_GT(pairs.size(), 100u); // twice as many where nothing else runs
    bool isShifted = false;
    bool wasLacking = false;
    for (const auto& [first, other] : pairs) {
        isShifted = isShifted || other == first + 8;
        const int expected = first + (isShifted ? 8 : -3);
        const bool isBetween = !isShifted && other == first - 2; // "+" had come, and ">" had not
        wasLacking = wasLacking || other < 0;
        ASSERT_TRUE(isBetween || other == (expected < 0 || expected > last ? -1 : expected))
            << first << " beside " << other;
    }
    EXPECT_TRUE(isShifted && wasLacking);
}

TEST(Offset, IsFoundAndTold) {
    const TemporaryFolder folder;
    const std::string later = folder / "later.mkv";
    const Outcome made = RunProcess({"ffmpeg", "-v", "error", "-ss", "0.4", "-i", Clip("moving.mkv"), "-c:v",
                                     "mpeg4", "-q:v", "8", later});
    ASSERT_EQ(made.status, 0) << made.err;
    const Outcome outcome = RunProcess(Headless(
        Clip("moving.mkv"), {"--align", "picture", "--compare", later, "--trace", folder / "trace"}));
    EXPECT_EQ(outcome.out.rfind(later + ": offset -10, ", 0), 0u) << outcome.out;
    const auto pairs = PairsIn(ReadTrace(folder / "trace"));
    ASSERT_GT(pairs.size(), 50u);
    EXPECT_EQ(pairs[30].second, pairs[30].first - 10);
}

TEST(Compare, AFileThatCannotServeIsOneLine) {
    const struct {
        std::string second, err;
        bool lacks;
    } rows[] = {
        {Clip("red.mkv"), "", false},    // the same one
        {Clip("plain.mp4"), "", false},  // longer, with sound
        {Clip("hdr.mkv"), "", true},     // shorter: the end of a second
        {Clip("picture.png"), "", false} // a still picture
    };
    for (const auto& row : rows) {
        for (const char* layout : {"side", "difference"}) {
            SCOPED_TRACE(row.second + " " + layout);
            const Outcome outcome = RunProcess(
                Headless(Clip("red.mkv"), {"--no-audio", "--layout", layout, "--compare", row.second}));
            EXPECT_EQ(outcome.status, 0);
            const std::string told =
                "kqplay: " + row.second +
                ": there is no picture at this time; a cross is shown where there is none\n";
            EXPECT_EQ(outcome.err, row.lacks ? told : "");
        }
    }
}

TEST(Compare, TheSoundIsSwitchedWithoutAJumpInThePictures) {
    const TemporaryFolder folder;
    const std::string wav = folder / "sound.wav";
    AtTerminal kqplay({"--headless", "--audio", "wav:" + wav, "--length", "4", "--compare", Clip("plain.mp4"),
                       Clip("long.mp4")});
    kqplay.Press("", "playing  0:01");
    kqplay.Press("a", "sound of plain.mp4");
    const Outcome outcome = kqplay.process.Finish();
    EXPECT_EQ(outcome.status, 0);
    const Trace trace = ReadTrace(kqplay.folder / "trace");
    for (std::size_t i = 1; i + 1 < trace.places[0].size(); ++i) {
        ASSERT_EQ(std::stoi(trace.places[0][i]), std::stoi(trace.places[0][i - 1]) + 1);
    }
    // plain.mp4 sounds for two seconds. The recording begins when the device is opened, and ends with play.
    const Outcome volume = RunProcess({"ffmpeg", "-hide_banner", "-nostdin", "-sseof", "-1.2", "-i", wav,
                                       "-af", "volumedetect", "-f", "null", "-"});
    EXPECT_NE(volume.err.find("max_volume: -9"), std::string::npos) << volume.err;
}

} // namespace
