#include "audio/SoundPlayer.h"

#include "tests/support/FakeStream.h"
#include "tests/support/LoopbackDevice.h"
#include "tests/support/ViewRecorder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>

namespace {

using namespace kq::test;

TEST(SoundPlayer, HoldsATenthOfASecondInWholeSampleFrames) {
    LoopbackDevice device;
    const struct {
        int rate;
        int channels;
        int bits;
        bool opens;
        unsigned int bytesPerSec;
        int bufferSize;
    } cases[] = {
        {44100, 2, 16, true, 176400, 17640},
        {22050, 1, 8, true, 22050, 2205},
        {11025, 2, 16, true, 44100, 4408},
        {48000, 6, 16, true, 576000, 57600},
        {48000, 8, 16, true, 768000, 76800},
        {48000, 3, 16, false, 0, 0},
        {48000, 6, 8, false, 0, 0},
        {48000, 2, 24, false, 0, 0},
        {0, 2, 16, false, 0, 0},
        {48000, 0, 16, false, 0, 0},
    };
    for (const auto& c : cases) {
        SoundPlayer sound(nullptr);
        EXPECT_EQ(sound.Open(c.rate, c.channels, c.bits), 1);
        EXPECT_EQ(sound.IsOpen(), c.opens) << c.rate << " " << c.channels << " " << c.bits;
        EXPECT_EQ(sound.GetBytesPerSec(), c.bytesPerSec);
        EXPECT_EQ(sound.GetBufferSize(), c.bufferSize);
        sound.Play(); // a refused one stays silent
        sound.Stop();
    }
}

/// Begins a stream of the usual format.
void Begin(SoundPlayer& sound) {
    sound.Open(48000, 2, 16);
    sound.Play();
}

/// Waits until the sound thread has refilled whatever has been played.
void WaitForRefill(SoundPlayer& sound, std::int64_t most = INT64_MAX) {
    const std::int64_t buffer = sound.GetBufferSize();
    EXPECT_TRUE(WaitUntil([&] {
        const std::int64_t full = (sound.GetPlayPos() / buffer + 2) * buffer;
        return !sound.IsActive() || sound.GetTotalBytes() >= std::min(full, most);
    }));
}

/// Renders in small pieces, so that the source never runs dry.
std::vector<std::int16_t> RenderSteadily(LoopbackDevice& device, SoundPlayer& sound, int frames) {
    constexpr int pieceFrames = 480;
    std::vector<std::int16_t> all;
    for (int n = 0; n < frames; n += pieceFrames) {
        const auto piece = device.Render(pieceFrames);
        all.insert(all.end(), piece.begin(), piece.end());
        WaitForRefill(sound);
    }
    return all;
}

TEST(SoundPlayer, PlaysEverySampleOnceAndInOrder) {
    LoopbackDevice device;
    FakeAudio audio(1.5, 48000, 2, 1000); // chunks that do not fit the buffers
    {
        SoundPlayer sound(&audio);
        Begin(sound);
        const auto samples = RenderSteadily(device, sound, 48000);
        for (std::size_t k = 0; k < 48000; ++k) {
            const int sample = FakeAudio::SampleOf(static_cast<std::int64_t>(k));
            ASSERT_NEAR(samples[2 * k], sample, 1) << k;
            ASSERT_NEAR(samples[2 * k + 1], sample, 1) << k;
        }
        EXPECT_EQ(sound.GetPlayPos(), 48000 * 4);
        std::int64_t stamp = -1;
        std::int64_t chunk = 0;
        sound.m_TimeCodeMgr.SearchPTSReverse(48000 * 4 - 40, stamp, chunk);
        EXPECT_EQ(stamp, 47LL * 10'000'000 * 1000 / 48000);
        EXPECT_EQ(chunk, 47 * 1000 * 4);
    }
    EXPECT_EQ(audio.GetRefCount(), 1);
}

TEST(SoundPlayer, PausesAndResumesInPlace) {
    LoopbackDevice device;
    FakeAudio audio(3.0);
    SoundPlayer sound(&audio);
    Begin(sound);
    RenderSteadily(device, sound, 4800);
    sound.Pause();
    const std::int64_t paused = sound.GetPlayPos();
    sound.Pause(); // nothing more happens
    const auto silence = device.Render(4800);
    // OpenAL fades out over its first period, and dithers.
    EXPECT_TRUE(
        std::all_of(silence.begin() + 4800, silence.end(), [](std::int16_t s) { return std::abs(s) <= 1; }));
    EXPECT_EQ(sound.GetPlayPos(), paused);
    sound.Play();
    const auto samples = RenderSteadily(device, sound, 4800);
    EXPECT_NEAR(samples[2 * 4000], FakeAudio::SampleOf(paused / 4 + 4000), 1);
    EXPECT_EQ(sound.GetPlayPos(), paused + 4800 * 4);
}

TEST(SoundPlayer, EndsAfterOneSecondOfSilence) {
    LoopbackDevice device;
    FakeAudio nothing(0.0);
    SoundPlayer sound(&nothing);
    Begin(sound);
    for (int tenth = 0; tenth < 8; ++tenth) {
        device.Render(4800);
        WaitForRefill(sound, 192000);
        ASSERT_FALSE(sound.IsStreamEnd());
    }
    EXPECT_EQ(sound.GetTotalBytes(), 192000); // ten silent tenths, of which two are still queued
    device.Render(4800);
    EXPECT_TRUE(WaitUntil([&] { return !sound.IsActive(); }));
    EXPECT_TRUE(sound.IsStreamEnd());
    EXPECT_EQ(sound.GetTotalBytes(), 192000);
    sound.Play(); // a fresh start with nothing left plays nothing
    EXPECT_EQ(sound.GetState(), THREAD_FINISHED);
    EXPECT_FALSE(sound.IsPlaying());

    FakeAudio something(2.0);
    SoundPlayer again(&something);
    Begin(again);
    EXPECT_TRUE(again.IsPlaying());
}

} // namespace
