// Seeking against playing from the start to the end.
#include "StreamTest.h"

#include <cmath>
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

class Seeking : public testing::TestWithParam<SeekCase> {
protected:
    double TimeOf(std::size_t n) const { return static_cast<double>(m_shots[n].time) / 1e7; }

    OpenedFile m_file{Clip(GetParam().clip)};
    IMediaStream& m_video = m_file.Video();
    const std::vector<Shot> m_shots = PlayThrough(m_video);
};

std::vector<std::size_t> Order(std::size_t count, std::size_t step, bool shuffled) {
    std::vector<std::size_t> order;
    for (std::size_t n = 0; n < count; n += step) {
        order.push_back(n);
    }
    if (shuffled) {
        std::shuffle(order.begin(), order.end(), std::mt19937(17));
    }
    return order;
}

/// Back from the last frame to the first, now and then some frames forward again.
std::vector<std::size_t> BackAndForth(std::size_t count) {
    std::vector<std::size_t> order;
    for (std::size_t n = count; n-- > 0;) {
        order.push_back(n);
        for (std::size_t forward = 1; n % 11 == 0 && forward < 5 && n + forward < count; ++forward) {
            order.push_back(n + forward);
        }
    }
    return order;
}

TEST_P(Seeking, ShowsExactlyTheFrameOfEveryTime) {
    const std::size_t count = m_shots.size();
    const double rate = VideoFormat(m_video).dFrameRate;
    ASSERT_EQ(count, GetParam().frames);
    for (std::size_t n = 1; n < count; ++n) {
        ASSERT_GT(m_shots[n].time, m_shots[n - 1].time);
    }

    for (const auto& order :
         {Order(count, 1, false), BackAndForth(count), Order(count, GetParam().step, true)}) {
        for (const std::size_t n : order) {
            const double time = GetParam().steady ? static_cast<double>(n) / rate : TimeOf(n);
            const double reached = m_video.Seek(time, 1);
            ASSERT_EQ(Look(m_video), m_shots[n]) << "sought " << time;
            ASSERT_DOUBLE_EQ(reached, TimeOf(n));
            if (n % 7 == 0 && n + 1 < count) {
                ASSERT_GT(m_video.NextFrame(), 0);
                ASSERT_EQ(Look(m_video), m_shots[n + 1]) << "the one after " << time;
            }
        }
    }
}

TEST_P(Seeking, ShowsTheFrameWhoseTimeItIs) {
    std::mt19937 random(5);
    std::uniform_real_distribution<double> times(0, TimeOf(m_shots.size() - 1));
    for (int i = 0; i < 10; ++i) {
        const double time = times(random);
        m_video.Seek(time, 1);
        const std::size_t n = ShotAt(m_shots, std::llround(time * 1e7));
        const bool onTheEdge = n + 1 < m_shots.size() && TimeOf(n + 1) - time < 1e-3;
        if (!onTheEdge) {
            ASSERT_EQ(Look(m_video), m_shots[n]) << "sought " << time;
        }
    }
}

TEST_P(Seeking, OutsideTheClipGoesToItsEnds) {
    for (const double beyond : {1000.0, 1e12, TimeOf(m_shots.size() - 1) + 0.02}) {
        m_video.Seek(beyond, 1);
        EXPECT_EQ(Look(m_video), m_shots.back()) << beyond;
    }
    EXPECT_EQ(m_video.NextFrame(), 0);
    EXPECT_EQ(Look(m_video), m_shots.back());
    EXPECT_EQ(m_video.Seek(-3, 1), TimeOf(0));
    EXPECT_EQ(PlayThrough(m_video), m_shots);
}

TEST_P(Seeking, KeyFrameModeStaysAtOrBefore) {
    double last = 0;
    for (std::size_t n = 0; n < m_shots.size(); n += 9) {
        const double reached = m_video.Seek(TimeOf(n), 0);
        ASSERT_LE(reached, TimeOf(n));
        ASSERT_GE(reached, last) << "key frames go forward";
        ASSERT_EQ(Look(m_video), m_shots[ShotAt(m_shots, std::llround(reached * 1e7))]);
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
    [](const auto& info) { return NameOf(info.param.clip); });

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
    for (const Shot& shot : PlayThrough(file.Video())) {
        EXPECT_NEAR(shot.position / rate, static_cast<double>(shot.time) / 1e7, 1e-3);
    }
}

} // namespace
} // namespace kq::streams::test
