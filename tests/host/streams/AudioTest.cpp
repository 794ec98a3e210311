// Sound: formats, chunks, and where it stands in time.
#include "StreamTest.h"

#include <cmath>
#include <cstdlib>

namespace kq::streams::test {
namespace {

OpenOptions AudioOnly(int maxChannels = 8) {
    OpenOptions options;
    options.video = false;
    options.maxChannels = maxChannels;
    return options;
}

TEST(AudioFormats, KeepTheChannelsThatOpenALKnows) {
    const struct {
        const char* layout;
        int maxChannels, channels;
    } cases[] = {
        {"mono", 8, 1}, {"stereo", 8, 2}, {"quad", 8, 4}, {"5.1", 8, 6}, {"6.1", 8, 7}, {"7.1", 8, 8},
        {"3.0", 8, 2},  {"5.0", 8, 2},    {"7.1", 2, 2},  {"5.1", 6, 6}, {"5.1", 4, 2}, {"stereo", 1, 1},
    };
    for (const auto& expected : cases) {
        SCOPED_TRACE(expected.layout);
        OpenedFile file(Clip(std::string("sound-") + expected.layout + ".wav"),
                        AudioOnly(expected.maxChannels));
        const AUDIO_STREAM_INFO format = AudioFormat(file.Audio());
        EXPECT_EQ(format.nChannels, expected.channels);
        EXPECT_EQ(format.nSampleRate, 48000);
        EXPECT_EQ(format.nBitsPerSample, 16);
        EXPECT_EQ(format.nBytesPerSec, 48000 * 2 * expected.channels);
        EXPECT_NEAR(format.dDuration, 1, 1e-3);
        EXPECT_EQ(Listen(file.Audio()).size(), 48000U * static_cast<unsigned>(expected.channels));
    }
}

TEST(AudioFormats, ChannelsComeInOpenALsOrder) {
    OpenedFile file(Clip("order.flac"), AudioOnly()); // tenths of the range: FL FR FC LFE RL RR
    const std::vector<std::int16_t> sound = Listen(file.Audio());
    for (std::size_t channel = 0; channel < 6; ++channel) {
        EXPECT_NEAR(sound[6 * 1000 + channel], 32768 * 0.1 * static_cast<double>(channel + 1), 2);
    }
}

TEST(AudioChunks, AreOfHandySizeAndFollowEachOther) {
    for (const char* clip :
         {"noise.flac", "tone.ogg", "bframes.mp4", "packets.avi", "program.mpg", "latesound.mkv"}) {
        SCOPED_TRACE(clip);
        OpenedFile file(Clip(clip));
        const AUDIO_STREAM_INFO format = AudioFormat(file.Audio());
        std::int64_t sampleFrames = 0;
        bool last = false;
        while (const MEDIA_FRAME* frame = file.Audio().GetCurrentFrame()) {
            EXPECT_FALSE(last) << "only the last chunk is short";
            const int count = frame->image.nAudioLength / 2 / format.nChannels;
            const double expected = static_cast<double>(sampleFrames) / format.nSampleRate;
            ASSERT_NEAR(static_cast<double>(frame->llPTS) / 1e7, expected, 0.005);
            EXPECT_LE(count, 4096);
            last = count < 1024;
            sampleFrames += count;
            file.Audio().NextFrame();
        }
        EXPECT_NEAR(static_cast<double>(sampleFrames) / format.nSampleRate, format.dDuration, 0.06);
    }
}

TEST(AudioSeeking, LandsOnTheSample) {
    for (const char* clip : {"noise.flac", "tone.ogg", "bframes.mp4", "sound-stereo.wav"}) {
        OpenedFile file(Clip(clip), AudioOnly());
        const AUDIO_STREAM_INFO format = AudioFormat(file.Audio());
        const std::vector<std::int16_t> whole = Listen(file.Audio());
        const auto seek = [&](int sample) {
            const double time = static_cast<double>(sample) / format.nSampleRate;
            EXPECT_NEAR(file.Audio().Seek(time, 1), time, 1e-6) << clip;
            return whole.begin() + static_cast<std::ptrdiff_t>(sample) * format.nChannels;
        };
        const int total = static_cast<int>(std::lround(format.dDuration * format.nSampleRate));
        for (const int sample : {0, 1, 1023, 1024, 30000, 44100, 12345, total - 5000, total - 1}) {
            const auto expected = seek(sample);
            const std::vector<std::int16_t> rest = Listen(file.Audio());
            ASSERT_TRUE(std::equal(rest.begin(), rest.end(), expected, whole.end()))
                << clip << " from sample " << sample;
        }
        for (int sample = 25000; sample < 45000; sample += 777) { // from here on inside the queue
            const auto expected = seek(sample);
            const tagYUVImage& chunk = file.Audio().GetCurrentFrame()->image;
            EXPECT_EQ(*reinterpret_cast<const std::int16_t*>(chunk.pU), *expected) << clip << " " << sample;
        }
    }
}

TEST(AudioTracks, TheOneThatIsAskedForIsHeard) {
    const std::string clip = Clip("twosounds.mkv");
    for (const auto& [track, waves] : {std::pair(0, 440), {1, 440}, {2, 880}}) {
        OpenOptions options = AudioOnly();
        options.audioTrack = track;
        OpenedFile file(clip, options);
        const std::vector<std::int16_t> sound = Listen(file.Audio());
        int rises = 0;
        for (std::size_t i = 1; i < sound.size(); ++i) {
            rises += sound[i - 1] < 0 && sound[i] >= 0 ? 1 : 0;
        }
        EXPECT_NEAR(rises, waves, 1) << track;
        EXPECT_EQ(file.File().facts.audioTrack, std::max(track, 1));
        EXPECT_EQ(
            file.File().facts.audioTracks,
            (std::vector<std::string>{"flac, 44100 Hz, 1 channels", "flac, 44100 Hz, 1 channels, fra"}));
    }
    OpenOptions options;
    options.audioTrack = 3;
    EXPECT_EQ(Refusal(clip, options), clip + ": there is no sound track 3 among 2");
}

TEST(AudioTracks, AnotherOneGoesOnAtTheSamePlace) {
    MediaFile file;
    std::shared_ptr<Timeline> timeline;
    std::string error;
    ASSERT_TRUE(OpenTimeline(Clip("twosounds.mkv"), AudioOnly(), file, timeline, error)) << error;
    EXPECT_FALSE(HearTrack(*timeline, 3, error));
    EXPECT_NE(error.find("there is no sound track 3 among 2"), std::string::npos);
    OpenedFile second(Clip("twosounds.mkv"), [] {
        OpenOptions options = AudioOnly();
        options.audioTrack = 2;
        return options;
    }());
    OpenedFile first(Clip("twosounds.mkv"), AudioOnly());
    const std::vector<std::int16_t> sounds[] = {Listen(first.Audio()), Listen(second.Audio())};
    std::size_t heard = 0;
    std::size_t changes = 0;
    bool isSecond = false;
    while (const MEDIA_FRAME* frame = file.audio->GetCurrentFrame()) {
        const auto* samples = reinterpret_cast<const std::int16_t*>(frame->image.pU);
        const auto count = static_cast<std::size_t>(frame->image.nAudioLength) / 2;
        EXPECT_NEAR(static_cast<double>(frame->llPTS) * 44100 / 1e7, static_cast<double>(heard), 1.5);
        const auto is = [&](int track) {
            return std::equal(samples, samples + count,
                              sounds[track].begin() + static_cast<std::ptrdiff_t>(heard));
        };
        ASSERT_TRUE(is(0) || is(1)) << "at sample " << heard;
        changes += is(1) != isSecond ? 1 : 0;
        isSecond = is(1);
        if (heard == 0) {
            EXPECT_TRUE(HearTrack(*timeline, 2, error)) << error;
        }
        heard += count;
        file.audio->NextFrame();
    }
    EXPECT_EQ(heard, sounds[0].size());
    EXPECT_EQ(changes, 1u);
    file.Release();
}

TEST(AudioGaps, AreFilledWithSilence) {
    OpenedFile file(Clip("latesound.mkv")); // the sound begins a second after the pictures
    std::vector<std::int64_t> times;
    const std::vector<std::int16_t> sound = Listen(file.Audio(), &times);
    EXPECT_EQ(times.front(), 0);
    const auto begin = static_cast<std::size_t>(44100 - 2048);
    for (std::size_t i = 0; i < begin; ++i) {
        ASSERT_EQ(sound[i], 0) << i;
    }
    const auto later = sound.begin() + 44100 + 4096;
    EXPECT_TRUE(std::any_of(later, later + 1000, [](int sample) { return std::abs(sample) > 1000; }));

    EXPECT_DOUBLE_EQ(file.Audio().Seek(0.5, 1), 0.5);
    const std::vector<std::int16_t> rest = Listen(file.Audio());
    EXPECT_NEAR(static_cast<double>(sound.size() - rest.size()), 22050, 2);
    EXPECT_TRUE(std::all_of(rest.begin(), rest.begin() + 20000, [](int sample) { return sample == 0; }));
    EXPECT_TRUE(std::equal(rest.end() - 150000, rest.end(), sound.end() - 150000));
}

TEST(AudioGaps, SeekingBehindTheSoundGivesTheClockAPlaceToStartFrom) {
    OpenedFile file(Clip("shortsound.mkv")); // four seconds of pictures, two of sound
    EXPECT_DOUBLE_EQ(file.Audio().Seek(3, 1), 3);
    const MEDIA_FRAME* frame = file.Audio().GetCurrentFrame();
    ASSERT_NE(frame, nullptr);
    EXPECT_EQ(frame->llPTS, 30'000'000);
    for (const std::int16_t sample : Listen(file.Audio())) {
        EXPECT_EQ(sample, 0);
    }
    EXPECT_LT(file.Audio().Seek(100, 1), 4) << "but not behind the file";
}

} // namespace
} // namespace kq::streams::test
