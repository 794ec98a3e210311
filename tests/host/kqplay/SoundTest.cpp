// What is heard: recordings through OpenAL Soft's file device, and devices that are missing or go away.
#include "Kqplay.h"
#include "WavFile.h"

#include <gtest/gtest.h>

using namespace kqtest;

namespace {

using Strings = std::vector<std::string>;

Sound Record(const std::string& clip, Strings options) {
    const TemporaryFolder folder;
    options.insert(options.end(), {"--audio", "wav:" + folder / "it's #1 $HOME.wav"});
    const Outcome outcome = RunProcess(Headless(Clip(clip), options));
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    return ReadWav(folder / "it's #1 $HOME.wav");
}

TEST(Recording, HasTheToneItsLengthAndItsRate) {
    const Sound sound = Record("tone.wav", {});
    EXPECT_EQ(sound.rate, 48000);
    const Sound tone = sound.Loud(0.01f);
    EXPECT_NEAR(tone.Seconds(), 1.0, 0.02);
    EXPECT_NEAR(tone.Frequency(), 440, 2);
}

TEST(Recording, FollowsTheVolume) {
    const float full = Record("tone.wav", {}).Peak();
    EXPECT_GT(full, 0.05f);
    EXPECT_NEAR(Record("tone.wav", {"--volume", "50"}).Peak(), full / 2, full / 20);
    EXPECT_LT(Record("tone.wav", {"--mute"}).Peak(), 0.001f);
}

TEST(Device, MissingOneMeansNoSoundButPictures) {
    const TemporaryFolder folder;
    // A driver that finds no device here: its device file is not there, or nobody listens at that address.
    const Process::Environment none = {{"ALSOFT_DRIVERS", "oss"}};
    const Outcome outcome =
        RunProcess(Headless(Clip("plain.mp4"), {"--trace", folder / "trace", "--trace-hash"}), none);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, "kqplay: no audio device (none can be opened): playing without sound\n");
    EXPECT_EQ(PictureHashes(ReadTrace(folder / "trace")).size(), 50u + 1);

    const Outcome soundOnly = RunProcess(Headless(Clip("tone.wav"), {}), none);
    EXPECT_EQ(soundOnly.status, 1);
    EXPECT_EQ(Lines(soundOnly.err).size(), 1u) << soundOnly.err;
}

TEST(Device, OneThatGoesAwayIsReportedAndPicturesGoOn) {
    const TemporaryFolder folder;
    // verify_asan_link_order: the library that takes the device away comes before the sanitizer's own.
    const Process::Environment unplugged = {{"LD_PRELOAD", KQPLAY_UNPLUGGED},
                                            {"KQ_UNPLUG_AFTER", "1.0"},
                                            {"ASAN_OPTIONS", "verify_asan_link_order=0"}};
    const Outcome outcome = RunProcess(
        Headless(Clip("plain.mp4"), {"--audio", "null", "--trace", folder / "trace", "--trace-hash"}),
        unplugged);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, "kqplay: the audio device has gone: playing on without sound\n");
    const auto trace = ReadTrace(folder / "trace");
    const Strings shown = PictureHashes(trace);
    ASSERT_GE(shown.size(), 2u);
    EXPECT_EQ(shown[shown.size() - 2], ReferenceHashes(Clip("plain.mp4")).back());
    EXPECT_EQ(CountEnds(trace), 2u);
    EXPECT_LT(shown.size(), 50u + 20) << "the second run goes on where the first one was";

    const Outcome soundOnly = RunProcess(Headless(Clip("tone.wav"), {"--audio", "null"}), unplugged);
    EXPECT_EQ(soundOnly.status, 1);
    EXPECT_EQ(soundOnly.err, "kqplay: the audio device has gone\n");
}

} // namespace
