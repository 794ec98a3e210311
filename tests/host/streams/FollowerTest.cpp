// A video that follows another one's time.
#include "StreamTest.h"
#include "host/streams/TimedStream.h"

#include <algorithm>
#include <atomic>
#include <random>
#include <thread>

namespace kq::streams::test {
namespace {

std::vector<Shot> AllShots(const std::string& clip) {
    OpenedFile file(Clip(clip));
    return PlayThrough(file.Video());
}

/// Half a millisecond for each of the clocks that may have rounded, in 100-ns units.
constexpr std::int64_t Rounding = 10'000;

/// @return the shot that is to be on show with a frame of that time
const Shot& Expected(const std::vector<Shot>& shots, std::int64_t time) {
    const auto after =
        std::upper_bound(shots.begin(), shots.end(), time + Rounding,
                         [](std::int64_t value, const Shot& shot) { return value < shot.time; });
    return after == shots.begin() ? shots.front() : *std::prev(after);
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

INSTANTIATE_TEST_SUITE_P(
    Clips, Following,
    testing::Values(Pair{"bframes.mp4", "bframes.mp4"}, Pair{"bframes.mp4", "opengop.ts"},
                    Pair{"matroska.mkv", "bframes.mp4"}, Pair{"bframes.mp4", "flash.flv"},
                    Pair{"opengop.mp4", "hevc.mp4"}, Pair{"hevc.mp4", "opengop.mp4"},
                    Pair{"bframes.mp4", "vfr.mkv"}, Pair{"vfr.mkv", "bframes.mp4"},
                    Pair{"opengop.mp4", "still-rgb24.png"}, Pair{"opengop.mp4", "odd.mkv"},
                    Pair{"odd.mkv", "opengop.mp4"}),
    [](const testing::TestParamInfo<Pair>& info) {
        std::string name = std::string(info.param.reference) + "With" + info.param.follower;
        std::replace_if(
            name.begin(), name.end(), [](char c) { return std::isalnum(c) == 0; }, '_');
        return name;
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

TEST(Followers, DescribeTheirOwnFile) {
    OpenedFile file(Clip("bframes.mp4"));
    OpenedFollower follower("anamorphic.mp4", file.Video());
    const VIDEO_STREAM_INFO format = VideoFormat(follower.Video());
    EXPECT_EQ(format.nWidth, 96);
    EXPECT_EQ(format.nAspectX, 2);
    EXPECT_EQ(follower.File().facts.height, 64);
    EXPECT_EQ(follower.File().audio, nullptr);
}

TEST(Followers, KeepTheirReference) {
    MediaFile file;
    std::string error;
    ASSERT_TRUE(OpenMediaFile(Clip("bframes.mp4"), {}, file, error));
    file.video->Seek(2.0, 1);
    const OpenedFollower follower("opengop.mp4", *file.video);
    file.Release();
    EXPECT_EQ(follower.Video().GetCurrentFrame()->llPTS, 20'000'000);
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

/// A host's own stream.
class ForeignStream : public MediaStream {
public:
    ForeignStream() : MediaStream(VIDEO_STREAM_INFO{}) {}
    double Seek(double /*dSeconds*/, int /*nMode*/) override { return 0; }
    MEDIA_FRAME* GetCurrentFrame() override { return nullptr; }
    int NextFrame() override { return 0; }
    double GetFramePosition() override { return 0; }
};

TEST(Followers, ThatCannotBeAreOneClearLine) {
    OpenedFile file(Clip("bframes.mp4"));
    const auto foreign = ComPtr<IMediaStream>::Adopt(new ForeignStream);
    const struct {
        std::string path;
        IMediaStream& reference;
        const char* reason;
    } cases[] = {
        {"missing.mp4", file.Video(), "missing.mp4: No such file or directory"},
        {Clip("noise.flac"), file.Video(), "noise.flac: no video stream that can be decoded"},
        {Clip("bframes.mp4"), *foreign, "bframes.mp4: there is no stream of a media file to follow"},
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
