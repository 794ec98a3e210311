// The window: its keys, its size, and what it shows, on an X server of the test's own.
#include "InWindow.h"

#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <memory>

using namespace kqtest;
using kq::test::WaitUntil;
namespace fs = std::filesystem;

namespace {

TEST_F(InWindow, ShowsThePictureFollowsTheSizeAndTakesKeys) {
    AtTerminal kqplay({"--audio", "null", Clip("long.mp4")}, m_environment);
    const Window window = FindWindow();
    char* title = nullptr;
    XFetchName(m_display, window, &title);
    EXPECT_STREQ(title, "long.mp4 - kqplay");
    XFree(title);

    m_server.ResizeWindow(static_cast<xcb_window_t>(window), 401, 303);
    EXPECT_TRUE(WaitUntil([&] { return ViewFills(window, 401, 303 - timelineHeight); }));

    PressKey(window, XK_space);
    kqplay.Press("", "paused  0:");
    PressKey(window, XK_space);
    kqplay.Press("", "playing  0:");
    PressKey(window, XK_S);
    kqplay.Press("", "stopped  0:");
    PressKey(window, XK_q);
    EXPECT_EQ(kqplay.Quit("").states, (std::vector<int>{1, 2, 1, 3, 0}));
}

TEST_F(InWindow, TakesCharactersFromAnyKeyboardLayout) {
    // A French keyboard has its digits behind Shift.
    const unsigned key = XKeysymToKeycode(m_display, XK_9);
    KeySym symbols[] = {XK_ccedilla, XK_9};
    XChangeKeyboardMapping(m_display, static_cast<int>(key), 2, symbols, 1);
    XSync(m_display, False);
    AtTerminal kqplay({"--audio", "null", Clip("long.mp4")}, m_environment);
    const Window window = FindWindow();
    TypeKey(window, key, 0);
    TypeKey(window, key, ShiftMask);
    kqplay.Press("", "volume 95 %");
    PressKey(window, XK_space);
    PressKey(window, XK_Home);
    PressKey(window, XK_Right);
    kqplay.Press("", "paused  0:05.00");
    PressKey(window, XK_Escape);
    kqplay.Quit("");
}

TEST_F(InWindow, AClickOrDragOnTheTimelineGoesThere) {
    AtTerminal kqplay({"--no-audio", Clip("long.mp4")}, m_environment);
    const Window window = FindWindow();
    const XWindowAttributes size = Attributes(window);
    PressKey(window, XK_space);
    kqplay.Press("", "paused  0:");
    const int bar = size.height - timelineHeight / 2;
    const auto mouse = [&](int type, int x, int y) {
        Send(window, type, type == MotionNotify ? 0 : Button1, x, y);
    };
    mouse(ButtonPress, (size.width - 1) / 2, bar); // at once: no motion has told of the pointer's place
    kqplay.Press("", "paused  0:29.");
    mouse(MotionNotify, 0, bar);
    kqplay.Press("", "paused  0:00.00");
    mouse(ButtonRelease, 0, bar);
    kqplay.Arrive(); // what came before has been carried out
    mouse(MotionNotify, size.width / 4, size.height / 4);
    mouse(ButtonPress, size.width / 4, size.height / 4); // the picture is no timeline
    mouse(ButtonRelease, size.width / 4, size.height / 4);
    kqplay.Arrive();
    PressKey(window, XK_q);
    const Trace trace = kqplay.Quit("");
    EXPECT_EQ(trace.positions.back(), 0) << "nor was it taken for one";
}

TEST_F(InWindow, ZoomsByKeysWheelAndMouseAndReadsPixels) {
    AtTerminal kqplay({"--no-audio", "--views", "2", Clip("long.mp4")}, m_environment);
    const Window window = FindWindow();
    // Two views of 288x192, in which 96x64 is at 300 % when it is fitted. The screen has room for them.
    m_server.ResizeWindow(static_cast<xcb_window_t>(window), 576, 192 + timelineHeight);
    kqplay.Press(" g#500\r", "paused  0:20.00");
    kqplay.Arrive();
    const auto shot = [&] { return m_server.Screenshot(static_cast<xcb_window_t>(window)); };
    const auto isBoth = [](const Image& image) { // and of the whole size
        return image.width == 576 && image.At(100, 100) == image.At(388, 100);
    };
    /// Picture pixel (x, y) in the first view, when it has the size @p pixel and the corner (left, top).
    const auto shows = [&](const Image& image, const Image& actual, int pixel, int left, int top) {
        for (int y = 0; y < 192; ++y) {
            for (int x = 0; x < 288; ++x) {
                const int column = (x - left) / pixel, row = (y - top) / pixel;
                const bool isIn = x >= left && y >= top && column < 96 && row < 64;
                if (image.At(x, y) != (isIn ? actual.At(96 + column, 64 + row) : 0)) {
                    return false;
                }
            }
        }
        return isBoth(image);
    };
    const auto becomes = [&](const Image& actual, int pixel, int left, int top) {
        return WaitUntil([&] { return shows(shot(), actual, pixel, left, top); });
    };
    Image fitted;
    EXPECT_TRUE(WaitUntil([&] { return isBoth(fitted = shot()); }));
    PressKey(window, XK_1);
    kqplay.Press("", "zoom 100 %");
    Image actual;
    EXPECT_TRUE(WaitUntil([&] { return shows(actual = shot(), actual, 1, 96, 64); }));
    PressKey(window, XK_4);
    kqplay.Press("", "zoom 400 %");
    EXPECT_TRUE(becomes(actual, 4, -48, -32));
    const auto mouse = [&](int type, unsigned button, int x, int y) { Send(window, type, button, x, y); };
    for (int i = 0; i < 3; ++i) { // at a pointer in the second view
        mouse(ButtonPress, Button4, 288 + 150, 75);
        mouse(ButtonRelease, Button4, 288 + 150, 75);
    }
    kqplay.Press("", "zoom 800 %");
    int left = 0, top = 0; // what lay under the pointer still does, but for whole pixels of the window
    EXPECT_TRUE(WaitUntil([&] {
        const Image image = shot();
        for (int i = 0; i < 25; ++i) {
            left = -249 + i % 5;
            top = -142 + i / 5;
            if (shows(image, actual, 8, left, top)) {
                return true;
            }
        }
        return false;
    }));
    mouse(ButtonPress, Button3, 300, 100);
    mouse(MotionNotify, 0, 310, 140);
    mouse(MotionNotify, 0, 348, 84);
    mouse(ButtonRelease, Button3, 348, 84);
    mouse(MotionNotify, 0, 10, 12);
    EXPECT_TRUE(becomes(actual, 8, left + 48, top - 16));
    PressKey(window, XK_p);
    const int column = (10 - left - 48) / 8, row = (12 - top + 16) / 8;
    const std::uint32_t rgb = actual.At(96 + column, 64 + row);
    kqplay.Press("", std::to_string(column) + "," + std::to_string(row) + "  Y ");
    const auto level = [&](int shift) { return std::to_string(rgb >> shift & 0xFF); };
    EXPECT_NE(kqplay.process.Output().find("RGB " + level(16) + " " + level(8) + " " + level(0)),
              std::string::npos)
        << kqplay.process.Output();
    PressKey(window, XK_p);
    PressKey(window, XK_z);
    kqplay.Press("", "zoom to fit");
    EXPECT_TRUE(WaitUntil([&] { // but for the timeline, which goes on
        return std::equal(fitted.pixels.begin(), fitted.pixels.begin() + 576 * 192, shot().pixels.begin());
    }));
    PressKey(window, XK_q);
    kqplay.Quit("");
}

TEST_F(InWindow, AHeldStepKeyShowsEveryPictureInItsTime) {
    AtTerminal kqplay({"--no-audio", Clip("long.mp4")}, m_environment);
    const Window window = FindWindow();
    kqplay.Press(" g#500\r", "paused  0:20.00");
    kqplay.Arrive();
    for (const KeySym symbol : {XK_period, XK_comma}) {
        const unsigned key = XKeysymToKeycode(m_display, symbol);
        Send(window, KeyPress, key);
        Send(window, KeyPress, key); // as the server repeats it
        usleep(1'500'000);
        Send(window, KeyRelease, key);
        kqplay.Arrive();
    }
    const Trace trace = kqplay.Quit();
    std::vector<int> numbers;
    std::vector<double> times;
    for (std::size_t i = 0; i < trace.places[0].size(); ++i) {
        const std::string& place = trace.places[0][i];
        if (place != "null null" && (numbers.empty() || numbers.back() != std::stoi(place))) {
            numbers.push_back(std::stoi(place));
            times.push_back(trace.times[0][i]);
        }
    }
    const auto first = std::find(numbers.begin(), numbers.end(), 500) - numbers.begin();
    const auto furthest = std::max_element(numbers.begin() + first, numbers.end()) - numbers.begin();
    const auto last = static_cast<std::ptrdiff_t>(numbers.size()) - 1;
    for (const auto& [from, to] : {std::pair(first, furthest), {furthest, last}}) {
        EXPECT_GT(to - from, 10);
        EXPECT_EQ(std::abs(numbers[to] - numbers[from]), to - from) << testing::PrintToString(numbers);
        std::vector<double> gaps;
        for (auto i = from; i < to; ++i) {
            gaps.push_back(times[i + 1] - times[i]);
        }
        std::sort(gaps.begin(), gaps.end());
        const double usual = gaps[gaps.size() / 2]; // a busy machine makes single ones longer
        EXPECT_GT(usual, 0.022);
        EXPECT_LT(usual, 0.060);
    }
}

TEST_F(InWindow, AHeldKeyRepeatsWhatGoesOnAndNoChoice) {
    AtTerminal kqplay({"--no-audio", Clip("long.mp4")}, m_environment);
    const Window window = FindWindow();
    kqplay.Press("", "playing  0:");
    const auto hold = [&](KeySym symbol) {
        for (int i = 0; i < 4; ++i) { // as the server repeats it
            Send(window, KeyPress, XKeysymToKeycode(m_display, symbol));
        }
        Send(window, KeyRelease, XKeysymToKeycode(m_display, symbol));
    };
    hold(XK_space);
    kqplay.Press("", "paused  0:0");
    hold(XK_Home);
    hold(XK_Right);
    kqplay.Press("", "paused  0:20.00");
    PressKey(window, XK_q);
    const Trace trace = kqplay.Quit("");
    EXPECT_EQ(trace.states, (std::vector<int>{1, 2, 3, 0})) << "one pause";
}

TEST_F(InWindow, TheTimelineShowsWhatIsRepeatedAndWhatIsKept) {
    AtTerminal kqplay({"--no-audio", Clip("long.mp4")}, m_environment);
    const Window window = FindWindow();
    kqplay.Press(" g30\r", "paused  0:30.00");
    kqplay.Press("I", "loop 0:30.00 to the end");
    kqplay.Press("g45\r", "paused  0:45.00");
    kqplay.Press("O", "loop 0:30.00 to 0:45.04");
    const XWindowAttributes size = Attributes(window);
    const auto colourAt = [&](double part, int row) {
        const Image image = m_server.Screenshot(static_cast<xcb_window_t>(window));
        const int x = static_cast<int>(part * size.width);
        return image.pixels.at(
                   static_cast<std::size_t>(image.width * (size.height - timelineHeight + row) + x)) &
               0xFFFFFF;
    };
    const struct {
        double part;
        int row;
        std::uint32_t colour;
    } rows[] = {
        {0.6, 0, 0xF0A030},  {0.4, 0, 0xD0D0D0},   {0.8, 0, 0x404040}, // repeated, played, to come
        {0.76, 4, 0x404040}, {0.745, 4, 0xD0D0D0}, {0.75, 7, 0x5090D0}, {0.97, 7, 0x404040}, // kept, and not
    };
    for (const auto& row : rows) {
        EXPECT_TRUE(WaitUntil([&] { return colourAt(row.part, row.row) == row.colour; }))
            << row.part << " " << row.row << std::hex << " " << colourAt(row.part, row.row);
    }
    kqplay.Quit();
}

/// The second file ends half-way.
TEST_F(InWindow, TheTimelineShowsWhereFilesDiffer) {
    AtTerminal kqplay({"--no-audio", "--compare", Clip("silent.mp4"), Clip("plain.mp4")}, m_environment);
    const Window window = FindWindow();
    kqplay.Press(" \033[Hn", "differs");
    const XWindowAttributes size = Attributes(window);
    const auto colourAt = [&](int x) {
        const Image image = m_server.Screenshot(static_cast<xcb_window_t>(window));
        return image.pixels.at(
                   static_cast<std::size_t>(image.width * (size.height - timelineHeight / 2) + x)) &
               0xFFFFFF;
    };
    EXPECT_TRUE(WaitUntil([&] { return colourAt(size.width * 2 / 5) == 0xD04040; }));
    EXPECT_EQ(colourAt(size.width * 3 / 5), 0x404040u);
    kqplay.Quit();
}

TEST_F(InWindow, FillsTheScreenAndComesBackWithoutAWindowManager) {
    AtTerminal kqplay({"--no-audio", Clip("long.mp4")}, m_environment);
    const Window window = FindWindow();
    const XWindowAttributes size = Attributes(window);
    PressKey(window, XK_space);
    kqplay.Press("", "paused  0:");
    for (int i = 0; i < 2; ++i) {
        PressKey(window, XK_f);
        EXPECT_TRUE(WaitUntil([&] { return ViewFills(window, 1024, 768 - timelineHeight); }));
        PressKey(window, XK_f);
        EXPECT_TRUE(WaitUntil([&] { return ViewFills(window, size.width, size.height - timelineHeight); }));
    }
    PressKey(window, XK_q);
    kqplay.Quit("");
}

TEST_F(InWindow, ClosingItQuits) {
    Process kqplay({KQPLAY_PROGRAM, "--no-audio", Clip("long.mp4")}, m_environment);
    m_server.RequestClose(static_cast<xcb_window_t>(FindWindow()));
    const Outcome outcome = kqplay.Finish();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(outcome.out.rfind("quit  0:", 0), 0u) << outcome.out;
}

TEST_F(InWindow, AServerThatGoesEndsInOneLineWithFilesWhole) {
    const TemporaryFolder folder;
    // With a sound device open, playing and paused, and without one.
    for (const Strings& options : {Strings{"--audio", "wav:" + folder / "sound.wav"},
                                   Strings{"--audio", "null"}, Strings{"--no-audio"}}) {
        SCOPED_TRACE(testing::PrintToString(options));
        auto server = std::make_unique<Xvfb>();
        Process kqplay(Joined({KQPLAY_PROGRAM, "--trace", folder / "trace", Clip("long.mp4")}, options),
                       {{"DISPLAY", server->Display()}});
        EXPECT_TRUE(WaitUntil([&] { return kq::test::ReadFile(folder / "trace").size() > 1000; }));
        server->Stop();
        const Outcome outcome = kqplay.Finish();
        EXPECT_EQ(outcome.status, 1);
        EXPECT_EQ(outcome.err, "kqplay: the X server has gone\n");
        EXPECT_EQ(ReadTrace(folder / "trace").ends, 1u);
        fs::remove(folder / "trace");
    }
    const Outcome sound =
        RunProcess({"ffmpeg", "-v", "error", "-i", folder / "sound.wav", "-f", "null", "-"});
    EXPECT_EQ(sound.err, "") << "the recording is whole";
}

TEST_F(InWindow, FitsOnTheScreen) {
    const TemporaryFolder folder;
    const Outcome made =
        RunProcess({"ffmpeg", "-v", "error", "-f", "lavfi", "-i", "color=red:size=3000x1000:rate=1", "-t",
                    "60", "-c:v", "mpeg4", folder / "big.mkv"});
    ASSERT_EQ(made.status, 0) << made.err;
    Process kqplay({KQPLAY_PROGRAM, folder / "big.mkv"}, m_environment);
    const XWindowAttributes size = Attributes(FindWindow());
    EXPECT_EQ(size.width, 1024);
    EXPECT_EQ(size.height, 341 + timelineHeight);
    kill(kqplay.Id(), SIGTERM);
    EXPECT_EQ(kqplay.Finish().status, 0);
}

TEST(WithoutDisplay, PlaysOffScreenAndSaysSo) {
    for (const Process::Environment& environment :
         {Process::Environment{}, Process::Environment{{"DISPLAY", ":987"}},
          Process::Environment{{"SDL_VIDEODRIVER", "dummy"}}}) {
        const Outcome outcome = RunProcess({KQPLAY_PROGRAM, "--no-audio", Clip("one.mp4")}, environment);
        EXPECT_EQ(outcome.status, 0);
        ASSERT_EQ(Lines(outcome.err).size(), 1u) << outcome.err;
        EXPECT_EQ(outcome.err.rfind("kqplay: no window (", 0), 0u) << outcome.err;
    }
}

} // namespace
