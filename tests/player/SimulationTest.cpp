#include "tests/support/SimulatedPlayer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>

namespace {

using namespace kq::test;

/// Scripts that `./test` plays, fewer under emulation (KQ_EMULATED); KQ_SIMULATED_SCRIPTS asks for another
/// number, KQ_SIMULATED_FIRST for other seeds.
std::uint64_t NumberFrom(const char* variable, std::uint64_t usual) {
    const char* const text = std::getenv(variable);
    return text != nullptr ? std::strtoull(text, nullptr, 10) : usual;
}

TEST(Simulation, RandomScriptsBreakNoRule) {
    const std::uint64_t first = NumberFrom("KQ_SIMULATED_FIRST", 1);
    const std::uint64_t count =
        NumberFrom("KQ_SIMULATED_SCRIPTS", std::getenv("KQ_EMULATED") ? 2000 : 10'000);
    double seconds = 0;
    std::uint64_t pictures = 0;
    int broken = 0;
    std::string report; // printed once the component's own prints are no longer caught
    testing::internal::CaptureStdout();
    for (std::uint64_t seed = first; seed < first + count && broken < 5; ++seed) {
        const SimulationResult result = Simulate(seed);
        seconds += result.seconds;
        pictures += static_cast<std::uint64_t>(result.pictures);
        if (!result.faults.empty()) {
            ++broken;
            report += "seed " + std::to_string(seed) + ": " + result.faults.front() + '\n' + result.script;
        }
    }
    testing::internal::GetCapturedStdout();
    EXPECT_TRUE(report.empty()) << report;
    RecordProperty("seconds", std::to_string(seconds));
    // Scripts that play nothing would break no rule either.
    EXPECT_GT(pictures, count * 10);
}

TEST(Simulation, ScriptsThatBrokeARuleOnceBreakNone) {
    testing::internal::CaptureStdout();
    std::string report;
    for (const std::uint64_t seed :
         {129,   132,   203,    300,     750,     889,     1726,    3566,    4708,    5996,    7047,    7459,
          15341, 16899, 100179, 1140527, 1215577, 1323765, 1395332, 1531874, 3074159, 3457232, 10779638}) {
        const SimulationResult result = Simulate(seed);
        if (!result.faults.empty()) {
            report += "seed " + std::to_string(seed) + ": " + result.faults.front() + '\n' + result.script;
        }
    }
    testing::internal::GetCapturedStdout();
    EXPECT_TRUE(report.empty()) << report;
}

TEST(Simulation, OneSeedGivesOneHistory) {
    testing::internal::CaptureStdout();
    for (const std::uint64_t seed : {3, 44, 555}) {
        EXPECT_EQ(Simulate(seed).script, Simulate(seed).script) << seed;
    }
    testing::internal::GetCapturedStdout();
}

} // namespace
