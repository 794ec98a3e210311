// Pictures that are written, and several views: compared with FFmpeg's decoder.
#include "Kqplay.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <map>

using namespace kqtest;
namespace fs = std::filesystem;

namespace {

using Strings = std::vector<std::string>;

/// @return the hash of a picture file's pixels, as a view would be handed them
std::string FileHash(const std::string& path) {
    const Outcome outcome =
        RunProcess({"ffmpeg", "-v", "error", "-i", path, "-f", "rawvideo", "-pix_fmt", "bgr0", "-"});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    std::string pixels = outcome.out;
    for (std::size_t i = 3; i < pixels.size(); i += 4)
        pixels[i] = '\377';
    return HashBytes(pixels);
}

std::string Contents(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// Runs kqplay without a sound, for the shortest possible time.
Outcome Shortly(const std::string& clip, Strings options) {
    options.insert(options.end(), {"--no-audio", "--length", "0.04"});
    return RunProcess(Headless(clip, options));
}

TEST(Capture, WritesExactlyThePictureOfTheTime) {
    const TemporaryFolder folder;
    const Strings frames = ReferenceHashes(Clip("plain.mp4"));
    const std::pair<const char*, std::size_t> rows[] = {
        {"0", 0}, {"0.039", 0}, {"0.04", 1}, {"0.999", 24}, {"1.96", 49}, {"1000", 49}, {"0.5", 12}};
    Strings options;
    for (const auto& [time, frame] : rows)
        for (const char* format : {".png", ".BMP"})
            options.insert(
                options.end(),
                {"--capture-at", time + (":" + folder / ("b\xC3\xA4r" + std::string(time) + format))});
    const Outcome outcome = Shortly(Clip("plain.mp4"), options);
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    for (const auto& [time, frame] : rows)
        for (const char* format : {".png", ".BMP"})
            EXPECT_EQ(FileHash(folder / ("b\xC3\xA4r" + std::string(time) + format)), frames[frame])
                << time << format;
}

TEST(Capture, WritesJpegAndOddSizes) {
    const TemporaryFolder folder;
    EXPECT_EQ(Shortly(Clip("odd-3x5.mkv"), {"--capture-at", "0.2:" + folder / "odd.png"}).status, 0);
    EXPECT_EQ(FileHash(folder / "odd.png"), ReferenceHashes(Clip("odd-3x5.mkv"))[5]);
    EXPECT_EQ(Shortly(Clip("plain.mp4"), {"--capture-at", "0.2:" + folder / "a.jpeg"}).status, 0);
    EXPECT_EQ(Contents(folder / "a.jpeg").substr(0, 2), "\xFF\xD8");
}

TEST(Capture, WhatCannotBeWrittenIsOneLineAndLeavesTheOldFile) {
    const TemporaryFolder folder;
    fs::create_directory(folder / "folder.png");
    std::ofstream(folder / "old.png") << "old";
    struct Row {
        Strings command;
        std::string reason;
    };
    const Row rows[] = {
        {{"--capture-at", "0:" + folder / "none/a.png"}, "none/a.png: No such file or directory"},
        {{"--capture-at", "0:" + folder / "folder.png"}, "folder.png: it is a folder"},
        {{"--capture-at", "0:/proc/a.png"}, "/proc/a.png: "},
        {{"--contact-sheet", folder / "none/a.png"}, "none/a.png: No such file or directory"},
        {{"--contact-sheet", "/proc/a.bmp:1x1"}, "/proc/a.bmp: "},
    };
    for (const Row& row : rows) {
        const Outcome outcome = RunProcess(Headless(Clip("silent.mp4"), row.command));
        SCOPED_TRACE(row.reason);
        EXPECT_EQ(outcome.status, 1);
        EXPECT_EQ(outcome.out, "");
        EXPECT_EQ(Lines(outcome.err).size(), 1u) << outcome.err;
        EXPECT_NE(outcome.err.find(row.reason), std::string::npos) << outcome.err;
    }
    // A limit on the size of files stands in for a full disk.
    const Outcome full =
        RunProcess({"sh", "-c", "trap '' XFSZ; ulimit -f 1; exec \"$0\" \"$@\"", KqplayPath(), "--headless",
                    "--capture-at", "0:" + folder / "old.png", Clip("plain.mp4")});
    EXPECT_EQ(full.status, 1);
    EXPECT_NE(full.err.find("old.png: "), std::string::npos) << full.err;
    EXPECT_EQ(Contents(folder / "old.png"), "old");
    EXPECT_EQ(std::distance(fs::directory_iterator(fs::path(folder / "")), {}), 2) << "nothing else is left";
}

TEST(Screenshot, IsWhatIsOnShowAndReplacesNothing) {
    const TemporaryFolder folder;
    Process kqplay({"sh", "-c", "cd \"$0\" && exec \"$@\"", folder / "", KqplayPath(), "--headless",
                    "--no-audio", Clip("long.mp4")},
                   {{"TERM", "xterm"}}, Process::Streams::PseudoTerminal);
    ASSERT_TRUE(kqplay.WaitForOutput("playing  0:00"));
    kqplay.Type(" ");
    ASSERT_TRUE(kqplay.WaitForOutput("paused  0:0"));
    kqplay.Type("\033[H\033[C");
    ASSERT_TRUE(kqplay.WaitForOutput("paused  0:05.00"));
    kqplay.Type("s");
    ASSERT_TRUE(kqplay.WaitForOutput("saved long-0005.000.png"));
    const std::string first = Contents(folder / "long-0005.000.png");
    kqplay.Type("s");
    ASSERT_TRUE(kqplay.WaitForOutput("saved long-0005.000_2.png"));
    kqplay.Type("q");
    EXPECT_EQ(kqplay.Finish().status, 0);
    EXPECT_EQ(Contents(folder / "long-0005.000.png"), first);
    const std::string frame = ReferenceHashes(Clip("long.mp4"))[125];
    EXPECT_EQ(FileHash(folder / "long-0005.000.png"), frame);
    EXPECT_EQ(FileHash(folder / "long-0005.000_2.png"), frame);
}

TEST(ContactSheet, ShowsPicturesEvenlySpaced) {
    const TemporaryFolder folder;
    const Outcome outcome =
        RunProcess({KqplayPath(), "--contact-sheet", folder / "sheet.png:3x2", Clip("long.mp4")});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(Lines(outcome.out).size(), 1u);
    EXPECT_LT(outcome.seconds, 20);
    const Outcome size = RunProcess({"ffprobe", "-v", "error", "-show_entries", "stream=width,height", "-of",
                                     "csv=p=0", folder / "sheet.png"});
    EXPECT_EQ(Lines(size.out).at(0), "304,140"); // tiles of 96x64, 4 pixels around each
    // Each tile is the clip's picture of its time, but for the label in its corner: the clip is not scaled
    // here.
    const auto region = [&](const std::string& file, const std::string& crop, const Strings& where) {
        Strings command = {"ffmpeg", "-v", "error"};
        command.insert(command.end(), where.begin(), where.end());
        command.insert(command.end(), {"-i", file, "-frames:v", "1", "-vf", crop, "-f", "rawvideo",
                                       "-pix_fmt", "gray", "-"});
        return RunProcess(command).out;
    };
    for (int tile = 0; tile < 6; ++tile) {
        const std::string at =
            std::to_string(4 + tile % 3 * 100) + ":" + std::to_string(4 + 34 + tile / 3 * 68);
        const std::string drawn = region(folder / "sheet.png", "crop=96:30:" + at, {});
        const std::string expected =
            region(Clip("long.mp4"), "crop=96:30:0:34", {"-ss", std::to_string(tile * 10)});
        ASSERT_EQ(drawn.size(), 96u * 30u);
        ASSERT_EQ(expected.size(), drawn.size());
        double difference = 0;
        for (std::size_t i = 0; i < drawn.size(); ++i)
            difference +=
                std::abs(static_cast<unsigned char>(drawn[i]) - static_cast<unsigned char>(expected[i]));
        EXPECT_LT(difference / static_cast<double>(drawn.size()), 6) << "tile " << tile;
    }
}

/// Pictures of a trace in the order in which they came, by view.
std::map<int, Strings> ByView(const std::vector<TraceEvent>& trace) {
    std::map<int, Strings> pictures;
    for (const TraceEvent& event : trace) {
        if (event.name == "picture")
            pictures[event.view].push_back(event.hash);
    }
    return pictures;
}

TEST(Views, AllShowEveryFrame) {
    for (int count : {2, 3}) {
        const TemporaryFolder folder;
        const Outcome outcome =
            RunProcess(Headless(Clip("silent.mp4"), {"--views", std::to_string(count), "--trace",
                                                     folder / "trace", "--trace-hash"}));
        ASSERT_EQ(outcome.status, 0) << outcome.err;
        Strings expected = ReferenceHashes(Clip("silent.mp4"));
        expected.push_back(expected.back());
        const auto pictures = ByView(ReadTrace(folder / "trace"));
        EXPECT_EQ(pictures.size(), static_cast<std::size_t>(count));
        for (const auto& [view, hashes] : pictures)
            EXPECT_EQ(hashes, expected) << "view " << view << " of " << count;
    }
}

TEST(Compare, BothViewsShowTheSameTime) {
    const TemporaryFolder folder;
    const Outcome outcome = RunProcess(Headless(
        Clip("plain.mp4"), {"--no-audio", "--compare", Clip("silent.mp4"), "--trace", folder / "trace",
                            "--trace-hash", "--capture-at", "0.5:" + folder / "c.png"}));
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    const Strings first = ReferenceHashes(Clip("plain.mp4"));
    const Strings second = ReferenceHashes(Clip("silent.mp4")); // 30 frames a second for one second
    auto pictures = ByView(ReadTrace(folder / "trace"));
    Strings expectedFirst = first;
    expectedFirst.push_back(first.back());
    EXPECT_EQ(pictures[0], expectedFirst);
    Strings expectedSecond;
    for (std::size_t i = 0; i < expectedFirst.size(); ++i)
        expectedSecond.push_back(second[std::min(i * 30 / 25, second.size() - 1)]);
    EXPECT_EQ(pictures[1], expectedSecond);
    EXPECT_EQ(FileHash(folder / "c-1.png"), first[12]);
    EXPECT_EQ(FileHash(folder / "c-2.png"), second[14]);
}

TEST(Compare, StepsAndSeeksTogether) {
    const TemporaryFolder folder;
    Process kqplay(Headless(Clip("long.mp4"), {"--no-audio", "--compare", Clip("long.mp4"), "--trace",
                                               folder / "trace", "--trace-hash"}),
                   {{"TERM", "xterm"}}, Process::Streams::PseudoTerminal);
    ASSERT_TRUE(kqplay.WaitForOutput("playing  0:00"));
    const std::pair<const char*, const char*> rows[] = {{" ", "paused  0:0"},
                                                        {"\033[H\033[A", "paused  0:59.96"},
                                                        {",,,", "paused  0:59.84"},
                                                        {"\033[D", "paused  0:54.84"},
                                                        {"..", "paused  0:54.92"}};
    for (const auto& [keys, text] : rows) {
        kqplay.Type(keys);
        EXPECT_TRUE(kqplay.WaitForOutput(text)) << kqplay.Output();
    }
    kqplay.Type("q");
    EXPECT_EQ(kqplay.Finish().status, 0);
    auto pictures = ByView(ReadTrace(folder / "trace"));
    EXPECT_GT(pictures[0].size(), 7u);
    EXPECT_EQ(pictures[0], pictures[1]);
}

TEST(Filter, ShowsBeforeAndAfter) {
    const TemporaryFolder folder;
    const std::string flipped = folder / "flipped.mkv";
    ASSERT_EQ(RunProcess({"ffmpeg", "-v", "error", "-i", Clip("silent.mp4"), "-vf", "hflip", "-c:v", "ffv1",
                          flipped})
                  .status,
              0);
    const Outcome outcome = RunProcess(
        Headless(Clip("silent.mp4"), {"--filter", "hflip", "--trace", folder / "trace", "--trace-hash"}));
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    Strings before = ReferenceHashes(Clip("silent.mp4"));
    Strings after = ReferenceHashes(flipped);
    before.push_back(before.back());
    after.push_back(after.back());
    auto pictures = ByView(ReadTrace(folder / "trace"));
    EXPECT_EQ(pictures[0], before);
    EXPECT_EQ(pictures[1], after);
}

TEST(BadSecondView, IsOneLine) {
    struct Row {
        Strings options;
        const char* reason;
    };
    const Row rows[] = {
        {{"--compare", Clip("missing.mp4")}, "missing.mp4: No such file"},
        {{"--compare", Clip("tone.wav")}, "tone.wav: "},
        {{"--filter", "nosuchfilter"}, "nosuchfilter"},
        {{"--filter", "hflip[a"}, "hflip[a"},
    };
    for (const Row& row : rows) {
        const Outcome outcome = RunProcess(Headless(Clip("silent.mp4"), row.options));
        SCOPED_TRACE(row.reason);
        EXPECT_EQ(outcome.status, 1);
        EXPECT_EQ(outcome.out, "");
        EXPECT_EQ(Lines(outcome.err).size(), 1u) << outcome.err;
        EXPECT_NE(outcome.err.find(row.reason), std::string::npos) << outcome.err;
    }
    EXPECT_EQ(RunProcess(Headless(Clip("tone.wav"), {"--filter", "hflip"})).status, 1);
}

} // namespace
