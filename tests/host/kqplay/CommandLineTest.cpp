// Exit statuses and messages: wrong command lines, and files that cannot be played.
#include "Kqplay.h"

#include <gtest/gtest.h>

#include <fstream>

using namespace kqtest;
namespace fs = std::filesystem;

namespace {

using Strings = std::vector<std::string>;

TEST(CommandLine, RefusesWhatMakesNoSense) {
    const std::string clip = Clip("plain.mp4");
    const Strings rows[] = {
        {},
        {"--no-such-option", clip},
        {clip, clip},
        {"--start", "soon", clip},
        {"--start", "-1", clip},
        {"--length", "nan", clip},
        {"--volume", "101", clip},
        {"--volume", "loud", clip},
        {"--audio", "trumpet", clip},
        {"--audio", "wav:", clip},
        {"--audio", "null", "--no-audio", clip},
        {"--no-audio", "--no-video", clip},
        {"--trace-hash", clip},
        {"-v", "--log", "somewhere", clip},
        {"--trace"},
        {"--views", "0", clip},
        {"--views", "17", clip},
        {"--views", "2", "--compare", clip, clip},
        {"--filter", "hflip", "--compare", clip, clip},
        {"--capture-at", "1", clip},
        {"--capture-at", "1:", clip},
        {"--capture-at", "soon:a.png", clip},
        {"--capture-at", "-1:a.png", clip},
        {"--capture-at", "1:a.gif", clip},
        {"--capture-at", "1:a", clip},
        {"--capture-at", "1:a.png", "--no-video", clip},
        {"--contact-sheet", "a.gif", clip},
        {"--contact-sheet", "a.png:0x4", clip},
        {"--contact-sheet", "a.png:33x1", clip},
        {"--contact-sheet", "a.png:4x", clip},
    };
    for (const Strings& row : rows) {
        Strings command = {KqplayPath()};
        command.insert(command.end(), row.begin(), row.end());
        SCOPED_TRACE(testing::PrintToString(row));
        const Outcome outcome = RunProcess(command);
        EXPECT_EQ(outcome.status, 2);
        EXPECT_EQ(outcome.out, "");
        EXPECT_EQ(outcome.err.rfind("kqplay: ", 0), 0u) << outcome.err;
    }
}

TEST(CommandLine, TellsItsVersionAndHowItIsUsed) {
    const Outcome version = RunProcess({KqplayPath(), "--version"});
    EXPECT_EQ(version.status, 0);
    EXPECT_EQ(version.out.rfind("kqplay ", 0), 0u) << version.out;
    const Outcome help = RunProcess({KqplayPath(), "--help"});
    EXPECT_EQ(help.status, 0);
    for (const char* option :
         {"FILE",       "--start",    "--length",  "--loop",   "--volume",     "--mute",         "--no-audio",
          "--no-video", "--headless", "--audio",   "--trace",  "--trace-hash", "--log",          "--verbose",
          "--version",  "--views",    "--compare", "--filter", "--capture-at", "--contact-sheet"})
        EXPECT_NE(help.out.find(option), std::string::npos) << option;
}

/// One line on standard error that names the file, nothing on standard output, status 1.
void ExpectOneLine(const Outcome& outcome, const std::string& named, const std::string& reason) {
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.out, "");
    const Strings lines = Lines(outcome.err);
    ASSERT_EQ(lines.size(), 1u) << outcome.err;
    EXPECT_EQ(lines[0].rfind("kqplay: " + named + ": ", 0), 0u) << lines[0];
    EXPECT_NE(lines[0].find(reason), std::string::npos) << lines[0];
}

TEST(BadInput, EndsInOneLineThatNamesTheFileAndTheReason) {
    struct Row {
        const char* clip;
        Strings options;
        const char* reason;
    };
    const Row rows[] = {
        {"missing.mp4", {}, "No such file"}, {"folder.mp4", {}, "irectory"},
        {"empty.mp4", {}, "mpty"},           {"words.mp4", {}, ""},
        {"truncated.mp4", {}, ""},           {"tone.wav", {"--no-audio"}, ""},
        {"silent.mp4", {"--no-video"}, ""},  {"picture.png", {"--no-video"}, ""},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.clip);
        ExpectOneLine(RunProcess(Headless(Clip(row.clip), row.options)), Clip(row.clip), row.reason);
    }
}

TEST(BadInput, FilesThatCannotBeWrittenAreNamed) {
    const TemporaryFolder folder;
    const std::string nowhere = folder / "no-such-folder/file";
    for (const char* option : {"--trace", "--log"}) {
        SCOPED_TRACE(option);
        ExpectOneLine(RunProcess(Headless(Clip("one.mp4"), {option, nowhere})), nowhere, "No such file");
    }
    ExpectOneLine(RunProcess(Headless(Clip("plain.mp4"), {"--audio", "wav:" + nowhere})), nowhere,
                  "No such file");
    ExpectOneLine(RunProcess(Headless(Clip("plain.mp4"), {"--audio", "wav:" + folder / ""})), folder / "",
                  "irectory");
}

TEST(BadInput, FullDisksAreReported) {
    const Outcome outcome = RunProcess(Headless(Clip("silent.mp4"), {"--trace", "/dev/full"}));
    EXPECT_EQ(outcome.status, 1);
    EXPECT_NE(outcome.err.find("kqplay: /dev/full: "), std::string::npos) << outcome.err;
}

TEST(BadInput, UnusualSourcesPlay) {
    for (const char* clip : {"surround.mkv", "picture.png", "one.mp4"}) {
        SCOPED_TRACE(clip);
        const Outcome outcome = RunProcess(Headless(Clip(clip), {"--audio", "null"}));
        EXPECT_EQ(outcome.status, 0);
        EXPECT_EQ(outcome.err, "");
    }
}

/// kqplay and its libraries, copied without the view library.
class WithoutViewLibrary : public testing::Test {
protected:
    WithoutViewLibrary() {
        fs::copy_file(KqplayPath(), m_folder / "kqplay");
        for (const auto& file : fs::directory_iterator(fs::path(KqplayPath()).parent_path())) {
            const std::string name = file.path().filename().string();
            if (name.rfind("libKQ", 0) == 0)
                fs::copy_file(file, m_folder / name);
        }
    }

    Outcome Play() {
        return RunProcess({m_folder / "kqplay", "--headless", "--no-audio", Clip("silent.mp4")});
    }

    TemporaryFolder m_folder;
};

TEST_F(WithoutViewLibrary, SaysThatItIsMissing) {
    ExpectOneLine(Play(), Clip("silent.mp4"), "PlayerView.so: cannot open shared object file");
}

TEST_F(WithoutViewLibrary, SaysThatItIsDamaged) {
    std::ofstream(m_folder / "PlayerView.so") << "not a library at all, whatever its name says\n";
    ExpectOneLine(Play(), Clip("silent.mp4"), "PlayerView.so");
}

TEST_F(WithoutViewLibrary, SaysWhichFunctionIsLacking) {
    fs::copy_file(KQPLAY_LACKING_VIEW, m_folder / "PlayerView.so");
    ExpectOneLine(Play(), Clip("silent.mp4"), "PlayerView.so has no function PVShowRGB32Image");
}

TEST_F(WithoutViewLibrary, PlaysWithALibraryThatHandsNoPicturesOut) {
    fs::copy_file(KQPLAY_PLAIN_VIEW, m_folder / "PlayerView.so");
    const Outcome outcome = Play();
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.out.find("late"), std::string::npos) << "nobody counted late frames: " << outcome.out;
}

TEST(Output, BelongsToKqplayUnlessTheUserWantsMore) {
    const TemporaryFolder folder;
    const std::string clip = Clip("plain.mp4");
    const Outcome quiet = RunProcess(Headless(clip, {"--audio", "null"}));
    EXPECT_EQ(Lines(quiet.out).size(), 1u) << quiet.out;
    EXPECT_EQ(quiet.out.rfind("played  0:0", 0), 0u) << quiet.out;
    EXPECT_EQ(quiet.err, "");

    const Outcome logged = RunProcess(Headless(clip, {"--audio", "null", "--log", folder / "log"}));
    EXPECT_EQ(Lines(logged.out).size(), 1u) << logged.out;
    EXPECT_EQ(logged.err, "");
    std::ifstream file(folder / "log");
    const std::string log(std::istreambuf_iterator<char>(file), {});

    const Outcome verbose = RunProcess(Headless(clip, {"--audio", "null", "-v"}));
    EXPECT_EQ(Lines(verbose.out).size(), 1u) << verbose.out;
    for (const std::string& text : {log, verbose.err}) {
        EXPECT_NE(text.find("soundplayer:: player begin"), std::string::npos) << "printed by the component\n"
                                                                              << text;
        EXPECT_NE(text.find("CMediaPlayer::SetPlayTime"), std::string::npos) << "logged by the component\n"
                                                                             << text;
    }
}

} // namespace
