// A video that follows another one's time.
#include "StreamTest.h"
#include "tests/support/FakeStream.h"

#include <atomic>
#include <random>
#include <thread>

namespace kq::streams::test {
namespace {

/// @return the shot that is to be on show with a frame of that time. Half a millisecond for each of the
/// clocks
///         that may have rounded
const Shot& Expected(const std::vector<Shot>& shots, std::int64_t time) {
    return shots[ShotAt(shots, time + 10'000)];
}

struct Pair {
    const char* reference;
    const char* follower;
};

void PrintTo(const Pair& pair, std::ostream* out) {
    *out << pair.reference << " with " << pair.follower;
}

class Following : public testing::TestWithParam<Pair> {};

TEST_P(Following, KeepsEveryPairInStep) {
    OpenedFile file(Clip(GetParam().reference));
    const std::vector<Shot> shots = AllShots(GetParam().follower);
    const OpenedFollower follower(GetParam().follower, file.Video());
    do {
        const MEDIA_FRAME* held = file.Video().GetCurrentFrame();
        ASSERT_EQ(Look(follower.Video()), Expected(shots, held->llPTS)) << "with " << held->llPTS;
        ASSERT_EQ(Look(follower.Video()), Expected(shots, held->llPTS)) << "asked again";
        ASSERT_EQ(file.Video().GetCurrentFrame(), held) << "the reference does not move";
    } while (file.Video().NextFrame() > 0);
}

TEST_P(Following, GoesWhereTheReferenceGoes) {
    OpenedFile file(Clip(GetParam().reference));
    const std::vector<Shot> shots = AllShots(GetParam().follower);
    const OpenedFollower follower(GetParam().follower, file.Video());
    std::mt19937 random(11);
    for (int i = 0; i < 60; ++i) {
        const double now = file.Video().GetFramePosition() / VideoFormat(file.Video()).dFrameRate;
        switch (random() % 4) {
        case 0:
            file.Video().Seek(static_cast<double>(random() % 4500) / 1000, static_cast<int>(random() % 2));
            break;
        case 1:
            file.Video().Seek(now - 0.04, 1);
            break;
        default:
            file.Video().NextFrame();
        }
        const std::int64_t time = file.Video().GetCurrentFrame()->llPTS;
        ASSERT_EQ(Look(follower.Video()), Expected(shots, time)) << "move " << i << " to " << time;
    }
}

INSTANTIATE_TEST_SUITE_P(Clips, Following,
                         testing::Values(Pair{"bframes.mp4", "bframes.mp4"},
                                         Pair{"bframes.mp4", "opengop.ts"},
                                         Pair{"matroska.mkv", "bframes.mp4"},
                                         Pair{"bframes.mp4", "flash.flv"}, Pair{"opengop.mp4", "hevc.mp4"},
                                         Pair{"hevc.mp4", "opengop.mp4"}, Pair{"bframes.mp4", "vfr.mkv"},
                                         Pair{"vfr.mkv", "bframes.mp4"},
                                         Pair{"opengop.mp4", "still-rgb24.png"},
                                         Pair{"opengop.mp4", "odd.mkv"}, Pair{"odd.mkv", "opengop.mp4"}),
                         [](const auto& info) {
                             return NameOf(std::string(info.param.reference) + "With" + info.param.follower);
                         });

TEST(Followers, AreNotMovedByTheirOwnTransport) {
    OpenedFile file(Clip("bframes.mp4"));
    const OpenedFollower follower("opengop.mp4", file.Video());
    file.Video().Seek(1.0, 1);
    EXPECT_DOUBLE_EQ(follower.Video().Seek(3.0, 1), 1.0);
    EXPECT_EQ(follower.Video().NextFrame(), 0);
    EXPECT_DOUBLE_EQ(follower.Video().GetFramePosition(), 25);
    EXPECT_EQ(follower.Video().GetCurrentFrame()->llPTS, 10'000'000);
    EXPECT_DOUBLE_EQ(file.Video().GetFramePosition(), 25);
}

TEST(Followers, DescribeTheirOwnFileAndKeepTheirReference) {
    OpenedFile file(Clip("bframes.mp4"));
    file.Video().Seek(2.0, 1);
    OpenedFollower follower("anamorphic.mp4", file.Video());
    file.File().Release();
    const VIDEO_STREAM_INFO format = VideoFormat(follower.Video());
    EXPECT_EQ(format.nWidth, 96);
    EXPECT_EQ(format.nAspectX, 2);
    EXPECT_EQ(follower.File().facts.height, 64);
    EXPECT_EQ(follower.File().audio, nullptr);
    EXPECT_EQ(follower.Video().GetCurrentFrame()->llPTS, 19'600'000) << "its last one";
}

TEST(Followers, MayFollowFollowers) {
    OpenedFile file(Clip("bframes.mp4"));
    const OpenedFollower middle("vfr.mkv", file.Video());
    const OpenedFollower last("vfr.mkv", middle.Video());
    for (int i = 0; i < 30; ++i) {
        EXPECT_EQ(Look(last.Video()), Look(middle.Video()));
        file.Video().NextFrame();
    }
}

TEST(Followers, ThatCannotBeAreOneClearLine) {
    OpenedFile file(Clip("bframes.mp4"));
    kq::test::FakeVideo foreign(1, 25);
    const struct {
        std::string path;
        IMediaStream& reference;
        const char* reason;
    } cases[] = {
        {"missing.mp4", file.Video(), "missing.mp4: No such file or directory"},
        {Clip("noise.flac"), file.Video(), "noise.flac: no video stream that can be decoded"},
        {Clip("bframes.mp4"), foreign, "bframes.mp4: there is no stream of a media file to follow"},
    };
    for (const auto& expected : cases) {
        MediaFile follower;
        std::string error;
        EXPECT_FALSE(OpenFollower(expected.path, expected.reference, {}, follower, error));
        EXPECT_NE(error.find(expected.reason), std::string::npos) << error;
        EXPECT_EQ(error.find('\n'), std::string::npos) << error;
        EXPECT_EQ(follower.video, nullptr);
    }
}

TEST(Followers, WorkForSeveralThreads) {
    OpenedFile file(Clip("opengop.mp4"));
    const OpenedFollower follower("program.mpg", file.Video());
    std::atomic<bool> done{false};
    std::vector<std::thread> viewers;
    for (int i = 0; i < 3; ++i)
        viewers.emplace_back([&] {
            while (!done) {
                const Shot before = Look(follower.Video());
                EXPECT_GE(before.time, 0);
            }
        });
    std::mt19937 random(3);
    for (int i = 0; i < 40; ++i) {
        if (i % 4 == 0)
            file.Video().Seek(static_cast<double>(random() % 4000) / 1000, 1);
        file.Video().NextFrame();
    }
    done = true;
    for (std::thread& viewer : viewers)
        viewer.join();
}

} // namespace
} // namespace kq::streams::test
