#include "audio/SoundPlayer.h"
#include "tests/support/FakeStream.h"
#include "tests/support/ForwardingStream.h"
#include "tests/support/OpenALStandIn.h"
#include "tests/support/WaitUntil.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

namespace kq::test {
namespace {

using std::chrono::milliseconds;

constexpr int bytesPerMs = 192; // 48 kHz, two channels of 16 bits
constexpr std::int64_t bufferBytes = 100 * bytesPerMs;

/// A sound player on the stand-in's device, whose clock the test moves.
class Sound {
public:
    explicit Sound(IMediaStream& stream) : player(&stream) { openAL.StopClock(); }

    void Begin() {
        player.Open(48000, 2, 16);
        Play();
    }

    void Play() {
        if (!player.IsActive()) {
            m_advanced = milliseconds(0);
        }
        player.Play();
    }

    /// Plays in small pieces, each refilled, so that the source never runs dry.
    void PlayOn(milliseconds length) {
        constexpr milliseconds piece(50);
        for (milliseconds done(0); done < length; done += piece) {
            openAL.Advance(piece);
            m_advanced += piece;
            EXPECT_TRUE(WaitUntil(
                [&] {
                    const std::int64_t full = (GetAdvanced() / bufferBytes + 2) * bufferBytes;
                    return !player.IsActive() || player.GetTotalBytes() >= full;
                },
                std::chrono::seconds(10)));
        }
    }

    /// Bytes since the last fresh start.
    std::int64_t GetAdvanced() const { return m_advanced.count() * bytesPerMs; }
    bool IsGoingOn() const { return player.IsActive() && player.IsPlaying() && !player.IsStreamEnd(); }

    OpenALStandIn openAL;
    SoundPlayer player;

private:
    milliseconds m_advanced{0};
};

/// @return whether the left channel is one ramp: every sample of FakeAudio from some place on, once and in
/// order
bool IsRamp(const std::vector<std::int16_t>& samples) {
    for (std::size_t i = 2; i < samples.size(); i += 2) {
        if (samples[i] != FakeAudio::SampleOf(samples[i - 2] + 1)) {
            return false;
        }
    }
    return true;
}

enum class Outcome { Refused, Ends, GoesOn };

struct FaultCase {
    const char* function;
    int nth; ///< of a run that is paused and resumed twice
    Failing how;
    Outcome outcome;
};

const FaultCase faultCases[] = {
    {"alcOpenDevice", 1, Failing::Once, Outcome::Refused},
    {"alcOpenDevice", 1, Failing::ForEver, Outcome::Refused},
    {"alcCreateContext", 1, Failing::Once, Outcome::Refused},
    {"alcCreateContext", 1, Failing::ForEver, Outcome::Refused},
    {"alcMakeContextCurrent", 1, Failing::Once, Outcome::Refused},
    {"alcMakeContextCurrent", 1, Failing::ForEver, Outcome::Refused},
    // It is current already, whatever becomes of the call.
    {"alcMakeContextCurrent", 2, Failing::Once, Outcome::GoesOn},
    {"alcMakeContextCurrent", 2, Failing::ForEver, Outcome::GoesOn},
    {"alcMakeContextCurrent", 3, Failing::Once, Outcome::GoesOn},
    {"alGenBuffers", 1, Failing::Once, Outcome::Refused},
    {"alGenBuffers", 1, Failing::ForEver, Outcome::Refused},
    {"alGenBuffers", 2, Failing::Once, Outcome::Ends},
    {"alGenBuffers", 2, Failing::ForEver, Outcome::Ends},
    {"alGenSources", 1, Failing::Once, Outcome::Refused},
    {"alGenSources", 1, Failing::ForEver, Outcome::Refused},
    {"alBufferData", 1, Failing::Once, Outcome::Ends},
    {"alBufferData", 1, Failing::ForEver, Outcome::Ends},
    {"alBufferData", 2, Failing::Once, Outcome::Ends},
    {"alBufferData", 2, Failing::ForEver, Outcome::Ends},
    {"alBufferData", 3, Failing::Once, Outcome::Ends},
    {"alBufferData", 3, Failing::ForEver, Outcome::Ends},
    {"alSourceQueueBuffers", 1, Failing::Once, Outcome::Ends},
    {"alSourceQueueBuffers", 1, Failing::ForEver, Outcome::Ends},
    {"alSourceQueueBuffers", 2, Failing::Once, Outcome::Ends},
    {"alSourceQueueBuffers", 2, Failing::ForEver, Outcome::Ends},
    {"alSourceQueueBuffers", 3, Failing::Once, Outcome::Ends},
    {"alSourceQueueBuffers", 3, Failing::ForEver, Outcome::Ends},
    {"alSourceUnqueueBuffers", 1, Failing::Once, Outcome::Ends},
    {"alSourceUnqueueBuffers", 1, Failing::ForEver, Outcome::Ends},
    {"alSourceUnqueueBuffers", 2, Failing::Once, Outcome::Ends},
    {"alSourceUnqueueBuffers", 3, Failing::ForEver, Outcome::Ends},
    {"alSourcePlay", 1, Failing::Once, Outcome::Ends},
    {"alSourcePlay", 1, Failing::ForEver, Outcome::Ends},
    {"alSourcePlay", 2, Failing::Once, Outcome::Ends},
    {"alSourcePlay", 2, Failing::ForEver, Outcome::Ends},
    {"alSourcePlay", 3, Failing::Once, Outcome::Ends},
    {"alSourcePlay", 3, Failing::ForEver, Outcome::Ends},
    {"alGetSourcei", 1, Failing::Once, Outcome::Ends},
    {"alGetSourcei", 2, Failing::Once, Outcome::Ends},
    {"alGetSourcei", 3, Failing::Once, Outcome::Ends},
    {"alGetSourcei", 1, Failing::ForEver, Outcome::Ends},
    {"alGetSourcei/AL_SOURCE_STATE", 3, Failing::ForEver, Outcome::Ends},
    {"alGetSourcei/AL_BUFFERS_PROCESSED", 3, Failing::Once, Outcome::Ends},
    {"alGetSourcei/AL_BYTE_OFFSET", 1, Failing::ForEver, Outcome::GoesOn},
    {"alSourcei", 1, Failing::Once, Outcome::Ends},
    {"alSourcei", 1, Failing::ForEver, Outcome::Ends},
    {"alDeleteBuffers", 1, Failing::Once, Outcome::GoesOn},
    {"alSourceStop", 1, Failing::ForEver, Outcome::GoesOn},
    {"alIsBuffer", 1, Failing::ForEver, Outcome::GoesOn},
    {"alcProcessContext", 1, Failing::ForEver, Outcome::GoesOn},
    {"alcIsExtensionPresent", 1, Failing::ForEver, Outcome::GoesOn},
    {"alcGetIntegerv", 1, Failing::ForEver, Outcome::GoesOn},
};

class SoundPlayerFault : public testing::TestWithParam<FaultCase> {};

std::string NameOf(const testing::TestParamInfo<FaultCase>& info) {
    std::string function = info.param.function;
    std::replace(function.begin(), function.end(), '/', '_');
    return function + "_" + std::to_string(info.param.nth) +
           (info.param.how == Failing::Once ? "_once" : "_ever");
}

/// Pauses and resumes twice, unless the sound has ended by then: its owner gives it up.
void PlayWithPauses(Sound& sound) {
    sound.Begin();
    for (int i = 0; i < 2; ++i) {
        sound.PlayOn(milliseconds(250));
        if (!sound.player.IsActive()) {
            return;
        }
        sound.player.Pause();
        sound.player.Play();
    }
    sound.PlayOn(milliseconds(250));
}

void CheckOutcome(Sound& sound, Outcome outcome) {
    EXPECT_EQ(sound.player.IsOpen(), outcome != Outcome::Refused);
    EXPECT_EQ(sound.IsGoingOn(), outcome == Outcome::GoesOn);
    EXPECT_EQ(sound.player.HasFailed(), outcome == Outcome::Ends);
    EXPECT_EQ(sound.player.IsStreamEnd(), outcome == Outcome::Ends);
    const std::int64_t position = sound.player.GetPlayPos();
    EXPECT_GE(position, 0);
    EXPECT_LE(position, outcome == Outcome::GoesOn ? sound.GetAdvanced() : 2 * 3 * bufferBytes);
    const auto heard = sound.openAL.GetHeardSamples();
    EXPECT_TRUE(IsRamp(heard));
    if (outcome == Outcome::GoesOn) {
        EXPECT_EQ(static_cast<std::int64_t>(heard.size()) * 2, sound.GetAdvanced());
    }
}

/// Starts afresh, twice. What failed once does not fail again.
void CheckFreshStarts(Sound& sound, const FaultCase& c) {
    const bool isHeard =
        c.outcome == Outcome::GoesOn || (c.outcome == Outcome::Ends && c.how == Failing::Once);
    for (int i = 0; i < 2; ++i) {
        sound.player.Stop();
        EXPECT_EQ(sound.player.GetTotalBytes(), 0);
        EXPECT_EQ(sound.player.GetPlayPos(), 0);
        sound.Play();
        sound.PlayOn(milliseconds(150));
        if (c.outcome != Outcome::Ends || c.nth == 1) {
            EXPECT_EQ(sound.IsGoingOn(), isHeard) << i;
        } else if (isHeard) {
            EXPECT_TRUE(sound.IsGoingOn()) << i;
        }
    }
}

TEST_P(SoundPlayerFault, EndsTheSoundAndNothingElse) {
    const FaultCase& c = GetParam();
    const bool isHosts = std::string(c.function).rfind("alc", 0) != 0;
    FakeAudio audio(3.0);
    Sound sound(audio);
    if (isHosts) {
        sound.openAL.OpenAsHost();
    }
    sound.openAL.Fail(c.function, c.nth, c.how);
    PlayWithPauses(sound);
    if (std::string(c.function) == "alGetSourcei/AL_BYTE_OFFSET") {
        sound.player.GetPlayPos();
    }
    EXPECT_GE(sound.openAL.CountFailures(), 1) << "the call was never made";
    CheckOutcome(sound, c.outcome);
    CheckFreshStarts(sound, c);
    sound.player.Close();
    EXPECT_EQ(sound.openAL.GetObjects().sources, 0);
    EXPECT_EQ(sound.openAL.GetObjects().buffers, 0);
    EXPECT_EQ(sound.openAL.CountWrongClosings(), 0);
    EXPECT_TRUE(!isHosts || sound.openAL.CloseAsHost());
    // What was made for nothing is gone again.
    const int kept = isHosts || c.outcome == Outcome::Refused ? 0 : 1;
    EXPECT_EQ(sound.openAL.GetObjects().contexts, kept);
    EXPECT_EQ(sound.openAL.GetObjects().devices, kept);
}

INSTANTIATE_TEST_SUITE_P(Each, SoundPlayerFault, testing::ValuesIn(faultCases), NameOf);

TEST(SoundPlayerFaults, AHostsContextThatIsRefusedStaysTheHosts) {
    for (const Failing how : {Failing::Once, Failing::ForEver}) {
        FakeAudio audio(3.0);
        Sound sound(audio);
        sound.openAL.OpenAsHost();
        sound.openAL.Fail("alcMakeContextCurrent", 1, how);
        sound.Begin();
        EXPECT_FALSE(sound.player.IsOpen());
        EXPECT_EQ(sound.openAL.GetObjects().devices, 1);
        EXPECT_TRUE(sound.openAL.CloseAsHost());
    }
}

TEST(SoundPlayerFaults, TwoPlayersShareTheContextThatTheFirstMade) {
    FakeAudio audio(3.0);
    Sound first(audio);
    first.Begin();
    {
        SoundPlayer second(&audio);
        second.Open(44100, 1, 16);
        EXPECT_TRUE(second.IsOpen());
        EXPECT_EQ(first.openAL.GetObjects().contexts, 1);
        EXPECT_EQ(first.openAL.GetObjects().sources, 2);
    }
    EXPECT_EQ(first.openAL.GetObjects().contexts, 1);
    first.PlayOn(milliseconds(300));
    EXPECT_TRUE(first.IsGoingOn());
}

TEST(SoundPlayerFaults, AnOffsetThatIsNotTrueGivesAPositionWithinTheQueue) {
    FakeAudio audio(3.0);
    Sound sound(audio);
    sound.Begin();
    sound.PlayOn(milliseconds(250));
    for (int i = 0; i < 2; ++i) {
        sound.openAL.ShiftOffset(2000 * bytesPerMs);
        EXPECT_EQ(sound.player.GetPlayPos(), 4 * bufferBytes);
        sound.openAL.ShiftOffset(-2000 * bytesPerMs);
        EXPECT_EQ(sound.player.GetPlayPos(), 2 * bufferBytes);
        sound.openAL.ShiftOffset(0);
        EXPECT_EQ(sound.player.GetPlayPos(), 250 * bytesPerMs);
    }
}

TEST(SoundPlayerFaults, AStalledDeviceKeepsItsQueueAndADrySourceRepeatsNothing) {
    FakeAudio audio(3.0);
    Sound sound(audio);
    sound.Begin();
    std::int64_t heard = 0;
    for (int i = 0; i < 3; ++i) {
        std::this_thread::sleep_for(milliseconds(30));
        EXPECT_TRUE(sound.player.IsQueueFilled());
        EXPECT_EQ(sound.player.GetPlayPos(), heard);
        const int starts = sound.openAL.CountCalls("alSourcePlay");
        sound.openAL.Advance(milliseconds(500)); // more than was queued
        heard += 2 * bufferBytes;
        ASSERT_TRUE(WaitUntil([&] { return sound.openAL.CountCalls("alSourcePlay") > starts; }));
        EXPECT_EQ(sound.player.GetPlayPos(), heard);
    }
    const auto samples = sound.openAL.GetHeardSamples();
    EXPECT_EQ(static_cast<std::int64_t>(samples.size()) * 2, heard);
    EXPECT_EQ(samples.front(), 0);
    EXPECT_TRUE(IsRamp(samples));
}

/// The device plays on while a frame is asked for.
class SlowStream final : public ForwardingStream {
public:
    using ForwardingStream::ForwardingStream;
    MEDIA_FRAME* GetCurrentFrame() override {
        if (m_isSlow.exchange(false)) {
            m_openAL->Advance(milliseconds(150));
        }
        return ForwardingStream::GetCurrentFrame();
    }
    void BeSlowOnce(OpenALStandIn& openAL) {
        m_openAL = &openAL;
        m_isSlow = true;
    }

private:
    OpenALStandIn* m_openAL = nullptr;
    std::atomic<bool> m_isSlow{false};
};

TEST(SoundPlayerFaults, ASourceThatRunsDryWhileItIsRefilledLosesNothing) {
    FakeAudio audio(3.0);
    SlowStream stream(audio);
    Sound sound(stream);
    sound.Begin();
    for (int i = 1; i <= 3; ++i) {
        const int starts = sound.openAL.CountCalls("alSourcePlay");
        stream.BeSlowOnce(sound.openAL);
        sound.openAL.Advance(milliseconds(100)); // of two buffers the first one is done
        ASSERT_TRUE(WaitUntil([&] { return sound.openAL.CountCalls("alSourcePlay") > starts; }));
        EXPECT_EQ(sound.player.GetPlayPos(), 2 * i * bufferBytes);
    }
    const auto samples = sound.openAL.GetHeardSamples();
    EXPECT_EQ(static_cast<std::int64_t>(samples.size()) * 2, 6 * bufferBytes);
    EXPECT_TRUE(IsRamp(samples));
}

TEST(SoundPlayerFaults, ADeviceThatWentAwayEndsTheSoundUntilTheNextOpen) {
    FakeAudio audio(3.0);
    Sound sound(audio);
    sound.Begin();
    sound.PlayOn(milliseconds(250));
    sound.openAL.Disconnect();
    ASSERT_TRUE(WaitUntil([&] { return !sound.player.IsActive(); }));
    for (int i = 0; i < 2; ++i) {
        EXPECT_TRUE(sound.player.IsStreamEnd());
        EXPECT_FALSE(sound.player.HasDataAgain());
        sound.player.Stop();
        sound.player.ResetPullState();
        sound.player.Play();
        EXPECT_FALSE(sound.player.IsActive());
    }
    EXPECT_LT(audio.GetIndex(), 40); // it was not drained either
}

/// Plays silence, moves the stream (or only stops), and plays silence again.
/// @return whether the end was declared by then
bool EndsAfterSilence(milliseconds before, bool isMoved, milliseconds after) {
    FakeAudio nothing(0.0);
    Sound sound(nothing);
    sound.Begin();
    sound.PlayOn(before);
    EXPECT_FALSE(sound.player.IsStreamEnd());
    sound.player.Stop();
    if (isMoved) {
        sound.player.ResetPullState();
    }
    sound.Play();
    sound.PlayOn(after);
    return sound.player.IsStreamEnd();
}

TEST(SoundPlayerFaults, TheSecondOfSilenceIsGivenAnewByAMoveAlone) {
    // Two tenths more are queued each time.
    EXPECT_FALSE(EndsAfterSilence(milliseconds(600), true, milliseconds(700)));
    EXPECT_TRUE(EndsAfterSilence(milliseconds(600), true, milliseconds(1000)));
    EXPECT_TRUE(EndsAfterSilence(milliseconds(600), false, milliseconds(200)));
}

TEST(SoundPlayerFaults, AMoveForgetsTheFrameThatWasHalfPulled) {
    FakeAudio audio(3.0, 48000, 2, 7000); // longer than a buffer
    Sound sound(audio);
    for (int i = 0; i < 2; ++i) {
        sound.Begin();
        sound.PlayOn(milliseconds(150));
        sound.player.Stop();
        sound.player.ResetPullState();
        audio.Seek(7000.0 / 48000 * 5 + 0.001, 1);
        const std::size_t before = sound.openAL.GetHeardSamples().size();
        sound.Play();
        sound.PlayOn(milliseconds(150));
        const auto samples = sound.openAL.GetHeardSamples();
        ASSERT_GT(samples.size(), before);
        EXPECT_EQ(samples[before], FakeAudio::SampleOf(5 * 7000));
        std::int64_t stamp = -1;
        std::int64_t chunk = -1;
        sound.player.SearchPTS(sound.player.GetPlayPos(), stamp, chunk);
        EXPECT_EQ(chunk, sound.player.GetPlayPos() > 7000 * 4 ? 7000 * 4 : 0);
        EXPECT_EQ(stamp, (chunk == 0 ? 5 : 6) * 10'000'000LL * 7000 / 48000);
        EXPECT_EQ(sound.player.GetTotalBytes(), 3 * bufferBytes);
        audio.Seek(0.0, 1);
    }
}

} // namespace
} // namespace kq::test
