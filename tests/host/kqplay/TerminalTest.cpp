// Keys and signals, typed at a pseudo-terminal.
#include "Kqplay.h"
#include "tests/support/WaitUntil.h"

#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>

using namespace kqtest;
using kq::test::WaitUntil;
namespace fs = std::filesystem;

namespace {

class Terminal : public testing::Test {
protected:
    PlayingLong m_kqplay{{"--audio", "null", "--volume", "95"}};
    Process& m_process = m_kqplay.process;
};

TEST_F(Terminal, KeysTellWhatTheyDid) {
    EXPECT_FALSE(m_process.TerminalIsNormal()) << "keys come one by one, and are not echoed";
    m_kqplay.Press(" ", "paused  0:");
    m_kqplay.Press(" \033[Z", "playing  0:"); // a key without a meaning is not Esc: more keys are taken
    const std::pair<const char*, const char*> rows[] = {
        {"9", "volume 90 %"},
        {"0", "volume 95 %"},
        {"0", "volume 100 %"},
        {"0", "volume 100 %"},
        {"m", "mute"},
        {"m", "volume 100 %"},
        {"L", "loop on"},
        {"L", "loop off"},
        {"i", "96x64 yuv420p, 25 frames/s; aac"},
        {"f", "playing"},
        {"h", "Print these keys"},
        {"S", "stopped  0:"},
        {" ", "playing  0:"},
        {" ", "paused  0:"},
    };
    for (const auto& [keys, text] : rows) {
        m_kqplay.Press(keys, text);
    }
    const Trace trace = m_kqplay.Quit();
    EXPECT_NE(m_process.Output().find("quit  0:"), std::string::npos);
    EXPECT_EQ(m_process.Output().find("soundplayer"), std::string::npos) << "the component's words stay out";
    EXPECT_EQ(trace.states, (std::vector<int>{1, 2, 1, 3, 0, 1, 2, 3, 0}));
}

TEST(SeveralFiles, TheUserGoesThroughThem) {
    const std::string missing = "/nowhere.mp4";
    AtTerminal kqplay({"--headless", "--audio", "null", Clip("long.mp4"), missing, Clip("long.mp4")});
    kqplay.Press("", "1/3  ");
    kqplay.Press("", "playing  0:");
    const std::pair<const char*, const char*> rows[] = {
        {"<", "this is the first file"},
        {"#", "there is one sound track"},
        {"9", "volume 95 %"},
        {">", "skipped  0:"},
        {"", "nowhere.mp4: No such file"},
        {"", "3/3  "},
        {"", "playing  0:"},
        {">", "this is the last file"},
        {"9", "volume 90 %"}, // as it was set before
        {"<", "1/3  "},       // what cannot be opened is left out
        {"", "playing  0:"},
    };
    for (const auto& [keys, text] : rows) {
        kqplay.Press(keys, text);
    }
    const Outcome outcome = (kqplay.Press("q", "quit"), kqplay.process.Finish());
    EXPECT_EQ(outcome.status, 1) << "a file could not be opened";
}

TEST_F(Terminal, EscapeAndControlCQuit) {
    m_kqplay.Quit("\033");
    PlayingLong({"--no-audio"}).Quit("\003");
}

TEST_F(Terminal, ControlZGivesTheTerminalBackMeanwhile) {
    m_kqplay.Suspend(0);
    m_kqplay.Press("", "playing");
    usleep(500000);
    const Trace trace = m_kqplay.Quit();
    EXPECT_EQ(trace.states, (std::vector<int>{1, 2, 1, 3, 0})) << "play paused meanwhile";
}

TEST(Signals, QuitCleanly) {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) {
        SCOPED_TRACE(signal);
        PlayingLong kqplay({"--audio", "null"});
        kill(kqplay.process.Id(), signal);
        EXPECT_EQ(kqplay.Quit("").ends, 1u) << "the trace is complete";
    }
}

bool HasOpen(pid_t process, const std::string& path) {
    std::error_code ignored; // a file may be closed meanwhile
    for (const auto& file : fs::directory_iterator("/proc/" + std::to_string(process) + "/fd", ignored)) {
        if (fs::read_symlink(file, ignored) == path) {
            return true;
        }
    }
    return false;
}

TEST(Signals, QuitWhileANamedPipeHasNoWriter) {
    const TemporaryFolder folder;
    const std::string pipe = folder / "pipe";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    for (const Strings& what : {Strings{}, {"--measure", folder / "report"}, {"--verify"}}) {
        Process kqplay(Headless(pipe, what));
        EXPECT_TRUE(WaitUntil([&] { return HasOpen(kqplay.Id(), pipe); }));
        kill(kqplay.Id(), SIGTERM);
        const Outcome outcome = kqplay.Finish();
        EXPECT_EQ(outcome.status, 1);
        EXPECT_EQ(outcome.err, "kqplay: " + pipe + ": interrupted while it was opened\n");
    }
}

TEST_F(Terminal, ACrashGivesTheTerminalBack) {
    // A real fault repeats itself; a signal from outside comes once, so it is sent again.
    kill(m_process.Id(), SIGSEGV);
    EXPECT_TRUE(WaitUntil([&] { return m_process.TerminalIsNormal(); }));
    for (int i = 0; i < 5; ++i) {
        usleep(100000);
        kill(m_process.Id(), SIGSEGV);
    }
    EXPECT_NE(m_process.Finish().status, 0);
    EXPECT_TRUE(m_process.TerminalIsNormal());
}

} // namespace
