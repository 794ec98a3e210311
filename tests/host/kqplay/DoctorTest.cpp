// kqplay --doctor: what it finds on machines that lack something, and its exit status.
#include "Kqplay.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <regex>

using namespace kqtest;
namespace fs = std::filesystem;

namespace {

using Strings = std::vector<std::string>;

struct Case {
    const char* name;
    const char* viewLibrary; ///< beside a copy of kqplay that has none of its own; null: the program as it is
    bool display;
    Process::Environment environment;
    Strings options;
    int status;
    Strings told; ///< regular expressions
};

void PrintTo(const Case& value, std::ostream* out) {
    *out << value.name;
}

class Doctor : public testing::TestWithParam<Case> {
protected:
    /// @return the program to run: a copy with another view library if the case wants one
    std::string Program() {
        if (!GetParam().viewLibrary)
            return KQPLAY_PROGRAM;
        fs::copy_file(KQPLAY_PROGRAM, m_folder / "kqplay");
        for (const auto& file : fs::directory_iterator(fs::path(KQPLAY_PROGRAM).parent_path())) {
            const std::string name = file.path().filename().string();
            if (name.rfind("libKQ", 0) == 0)
                fs::copy_file(file, m_folder / name);
        }
        if (*GetParam().viewLibrary)
            fs::copy_file(GetParam().viewLibrary, m_folder / "PlayerView.so");
        return m_folder / "kqplay";
    }

    Outcome Examine(Process::Environment environment) {
        Strings command = {Program(), "--doctor"};
        command.insert(command.end(), GetParam().options.begin(), GetParam().options.end());
        return RunProcess(command, environment);
    }

    TemporaryFolder m_folder;
};

TEST_P(Doctor, FindsWhatIsWrong) {
    Process::Environment environment = GetParam().environment;
    std::optional<Process> server;
    if (GetParam().display) {
        server.emplace(Strings{"Xvfb", "-displayfd", "1", "-screen", "0", "640x480x24", "-nolisten", "tcp"});
        ASSERT_TRUE(server->WaitForOutput("\n"));
        environment["DISPLAY"] = ":" + Lines(server->Output())[0];
    }
    const Outcome outcome = Examine(environment);
    EXPECT_EQ(outcome.status, GetParam().status);
    EXPECT_EQ(outcome.err, "");
    for (const std::string& line : GetParam().told)
        EXPECT_TRUE(std::regex_search(outcome.out, std::regex(line))) << line << "\n" << outcome.out;
    for (const std::string& line : Lines(outcome.out)) {
        const bool aligned =
            line.empty() || line[0] != ' ' || (line.size() > 20 && line[19] == ' ' && line[20] != ' ');
        EXPECT_TRUE(aligned) << line;
    }
}

const Case cases[] = {
    {"AllIsThere",
     nullptr,
     true,
     {},
     {"--audio", "null"},
     0,
     {"KQPlayer +[0-9]", "MIT-SHM yes", "device +No Output", "shown +in a window", "50 of 50 in order",
      "paced by +the sound", "PlayerView.so +/.*PlayerView.so",
      "conclusion +(All is well|Nothing is broken; 1 note)"}}, // a busy machine shows pictures late
    {"NoDisplayNoDevice",
     nullptr,
     false,
     {{"ALSOFT_DRIVERS", "nosuch"}},
     {},
     0,
     {"DISPLAY +not set", "no sound device", "set to 'nosuch'", "shown +off-screen", "50 of 50 in order",
      "paced by +the wall clock", "Nothing is broken; [23] notes"}},
    {"DisplayThatDoesNotAnswer",
     nullptr,
     false,
     {{"DISPLAY", ":987"}},
     {"--no-audio"},
     0,
     {"DISPLAY=:987 does not answer", "shown +off-screen"}},
    {"NoViewLibrary",
     "",
     false,
     {},
     {"--no-audio"},
     1,
     {"PlayerView.so +not found", "broken +PlayerView.so cannot be loaded", "what to do",
      "1 thing is broken"}},
    {"ViewLibraryOfAnotherVersion",
     KQPLAY_LACKING_VIEW,
     false,
     {},
     {"--no-audio"},
     1,
     {"broken +/.* has no function PVShowRGB32Image"}},
    {"ViewLibraryOfAnotherMaker",
     KQPLAY_PLAIN_VIEW,
     false,
     {},
     {"--no-audio"},
     0,
     {"pictures +not counted", "moved by 1\\.0"}},
};

INSTANTIATE_TEST_SUITE_P(Machines, Doctor, testing::ValuesIn(cases),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(DoctorOptions, ItPlaysNoFile) {
    EXPECT_EQ(RunProcess({KQPLAY_PROGRAM, "--doctor", Clip("plain.mp4")}).status, 2);
}

} // namespace
