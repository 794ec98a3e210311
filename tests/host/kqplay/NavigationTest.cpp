// Seeks and frame steps by keys: what is on show when the keys have been typed, compared with FFmpeg's
// decoder.
#include "Kqplay.h"

#include <algorithm>
#include <cmath>

using namespace kqtest;

namespace {

constexpr double rate = 25;
const std::string home = "\033[H", end = "\033OF", left = "\033[D", right = "\033[C", up = "\033OA",
                  down = "\033[B";

class Navigating : public testing::Test {
protected:
    static void SetUpTestSuite() { s_frames = ReferenceHashes(Clip("long.mp4")); }

    /// Starts kqplay on the clip of a minute.
    static Strings Command(const Strings& options) {
        Strings all = {"--headless", Clip("long.mp4")};
        all.insert(all.end(), options.begin(), options.end());
        return all;
    }

    /// @return the numbers of the frames that a view has shown, -1 for none of the clip's; without the black
    ///         that the stop at the end shows
    static std::vector<int> FramesOf(const Trace& trace, int view = 0) {
        std::vector<int> numbers;
        for (const std::string& hash : trace.Pictures(view)) {
            const auto found = std::find(s_frames.begin(), s_frames.end(), hash);
            numbers.push_back(found == s_frames.end() ? -1 : static_cast<int>(found - s_frames.begin()));
        }
        while (!numbers.empty() && numbers.back() == -1 && trace.Pictures(view).back() == BlackHash(96, 64))
            numbers.pop_back();
        return numbers;
    }

    static Strings s_frames;
};
Strings Navigating::s_frames;

TEST_F(Navigating, KeysLeadToTheFrame) {
    const struct {
        std::string keys; ///< typed when the keys before have brought what they had to
        const char* shown;
        int frame;
    } rows[] = {
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
        AtTerminal kqplay(Command(sound));
        kqplay.Press("", "playing  0:00");
        kqplay.Press(" ", "paused  0:0");
        for (const auto& row : rows) {
            kqplay.Press(row.keys, row.shown);
            kqplay.Arrive();
        }
        const std::vector<int> frames = FramesOf(kqplay.Quit());
        auto at = frames.begin();
        for (const auto& row : rows) {
            at = std::find(at, frames.end(), row.frame);
            ASSERT_NE(at, frames.end()) << row.frame << " in " << testing::PrintToString(frames);
        }
        EXPECT_EQ(frames.back(), 1498);
    }
}

TEST_F(Navigating, AStepPausesAndShowsTheNextFrame) {
    AtTerminal kqplay(Command({"--no-audio"}));
    kqplay.Press("", "playing  0:00");
    kqplay.Press(".", "paused  0:0");
    kqplay.Arrive();
    const std::vector<int> frames = FramesOf(kqplay.Quit());
    ASSERT_GT(frames.size(), 1u);
    for (std::size_t i = 1; i < frames.size(); ++i)
        EXPECT_LE(frames[i] - frames[i - 1], 1);
}

TEST_F(Navigating, ASeekWhilePlayingGoesOnFromThere) {
    AtTerminal kqplay(Command({"--audio", "null"}));
    kqplay.Press("", "playing  0:00");
    kqplay.Press(home + right + right + right + right, "playing  0:21");
    kqplay.Press(" ", "paused  0:2");
    kqplay.Arrive();
    const std::vector<int> frames = FramesOf(kqplay.Quit());
    EXPECT_GE(frames.back(), 20 * rate);
    EXPECT_NE(std::find(frames.begin(), frames.end(), 500), frames.end()) << "it begins with the target";
}

TEST_F(Navigating, AStoppedPlayerMovesToo) {
    AtTerminal kqplay(Command({"--no-audio"}));
    kqplay.Press("", "playing  0:00");
    kqplay.Press("S", "stopped  0:0");
    kqplay.Press(home + right + right, "stopped  0:10.00");
    kqplay.Press(" ", "playing  0:10");
    kqplay.Press("S", "stopped  0:1");
    kqplay.Press(home + right, "stopped  0:05.00");
    kqplay.Press(".", "paused  0:05.00"); // opens it, paused
    kqplay.Arrive();
    EXPECT_EQ(FramesOf(kqplay.Quit()).back(), 125);
}

TEST_F(Navigating, TwoViewsStepAndSeekTogether) {
    AtTerminal kqplay(Command({"--no-audio", "--compare", Clip("long.mp4")}));
    kqplay.Press("", "playing  0:00");
    kqplay.Press(" ", "paused  0:0");
    kqplay.Press(home + up, "paused  0:59.96");
    kqplay.Press(",,,", "paused  0:59.84");
    kqplay.Press(left, "paused  0:54.84");
    kqplay.Press("..", "paused  0:54.92");
    kqplay.Arrive();
    const Trace trace = kqplay.Quit();
    EXPECT_EQ(FramesOf(trace).back(), 1373);
    EXPECT_EQ(trace.Pictures(0), trace.Pictures(1));
}

} // namespace
