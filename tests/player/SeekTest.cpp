#include "tests/support/FakeStream.h"
#include "tests/support/LoopbackDevice.h"
#include "tests/support/PlayerHost.h"
#include "tests/support/RenderedTime.h"
#include "tests/support/ViewRecorder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <thread>
#include <vector>

namespace {

using namespace kq::test;

class Seeking : public testing::Test {
protected:
    ~Seeking() override { m_host->Stop(); }

    LoopbackDevice m_device;
    FakeAudio m_audio{3.0};
    FakeVideo m_video{150, 50};
    ViewRecorder m_recorder;
    PlayerHost m_host{&m_video};
};

TEST_F(Seeking, WithoutARunMovesThePictureAndTheNextStart) {
    m_host->SetPlayTime(0.4, 0);
    m_recorder.Clear();
    EXPECT_EQ(m_host->Seek(1.0, 0), 0);
    EXPECT_EQ(m_recorder.GetFrames(), std::vector<int>{70});
    EXPECT_EQ(m_video.GetSeeks().back().mode, 0);
    EXPECT_FALSE(m_host->IsSeeking());
    m_host->Play();
    EXPECT_EQ(m_recorder.WaitForFrames(4), (std::vector<int>{70, 70, 71, 72}));
    EXPECT_EQ(m_video.GetSeeks().back().mode, 1); // the start is exact, whatever was asked for
}

TEST_F(Seeking, ZeroWithoutARunDoesNotSeekAgainAtTheStart) {
    EXPECT_EQ(m_host->SyncSeek(1.0, 1), 0);
    EXPECT_EQ(m_video.GetSeeks().back().seconds, 1.0); // a begin that was never set counts as 0
    m_host->SetPlayTime(0.4, 0);
    m_host->Seek(0.0, 1);
    const std::size_t seeks = m_video.GetSeeks().size();
    m_host->Load();
    ASSERT_TRUE(m_host.WaitForPause());
    EXPECT_EQ(m_video.GetSeeks().size(), seeks + 1); // that to the begin of the range
}

TEST_F(Seeking, WhilePausedShowsTheFrameBeforeItReturns) {
    m_host->SetPlayTime(0.2, 0);
    m_host->Load();
    ASSERT_TRUE(m_host.WaitForPause());
    for (const int number : {40, 11, 120, 12}) {
        EXPECT_EQ(m_host->SyncSeek(number / 50.0 - 0.2, 1), 0);
        EXPECT_EQ(m_recorder.GetFrames().back(), number);
        EXPECT_NEAR(m_host.GetLastPosition(), number / 50.0 - 0.2, 1e-9);
        EXPECT_TRUE(m_host->IsPaused());
    }
    EXPECT_EQ(m_host->SyncSeek(-0.5, 1), 0); // refused, and nobody waits
    EXPECT_EQ(m_recorder.GetFrames().back(), 12);
    m_recorder.Clear();
    m_host->Resume();
    EXPECT_EQ(m_recorder.WaitForFrames(3), (std::vector<int>{12, 13, 14}));
}

TEST_F(Seeking, WhilePlayingGoesOnFromThere) {
    m_host->Play();
    ASSERT_TRUE(WaitUntil([&] { return m_recorder.GetCount() >= 3; }));
    EXPECT_EQ(m_host->SyncSeek(2.0, 1), 0);
    ASSERT_TRUE(WaitUntil([&] { return m_recorder.GetFrames().back() >= 104; }));
    const auto frames = m_recorder.GetFrames();
    const auto landed = std::find(frames.begin(), frames.end(), 100);
    ASSERT_NE(landed, frames.end());
    EXPECT_LT(*(landed - 1), 50);
    EXPECT_EQ(*(landed + 1), 101);
    m_recorder.Clear();
    m_host->Seek(0.5, 1);
    EXPECT_TRUE(WaitUntil([&] {
        const auto now = m_recorder.GetFrames();
        return std::find(now.begin(), now.end(), 25) != now.end();
    }));
    EXPECT_FALSE(m_host->IsSeeking());
    EXPECT_TRUE(WaitUntil([&] { // told after the picture has been shown
        const auto positions = m_host.GetPositions();
        return std::any_of(positions.begin(), positions.end(),
                           [](double d) { return std::abs(d - 0.5) < 0.02; });
    }));
}

TEST_F(Seeking, OnResumeIsCarriedOutBeforeAnythingIsShown) {
    // Posted inside the pause's callback, on the loop's own thread, right before the pause ends.
    m_host.onNotify = [this](unsigned int notice) {
        if (notice == KQ_NOTIFY_POSITION && m_host.GetPositions().size() == 2) {
            m_host->Seek(1.0, 1);
            m_host->Resume();
        }
    };
    m_host->Load();
    ASSERT_TRUE(m_host.WaitForPause());
    m_recorder.Clear();
    m_host->Forward();
    EXPECT_EQ(m_recorder.WaitForFrames(4), (std::vector<int>{1, 50, 51, 52}));
}

TEST_F(Seeking, StepsFrameByFrameWhilePaused) {
    EXPECT_EQ(m_host->Forward(), 0); // no pause: ignored
    m_host->Load();
    ASSERT_TRUE(m_host.WaitForPause());
    m_recorder.Clear();
    EXPECT_EQ(m_host->Forward(), 0);
    EXPECT_EQ(m_host->SyncForward(), 0);
    EXPECT_EQ(m_host->Forward(), 0);
    EXPECT_EQ(m_recorder.WaitForFrames(3), (std::vector<int>{1, 2, 3}));
    ASSERT_TRUE(WaitUntil([&] { return m_host.GetPositions().size() == 4; }));
    EXPECT_NEAR(m_host.GetLastPosition(), 0.06, 1e-9);

    m_host->SyncSeek(149 / 50.0, 1);
    m_host->Forward(); // past the last frame
    EXPECT_TRUE(m_host.WaitForEnd());
    EXPECT_EQ(m_host->IsActivate(), KQ_ACTIVATE_ENDED);
    EXPECT_FALSE(m_host->IsPaused());
}

TEST_F(Seeking, SoundAndPictureAgreeAfterwards) {
    const RenderedTime renderedTime(m_device);
    m_host.SetAudio(&m_audio);
    m_host->Play();
    ASSERT_TRUE(WaitUntil([&] { return m_recorder.GetCount() >= 1; }));
    m_device.Render(4800);
    const double times[] = {2.0, 0.5, 1.3};
    for (const double time : times) {
        m_host->SyncSeek(time, 1);
        const int number = static_cast<int>(std::lround(time * 50));
        ASSERT_TRUE(m_recorder.WaitForLast(number)) << time;
        const auto samples = m_device.Render(960);
        // OpenAL starts with a short fade; in the second half of the piece the samples are there whole.
        EXPECT_NEAR(samples[2 * 700], FakeAudio::SampleOf(static_cast<std::int64_t>(time * 48000) + 700), 2)
            << time;
        EXPECT_TRUE(m_recorder.WaitForLast(number + 1));
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
        EXPECT_EQ(m_recorder.GetFrames().back(), number + 1);
    }
    m_host->Stop();
}

} // namespace
