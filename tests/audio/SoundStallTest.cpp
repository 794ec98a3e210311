#include "audio/SoundPlayer.h"
#include "tests/support/FakeStream.h"
#include "tests/support/ForwardingStream.h"
#include "tests/support/LoopbackDevice.h"
#include "tests/support/WaitUntil.h"

#include <gtest/gtest.h>
#include <pthread.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <limits>
#include <vector>

namespace kq::test {
namespace {

constexpr int rate = 48000;
constexpr int frameBytes = 4;
constexpr int tenth = rate / 10;

/// Can be held up.
class StallingStream final : public ForwardingStream {
public:
    using ForwardingStream::ForwardingStream;
    MEDIA_FRAME* GetCurrentFrame() override {
        return isStalled ? nullptr : ForwardingStream::GetCurrentFrame();
    }

    std::atomic<bool> isStalled{false};
};

/// A sound on a loopback device. Sample frame k of the stream has the value k and the time stamp k / rate.
struct Stalling {
    LoopbackDevice device;
    FakeAudio audio{8.0, rate, 2, 1000}; // chunks that do not fit the buffers
    StallingStream stream{audio};
    SoundPlayer sound{&stream};

    Stalling() {
        sound.Open(rate, 2, 16);
        sound.Play();
    }

    /// @return the last sample of each of so many pieces of 10 ms, as they were heard
    std::vector<int> Render(int milliseconds) {
        std::vector<int> last;
        for (int i = 0; i < milliseconds / 10; ++i) {
            last.push_back(device.Render(tenth / 10).back());
            EXPECT_TRUE(WaitUntil([&] { return !sound.IsActive() || IsFull(); }));
        }
        return last;
    }

    /// @return the sample frame that the timecode map gives for the position being heard
    std::int64_t MappedFrame() {
        const std::int64_t position = sound.GetPlayPos();
        std::int64_t stamp = -1;
        std::int64_t chunk = 0;
        sound.m_TimeCodeMgr.SearchPTSReverse(position, stamp, chunk);
        return (stamp * rate + 5'000'000) / 10'000'000 + (position - chunk) / frameBytes;
    }

private:
    bool IsFull() {
        const std::int64_t size = sound.GetBufferSize();
        return sound.GetTotalBytes() >= (sound.GetPlayPos() / size + 2) * size;
    }
};

TEST(SoundStall, AfterAStallTheMapTellsWhatIsHeard) {
    Stalling s;
    for (int time = 0; time < 2; ++time) { // together less than the second of silence
        s.Render(500);
        s.stream.isStalled = true;
        const auto stalled = s.Render(300 + 200); // what was queued is heard first
        EXPECT_NEAR(stalled.back(), 0, 1);
        s.stream.isStalled = false;
        const auto heard = s.Render(300);
        const auto first = std::find_if(heard.begin(), heard.end(), [](int sample) { return sample > 1; });
        EXPECT_LE(first - heard.begin(), 20); // the silence that was queued when it came back
        EXPECT_GT(heard.end() - first, 5);
        EXPECT_NEAR(FakeAudio::SampleOf(s.MappedFrame() - 1), heard.back(), 1);
        EXPECT_FALSE(s.sound.IsStreamEnd());
    }
}

TEST(SoundStall, AfterTheEndAStreamThatDeliversAgainIsHeardAgain) {
    Stalling s;
    for (int time = 0; time < 2; ++time) {
        s.Render(300);
        s.stream.isStalled = true;
        s.Render(1500);
        ASSERT_TRUE(s.sound.IsStreamEnd());
        EXPECT_FALSE(s.sound.IsActive());
        EXPECT_FALSE(s.sound.HasDataAgain());
        s.sound.Play();
        EXPECT_TRUE(s.sound.IsStreamEnd()); // still nothing to play
        s.stream.isStalled = false;
        EXPECT_TRUE(s.sound.HasDataAgain());
        s.sound.Play();
        EXPECT_FALSE(s.sound.HasDataAgain());
        EXPECT_FALSE(s.sound.IsStreamEnd());
        const auto heard = s.Render(300);
        EXPECT_EQ(s.sound.GetPlayPos(), 3 * tenth * frameBytes);
        EXPECT_NEAR(FakeAudio::SampleOf(s.MappedFrame() - 1), heard.back(), 1);
        EXPECT_GT(heard.front(), 1);
    }
}

TEST(SoundStall, AFrameThatIsHalfPlayedGoesOnInItsMiddle) {
    Stalling s;
    s.Render(120);
    s.sound.Stop();
    EXPECT_EQ(s.sound.GetTotalBytes(), 0);
    EXPECT_EQ(s.sound.GetPlayPos(), 0);
    s.sound.Play();
    const auto middle = s.Render(10);
    EXPECT_NEAR(FakeAudio::SampleOf(s.MappedFrame() - 1), middle.back(), 1);
    const auto heard = s.Render(40);
    EXPECT_NEAR(FakeAudio::SampleOf(s.MappedFrame() - 1), heard.back(), 1);
    constexpr int expected = 3 * tenth + tenth / 2 - 1;
    EXPECT_NEAR(heard.back(), expected, 1); // what was queued is lost, and no more
}

/// No thread can be made as long as it lives: none has room for its stack.
class NoThreads {
public:
    NoThreads() {
        pthread_getattr_default_np(&m_before);
        pthread_attr_t huge;
        pthread_getattr_default_np(&huge);
        pthread_attr_setstacksize(&huge, std::numeric_limits<std::size_t>::max() / 8 * 7 / 4096 * 4096);
        pthread_setattr_default_np(&huge);
        pthread_attr_destroy(&huge);
    }
    NoThreads(const NoThreads&) = delete;
    NoThreads& operator=(const NoThreads&) = delete;
    ~NoThreads() {
        pthread_setattr_default_np(&m_before);
        pthread_attr_destroy(&m_before);
    }

private:
    pthread_attr_t m_before;
};

TEST(SoundStall, WithoutAThreadNothingPlaysAndTheNextStartIsClean) {
    LoopbackDevice device;
    FakeAudio audio(3.0);
    SoundPlayer sound(&audio);
    sound.Open(rate, 2, 16);
    for (int time = 0; time < 2; ++time) {
        {
            const NoThreads noThreads;
            sound.Play();
        }
        EXPECT_TRUE(sound.HasFailed());
        EXPECT_TRUE(sound.IsStreamEnd());
        EXPECT_FALSE(sound.HasDataAgain());
        EXPECT_FALSE(sound.IsPlaying());
        EXPECT_EQ(sound.GetState(), THREAD_FINISHED);
        sound.Pause();
        EXPECT_EQ(sound.GetPlayPos(), 0);
        const auto rendered = device.Render(tenth);
        EXPECT_NEAR(rendered.back(), 0, 1);
        sound.Stop();
        sound.ResetPullState();
        sound.Play();
        EXPECT_FALSE(sound.HasFailed());
        EXPECT_FALSE(sound.IsStreamEnd());
        EXPECT_GT(device.Render(tenth / 2).back(), 1);
        sound.Stop();
        sound.ResetPullState();
    }
}

} // namespace
} // namespace kq::test
