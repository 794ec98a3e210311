// Pictures that are written, and several views: compared with FFmpeg's decoder.
#include "Kqplay.h"

#include <cmath>

using namespace kqtest;
using kq::test::ReadFile;
namespace fs = std::filesystem;

namespace {

TEST(Capture, WritesExactlyThePictureOfTheTime) {
    const TemporaryFolder folder;
    const Strings frames = ReferenceHashes(Clip("plain.mp4"));
    const std::pair<const char*, std::size_t> rows[] = {
        {"0", 0}, {"0.039", 0}, {"0.04", 1}, {"0.999", 24}, {"1.96", 49}, {"1000", 49}, {"0.5", 12}};
    Strings options = {"--no-audio", "--length", "0.04", "--capture-at", "0.2:" + folder / "a.jpeg"};
    const auto path = [&](const char* time, const char* suffix) {
        return folder / ("b\xC3\xA4r" + std::string(time) + suffix);
    };
    for (const auto& [time, frame] : rows) {
        for (const char* suffix : {".png", ".BMP"}) {
            options.insert(options.end(), {"--capture-at", time + (":" + path(time, suffix))});
        }
    }
    const Outcome outcome = RunProcess(Headless(Clip("plain.mp4"), options));
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    for (const auto& [time, frame] : rows) {
        for (const char* suffix : {".png", ".BMP"}) {
            EXPECT_EQ(FileHash(path(time, suffix)), frames[frame]) << time << suffix;
        }
    }
    EXPECT_EQ(ReadFile(folder / "a.jpeg").substr(0, 2), "\xFF\xD8");
}

TEST(Capture, TakesOddSizesAndEveryView) {
    const TemporaryFolder folder;
    PlayTraced(Clip("odd-3x5.mkv"),
               {"--compare", Clip("silent.mp4"), "--capture-at", "0.2:" + folder / "c.png"});
    EXPECT_EQ(FileHash(folder / "c-1.png"), ReferenceHashes(Clip("odd-3x5.mkv"))[5]);
    EXPECT_EQ(FileHash(folder / "c-2.png"), ReferenceHashes(Clip("silent.mp4"))[6]);
}

TEST(Capture, WhatCannotBeWrittenLeavesTheOldFile) {
    const TemporaryFolder folder;
    fs::create_directory(folder / "folder.png");
    kq::test::WriteFile(folder / "old.png", "old");
    // A limit on the size of files stands in for a full disk.
    for (const char* name : {"old.png", "folder.png"}) {
        const Outcome outcome =
            RunProcess({"sh", "-c", "trap '' XFSZ; ulimit -f 1; exec \"$0\" \"$@\"", KQPLAY_PROGRAM,
                        "--headless", "--capture-at", "0:" + folder / name, Clip("plain.mp4")});
        EXPECT_EQ(outcome.status, 1);
        EXPECT_EQ(outcome.err.rfind("kqplay: " + folder / name + ": ", 0), 0u) << outcome.err;
    }
    EXPECT_EQ(ReadFile(folder / "old.png"), "old");
    EXPECT_EQ(folder.CountFiles(), 2u) << "nothing else is left";
}

TEST(Screenshot, IsWhatIsOnShowAndReplacesNothing) {
    PlayingLong kqplay({"--no-audio"});
    const TemporaryFolder& folder = kqplay.folder;
    kqplay.Press(" ", "paused  0:0");
    kqplay.Press("\033[H\033[C", "paused  0:05.00");
    kqplay.Press("s", "saved long-0005.000.png");
    const std::string first = ReadFile(folder / "long-0005.000.png");
    kqplay.Press("s", "saved long-0005.000_2.png");
    kqplay.Quit();
    EXPECT_EQ(ReadFile(folder / "long-0005.000.png"), first);
    const std::string frame = ReferenceHashes(Clip("long.mp4"))[125];
    EXPECT_EQ(FileHash(folder / "long-0005.000.png"), frame);
    EXPECT_EQ(FileHash(folder / "long-0005.000_2.png"), frame);
}

TEST(Screenshot, OfTwoViewsNamesBothFiles) {
    AtTerminal kqplay({"--headless", "--no-audio", "--filter", "hflip", "--start", "5", Clip("long.mp4")});
    kqplay.Press(" ", "paused  0:05");
    kqplay.Press("\033[Hs", "saved long-0005.000-1.png, long-0005.000-2.png");
    kqplay.Quit();
    EXPECT_TRUE(fs::exists(kqplay.folder / "long-0005.000-1.png"));
    EXPECT_TRUE(fs::exists(kqplay.folder / "long-0005.000-2.png"));
}

TEST(ContactSheet, KeepsToTheRangeAndTheFilter) {
    const TemporaryFolder folder;
    const Outcome outcome =
        RunProcess({KQPLAY_PROGRAM, "--contact-sheet", folder / "sheet.png:1x1", "--start", "19.98",
                    "--length", "0.06", "--filter", "hflip", Clip("long.mp4")});
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    const auto gray = [](const Strings& input, const std::string& filter) {
        return RunProcess(
                   Joined(Joined({"ffmpeg", "-v", "error"}, input),
                          {"-frames:v", "1", "-vf", filter, "-f", "rawvideo", "-pix_fmt", "gray", "-"}))
            .out;
    };
    const std::string drawn = gray({"-i", folder / "sheet.png"}, "crop=96:30:4:38");
    const std::string expected = gray({"-ss", "20", "-i", Clip("long.mp4")}, "hflip,crop=96:30:0:34");
    ASSERT_EQ(drawn.size(), 96u * 30u);
    ASSERT_EQ(expected.size(), drawn.size());
    double difference = 0;
    for (std::size_t i = 0; i < drawn.size(); ++i) {
        difference +=
            std::abs(static_cast<unsigned char>(drawn[i]) - static_cast<unsigned char>(expected[i]));
    }
    EXPECT_LT(difference / static_cast<double>(drawn.size()), 6);
}

TEST(ContactSheet, ShowsPicturesEvenlySpaced) {
    const TemporaryFolder folder;
    const Outcome outcome =
        RunProcess({KQPLAY_PROGRAM, "--contact-sheet", folder / "sheet.png:3x2", Clip("long.mp4")});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(Lines(outcome.out).size(), 1u);
    const Outcome size = RunProcess({"ffprobe", "-v", "error", "-show_entries", "stream=width,height", "-of",
                                     "csv=p=0", folder / "sheet.png"});
    EXPECT_EQ(Lines(size.out).at(0), "304,140"); // tiles of 96x64, 4 pixels around each
    // Each tile is the clip's picture of its time, not scaled here, but for the label in its corner.
    const auto region = [](const std::string& file, const std::string& crop, int second) {
        return RunProcess({"ffmpeg", "-v", "error", "-ss", std::to_string(second), "-i", file, "-frames:v",
                           "1", "-vf", "crop=" + crop, "-f", "rawvideo", "-pix_fmt", "gray", "-"})
            .out;
    };
    for (int tile = 0; tile < 6; ++tile) {
        const std::string at =
            std::to_string(4 + tile % 3 * 100) + ":" + std::to_string(4 + 34 + tile / 3 * 68);
        const std::string drawn = region(folder / "sheet.png", "96:30:" + at, 0);
        const std::string expected = region(Clip("long.mp4"), "96:30:0:34", tile * 10);
        ASSERT_EQ(drawn.size(), 96u * 30u);
        ASSERT_EQ(expected.size(), drawn.size());
        double difference = 0;
        for (std::size_t i = 0; i < drawn.size(); ++i) {
            difference +=
                std::abs(static_cast<unsigned char>(drawn[i]) - static_cast<unsigned char>(expected[i]));
        }
        EXPECT_LT(difference / static_cast<double>(drawn.size()), 6) << "tile " << tile;
    }
}

} // namespace
