// The parts of kqplay that compute something, without a player.
#include <gtest/gtest.h>
#include <host/kqplay/KeyDecoder.h>
#include <host/kqplay/Keys.h>
#include <host/kqplay/LateFrames.h>
#include <host/kqplay/ProgressLine.h>
#include <host/kqplay/Speeds.h>
#include <host/kqplay/TypedPlace.h>
#include <host/kqplay/ViewLayout.h>

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
        {{"\0331\033O", "Q\033[20~\033[[", "E"}, std::vector<Command>(4, Command::ChooseFile)},
        {{"\b\177"}, {Command::NormalSpeed, Command::NormalSpeed}},
    };
    for (const auto& [pieces, expected] : rows) {
        KeyDecoder keys;
        Commands commands;
        double now = 100;
        for (const char* piece : pieces) {
            for (int key : keys.Take(piece, now)) {
                commands.push_back(CommandOfKey(key));
            }
            now += 0.010;
        }
        EXPECT_EQ(commands, expected) << testing::PrintToString(pieces);
        EXPECT_FALSE(keys.IsWaiting());
    }
}

TEST(Speeds, AreChangedBySteps) {
    const std::pair<double, double> rows[] = {
        {Speeds::Changed(Speeds::Changed(1, 1.1), 1 / 1.1), 1},
        {Speeds::Changed(6, 2), 8},
        {Speeds::Changed(-3, 2), -4},
        {Speeds::Changed(-0.15, 0.5), -0.1},
        {Speeds::Shuttled(0, 1), 1},
        {Speeds::Shuttled(1, 1), 2},
        {Speeds::Shuttled(8, 1), 8},
        {Speeds::Shuttled(2.5, 1), 4},
        {Speeds::Shuttled(2, -1), -1},
        {Speeds::Shuttled(-4, -1), -4},
    };
    for (const auto& [speed, expected] : rows) {
        EXPECT_EQ(speed, expected) << &speed - &rows[0].first;
    }
}

TEST(ViewLayout, GivesViewsOfOneMomentTheSameShape) {
    const Area none;
    const struct {
        Arrangement arrangement;
        Size needed;                      ///< for pictures of 40x30
        std::vector<Area> visible, whole; ///< of 101x60
    } rows[] = {
        {{1, false, Layout::Side, 0.5}, {40, 30}, {{0, 0, 101, 60}}, {{0, 0, 101, 60}}},
        {{3, false, Layout::Wipe, 0.5},
         {80, 60},
         {{0, 0, 50, 30}, {50, 0, 51, 30}, {0, 30, 50, 30}},
         {{0, 0, 50, 30}, {50, 0, 51, 30}, {0, 30, 50, 30}}},
        {{2, true, Layout::Side, 0.5},
         {80, 30},
         {{0, 0, 50, 60}, {50, 0, 51, 60}},
         {{0, 0, 50, 60}, {50, 0, 51, 60}}},
        {{2, true, Layout::Stack, 0.5},
         {40, 60},
         {{0, 0, 101, 30}, {0, 30, 101, 30}},
         {{0, 0, 101, 30}, {0, 30, 101, 30}}},
        {{2, true, Layout::Wipe, 0.25},
         {40, 30},
         {{0, 0, 101, 60}, {25, 0, 76, 60}},
         {{0, 0, 101, 60}, {0, 0, 101, 60}}},
        {{2, true, Layout::Wipe, 1},
         {40, 30},
         {{0, 0, 101, 60}, {101, 0, 0, 60}},
         {{0, 0, 101, 60}, {0, 0, 101, 60}}},
        {{2, true, Layout::Flip, 0.5}, {40, 30}, {none, {0, 0, 101, 60}}, {{0, 0, 101, 60}, {0, 0, 101, 60}}},
        {{2, true, Layout::Difference, 0.5},
         {40, 30},
         {none, {0, 0, 101, 60}},
         {{0, 0, 101, 60}, {0, 0, 101, 60}}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(&row - rows);
        const Size needed = NeededSize(row.arrangement, {40, 30});
        EXPECT_EQ(needed.width, row.needed.width);
        EXPECT_EQ(needed.height, row.needed.height);
        const std::vector<ViewPlace> places = PlaceViews(row.arrangement, {101, 60});
        ASSERT_EQ(places.size(), row.whole.size());
        for (std::size_t i = 0; i < places.size(); ++i) {
            EXPECT_EQ(places[i].visible, row.visible[i]) << i;
            EXPECT_EQ(places[i].whole, row.whole[i]) << i;
        }
    }
}

TEST(TypedPlace, IsATimeOrAFrame) {
    const struct {
        const char* text;
        std::optional<SoughtPlace> place;
    } rows[] = {
        {"83.5", SoughtPlace{83.5}},
        {"1:23.5", SoughtPlace{83.5}},
        {"1:02:03", SoughtPlace{3723}},
        {"#1234", SoughtPlace{0, 1234}},
        {"#", {}},
        {"", {}},
        {"1:", {}},
        {"-1", {}},
        {"1:2:3:4", {}},
        {"#99999999999999999999999", {}},
        {"#1.5", {}},
        {"inf", {}},
    };
    for (const auto& row : rows) {
        const auto place = ReadPlace(row.text);
        ASSERT_EQ(place.has_value(), row.place.has_value()) << row.text;
        if (place) {
            EXPECT_EQ(place->seconds, row.place->seconds) << row.text;
            EXPECT_EQ(place->frame, row.place->frame) << row.text;
        }
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
    EXPECT_EQ(FormatProgress({"playing", 3724, 8000, 1, {}, 93099, 3723.96, 25, -0.5}),
              "playing  1:02:04.00 / 2:13:20.00  #93099  01:02:03:24  -0.5x  1 late frame");
    EXPECT_EQ(FormatProgress({"paused", 1.5, 0, 0, "mute", 37}), "paused  0:01.50  0 late frames  mute");
    EXPECT_EQ(FormatProgress({"playing", 1.5, 0, 0, "mute"}), "playing  0:01.50  0 late frames  mute");
}

} // namespace
