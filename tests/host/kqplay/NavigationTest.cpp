// Seeks and frame steps by keys: what is on show when the keys have been typed, compared with FFmpeg's
// decoder.
#include "Kqplay.h"

#include <algorithm>

using namespace kqtest;

namespace {

constexpr double rate = 25;
const std::string home = "\033[H", end = "\033OF", left = "\033[D", right = "\033[C", up = "\033OA",
                  down = "\033[B";

struct Step {
    std::string keys;  ///< typed when the keys before have brought what they had to
    const char* shown; ///< by the terminal then
    int frame = -1;    ///< that is on show then, if it is known
};

class Navigating : public testing::Test {
protected:
    static void SetUpTestSuite() { allFrames = ReferenceHashes(Clip("long.mp4")); }

    /// Plays the clip of a minute and types keys.
    static Trace TraceOf(const Strings& options, const std::vector<Step>& steps) {
        PlayingLong kqplay(options);
        for (const Step& step : steps) {
            kqplay.Press(step.keys, step.shown);
            kqplay.Arrive();
        }
        return kqplay.Quit();
    }

    /// @return the number of the frame with that hash, -1 for none of the clip's
    static int NumberOf(const std::string& hash) {
        const auto found = std::find(allFrames.begin(), allFrames.end(), hash);
        return found == allFrames.end() ? -1 : static_cast<int>(found - allFrames.begin());
    }

    /// @return the numbers of the frames that were shown, -1 for none of the clip's; without the black at the
    ///         end, which the stop shows
    static std::vector<int> FramesOf(const Trace& trace) {
        std::string black;
        for (int pixel = 0; pixel < 96 * 64; ++pixel) {
            black.append("\0\0\0\377", 4);
        }
        std::vector<int> numbers;
        for (const std::string& hash : trace.pictures[0]) {
            numbers.push_back(NumberOf(hash));
        }
        if (!numbers.empty() && trace.pictures[0].back() == HashBytes(black)) {
            numbers.pop_back();
        }
        return numbers;
    }

    static Strings allFrames;
};
Strings Navigating::allFrames;

TEST_F(Navigating, KeysLeadToTheFrame) {
    const std::vector<Step> steps = {
        {" ", "paused  0:0"},
        {home, "paused  0:00.00 ", 0},
        {",,", "", 0}, // nothing before the first
        {right, "paused  0:05.00", 125},
        {".......", "paused  0:05.28", 132},
        {home + right + right + right + left + right, "paused  0:15.00", 375}, // quick presses add up
        {up, "paused  0:59.96", 1499},
        {down, "paused  0:00.00 ", 0},
        {".", "paused  0:00.04", 1},
        {home + right + right, "paused  0:10.00", 250},
        {",,,,,,,", "paused  0:09.72", 243},
        {",", "paused  0:09.68", 242},
        {end, "paused  0:59.96", 1499},
        {"..", "stopped  0:5", 1499},
        {",", "", 1498},
    };
    for (const Strings& sound : {Strings{"--no-audio"}, Strings{"--audio", "null"}}) {
        const std::vector<int> frames = FramesOf(TraceOf(sound, steps));
        auto at = frames.begin();
        for (const Step& step : steps) {
            at = step.frame < 0 ? at : std::find(at, frames.end(), step.frame);
            ASSERT_NE(at, frames.end()) << step.frame << " in " << testing::PrintToString(frames);
        }
        EXPECT_EQ(frames.back(), 1498);
    }
}

/// What is on show after each row is told by a screenshot.
TEST_F(Navigating, StepsAreTheFilesAtAnySpeedAndStayInTheLoop) {
    const std::vector<Step> steps = {
        {" ", "paused  0:0"},
        {"g#500\r", "paused  0:20.00", 500},
        {"}", "speed 2x", 500},
        {"...", "paused  0:20.12", 503},
        {",,", "paused  0:20.04", 501},
        {"{{[", "speed 0.455x", 501},
        {".", "paused  0:20.08", 502},
        {"g0:30\r", "paused  0:30.00", 750},
        {"j", "playing  0:2"}, // backwards
        {"k", "paused  0:2"},
        {"g#600\r", "paused  0:24.00", 600},
        {".", "paused  0:24.04", 601},
        {",,", "paused  0:23.96", 599},
        {"\177", "speed 1x", 599},
        {"I", "loop 0:23.96 to the end", 599},
        {"....O", "loop 0:23.96 to 0:24.16", 603},
        {".", "", 603},
        {"g1\r", "paused  0:23.96", 599},
        {"l", "playing  0:24"},
        {"S", "stopped  0:2"},
        {" ", "playing  0:24"},
        {" ", "paused  0:2"},
        {"g#601\r", "paused  0:24.04", 601},
        {"Ug#2\r", "paused  0:00.08", 2},
        {"g#99999\r", "the last frame is #1499", 1499},
        {"g1:x\r", "no time and no #frame: 1:x", 1499},
    };
    PlayingLong kqplay({"--audio", "null"});
    for (const Step& step : steps) {
        kqplay.Press(step.keys, step.shown);
        kqplay.Arrive();
    }
    kqplay.Press("g#12\177", "go to: #1\033");
    kqplay.Press("\033", "#1499  00:00:59:24"); // it left the line, and did not quit
    const Trace trace = kqplay.Quit();
    const Strings saved = kqplay.SavedPictures();
    ASSERT_EQ(saved.size(), steps.size());
    for (std::size_t i = 0; i < steps.size(); ++i) {
        EXPECT_TRUE(steps[i].frame < 0 || NumberOf(saved[i]) == steps[i].frame)
            << steps[i].keys << ": " << NumberOf(saved[i]);
    }
    const std::vector<int> frames = FramesOf(trace);
    const std::vector<int> backwards = {749, 748};
    EXPECT_NE(std::search(frames.begin(), frames.end(), backwards.begin(), backwards.end()), frames.end())
        << testing::PrintToString(frames);
}

TEST_F(Navigating, AStepPausesAndShowsTheNextFrame) {
    const std::vector<int> frames = FramesOf(TraceOf({"--no-audio"}, {{".", "paused  0:0"}}));
    ASSERT_GT(frames.size(), 1u);
    for (std::size_t i = 1; i < frames.size(); ++i) {
        EXPECT_LE(frames[i] - frames[i - 1], 1);
    }
}

TEST_F(Navigating, ASeekWhilePlayingGoesOnFromThere) {
    const std::vector<int> frames =
        FramesOf(TraceOf({"--audio", "null"},
                         {{home + right + right + right + right, "playing  0:21"}, {" ", "paused  0:2"}}));
    EXPECT_GE(frames.back(), 20 * rate);
    EXPECT_NE(std::find(frames.begin(), frames.end(), 500), frames.end()) << "it begins with the target";
}

TEST_F(Navigating, AStoppedPlayerMovesToo) {
    const std::vector<Step> steps = {
        {"S", "stopped  0:0"},
        {home + right + right, "stopped  0:10.00"},
        {" ", "playing  0:10"},
        {"S", "stopped  0:1"},
        {home + right, "stopped  0:05.00"},
        {".", "paused  0:05.00"}, // opens it, paused
    };
    EXPECT_EQ(FramesOf(TraceOf({"--no-audio"}, steps)).back(), 125);
}

/// 10 s to 11 s of the file: the frames 250 to 274. Keys are typed at once, and in every order.
TEST_F(Navigating, KeysStayWithinTheRange) {
    const std::vector<Step> steps = {
        {" ", "paused  0:1"}, {end, "paused  0:10.96", 274},
        {"...", "", 274},     {",", "", 273},
        {"....", "", 274},    {",,", "", 272},
        {right, "", 274},     {home, "paused  0:10.00", 250},
        {",", "", 250},       {"..,", "", 251},
        {up, "", 274},        {".." + home + ".", "", 251},
        {left, "", 250},
    };
    for (const Strings& sound : {Strings{"--no-audio"}, Strings{"--audio", "null"}}) {
        SCOPED_TRACE(testing::PrintToString(sound));
        AtTerminal kqplay(
            Joined({"--headless", "--start", "10", "--length", "1", "--loop", Clip("long.mp4")}, sound));
        kqplay.Press("", "playing  0:10");
        for (const Step& step : steps) {
            kqplay.Press(step.keys, step.shown);
            kqplay.Arrive();
        }
        const Strings saved = kqplay.SavedPictures();
        const std::vector<int> frames = FramesOf(kqplay.Quit());
        ASSERT_EQ(saved.size(), steps.size());
        for (std::size_t i = 0; i < saved.size(); ++i) {
            const int frame = NumberOf(saved[i]);
            EXPECT_EQ(frame, steps[i].frame < 0 ? frame : steps[i].frame)
                << i << ": " << testing::PrintToString(steps[i].keys);
        }
        // What was played before the pause may end with the picture at the very end, 275, and the one behind.
        EXPECT_LE(*std::max_element(frames.begin(), frames.end()), 276);
        EXPECT_GE(*std::min_element(frames.begin(), frames.end()), 250);
    }
}

TEST_F(Navigating, StepsPastTheLastPictureOfTheFileStayOnIt) {
    const std::vector<Step> steps = {
        {" ", "paused  0:0"},
        {end, "paused  0:59.96"},
        {"..", "stopped  0:5"},
        {".", ""},
        {"..", ""},
        {",", ""},
        {"..", ""},
        {left, "0:54.96"},
    };
    EXPECT_EQ(FramesOf(TraceOf({"--no-audio"}, steps)).back(), 1374);
}

TEST_F(Navigating, TwoViewsStepAndSeekTogether) {
    const std::vector<Step> steps = {
        {" ", "paused  0:0"},      {home + up, "paused  0:59.96"}, {",,,", "paused  0:59.84"},
        {left, "paused  0:54.84"}, {"..", "paused  0:54.92"},
    };
    const Trace trace = TraceOf({"--no-audio", "--compare", Clip("long.mp4")}, steps);
    EXPECT_EQ(FramesOf(trace).back(), 1373);
    EXPECT_EQ(trace.pictures[0], trace.pictures[1]);
}

} // namespace
