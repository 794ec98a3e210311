// kqplay --doctor: what it finds on machines that lack something, and its exit status.
#include "Kqplay.h"
#include "tests/support/Xvfb.h"

#include <regex>

using namespace kqtest;

namespace {

/// @param told regular expressions
void ExpectReport(int status, const Strings& told, const Strings& options,
                  const Process::Environment& environment = {}, const std::string& program = KQPLAY_PROGRAM) {
    const Outcome outcome = RunProcess(Joined({program, "--doctor"}, options), environment);
    EXPECT_EQ(outcome.status, status);
    EXPECT_EQ(outcome.err, "");
    for (const std::string& line : told) {
        EXPECT_TRUE(std::regex_search(outcome.out, std::regex(line))) << line << "\n" << outcome.out;
    }
    for (const std::string& line : Lines(outcome.out)) {
        const bool aligned =
            line.empty() || line[0] != ' ' || (line.size() > 20 && line[19] == ' ' && line[20] != ' ');
        EXPECT_TRUE(aligned) << line;
    }
}

TEST(Doctor, FindsThatAllIsThere) {
    const Xvfb server;
    ExpectReport(0,
                 {"KQPlayer +[0-9]", "MIT-SHM yes", "device +No Output", "shown +in a window",
                  "50 of 50 in order", "paced by +the sound", "PlayerView.so +/.*PlayerView.so",
                  // A busy machine shows pictures late.
                  "conclusion +(All is well|Nothing is broken; 1 note)"},
                 {"--audio", "null"}, {{"DISPLAY", server.Display()}});
}

TEST(Doctor, FindsNoDisplayAndNoDevice) {
    ExpectReport(0,
                 {"DISPLAY +not set", "no sound device", "set to 'nosuch'", "shown +off-screen",
                  "50 of 50 in order", "paced by +the wall clock", "Nothing is broken; [23] notes"},
                 {}, {{"ALSOFT_DRIVERS", "nosuch"}});
}

TEST(Doctor, FindsADisplayThatDoesNotAnswer) {
    ExpectReport(0, {"DISPLAY=:987 does not answer", "shown +off-screen"}, {"--no-audio"},
                 {{"DISPLAY", ":987"}});
}

TEST(Doctor, FindsViewLibrariesThatDoNotFit) {
    const struct {
        std::string library;
        int status;
        Strings told;
    } rows[] = {
        {"",
         1,
         {"PlayerView.so +not found", "broken +PlayerView.so cannot be loaded", "what to do",
          "1 thing is broken"}},
        {KQPLAY_LACKING_VIEW, 1, {"broken +/.* has no function PVShowRGB32Image"}},
        {KQPLAY_PLAIN_VIEW, 0, {"pictures +not counted", "moved by 1\\.0"}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.library);
        const TemporaryFolder folder;
        ExpectReport(row.status, row.told, {"--no-audio"}, {}, CopyProgram(folder, row.library));
    }
}

} // namespace
