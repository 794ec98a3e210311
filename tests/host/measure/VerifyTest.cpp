// kqplay --verify: what it prints, and how it ends.
#include "tests/host/kqplay/Process.h"
#include "tests/support/Files.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using kqtest::Lines;
using kqtest::Outcome;
using Strings = std::vector<std::string>;

Outcome Verify(const Strings& words) {
    Strings command = {KQPLAY_PROGRAM, "--verify"};
    command.insert(command.end(), words.begin(), words.end());
    return kqtest::RunProcess(command);
}

TEST(Verify, TellsWhatItDidAndFound) {
    const Outcome outcome = Verify({"--count", "60", "--seed", "9", KQ_CLIPS "/opengop.ts"});
    EXPECT_EQ(outcome.status, 0) << outcome.out << outcome.err;
    EXPECT_NE(outcome.out.find("opengop.ts: 100 pictures, 60 movements with seed 9"), std::string::npos);
    EXPECT_NE(outcome.out.find("all right\n"), std::string::npos) << outcome.out;
}

/// The file's index lists pictures that its damaged part does not give.
TEST(Verify, EndsWithStatus3WhereAFileCannotBeWorkedOn) {
    const kq::test::TemporaryFolder folder;
    std::string content = kq::test::ReadFile(KQ_CLIPS "/opengop.mp4");
    std::fill_n(content.begin() + static_cast<std::ptrdiff_t>(content.size() / 3), 300, 'x');
    const Outcome outcome = Verify({"--count", "60", kq::test::WriteFile(folder / "damaged.mp4", content)});
    EXPECT_EQ(outcome.status, 3) << outcome.out << outcome.err;
    EXPECT_NE(outcome.out.find(" wrong\n"), std::string::npos) << outcome.out;
}

TEST(Verify, RefusesWhatItCannotVerify) {
    for (const auto& [words, status] : {std::pair<Strings, int>{{KQ_CLIPS "/missing.mp4"}, 1},
                                        {{KQ_CLIPS "/noise.flac"}, 1},
                                        {{"--compare", KQ_CLIPS "/opengop.ts", KQ_CLIPS "/opengop.ts"}, 2},
                                        {{"--count", "0", KQ_CLIPS "/opengop.ts"}, 2}}) {
        const Outcome outcome = Verify(words);
        EXPECT_EQ(outcome.status, status) << outcome.out;
        EXPECT_EQ(outcome.err.rfind("kqplay: ", 0), 0u) << outcome.err;
        EXPECT_EQ(Lines(outcome.err).size(), static_cast<std::size_t>(status)) << outcome.err;
    }
}

} // namespace
