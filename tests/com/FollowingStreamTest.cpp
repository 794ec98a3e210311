// A stream that follows another one, made of streams of a host's own.
#include "tests/support/FakeStream.h"
#include "tests/support/PlayerHost.h"
#include "tests/support/ViewRecorder.h"

#include <kqplayer/follower.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace {

using namespace kq::test;

int LumaIn(const MEDIA_FRAME* frame) {
    return frame != nullptr ? frame->image.pY[0] : -1;
}

TEST(FollowingStream, ShowsWhatIsOnShowAtTheReferencesTime) {
    const struct {
        double rate;
        double told; ///< in the own stream's format
        int frames;
        double firstStamp;
        double offset;
    } cases[] = {{25, 25, 100, 0, 0},    {50, 50, 200, 0, 0}, {24000.0 / 1001, 24000.0 / 1001, 100, 0, 0},
                 {25, 0, 100, 0, 0},     {25, 25, 20, 0, 0},  {25, 25, 100, 0, 0.08},
                 {25, 25, 100, 0, -0.2}, {0.5, 0.5, 4, 0, 0}};
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.rate << " told " << c.told << ", " << c.frames << " frames");
        FakeVideo reference(100, 25);
        FakeVideo own(c.frames, c.rate, 8, 4, c.firstStamp);
        own.format.dFrameRate = c.told;
        const auto follower = kq::ComPtr<kq::FollowingStream>::Adopt(new kq::FollowingStream(own, reference));
        follower->SetOffset(c.offset);
        // Ahead, back, by steps, and beyond the end.
        for (const int at : {0, 1, 2, 3, 10, 11, 60, 59, 58, 0, 99, 98, 20, 21, 22, 23}) {
            reference.Seek(at / 25.0, kq::ExactSeek);
            const double time = std::max(0.0, at / 25.0 + c.offset);
            const int expected = std::min(static_cast<int>(time * c.rate + 1e-3), c.frames - 1);
            EXPECT_EQ(LumaIn(follower->GetCurrentFrame()), FakeVideo::LumaOf(expected)) << at;
            EXPECT_EQ(follower->NextFrame(), 0);
        }
        const std::size_t seeks = own.GetSeeks().size();
        for (int at = 23; at < 40; ++at) {
            reference.Seek(at / 25.0, kq::ExactSeek);
            follower->GetCurrentFrame();
            follower->GetCurrentFrame();
        }
        const bool isSteady = c.told == c.rate && c.frames > 40 && c.rate > 1;
        EXPECT_LE(own.GetSeeks().size() - seeks, isSteady ? 0u : 20u);
    }
}

TEST(FollowingStream, StandsBesideTheReferenceInASecondView) {
    FakeVideo before(30, 50);
    FakeVideo after(30, 50);
    ViewRecorder recorder;
    PlayerHost host;
    host.AddView(0, &before);
    const auto follower = kq::ComPtr<kq::FollowingStream>::Adopt(new kq::FollowingStream(after, before));
    host.AddView(1, follower.Get());
    host->SetPlayTime(0, 0);
    host->Play();
    ASSERT_TRUE(host.WaitForEnd());
    const std::vector<int> left = recorder.GetFrames(0);
    const std::vector<int> right = recorder.GetFrames(1);
    ASSERT_GE(left.size(), 30u);
    EXPECT_EQ(std::vector<int>(left.begin(), left.begin() + 30),
              std::vector<int>(right.begin(), right.begin() + 30));
    EXPECT_TRUE(after.GetSeeks().size() <= 2);
}

} // namespace
