#include "tests/support/FakeStream.h"
#include "tests/support/LoopbackDevice.h"
#include "tests/support/PlayerHost.h"
#include "tests/support/RenderedTime.h"
#include "tests/support/ViewRecorder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <numeric>
#include <thread>
#include <vector>

namespace {

using namespace kq::test;

double Milliseconds(Clock::duration duration) {
    return std::chrono::duration<double, std::milli>(duration).count();
}

std::vector<int> Numbers(int first, int last) {
    std::vector<int> numbers(static_cast<std::size_t>(last - first));
    std::iota(numbers.begin(), numbers.end(), first);
    return numbers;
}

/// Runs at most as far as the test renders, by the sound and by the wall clock, which is a fifth slower.
class WithSound : public testing::Test {
protected:
    LoopbackDevice m_device;
    RenderedTime m_time{m_device, 0.9}; // slower than the sound, by less than what makes it doubted
    ViewRecorder m_recorder;

    /// Renders 10 ms at a time until the condition holds.
    bool RenderUntil(const std::function<bool()>& condition) {
        return WaitUntil([&] {
            if (condition()) {
                return true;
            }
            m_device.Render(480);
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
            return false;
        });
    }
};

TEST(Loop, PacesByTheWallClockAndShowsEveryFrameOnce) {
    constexpr int framesInAll = 12;
    FakeVideo video(framesInAll, 25);
    ViewRecorder recorder;
    PlayerHost host(&video);
    host->SetPlayTime(0, 0);
    const auto start = Clock::now();
    host->Play();
    ASSERT_TRUE(host.WaitForEnd());
    ASSERT_EQ(recorder.WaitForFrames(framesInAll), Numbers(0, framesInAll));
    const auto pictures = recorder.GetPictures();
    for (int n = 0; n < framesInAll; ++n) {
        // The clock moves in ticks of 10 ms, so a run that starts late in a tick sees the next one early.
        EXPECT_GE(Milliseconds(pictures[static_cast<std::size_t>(n)].when - start), n * 40 - 10) << n;
    }
    // One report after each frame, except the last: it has ended the video.
    const auto positions = host.GetPositions();
    ASSERT_EQ(positions.size(), static_cast<std::size_t>(framesInAll - 1));
    for (std::size_t i = 0; i < positions.size(); ++i) {
        EXPECT_NEAR(positions[i], static_cast<double>(i) * 0.04, 1e-9);
    }
    EXPECT_EQ(host->IsActivate(), KQ_ACTIVATE_ENDED);
    host.ReleasePlayer();
    EXPECT_EQ(video.GetRefCount(), 1);
}

TEST(Loop, EndsAtTheEndOfTheRange) {
    FakeVideo video(50, 50, 16, 8, 3.0); // time stamps that start elsewhere
    ViewRecorder recorder;
    PlayerHost host(&video);
    host->SetPlayTime(0.2, 0.3);
    testing::internal::CaptureStdout();
    host->Play();
    ASSERT_TRUE(host.WaitForEnd());
    const std::string output = testing::internal::GetCapturedStdout();
    EXPECT_NE(output.find("m_dPlayedTime >= m_dPlayLength  0.300000, 0.100000 Exit.\r\n"), std::string::npos);
    EXPECT_EQ(recorder.WaitForFrames(16), Numbers(10, 26));
    EXPECT_NEAR(host.GetLastPosition(), 0.3, 1e-9);
}

TEST(Loop, LateFramesAreShownAndNeverDropped) {
    constexpr int framesInAll = 150;
    FakeVideo video(framesInAll, 100);
    ViewRecorder recorder;
    PlayerHost host(&video);
    host.onNotify = [&host](unsigned int notice) {
        if (notice == KQ_NOTIFY_POSITION && host.GetPositions().size() == 5) {
            std::this_thread::sleep_for(std::chrono::seconds(2));
        }
    };
    host->Play();
    ASSERT_TRUE(host.WaitForEnd());
    EXPECT_EQ(recorder.WaitForFrames(framesInAll), Numbers(0, framesInAll));
    // The stall does not shift what follows it, which would take one second and a half.
    const auto pictures = recorder.GetPictures();
    EXPECT_LT(Milliseconds(pictures[framesInAll - 1].when - pictures[6].when), 1200);
}

TEST(Loop, WithoutFrameRateOrFormatPositionsComeFromTheStamps) {
    FakeVideo video(20, 50);
    video.format.dFrameRate = 0;
    PlayerHost host(&video);
    host->Load();
    ASSERT_TRUE(host.WaitForPause());
    host->SyncSeek(0.2, 1);
    EXPECT_NEAR(host.GetLastPosition(), 0.2, 1e-9);
    host->Resume();
    ASSERT_TRUE(host.WaitForEnd());
    EXPECT_NEAR(host.GetLastPosition(), 18 * 0.02, 1e-9);
}

TEST_F(WithSound, FramesFollowTheSoundThatIsHeard) {
    FakeVideo video(100, 50);
    FakeAudio audio(3.0);
    PlayerHost host(&video, &audio);
    host->Play();
    ASSERT_TRUE(WaitUntil([&] { return m_recorder.GetCount() == 1; }));
    for (int piece = 1; piece <= 20; ++piece) {
        // Two buffers of five frames each are queued: the sound never runs dry.
        ASSERT_TRUE(WaitUntil([&] { return audio.GetIndex() >= ((piece - 1) / 5 + 2) * 5; })) << piece;
        m_device.Render(960); // 20 ms, one frame
        ASSERT_TRUE(WaitUntil([&] { return m_recorder.GetCount() > static_cast<std::size_t>(piece); }))
            << piece;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
        ASSERT_EQ(m_recorder.GetFrames(), Numbers(0, piece + 1)); // and no further
    }
    host->Pause();
    ASSERT_TRUE(WaitUntil([&] { return host->IsPaused(); }));
    m_device.Render(960);
    EXPECT_TRUE(m_recorder.WaitForLast(21)); // the pause shows what comes next
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_EQ(m_recorder.GetFrames().back(), 21);
    host->Resume();
    EXPECT_TRUE(RenderUntil([&] { return m_recorder.GetFrames().back() >= 25; }));
    host->Stop();
    EXPECT_EQ(audio.GetRefCount(), 2);
}

TEST_F(WithSound, TheLongerOfSoundAndVideoGoesOn) {
    const struct {
        int frames;
        double sound;
        double begin;       ///< of a range to the video's end; below 0: none, and the sound goes on beyond it
        double least, most; ///< last position, up to a second of silence and a step of 100 ms later
    } cases[] = {{5, 0.5, -1, 0.45, 2.5}, {100, 0.2, -1, 1.96, 1.96}, {100, 8.0, 1.6, 0.4, 2.0}};
    for (const auto& c : cases) {
        m_recorder.Clear();
        FakeVideo video(c.frames, 50);
        FakeAudio audio(c.sound);
        PlayerHost host(&video, &audio);
        if (c.begin >= 0) {
            host->SetPlayTime(c.begin, 0);
        }
        host->Play();
        ASSERT_TRUE(RenderUntil([&] { return host.GetEnds() == 1; }));
        EXPECT_GE(host.GetLastPosition(), c.least - 1e-9);
        EXPECT_LE(host.GetLastPosition(), c.most + 1e-9);
        const auto positions = host.GetPositions();
        EXPECT_TRUE(std::is_sorted(positions.begin(), positions.end()));
        const int view = static_cast<int>(&c - cases); // views are counted on
        const int first = c.begin >= 0 ? static_cast<int>(c.begin * 50) : 0;
        EXPECT_EQ(m_recorder.WaitForFrames(static_cast<std::size_t>(c.frames - first), view),
                  Numbers(first, c.frames));
    }
}

TEST_F(WithSound, SoundAloneReportsItsPosition) {
    FakeAudio audio(0.5);
    PlayerHost host(nullptr, &audio);
    host->Play();
    ASSERT_TRUE(RenderUntil([&] { return host.GetEnds() == 1; }));
    EXPECT_GT(host.GetLastPosition(), 0.4);
    EXPECT_EQ(m_recorder.GetCount(), 0u);
}

} // namespace
