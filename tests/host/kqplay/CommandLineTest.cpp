// Exit statuses and messages: wrong command lines, and files that cannot be played.
#include "Kqplay.h"

#include <sys/stat.h>

using namespace kqtest;

namespace {

TEST(CommandLine, RefusesWhatMakesNoSense) {
    const std::string clip = Clip("plain.mp4");
    const Strings rows[] = {
        {},
        {"--no-such-option", clip},
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
        {"--offset", "3", clip},
        {"--offset", "3", "--compare", clip, clip},
        {"--compare", clip, "--offset", "three", clip},
        {"--compare", clip, "--offset", "1", "--offset", "2", clip},
        {"--layout", "wipe", clip},
        {"--layout", "round", "--compare", clip, clip},
        {"--align", "sound", clip},
        {"--align", "smell", "--compare", clip, clip},
        {"--capture-at", "1", clip},
        {"--capture-at", "1:", clip},
        {"--capture-at", "soon:a.png", clip},
        {"--capture-at", "-1:a.png", clip},
        {"--capture-at", "1:a.gif", clip},
        {"--capture-at", "1:a", clip},
        {"--capture-at", "1:a.png", "--no-video", clip},
        {"--doctor", clip},
        {"--contact-sheet", "a.gif", clip},
        {"--speed", "0", clip},
        {"--speed", "8.5", clip},
        {"--speed", "-5", clip},
        {"--speed", "nan", clip},
        {"--speed", "6", "--reverse", clip},
        {"--loop-count", "0", clip},
        {"--frame", "-1", clip},
        {"--frame", "3", "--start", "1", clip},
        {"--contact-sheet", "a.png:0x4", clip},
        {"--contact-sheet", "a.png:33x1", clip},
        {"--contact-sheet", "a.png:4x", clip},
        {"--contact-sheet", "a.png", "--compare", clip, clip},
        {"--compare", clip, clip, clip},
        {"--filter", "hflip", clip, clip},
        {"--verify", clip, clip},
    };
    const TemporaryFolder folder; // the current one, for what a fault would write
    for (const Strings& row : rows) {
        SCOPED_TRACE(testing::PrintToString(row));
        const Outcome outcome =
            RunProcess(Joined({"sh", "-c", "cd \"$0\" && exec \"$@\"", folder / "", KQPLAY_PROGRAM}, row));
        EXPECT_EQ(outcome.status, 2);
        EXPECT_EQ(outcome.out, "");
        EXPECT_EQ(outcome.err.rfind("kqplay: ", 0), 0u) << outcome.err;
    }
}

TEST(CommandLine, GuessesWhichOptionWasMeant) {
    const std::pair<const char*, const char*> rows[] = {
        {"--strat=5", "--strat: did you mean --start?"},
        {"-loop", "-loop: did you mean --loop?"},
        {"--contact", "--contact: did you mean --contact-sheet?"},
        {"--no-audo", "--no-audo: did you mean --no-audio?"},
        {"--quiet", "--quiet"},
        {"-x", "-x"},
    };
    for (const auto& [typed, answer] : rows) {
        const Outcome outcome = RunProcess({KQPLAY_PROGRAM, typed, Clip("plain.mp4")});
        EXPECT_EQ(outcome.status, 2);
        EXPECT_EQ(Lines(outcome.err).at(0), std::string("kqplay: there is no option ") + answer);
    }
}

TEST(CommandLine, TakesTimesAsPeopleWriteThem) {
    const TemporaryFolder folder;
    const Strings frames = ReferenceHashes(Clip("long.mp4"));
    const Outcome outcome =
        RunProcess({"sh", "-c", "cd \"$0\" && exec \"$@\"", folder / "", KQPLAY_PROGRAM, "--headless",
                    "--no-audio", "--start", "0:59.9", "--length", "0:00.04", "--capture-at", "0:30:a.png",
                    "--capture-at", "0:00:12.5:b:c.png", "--capture-at", "3:10.png", Clip("long.mp4")});
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.out.rfind("played  0:59.9", 0), 0u) << outcome.out;
    EXPECT_EQ(FileHash(folder / "a.png"), frames.at(750));
    EXPECT_EQ(FileHash("file:" + folder / "b:c.png"), frames.at(312));
    EXPECT_EQ(FileHash(folder / "10.png"), frames.at(75));
}

TEST(CommandLine, NamesAnUnknownOptionBeforeAnythingElse) {
    const std::string clip = Clip("plain.mp4");
    for (const Strings& row : {Strings{"--strat", "1", clip}, Strings{clip, "--strat", "1"},
                               Strings{"--strat"}, Strings{"--strat", "--volume", "loud"}}) {
        const Outcome outcome = RunProcess(Joined({KQPLAY_PROGRAM}, row));
        EXPECT_EQ(outcome.status, 2);
        EXPECT_EQ(Lines(outcome.err).at(0), "kqplay: there is no option --strat: did you mean --start?")
            << testing::PrintToString(row);
    }
}

TEST(CommandLine, TellsItsVersionAndHowItIsUsed) {
    const Outcome version = RunProcess({KQPLAY_PROGRAM, "--version"});
    EXPECT_EQ(version.status, 0);
    EXPECT_EQ(version.out.rfind("kqplay ", 0), 0u) << version.out;
    const Outcome help = RunProcess({KQPLAY_PROGRAM, "--help"});
    EXPECT_EQ(help.status, 0);
    for (const char* option :
         {"FILE",       "--start",    "--length",  "--loop",   "--volume",     "--mute",         "--no-audio",
          "--no-video", "--headless", "--audio",   "--trace",  "--trace-hash", "--log",          "--verbose",
          "--version",  "--views",    "--compare", "--filter", "--capture-at", "--contact-sheet"}) {
        EXPECT_NE(help.out.find(option), std::string::npos) << option;
    }
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
    const TemporaryFolder folder;
    const std::string nowhere = folder / "no-such-folder/file";
    const struct {
        std::string clip;
        Strings options;
        std::string named, reason;
    } rows[] = {
        {"missing.mp4", {}, "", "No such file"},
        {"folder.mp4", {}, "", "irectory"},
        {"empty.mp4", {}, "", "mpty"},
        {"words.mp4", {}, "", ""},
        {"truncated.mp4", {}, "", ""},
        {"tone.wav", {"--no-audio"}, "", ""},
        {"silent.mp4", {"--no-video"}, "", ""},
        {"picture.png", {"--no-video"}, "", ""},
        {"tone.wav", {"--filter", "hflip"}, "", ""},
        {"one.mp4", {"--trace", nowhere}, nowhere, "No such file"},
        {"one.mp4", {"--log", nowhere}, nowhere, "No such file"},
        {"plain.mp4", {"--audio", "wav:" + nowhere}, nowhere, "No such file"},
        {"plain.mp4", {"--audio", "wav:" + folder / ""}, folder / "", "irectory"},
        {"plain.mp4", {"--audio-track", "2"}, "", "no sound track 2 among 1"},
        {"silent.mp4", {"--compare", Clip("missing.mp4")}, Clip("missing.mp4"), "No such file"},
        {"silent.mp4", {"--compare", Clip("tone.wav")}, Clip("tone.wav"), ""},
        {"silent.mp4", {"--filter", "hflip[a"}, "filter \"hflip[a\"", ""},
        {"silent.mp4", {"--capture-at", "0:" + nowhere + ".png"}, nowhere + ".png", "No such file"},
        {"silent.mp4", {"--capture-at", "0:/proc/a.png"}, "/proc/a.png", ""},
        {"silent.mp4", {"--contact-sheet", nowhere + ".png"}, nowhere + ".png", "No such file"},
        {"silent.mp4", {"--contact-sheet", "/proc/a.bmp:1x1"}, "/proc/a.bmp", ""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.clip + " " + testing::PrintToString(row.options));
        ExpectOneLine(RunProcess(Headless(Clip(row.clip), row.options)),
                      row.named.empty() ? Clip(row.clip) : row.named, row.reason);
    }
}

TEST(BadInput, WhatCannotBePlayedIsToldOf) {
    const TemporaryFolder folder;
    const std::string pipe = folder / "pipe";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    const Process writer({"sh", "-c", "exec cat \"$0\" >\"$1\"", Clip("long.mp4"), pipe});
    ExpectOneLine(RunProcess(Headless(pipe, {})), pipe, "its index stands at its end");
    const std::string whole = Clip("surround.mkv");
    const struct {
        std::string codec;
        std::string kind;
        bool isBeside;
    } rows[] = {
        {"FFV1", "no pictures", false}, {"PCM/INT", "no sound", false}, {"PCM/INT", "no sound", true}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.kind + (row.isBeside ? " beside another file" : ""));
        std::string content = kq::test::ReadFile(whole);
        content.replace(content.find(row.codec), 1, "X");
        const std::string unknown = kq::test::WriteFile(folder / "unknown.mkv", content);
        std::vector<std::string> options = {"--audio", "null"};
        if (row.isBeside) {
            options.insert(options.end(), {"--compare", unknown});
        }
        const Outcome outcome = RunProcess(Headless(row.isBeside ? whole : unknown, options));
        EXPECT_EQ(outcome.status, 0);
        EXPECT_EQ(outcome.err,
                  "kqplay: " + unknown + ": " + row.kind + ": no decoder for an unknown codec\n");
    }
}

TEST(BadInput, FullDisksAreReported) {
    const Outcome outcome = RunProcess(Headless(Clip("silent.mp4"), {"--trace", "/dev/full"}));
    EXPECT_EQ(outcome.status, 1);
    EXPECT_NE(outcome.err.find("kqplay: /dev/full: "), std::string::npos) << outcome.err;
}

TEST(BadInput, ViewLibrariesThatCannotServeAreNamed) {
    const auto play = [](const std::string& viewLibrary) {
        const TemporaryFolder folder;
        const std::string program = CopyProgram(folder, viewLibrary);
        return RunProcess({program, "--headless", "--no-audio", Clip("silent.mp4")});
    };
    const std::pair<std::string, const char*> rows[] = {
        {"", "PlayerView.so: cannot open shared object file"},
        {Clip("words.mp4"), "PlayerView.so"}, // no library at all
        {KQPLAY_LACKING_VIEW, "PlayerView.so has no function PVShowRGB32Image"},
    };
    for (const auto& [library, reason] : rows) {
        ExpectOneLine(play(library), Clip("silent.mp4"), reason);
    }
    const Outcome outcome = play(KQPLAY_PLAIN_VIEW); // has no picture sink
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.out.find("late"), std::string::npos) << "nobody counted late frames: " << outcome.out;
}

TEST(Output, BelongsToKqplayUnlessTheUserWantsMore) {
    const TemporaryFolder folder;
    const auto play = [](const Strings& options) {
        return RunProcess(
            Headless(Clip("plain.mp4"), Joined({"--audio", "null", "--start", "1.8"}, options)));
    };
    const Outcome quiet = play({}), logged = play({"--log", folder / "log"}), verbose = play({"-v"});
    EXPECT_EQ(quiet.out.rfind("played  0:0", 0), 0u) << quiet.out;
    for (const Outcome* outcome : {&quiet, &logged, &verbose}) {
        EXPECT_EQ(Lines(outcome->out).size(), 1u) << outcome->out;
    }
    EXPECT_EQ(quiet.err + logged.err, "");
    for (const std::string& text : {kq::test::ReadFile(folder / "log"), verbose.err}) {
        EXPECT_NE(text.find("soundplayer:: player begin"), std::string::npos) << "printed\n" << text;
        EXPECT_NE(text.find("CMediaPlayer::SetPlayTime"), std::string::npos) << "logged\n" << text;
    }
}

} // namespace
