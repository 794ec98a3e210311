// Seeks and frame steps by keys: what is on show when the keys have been typed, compared with FFmpeg's
// decoder.
#include "Kqplay.h"

#include <gtest/gtest.h>

#include <algorithm>

using namespace kqtest;

namespace {

using Strings = std::vector<std::string>;

constexpr double rate = 25;

class Navigating : public testing::Test {
protected:
    static void SetUpTestSuite() { s_frames = ReferenceHashes(Clip("long.mp4")); }

    /// @return the number of the frame that the paused player shows when it quits; -1 for none of the clip's
    int QuitAndTell(Process& kqplay) {
        kqplay.Type("q");
        const Outcome outcome = kqplay.Finish();
        EXPECT_EQ(outcome.status, 0) << outcome.out;
        Strings shown = PictureHashes(ReadTrace(m_folder / "trace"));
        while (!shown.empty() && shown.back() == BlackHash(96, 64)) // shown by the stop that ends the run
            shown.pop_back();
        if (shown.empty())
            return -1;
        const auto found = std::find(s_frames.begin(), s_frames.end(), shown.back());
        return found == s_frames.end() ? -1 : static_cast<int>(found - s_frames.begin());
    }

    Strings Command(const Strings& options) {
        Strings all = {"--trace", m_folder / "trace", "--trace-hash"};
        all.insert(all.end(), options.begin(), options.end());
        return Headless(Clip("long.mp4"), all);
    }

    static Strings s_frames;
    TemporaryFolder m_folder;
    Process::Environment m_environment = {{"TERM", "xterm"}};
};
Strings Navigating::s_frames;

struct Walk {
    const char* name;
    std::vector<std::string> keys; ///< each waits for what the one before has brought
    std::vector<std::string> shown;
    int frame;
};

class Paused : public Navigating, public testing::WithParamInterface<Walk> {};

TEST_P(Paused, KeysLeadToTheFrame) {
    for (const Strings& sound : {Strings{"--no-audio"}, Strings{"--audio", "null"}}) {
        Process kqplay(Command(sound), m_environment, Process::Streams::PseudoTerminal);
        ASSERT_TRUE(kqplay.WaitForOutput("playing  0:00"));
        kqplay.Type(" ");
        ASSERT_TRUE(kqplay.WaitForOutput("paused  0:0"));
        for (std::size_t i = 0; i < GetParam().keys.size(); ++i) {
            kqplay.Type(GetParam().keys[i]);
            EXPECT_TRUE(kqplay.WaitForOutput(GetParam().shown[i])) << kqplay.Output();
        }
        usleep(400000);
        EXPECT_EQ(QuitAndTell(kqplay), GetParam().frame);
    }
}

const char* const home = "\033[H";
const char* const end = "\033OF";
const char* const left = "\033[D";
const char* const right = "\033[C";
const char* const up = "\033OA";
const char* const down = "\033[B";

INSTANTIATE_TEST_SUITE_P(
    Keys, Paused,
    testing::Values(
        Walk{"Home", {home}, {"paused  0:00.00 "}, 0}, Walk{"End", {end}, {"paused  0:59.96"}, 1499},
        Walk{"QuickPressesAddUp",
             {std::string(home) + right + right + right + left + right},
             {"paused  0:15.00"},
             375},
        Walk{"MinutesStopAtTheEnds", {up, down}, {"paused  0:59.96", "paused  0:00.00 "}, 0},
        Walk{"OneFrameOn", {home, "."}, {"paused  0:00.00 ", "paused  0:00.04"}, 1},
        Walk{"ManyFramesOn",
             {std::string(home) + right, "......."},
             {"paused  0:05.00", "paused  0:05.28"},
             132},
        Walk{"OneFrameBack", {std::string(home) + right, ","}, {"paused  0:05.00", "paused  0:04.96"}, 124},
        Walk{"ManyFramesBack",
             {std::string(home) + right + right, ",,,,,,,"},
             {"paused  0:10.00", "paused  0:09.72"},
             243},
        Walk{"NothingBeforeTheFirst", {home, ",,"}, {"paused  0:00.00 ", "paused  0:00.00 "}, 0},
        Walk{"TheLastOneStays",
             {end, "..", ","},
             {"paused  0:59.96", "stopped  0:5", "stopped  0:59.9"},
             1498}),
    [](const auto& info) { return std::string(info.param.name); });

TEST_F(Navigating, AStepPausesAndShowsTheNextFrame) {
    Process kqplay(Command({"--no-audio"}), m_environment, Process::Streams::PseudoTerminal);
    ASSERT_TRUE(kqplay.WaitForOutput("playing  0:00"));
    kqplay.Type(".");
    ASSERT_TRUE(kqplay.WaitForOutput("paused  0:0"));
    usleep(400000);
    const int frame = QuitAndTell(kqplay);
    const Strings shown = PictureHashes(ReadTrace(m_folder / "trace"));
    EXPECT_GT(frame, 0);
    EXPECT_NE(std::find(shown.begin(), shown.end(), s_frames[static_cast<std::size_t>(frame) - 1]),
              shown.end());
}

TEST_F(Navigating, ASeekWhilePlayingGoesOnFromThere) {
    Process kqplay(Command({"--audio", "null"}), m_environment, Process::Streams::PseudoTerminal);
    ASSERT_TRUE(kqplay.WaitForOutput("playing  0:00"));
    kqplay.Type(std::string(home) + right + right + right + right);
    ASSERT_TRUE(kqplay.WaitForOutput("playing  0:21"));
    kqplay.Type(" ");
    ASSERT_TRUE(kqplay.WaitForOutput("paused  0:2"));
    usleep(300000);
    EXPECT_GE(QuitAndTell(kqplay), 20 * rate);
    const Strings shown = PictureHashes(ReadTrace(m_folder / "trace"));
    EXPECT_NE(std::find(shown.begin(), shown.end(), s_frames[500]), shown.end())
        << "it begins with the target";
}

TEST_F(Navigating, AStoppedPlayerMovesToo) {
    Process kqplay(Command({"--no-audio"}), m_environment, Process::Streams::PseudoTerminal);
    ASSERT_TRUE(kqplay.WaitForOutput("playing  0:00"));
    kqplay.Type("S");
    ASSERT_TRUE(kqplay.WaitForOutput("stopped  0:0"));
    kqplay.Type(std::string(home) + right + right);
    ASSERT_TRUE(kqplay.WaitForOutput("stopped  0:10.00"));
    kqplay.Type(" ");
    ASSERT_TRUE(kqplay.WaitForOutput("playing  0:10"));
    kqplay.Type("S");
    usleep(200000);
    kqplay.Type(std::string(home) + right);
    usleep(200000);
    kqplay.Type("."); // opens it, paused
    ASSERT_TRUE(kqplay.WaitForOutput("paused  0:05.00")) << kqplay.Output();
    usleep(300000);
    EXPECT_EQ(QuitAndTell(kqplay), 125);
}

TEST_F(Navigating, OtherKeysTellWhatTheyDid) {
    Process kqplay(Command({"--audio", "null", "--volume", "95"}), m_environment,
                   Process::Streams::PseudoTerminal);
    ASSERT_TRUE(kqplay.WaitForOutput("playing  0:00"));
    const std::pair<const char*, const char*> rows[] = {
        {"9", "volume 90 %"},  {"0", "volume 95 %"}, {"0", "volume 100 %"},
        {"0", "volume 100 %"}, {"m", "mute"},        {"m", "volume 100 %"},
        {"L", "loop on"},      {"L", "loop off"},    {"i", "96x64 yuv420p, 25 frames/s; aac"},
        {"f", "playing"},
    };
    for (const auto& [key, text] : rows) {
        kqplay.Type(key);
        EXPECT_TRUE(kqplay.WaitForOutput(text)) << key;
    }
    kqplay.Type("q");
    EXPECT_EQ(kqplay.Finish().status, 0);
}

} // namespace
