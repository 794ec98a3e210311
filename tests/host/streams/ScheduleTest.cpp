// The arithmetic of play time against the file's time.
#include "host/streams/Schedule.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

namespace kq::streams::test {
namespace {

constexpr Ticks second = TicksPerSecond;
constexpr Ticks open = PlayRange::open;

TEST(Stretches, TellPlaceRoundAndEnd) {
    const struct {
        const char* what;
        Stretch stretch; ///< begin in play, begin in the file, rate, range
        double play;     ///< seconds
        double media;
        std::int64_t round;
        double end; ///< below 0: never
    } cases[] = {
        {"plain", {0, 0, 1, {}}, 5, 5, 0, -1},
        {"slow, from a place on", {10 * second, 2 * second, 0.5, {}}, 12, 3, 0, -1},
        {"before its begin", {10 * second, 2 * second, 0.5, {}}, 9, 2, 0, -1},
        {"a part", {0, second, 1, {second, 3 * second, 1}}, 1.5, 2.5, 0, 2},
        {"behind a part", {0, second, 1, {second, 3 * second, 1}}, 7, 3, 0, 2},
        {"the joint is the next round's", {0, second, 1, {second, 3 * second, 0}}, 2, 1, 1, -1},
        {"third round at double speed", {0, 2 * second, 2, {second, 3 * second, 3}}, 2, 2, 2, 2.5},
        {"after the third", {0, 2 * second, 2, {second, 3 * second, 3}}, 9, 3, 2, 2.5},
        {"backwards", {0, 4 * second, -1, {}}, 1, 3, 0, 4},
        {"backwards to the begin", {0, 4 * second, -1, {}}, 9, 0, 0, 4},
        {"backwards into the next round", {0, 2 * second, -2, {second, 3 * second, 2}}, 1, 2, 1, 1.5},
        {"the joint backwards", {0, 2 * second, -2, {second, 3 * second, 2}}, 0.5, 3, 1, 1.5},
        {"a million rounds", {0, 0, 1, {0, second / 25, 0}}, 40'000.01, 0.01, 1'000'000, -1},
    };
    for (const auto& expected : cases) {
        std::int64_t round = -1;
        const auto play = std::llround(expected.play * second);
        EXPECT_EQ(expected.stretch.MediaAt(play, &round), std::llround(expected.media * second))
            << expected.what;
        EXPECT_EQ(round, expected.round) << expected.what;
        EXPECT_EQ(expected.stretch.End(), expected.end < 0 ? open : std::llround(expected.end * second))
            << expected.what;
    }
}

TEST(Stretches, AskedForwardAndBackAgree) {
    std::mt19937 random(1);
    const auto below = [&random](Ticks bound) {
        return static_cast<Ticks>(random() % static_cast<std::uint64_t>(bound));
    };
    for (int i = 0; i < 20'000; ++i) {
        Stretch stretch;
        stretch.play = below(100 * second);
        stretch.rate = (i % 2 == 0 ? 1 : -1) * (0.1 + static_cast<double>(below(3900)) / 1000);
        stretch.range.begin = below(20 * second);
        stretch.range.end = stretch.range.begin + second / 25 + below(20 * second);
        stretch.range.rounds = static_cast<int>(below(4));
        stretch.media = stretch.range.begin + below(stretch.range.Length());
        const Ticks media = stretch.range.begin + 100 + below(stretch.range.Length() - 200);
        const bool isAhead = stretch.IsForward() ? media >= stretch.media : media <= stretch.media;
        const std::int64_t asked = (isAhead ? 0 : 1) + (stretch.range.rounds == 0 ? below(1000) : 0);
        if (asked >= stretch.Rounds()) {
            continue;
        }
        std::int64_t round = -1;
        const Ticks play = stretch.PlayAt(media, asked);
        ASSERT_NEAR(stretch.MediaAt(play, &round), media, 1 + std::abs(stretch.rate)) << i;
        ASSERT_EQ(round, asked) << i;
        ASSERT_GE(play, stretch.play) << i;
        ASSERT_LE(play, stretch.End()) << i;
    }
}

TEST(Schedules, BeginAnewWithinTheRange) {
    Schedule schedule;
    EXPECT_EQ(schedule.Restart(7 * second), 7 * second);
    EXPECT_EQ(schedule.MediaAt(8 * second), 8 * second);
    schedule.Change(8 * second, 2, {second, 3 * second, 5});
    EXPECT_EQ(schedule.MediaAt(8 * second), second) << "outside of the new range";
    EXPECT_EQ(schedule.MediaAt(7 * second), 7 * second) << "as it was";
    EXPECT_EQ(schedule.Restart(9 * second), 3 * second);
    EXPECT_EQ(schedule.Restart(0), second);
    EXPECT_EQ(schedule.MediaAt(2 * second), second) << "after one round at double speed";
    EXPECT_EQ(schedule.Last().range.rounds, 5);
}

TEST(Schedules, ChangesKeepThePlaceAndTheRoundsThatAreLeft) {
    Schedule schedule;
    const PlayRange range{second, 3 * second, 4};
    schedule.Change(0, 1, range);
    schedule.Change(5 * second, -1, range); // the third round, in its middle
    EXPECT_EQ(schedule.MediaAt(5 * second), 2 * second);
    EXPECT_EQ(schedule.Last().End(), (5 + 1 + 2) * second) << "what is left of this one, and the last one";
    schedule.Change(5 * second, 0.5, range);
    EXPECT_EQ(schedule.Last().End(), (5 + 2 + 4) * second);
    schedule.Change(20 * second, 2, range);
    EXPECT_EQ(schedule.Last().End(), 20 * second) << "what is over stays over";
    schedule.Change(20 * second, 2, {0, 2 * second, 2});
    EXPECT_EQ(schedule.Last().End(), 22 * second) << "a new range begins anew";
    EXPECT_EQ(schedule.NextChange(5 * second), 20 * second);
    EXPECT_EQ(schedule.NextChange(20 * second), open);
}

TEST(Schedules, KeepTheirPlaceThroughADayOfLoops) {
    // 24 hours in loops of 40 ms to 3 s, with a change of the rate each minute: where play is follows from
    // the way that was made, to the microsecond.
    for (const Ticks length : {second / 25, 3 * second, Ticks{1'001'000}}) {
        Schedule schedule;
        const PlayRange range{second, second + length, 0};
        schedule.Change(0, 1, range);
        const double rates[] = {1, 0.3, -1, 2.5, -0.7, 8, 1};
        long double way = 0;
        for (Ticks minute = 0; minute < 24 * 60; ++minute) {
            const double rate = rates[minute % 7];
            schedule.Change(minute * 60 * second, rate, range);
            way += static_cast<long double>(rate) * 60 * second;
            const Ticks reached = schedule.MediaAt((minute + 1) * 60 * second) - second;
            const auto expected = static_cast<Ticks>(std::llround(way)) % length;
            const Ticks off = std::abs((reached - expected) % length);
            ASSERT_LE(std::min(off, length - off), 20) << minute << " of " << length;
            ASSERT_GE(reached, 0);
            ASSERT_LE(reached, length);
        }
    }
}

} // namespace
} // namespace kq::streams::test
