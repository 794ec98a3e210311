// What is shown, in which order, and when: kqplay runs on small clips, and its trace is compared with
// FFmpeg's decoder and the plain reference conversion.
#include "Kqplay.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>

using namespace kqtest;

namespace {

using Strings = std::vector<std::string>;

struct Case {
    const char* name;
    const char* clip;
    Strings options;
};

void PrintTo(const Case& value, std::ostream* out) {
    *out << value.clip;
}

class EveryFrame : public testing::TestWithParam<Case> {};

/// Each frame once, in order; when the run ends, the view shows the last one again.
TEST_P(EveryFrame, IsShownOnceInOrderAndBitExact) {
    const TemporaryFolder folder;
    const std::string clip = Clip(GetParam().clip);
    Strings options = GetParam().options;
    options.insert(options.end(), {"--trace", folder / "trace", "--trace-hash"});
    const Outcome outcome = RunProcess(Headless(clip, options));
    ASSERT_EQ(outcome.status, 0) << outcome.err;

    const auto trace = ReadTrace(folder / "trace");
    Strings expected = ReferenceHashes(clip);
    ASSERT_FALSE(expected.empty());
    expected.push_back(expected.back());
    EXPECT_EQ(PictureHashes(trace), expected);
    EXPECT_EQ(CountEnds(trace), 1u);
    ASSERT_FALSE(States(trace).empty());
    EXPECT_EQ(States(trace).front(), 1);
}

INSTANTIATE_TEST_SUITE_P(Clips, EveryFrame,
                         testing::Values(Case{"WithSound", "plain.mp4", {"--audio", "null"}},
                                         Case{"SoundLeftOut", "plain.mp4", {"--no-audio"}},
                                         Case{"Silent", "silent.mp4", {}}, Case{"OneFrame", "one.mp4", {}},
                                         Case{"OnePixel", "odd-1x1.mkv", {}},
                                         Case{"OddSize", "odd-3x5.mkv", {}}),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(Playback, TakesAsLongAsTheClip) {
    struct Row {
        Strings options;
        const char* clip;
        double seconds;
    };
    const Row rows[] = {
        {{"--audio", "null"}, "plain.mp4", 2.0},
        {{"--no-audio"}, "plain.mp4", 1.96},
        {{"--audio", "null", "--no-video"}, "plain.mp4", 2.0},
        {{"--audio", "null", "--start", "1.5"}, "plain.mp4", 0.5},
        {{"--audio", "null"}, "tone.wav", 1.0},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.clip + (" " + testing::PrintToString(row.options)));
        const Outcome outcome = RunProcess(Headless(Clip(row.clip), row.options));
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        EXPECT_EQ(outcome.err, "");
        EXPECT_GE(outcome.seconds, row.seconds - 0.1);
    }
}

TEST(Playback, KeepsToTheRangeThatWasAskedFor) {
    const TemporaryFolder folder;
    const Outcome outcome =
        RunProcess(Headless(Clip("plain.mp4"), {"--no-audio", "--start", "0.4", "--length", "1", "--trace",
                                                folder / "trace", "--trace-hash"}));
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    Strings shown = PictureHashes(ReadTrace(folder / "trace"));
    const Strings all = ReferenceHashes(Clip("plain.mp4"));
    // 0.40 to 1.40 s at 25 frames a second. On leaving, the view shows the stream's next frame.
    const Strings expected(all.begin() + 10, all.begin() + 10 + 26 + 1);
    EXPECT_EQ(shown, expected);
}

TEST(Playback, LoopsUntilItIsInterrupted) {
    const TemporaryFolder folder;
    Process kqplay(Headless(Clip("odd-3x5.mkv"), {"--loop", "--trace", folder / "trace", "--trace-hash"}));
    usleep(3500000);
    kill(kqplay.Id(), SIGINT);
    const Outcome outcome = kqplay.Finish();
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    const auto trace = ReadTrace(folder / "trace");
    EXPECT_GE(CountEnds(trace), 3u);
    Strings round = ReferenceHashes(Clip("odd-3x5.mkv"));
    round.push_back(round.back());
    Strings twice = round;
    twice.insert(twice.end(), round.begin(), round.end());
    Strings shown = PictureHashes(trace);
    ASSERT_GE(shown.size(), twice.size());
    shown.resize(twice.size());
    EXPECT_EQ(shown, twice);
}

TEST(Playback, ReportsPositionsInOrder) {
    const TemporaryFolder folder;
    RunProcess(Headless(Clip("plain.mp4"), {"--audio", "null", "--trace", folder / "trace"}));
    double last = -1;
    std::size_t count = 0;
    for (const TraceEvent& event : ReadTrace(folder / "trace")) {
        if (event.name != "position")
            continue;
        EXPECT_GE(event.position, last);
        last = event.position;
        ++count;
    }
    EXPECT_GE(count, 49u); // all 50 frames but the last, which ends the stream
    EXPECT_GE(last, 1.92);
}

} // namespace
