// Seeking against playing from the start to the end.
#include "StreamTest.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <random>

namespace kq::streams::test {
namespace {

struct SeekCase {
    const char* clip;
    std::size_t frames;
    bool steady;          ///< frame n is on show at n / rate
    std::size_t step = 3; ///< of the random order, 1 for every frame
};

void PrintTo(const SeekCase& seekCase, std::ostream* out) {
    *out << seekCase.clip;
}

class Seeking : public testing::TestWithParam<SeekCase> {};

std::vector<std::size_t> Shuffled(std::size_t count, std::size_t step) {
    std::vector<std::size_t> order;
    for (std::size_t n = 0; n < count; n += step)
        order.push_back(n);
    std::mt19937 random(17);
    std::shuffle(order.begin(), order.end(), random);
    return order;
}

/// Back from the last frame to the first, now and then some frames forward again.
std::vector<std::size_t> BackAndForth(std::size_t count) {
    std::vector<std::size_t> order;
    for (std::size_t n = count; n-- > 0;) {
        order.push_back(n);
        for (std::size_t forward = 1; n % 11 == 0 && forward < 5 && n + forward < count; ++forward)
            order.push_back(n + forward);
    }
    return order;
}

/// @return the frame that is on show at a time
std::size_t FrameAt(const std::vector<Shot>& shots, double seconds) {
    const auto time = static_cast<std::int64_t>(seconds * 1e7);
    const auto after =
        std::upper_bound(shots.begin(), shots.end(), time,
                         [](std::int64_t value, const Shot& shot) { return value < shot.time; });
    return after == shots.begin() ? 0 : static_cast<std::size_t>(after - shots.begin()) - 1;
}

TEST_P(Seeking, ShowsExactlyTheFrameOfEveryTime) {
    OpenedFile file(Clip(GetParam().clip));
    const double rate = VideoFormat(file.Video()).dFrameRate;
    const std::vector<Shot> shots = PlayThrough(file.Video());
    ASSERT_EQ(shots.size(), GetParam().frames);
    for (std::size_t n = 1; n < shots.size(); ++n)
        ASSERT_GT(shots[n].time, shots[n - 1].time);

    std::vector<std::size_t> forward(shots.size());
    std::iota(forward.begin(), forward.end(), 0);
    for (const auto& order : {forward, BackAndForth(shots.size()), Shuffled(shots.size(), GetParam().step)}) {
        for (const std::size_t n : order) {
            const double time =
                GetParam().steady ? static_cast<double>(n) / rate : static_cast<double>(shots[n].time) / 1e7;
            const double reached = file.Video().Seek(time, 1);
            ASSERT_EQ(Look(file.Video()), shots[n]) << "sought " << time;
            ASSERT_DOUBLE_EQ(reached, static_cast<double>(shots[n].time) / 1e7);
            if (n % 7 == 0 && n + 1 < shots.size()) {
                ASSERT_GT(file.Video().NextFrame(), 0);
                ASSERT_EQ(Look(file.Video()), shots[n + 1]) << "the one after " << time;
            }
        }
    }
}

TEST_P(Seeking, ShowsTheFrameWhoseTimeItIs) {
    OpenedFile file(Clip(GetParam().clip));
    const std::vector<Shot> shots = PlayThrough(file.Video());
    std::mt19937 random(5);
    std::uniform_real_distribution<double> times(0, static_cast<double>(shots.back().time) / 1e7);
    for (int i = 0; i < 10; ++i) {
        const double time = times(random);
        file.Video().Seek(time, 1);
        const std::size_t n = FrameAt(shots, time);
        const bool onTheEdge =
            n + 1 < shots.size() && static_cast<double>(shots[n + 1].time) / 1e7 - time < 1e-3;
        if (!onTheEdge) {
            ASSERT_EQ(Look(file.Video()), shots[n]) << "sought " << time;
        }
    }
}

TEST_P(Seeking, OutsideTheClipGoesToItsEnds) {
    OpenedFile file(Clip(GetParam().clip));
    const std::vector<Shot> shots = PlayThrough(file.Video());
    for (const double beyond : {1000.0, 1e12, static_cast<double>(shots.back().time) / 1e7 + 0.02}) {
        file.Video().Seek(beyond, 1);
        EXPECT_EQ(Look(file.Video()), shots.back()) << beyond;
    }
    EXPECT_EQ(file.Video().NextFrame(), 0);
    EXPECT_EQ(Look(file.Video()), shots.back());
    EXPECT_EQ(file.Video().Seek(-3, 1), static_cast<double>(shots.front().time) / 1e7);
    EXPECT_EQ(Look(file.Video()), shots.front());
    EXPECT_EQ(PlayThrough(file.Video()), shots);
}

TEST_P(Seeking, KeyFrameModeStaysAtOrBefore) {
    OpenedFile file(Clip(GetParam().clip));
    const std::vector<Shot> shots = PlayThrough(file.Video());
    double last = 0;
    for (std::size_t n = 0; n < shots.size(); n += 9) {
        const double time = static_cast<double>(shots[n].time) / 1e7;
        const double reached = file.Video().Seek(time, 0);
        ASSERT_LE(reached, time);
        ASSERT_GE(reached, last) << "key frames go forward";
        ASSERT_EQ(Look(file.Video()), shots[FrameAt(shots, reached + 1e-6)]);
        last = reached;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Clips, Seeking,
    testing::Values(SeekCase{"bframes.mp4", 100, true, 1}, SeekCase{"opengop.mp4", 100, true, 1},
                    SeekCase{"opengop.ts", 100, true}, SeekCase{"hevc.mp4", 50, true},
                    SeekCase{"editlist.mp4", 82, true}, SeekCase{"matroska.mkv", 100, true, 8},
                    SeekCase{"flash.flv", 100, true, 8}, SeekCase{"program.mpg", 100, true},
                    SeekCase{"packets.avi", 50, true, 8}, SeekCase{"theora.ogg", 50, true},
                    SeekCase{"vp9.webm", 50, true}, SeekCase{"plain.h264", 100, true, 8},
                    SeekCase{"vfr.mkv", 44, false}, SeekCase{"still-rgb24.png", 1, true}),
    [](const testing::TestParamInfo<SeekCase>& info) {
        std::string name = info.param.clip;
        std::replace_if(
            name.begin(), name.end(), [](char c) { return std::isalnum(c) == 0; }, '_');
        return name;
    });

TEST(KeyFrames, AreTheNearestBefore) {
    for (const char* clip : {"opengop.mp4", "opengop.ts"}) { // a key frame every 24 frames
        OpenedFile file(Clip(clip));
        for (const int n : {0, 23, 24, 47, 50, 95, 96, 99}) {
            const int key = n - n % 24;
            EXPECT_DOUBLE_EQ(file.Video().Seek(n / 25.0, 0), key / 25.0) << clip << " " << n;
        }
    }
}

TEST(Positions, AreTimesTheRateWhereFramesComeUnsteadily) {
    OpenedFile file(Clip("vfr.mkv"));
    const double rate = VideoFormat(file.Video()).dFrameRate;
    for (const Shot& shot : PlayThrough(file.Video()))
        EXPECT_NEAR(shot.position / rate, static_cast<double>(shot.time) / 1e7, 1e-3);
}

} // namespace
} // namespace kq::streams::test
