// A video that follows another one's time.
#include "StreamTest.h"
#include "tests/support/FakeStream.h"

#include <atomic>
#include <random>
#include <thread>

namespace kq::streams::test {
namespace {

class Following : public testing::TestWithParam<Pair> {
protected:
    /// The follower shows what begins with the reference's frame or before; half a millisecond for each of
    /// the clocks that may have rounded.
    void ExpectStep(const std::string& move) {
        const MEDIA_FRAME* held = m_reference.GetCurrentFrame();
        ASSERT_EQ(Look(m_follower.Video()), m_shots[ShotAt(m_shots, held->llPTS + 10'000)])
            << move << " to " << held->llPTS;
        ASSERT_EQ(m_reference.GetCurrentFrame(), held) << "the reference does not move";
    }

    const std::vector<Shot> m_shots = AllShots(GetParam().second);
    OpenedFile m_file{Clip(GetParam().first)};
    IMediaStream& m_reference = m_file.Video();
    const OpenedFollower m_follower{GetParam().second, m_reference};
};

TEST_P(Following, KeepsEveryPairInStep) {
    do {
        ExpectStep("next");
        ExpectStep("asked again");
    } while (!HasFatalFailure() && m_reference.NextFrame() > 0);
}

TEST_P(Following, GoesWhereTheReferenceGoes) {
    std::mt19937 random(11);
    for (int i = 0; i < 60 && !HasFatalFailure(); ++i) {
        const double now = m_reference.GetFramePosition() / VideoFormat(m_reference).dFrameRate;
        switch (random() % 4) {
        case 0:
            m_reference.Seek(static_cast<double>(random() % 4500) / 1000, static_cast<int>(random() % 2));
            break;
        case 1:
            m_reference.Seek(now - 0.04, 1);
            break;
        default:
            m_reference.NextFrame();
        }
        ExpectStep("move " + std::to_string(i));
    }
}

const Pair pairs[] = {
    {"bframes.mp4", "bframes.mp4"}, {"bframes.mp4", "opengop.ts"}, {"matroska.mkv", "bframes.mp4"},
    {"bframes.mp4", "flash.flv"},   {"opengop.mp4", "hevc.mp4"},   {"hevc.mp4", "opengop.mp4"},
    {"bframes.mp4", "vfr.mkv"},     {"vfr.mkv", "bframes.mp4"},    {"opengop.mp4", "still-rgb24.png"},
    {"opengop.mp4", "odd.mkv"},     {"odd.mkv", "opengop.mp4"},
};
INSTANTIATE_TEST_SUITE_P(Clips, Following, testing::ValuesIn(pairs), NameOfPair);

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

TEST(Followers, AreThereWhateverIsAskedFirst) {
    OpenedFile file(Clip("bframes.mp4"));
    const OpenedFollower follower("opengop.mp4", file.Video());
    const OpenedFollower last("opengop.mp4", follower.Video());
    for (const int n : {50, 10, 11, 80, 79}) {
        file.Video().Seek(n / 25.0, 1);
        EXPECT_DOUBLE_EQ(follower.Video().GetFramePosition(), n);
        file.Video().NextFrame();
        EXPECT_DOUBLE_EQ(last.Video().GetFramePosition(), n + 1) << "through the one between";
    }
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
        const std::string error = Refusal(expected.path, {}, &expected.reference);
        EXPECT_NE(error.find(expected.reason), std::string::npos) << error;
    }
}

TEST(Followers, WorkForSeveralThreads) {
    OpenedFile file(Clip("opengop.mp4"));
    const OpenedFollower follower("program.mpg", file.Video());
    std::atomic<bool> done{false};
    std::vector<std::thread> viewers;
    for (int i = 0; i < 3; ++i) {
        viewers.emplace_back([&] {
            while (!done) {
                EXPECT_GE(Look(follower.Video()).time, 0);
            }
        });
    }
    std::mt19937 random(3);
    for (int i = 0; i < 40; ++i) {
        if (i % 4 == 0) {
            file.Video().Seek(static_cast<double>(random() % 4000) / 1000, 1);
        }
        file.Video().NextFrame();
    }
    done = true;
    for (std::thread& viewer : viewers) {
        viewer.join();
    }
}

} // namespace
} // namespace kq::streams::test
