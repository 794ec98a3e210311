// What is heard: recordings through OpenAL Soft's file device, and devices that are missing or go away.
#include "Kqplay.h"
#include "tests/support/WaitUntil.h"

#include <AL/al.h>
#include <host/kqplay/AudioOutput.h>
#include <host/kqplay/ComponentOutput.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>

using namespace kqtest;

namespace {

/// The part of a recording that is loud.
struct Sound {
    std::vector<std::int16_t> samples;
    int peak = 0;
    int waves = 0; ///< changes from minus to plus

    explicit Sound(const std::string& path) {
        const std::string bytes =
            RunProcess({"ffmpeg", "-v", "error", "-i", path, "-ac", "1", "-f", "s16le", "-"}).out;
        samples.resize(bytes.size() / 2);
        std::memcpy(samples.data(), bytes.data(), samples.size() * 2);
        const auto isLoud = [](int sample) { return std::abs(sample) > 300; };
        samples.erase(std::find_if(samples.rbegin(), samples.rend(), isLoud).base(), samples.end());
        samples.erase(samples.begin(), std::find_if(samples.begin(), samples.end(), isLoud));
        for (std::size_t i = 1; i < samples.size(); ++i) {
            peak = std::max(peak, std::abs(int{samples[i]}));
            waves += samples[i - 1] < 0 && samples[i] >= 0 ? 1 : 0;
        }
    }
};

TEST(Recording, HasTheToneItsLengthItsRateAndItsVolume) {
    const TemporaryFolder folder;
    const auto record = [&folder](const std::string& name, const Strings& options) {
        const Strings recorded = Joined({"--audio", "wav:" + folder / name}, options);
        const Outcome outcome = RunProcess(Headless(Clip("tone.wav"), recorded));
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        return folder / name;
    };
    const std::string full = record("it's #1 $HOME.wav", {});
    const Outcome rate =
        RunProcess({"ffprobe", "-v", "error", "-show_entries", "stream=sample_rate", "-of", "csv=p=0", full});
    EXPECT_EQ(rate.out, "48000\n");
    const Sound sound(full);
    EXPECT_NEAR(sound.waves, 440, 3) << "a busy machine may leave holes in the tone, which has one second";
    EXPECT_GE(sound.samples.size(), 47500u);
    EXPECT_LE(sound.samples.size(), 72000u);
    EXPECT_GT(sound.peak, 1600);
    EXPECT_NEAR(Sound(record("half.wav", {"--volume", "50"})).peak, sound.peak / 2.0, sound.peak / 20.0);
    EXPECT_TRUE(Sound(record("mute.wav", {"--mute"})).samples.empty());
}

TEST(Recording, OneThatIsNotWholeIsReported) {
    const TemporaryFolder folder;
    const std::string wav = folder / "sound.wav";
    // A limit on the size of files, in blocks of 512 bytes, stands in for a full disk: reached half way, or
    // by what is written when the file is closed.
    for (const char* blocks : {"100", "370"}) {
        for (const char* clip : {"tone.wav", "plain.mp4"}) {
            SCOPED_TRACE(std::string(clip) + " " + blocks);
            const Outcome outcome =
                RunProcess(Joined({"sh", "-c", "ulimit -f \"$0\"; exec \"$@\"", blocks},
                                  Headless(Clip(clip), {"--audio", "wav:" + wav, "--length", "0.99"})));
            EXPECT_EQ(outcome.status, 1);
            EXPECT_EQ(outcome.err, "kqplay: " + wav + ": could not be written whole: File too large\n");
        }
    }
    // Not a byte: the signal is ignored from the start, because the thread sanitizer writes a file of its own
    // first.
    const Outcome outcomes[] = {
        RunProcess(Headless(Clip("plain.mp4"), {"--audio", "wav:/dev/full"})),
        RunProcess(Joined({"sh", "-c", "trap '' XFSZ; ulimit -f 0; exec \"$0\" \"$@\""},
                          Headless(Clip("plain.mp4"), {"--audio", "wav:" + wav}))),
    };
    for (const Outcome& outcome : outcomes) {
        EXPECT_EQ(outcome.status, 1);
        EXPECT_EQ(Lines(outcome.err).size(), 1u) << outcome.err;
    }
}

/// Plays into the null device, and stops itself meanwhile. @return seconds that were played from the stop on
double PlayedOverAStop() {
    setenv("ALSOFT_DRIVERS", "null", 1);
    const kqplay::ComponentOutput output;
    kqplay::AudioOutput sound;
    std::string error;
    if (!sound.Open(48000, output, error)) {
        return -1;
    }
    const std::vector<std::int16_t> silence(std::size_t{48000} * 60);
    ALuint buffer = 0;
    ALuint source = 0;
    alGenBuffers(1, &buffer);
    alGenSources(1, &source);
    alBufferData(buffer, AL_FORMAT_MONO16, silence.data(), static_cast<ALsizei>(silence.size() * 2), 48000);
    alSourcei(source, AL_BUFFER, static_cast<ALint>(buffer));
    alSourcePlay(source);
    usleep(200000);
    ALfloat before = 0;
    ALfloat after = 0;
    sound.SetRunning(false);
    alGetSourcef(source, AL_SEC_OFFSET, &before);
    raise(SIGSTOP);
    sound.SetRunning(true);
    kq::test::WaitUntil([&] {
        alGetSourcef(source, AL_SEC_OFFSET, &after);
        return after > before + 0.2F;
    });
    return double{after} - double{before};
}

/// One that caught up with the stop would run ahead of the pictures, which then count as late.
TEST(Device, StandsStillWhileTheProcessDoes) {
    constexpr double stop = 5;
    const pid_t child = fork();
    if (child == 0) {
        const double played = PlayedOverAStop();
        _exit(played > 0.1 && played < stop / 2 ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, WUNTRACED), child);
    ASSERT_TRUE(WIFSTOPPED(status));
    usleep(static_cast<useconds_t>(stop * 1e6));
    kill(child, SIGCONT);
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
}

TEST(Recording, IsWholeAlthoughTheProcessWasStopped) {
    PlayingLong kqplay({"--audio", "wav:sound.wav"});
    kqplay.Press("", "playing  0:01");
    kqplay.Suspend(0);
    kqplay.Press("", "playing");
    const double seconds = kqplay.Quit().seconds;
    EXPECT_GE(Sound(kqplay.folder / "sound.wav").waves, 440 * (seconds - 0.5) * 0.8);
}

TEST(Device, MissingOneMeansNoSoundButPictures) {
    // A driver that finds no device here: its device file is not there, or nobody listens at that address.
    const Process::Environment none = {{"ALSOFT_DRIVERS", "oss"}};
    const Trace trace = PlayTraced(
        Clip("plain.mp4"), {}, "kqplay: no audio device (none can be opened): playing without sound\n", none);
    EXPECT_EQ(trace.pictures[0].size(), 50u + 1);

    const Outcome soundOnly = RunProcess(Headless(Clip("tone.wav"), {}), none);
    EXPECT_EQ(soundOnly.status, 1);
    EXPECT_EQ(Lines(soundOnly.err).size(), 1u) << soundOnly.err;
}

TEST(Device, OneThatGoesAwayIsReportedAndPicturesGoOn) {
    // verify_asan_link_order: the library that takes the device away comes before the sanitizer's own.
    const Process::Environment unplugged = {{"LD_PRELOAD", KQPLAY_UNPLUGGED},
                                            {"KQ_UNPLUG_AFTER", "1.0"},
                                            {"ASAN_OPTIONS", "verify_asan_link_order=0"}};
    const Trace trace =
        PlayTraced(Clip("plain.mp4"), {"--audio", "null"},
                   "kqplay: the audio device has gone: playing on without sound\n", unplugged);
    const Strings& shown = trace.pictures[0];
    ASSERT_GE(shown.size(), 2u);
    EXPECT_EQ(shown[shown.size() - 2], ReferenceHashes(Clip("plain.mp4")).back());
    EXPECT_EQ(trace.ends, 2u);
    EXPECT_LT(shown.size(), 50u + 20) << "the second run goes on where the first one was";

    const Outcome soundOnly = RunProcess(Headless(Clip("tone.wav"), {"--audio", "null"}), unplugged);
    EXPECT_EQ(soundOnly.status, 1);
    EXPECT_EQ(soundOnly.err, "kqplay: the audio device has gone\n");
}

} // namespace
