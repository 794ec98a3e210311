// Keys and signals, typed at a pseudo-terminal.
#include "Kqplay.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <functional>

using namespace kqtest;

namespace {

class AtTerminal : public testing::Test {
protected:
    Process::Environment m_environment = {{"TERM", "xterm"}};
    TemporaryFolder m_folder;
    Process m_kqplay{Headless(Clip("long.mp4"), {"--audio", "null", "--trace", m_folder / "trace"}),
                     m_environment, Process::Streams::PseudoTerminal};
};

TEST_F(AtTerminal, KeysPauseResumeStopAndQuit) {
    ASSERT_TRUE(m_kqplay.WaitForOutput("playing  0:00"));
    EXPECT_FALSE(m_kqplay.TerminalIsNormal()) << "keys come one by one, and are not echoed";
    m_kqplay.Type(" ");
    ASSERT_TRUE(m_kqplay.WaitForOutput("paused  0:"));
    m_kqplay.Type(" ");
    m_kqplay.Type("\033[Z"); // a key without a meaning is not Esc
    ASSERT_TRUE(m_kqplay.WaitForOutput("playing  0:01"));
    m_kqplay.Type("S");
    ASSERT_TRUE(m_kqplay.WaitForOutput("stopped  0:"));
    m_kqplay.Type("  "); // plays again, and pauses
    m_kqplay.Type("q");
    const Outcome outcome = m_kqplay.Finish();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_NE(outcome.out.find("quit  0:"), std::string::npos);
    EXPECT_EQ(outcome.out.find("soundplayer"), std::string::npos)
        << "the component's words are not for the terminal";
    EXPECT_TRUE(m_kqplay.TerminalIsNormal());
    EXPECT_EQ(States(ReadTrace(m_folder / "trace")), (std::vector<int>{1, 2, 1, 3, 0, 1, 2, 3, 0}));
}

TEST_F(AtTerminal, EscapeQuits) {
    ASSERT_TRUE(m_kqplay.WaitForOutput("playing  0:00"));
    m_kqplay.Type("\033");
    EXPECT_EQ(m_kqplay.Finish().status, 0);
    EXPECT_TRUE(m_kqplay.TerminalIsNormal());
}

TEST_F(AtTerminal, ControlCQuits) {
    ASSERT_TRUE(m_kqplay.WaitForOutput("playing  0:00"));
    m_kqplay.Type("\003");
    EXPECT_EQ(m_kqplay.Finish().status, 0);
    EXPECT_TRUE(m_kqplay.TerminalIsNormal());
}

TEST_F(AtTerminal, ControlZGivesTheTerminalBackMeanwhile) {
    ASSERT_TRUE(m_kqplay.WaitForOutput("playing  0:00"));
    m_kqplay.Type("\032");
    const auto waitFor = [&](bool normal) {
        for (int i = 0; i < 500 && m_kqplay.TerminalIsNormal() != normal; ++i)
            usleep(10000);
        return m_kqplay.TerminalIsNormal() == normal;
    };
    EXPECT_TRUE(waitFor(true));
    usleep(200000);
    kill(m_kqplay.Id(), SIGCONT);
    EXPECT_TRUE(waitFor(false));
    m_kqplay.Type("q");
    EXPECT_EQ(m_kqplay.Finish().status, 0);
    EXPECT_TRUE(m_kqplay.TerminalIsNormal());
}

class Signalled : public testing::TestWithParam<int> {};

TEST_P(Signalled, QuitsCleanly) {
    const TemporaryFolder folder;
    Process kqplay(Headless(Clip("long.mp4"), {"--audio", "null", "--trace", folder / "trace"}),
                   {{"TERM", "xterm"}}, Process::Streams::PseudoTerminal);
    ASSERT_TRUE(kqplay.WaitForOutput("playing  0:00"));
    kill(kqplay.Id(), GetParam());
    EXPECT_EQ(kqplay.Finish().status, 0);
    EXPECT_TRUE(kqplay.TerminalIsNormal());
    EXPECT_EQ(CountEnds(ReadTrace(folder / "trace")), 1u) << "the trace is complete";
}

INSTANTIATE_TEST_SUITE_P(Signals, Signalled, testing::Values(SIGINT, SIGTERM, SIGHUP, SIGQUIT));

TEST_F(AtTerminal, ACrashGivesTheTerminalBack) {
    ASSERT_TRUE(m_kqplay.WaitForOutput("playing  0:00"));
    // A real fault repeats itself; a signal from outside comes once, so it is sent again.
    kill(m_kqplay.Id(), SIGSEGV);
    usleep(300000);
    kill(m_kqplay.Id(), SIGSEGV);
    EXPECT_NE(m_kqplay.Finish().status, 0);
    EXPECT_TRUE(m_kqplay.TerminalIsNormal());
}

} // namespace
