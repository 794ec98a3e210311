// The parts of kqplay that compute something, without a player.
#include <gtest/gtest.h>
#include <host/kqplay/KeyDecoder.h>
#include <host/kqplay/LateFrames.h>
#include <host/kqplay/ProgressLine.h>

#include <utility>
#include <vector>

using namespace kqplay;

namespace {

constexpr double step = 0.010;

/// Shows frames of 25 Hz from @p from on, each @p delay after its time.
double Show(LateFrames& late, double from, int count, double delay) {
    for (int i = 0; i < count; ++i) {
        late.Frame(100 + from + i * 0.040 + delay, from + i * 0.040);
    }
    return from + count * 0.040;
}

TEST(LateFrames, AreThoseBeyondTheClockStepAndFiveMilliseconds) {
    LateFrames late(step);
    double at = Show(late, 0, 50, 0);
    at = Show(late, at, 10, 0.014);
    EXPECT_EQ(late.Count(), 0);
    at = Show(late, at, 3, 0.016);
    at = Show(late, at, 50, 0);
    late.Restart(); // after a pause
    Show(late, at, 50, 7.0);
    EXPECT_EQ(late.Count(), 3);
}

TEST(LateFrames, ASlowDriftOfTheSoundCardIsNotLateButASlowDecoderIs) {
    LateFrames drifting(step), slow(step);
    for (int i = 0; i < 25 * 600; ++i) {
        drifting.Frame(100 + i * 0.040 * 1.001, i * 0.040);
    }
    for (int i = 0; i < 100; ++i) {
        slow.Frame(100 + i * 0.080, i * 0.040);
    }
    EXPECT_EQ(drifting.Count(), 0);
    EXPECT_GT(slow.Count(), 90);
}

TEST(LateFrames, AfterTheFactTheMostPunctualFrameIsTheMeasure) {
    const std::vector<double> delays = DelaysAfterMostPunctual({105, 142, 180, 260}, 40);
    const std::vector<double> expected = {5, 2, 0, 40};
    EXPECT_EQ(delays, expected);
    EXPECT_TRUE(DelaysAfterMostPunctual({}, 40).empty());
}

TEST(KeyDecoder, TellsKeysApart) {
    using Commands = std::vector<Command>;
    const std::pair<std::vector<const char*>, Commands> rows[] = {
        // the pieces come every 10 ms
        {{" "}, {Command::TogglePause}},
        {{"\033[D"}, {Command::Back}},
        {{"\033", "[", "C"}, {Command::Ahead}},
        {{"\033O", "A"}, {Command::FarAhead}},
        {{"\033[1~\033[4~"}, {Command::ToBegin, Command::ToEnd}},
        {{"\033[1;5D."}, {Command::None, Command::StepForward}},
        {{"\033\033[B"}, {Command::Quit, Command::FarBack}},
        {{"\033", "", "", "", "", "", ""}, {Command::Quit}},
        {{"\033[", "", "", "", "", "", "", "q"}, {Command::Quit}}, // the piece is dropped, then q
        {{"sS"}, {Command::Screenshot, Command::Stop}},
    };
    for (const auto& [pieces, expected] : rows) {
        KeyDecoder keys;
        Commands commands;
        double now = 100;
        for (const char* piece : pieces) {
            for (Command command : keys.Take(piece, now)) {
                commands.push_back(command);
            }
            now += 0.010;
        }
        EXPECT_EQ(commands, expected) << testing::PrintToString(pieces);
        EXPECT_FALSE(keys.IsWaiting());
    }
}

TEST(ProgressLine, FormatsTimes) {
    const std::pair<double, const char*> rows[] = {
        {0, "0:00.00"},      {-3, "0:00.00"},          {1.239, "0:01.24"},     {59.994, "0:59.99"},
        {59.996, "1:00.00"}, {3599.996, "1:00:00.00"}, {3725.5, "1:02:05.50"}, {360000, "100:00:00.00"},
    };
    for (const auto& [seconds, text] : rows) {
        EXPECT_EQ(FormatTime(seconds), text) << seconds;
    }
}

TEST(ProgressLine, LeavesOutWhatNobodyKnows) {
    EXPECT_EQ(FormatProgress({"paused", 1.5, 0, std::nullopt}), "paused  0:01.50");
    EXPECT_EQ(FormatProgress({"playing", 1.5, 8, 0}), "playing  0:01.50 / 0:08.00  0 late frames");
    EXPECT_EQ(FormatProgress({"playing", 1.5, 8, 1}), "playing  0:01.50 / 0:08.00  1 late frame");
    EXPECT_EQ(FormatProgress({"playing", 1.5, 0, 0, "mute"}), "playing  0:01.50  0 late frames  mute");
}

} // namespace
