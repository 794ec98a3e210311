// What is shown, in which order, and when: kqplay runs on small clips, and its trace is compared with
// FFmpeg's decoder and the plain reference conversion.
#include "Kqplay.h"
#include "tests/support/Hindrance.h"
#include "tests/support/WaitUntil.h"

#include <algorithm>
#include <csignal>
#include <memory>

using namespace kqtest;
using kq::test::WaitUntil;

namespace {

/// Each frame once, in order; when the run ends, the view shows the last one again.
TEST(EveryFrame, IsShownOnceInOrderAndBitExactInEveryView) {
    const struct {
        const char* clip;
        Strings options;
        std::size_t views;
    } rows[] = {
        {"plain.mp4", {"--audio", "null"}, 1},
        {"plain.mp4", {"--no-audio"}, 1},
        {"silent.mp4", {"--views", "3"}, 3},
        {"silent.mp4", {"--views", "2"}, 2},
        {"one.mp4", {}, 1},
        {"odd-1x1.mkv", {}, 1},
        {"odd-3x5.mkv", {}, 1},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.clip + (" " + testing::PrintToString(row.options)));
        const Trace trace = PlayTraced(Clip(row.clip), row.options);
        for (std::size_t view = 0; view < row.views; ++view) {
            EXPECT_EQ(trace.pictures[view], HashesOfARun(Clip(row.clip))) << "view " << view;
        }
        EXPECT_EQ(trace.pictures[row.views], Strings());
        EXPECT_EQ(trace.ends, 1u);
        ASSERT_FALSE(trace.states.empty());
        EXPECT_EQ(trace.states.front(), 1);
        EXPECT_TRUE(std::is_sorted(trace.positions.begin(), trace.positions.end()))
            << testing::PrintToString(trace.positions);
    }
}

TEST(Playback, TakesAsLongAsTheClip) {
    const struct {
        Strings options;
        const char* clip;
        double seconds;
    } rows[] = {
        {{"--audio", "null"}, "plain.mp4", 2.0},
        {{"--no-audio"}, "plain.mp4", 1.96},
        {{"--audio", "null", "--no-video"}, "plain.mp4", 2.0},
        {{"--audio", "null", "--start", "1.5"}, "plain.mp4", 0.5},
        {{"--audio", "null"}, "tone.wav", 1.0},
        {{"--audio", "null"}, "surround.mkv", 0.8},
        {{"--audio", "null"}, "picture.png", 0.1}, // no longer than it has to be
        {{"--audio", "null"}, "one.mp4", 0.1},
    };
    const TemporaryFolder folder;
    const kq::test::Hindrance hindrance;
    std::vector<std::unique_ptr<Process>> running;
    const auto start = [&] {
        const auto& row = rows[running.size()];
        const Strings traced = Joined(row.options, {"--trace", folder / std::to_string(running.size())});
        running.push_back(std::make_unique<Process>(Headless(Clip(row.clip), traced)));
    };
    for (std::size_t i = 0; i < std::size(rows); ++i) {
        while (running.size() < std::min(i + 2, std::size(rows))) { // two at the same time
            start();
        }
        SCOPED_TRACE(rows[i].clip + (" " + testing::PrintToString(rows[i].options)));
        const Outcome outcome = running[i]->Finish();
        EXPECT_EQ(outcome.status, 0);
        EXPECT_EQ(outcome.err, "");
        const Trace trace = ReadTrace(folder / std::to_string(i));
        EXPECT_EQ(trace.ends, 1u);
        EXPECT_GE(trace.seconds, rows[i].seconds - 0.1);
        EXPECT_LE(trace.seconds, rows[i].seconds * 1.25 + 0.7 + hindrance.Lost() / 1000);
        if (!trace.positions.empty()) { // one step of play may lie beyond the end
            EXPECT_LE(trace.positions.back(), rows[i].seconds + 0.25);
        }
        EXPECT_TRUE(std::is_sorted(trace.positions.begin(), trace.positions.end()))
            << testing::PrintToString(trace.positions);
    }
}

TEST(Playback, KeepsToTheRangeThatWasAskedFor) {
    const Trace trace = PlayTraced(Clip("plain.mp4"), {"--no-audio", "--start", "0.4", "--length", "1"});
    const Strings all = ReferenceHashes(Clip("plain.mp4"));
    // 0.40 to 1.40 s at 25 frames a second. On leaving, the view shows the stream's next frame.
    EXPECT_EQ(trace.pictures[0], Strings(all.begin() + 10, all.begin() + 10 + 26 + 1));
}

/// A range that ends with the file is as short as the file says.
TEST(Playback, AFileThatIsLongerThanItSaysIsPlayedToItsEnd) {
    const Strings all = ReferenceHashes(Clip("short.mkv"));
    ASSERT_EQ(all.size(), 50u);
    const Strings once = PlayTraced(Clip("short.mkv"), {}).pictures[0];
    const Strings again = PlayTraced(Clip("short.mkv"), {"--loop-count", "2"}).pictures[0];
    for (const auto& [shown, rounds] : {std::pair(once, 1), std::pair(again, 2)}) {
        auto at = shown.begin();
        for (int round = 0; round < rounds; ++round) {
            for (std::size_t i = 0; i < all.size(); ++i) {
                at = std::find(at, shown.end(), all[i]);
                ASSERT_NE(at, shown.end()) << "frame " << i << ", round " << round;
            }
        }
    }

    const TemporaryFolder folder;
    const kq::test::Hindrance hindrance;
    const Outcome sound =
        RunProcess(Headless(Clip("short.mp3"), {"--audio", "null", "--trace", folder / "trace"}));
    EXPECT_EQ(sound.out.rfind("played  0:03.", 0), 0u) << sound.out;
    const double seconds = ReadTrace(folder / "trace").seconds;
    EXPECT_GE(seconds, 2.9);
    EXPECT_LE(seconds, 3.03 * 1.25 + 0.7 + 1 + hindrance.Lost() / 1000)
        << "and the second that the player waits for more";
}

TEST(Playback, LoopsUntilItIsInterrupted) {
    const Strings round = ReferenceHashes(Clip("odd-3x5.mkv"));
    AtTerminal kqplay({"--headless", "--loop", Clip("odd-3x5.mkv")});
    // A picture takes two lines of the trace, together shorter than this.
    const std::size_t enough = 3 * round.size() * 200;
    EXPECT_TRUE(WaitUntil([&] { return kq::test::ReadFile(kqplay.folder / "trace").size() > enough; }));
    kill(kqplay.process.Id(), SIGINT);
    const Trace trace = kqplay.Quit("");
    EXPECT_EQ(trace.ends, 1u);
    const Strings& shown = trace.pictures[0];
    ASSERT_GE(shown.size(), 3 * round.size());
    for (std::size_t i = 0; i < 3 * round.size(); ++i) {
        ASSERT_EQ(shown[i], round[i % round.size()]) << i;
    }
}

TEST(Compare, BothViewsShowTheSameTime) {
    const Trace trace =
        PlayTraced(Clip("plain.mp4"), {"--no-audio", "--compare", Clip("silent.mp4")},
                   "kqplay: " + Clip("silent.mp4") +
                       ": there is no picture at this time; a cross is shown where there is none\n");
    ASSERT_GT(trace.places[1].size(), 40u);
    EXPECT_EQ(trace.places[0][25], "25 1.000000");
    EXPECT_EQ(trace.places[1][20], "24 0.800000");
    EXPECT_EQ(trace.places[1][24], "28 0.933333");
    EXPECT_EQ(trace.places[1][25], "null null") << "the shorter file has ended";
    const Strings first = HashesOfARun(Clip("plain.mp4"));
    const Strings second = ReferenceHashes(Clip("silent.mp4")); // 30 frames a second for one second
    EXPECT_EQ(trace.pictures[0], first);
    for (std::size_t i = 0; i < 25; ++i) {
        EXPECT_EQ(trace.pictures[1][i], second[i * 30 / 25]) << i;
    }
}

TEST(Filter, ShowsBeforeAndAfter) {
    const TemporaryFolder folder;
    const std::string flipped = folder / "flipped.mkv";
    const Outcome made = RunProcess(
        {"ffmpeg", "-v", "error", "-i", Clip("silent.mp4"), "-vf", "hflip", "-c:v", "ffv1", flipped});
    ASSERT_EQ(made.status, 0) << made.err;
    const Trace trace = PlayTraced(Clip("silent.mp4"), {"--filter", "hflip"});
    EXPECT_EQ(trace.pictures[0], HashesOfARun(Clip("silent.mp4")));
    EXPECT_EQ(trace.pictures[1], HashesOfARun(flipped));
}

TEST(SeveralFiles, FollowEachOtherAndTheOneThatCannotBeOpenedIsTold) {
    const TemporaryFolder folder;
    const std::string missing = folder / "missing.mp4";
    const Outcome outcome =
        RunProcess(Headless(Clip("silent.mp4"), {missing, Clip("plain.mp4"), "--audio", "null", "--trace",
                                                 folder / "trace", "--trace-hash"}));
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err, "kqplay: " + missing + ": No such file or directory\n");
    const Strings lines = Lines(outcome.out);
    ASSERT_EQ(lines.size(), 5u) << outcome.out;
    EXPECT_EQ(lines[0], "1/3  " + Clip("silent.mp4"));
    EXPECT_EQ(lines[1].rfind("played  0:0", 0), 0u) << lines[1];
    EXPECT_EQ(lines[2], "2/3  " + missing);
    EXPECT_EQ(lines[3], "3/3  " + Clip("plain.mp4"));
    EXPECT_EQ(lines[4].rfind("played  0:0", 0), 0u) << lines[4];
    const Trace trace = ReadTrace(folder / "trace");
    EXPECT_EQ(trace.ends, 2u);
    EXPECT_EQ(trace.pictures[0], Joined(HashesOfARun(Clip("silent.mp4")), HashesOfARun(Clip("plain.mp4"))));
}

} // namespace
