// Differences found while somebody else works.
#include "host/measure/Differences.h"

#include "tests/support/WaitUntil.h"

#include <gtest/gtest.h>

namespace kq::measure {
namespace {

TEST(Differences, AreFoundInTheBackgroundAndGivenInOrder) {
    MeasureRequest request;
    request.file = std::string(KQ_CLIPS) + "/bframes.mp4";
    request.other = request.file;
    request.offset = 1; // every picture moves
    const Differences shifted(request);
    ASSERT_TRUE(kq::test::WaitUntil([&] { return shifted.IsDone(); }));
    ASSERT_EQ(shifted.Spans().size(), 1u);
    EXPECT_NEAR(shifted.Spans()[0].end, 98 * 0.04, 1e-6);
    EXPECT_EQ(shifted.After(40)->frame, 41);
    EXPECT_EQ(shifted.Before(40)->frame, 39);
    EXPECT_FALSE(shifted.Before(0) || shifted.After(98));
    request.offset = 0;
    const Differences same(request);
    ASSERT_TRUE(kq::test::WaitUntil([&] { return same.IsDone(); }));
    EXPECT_TRUE(same.Spans().empty() && !same.After(-1));
    EXPECT_NEAR(same.MeasuredUntil(), 99 * 0.04, 1e-6);
}

TEST(Differences, GiveUpAtAnyTime) {
    MeasureRequest request;
    request.file = request.other = std::string(KQ_CLIPS) + "/longgop.mp4";
    for (int i = 0; i < 30; ++i) {
        const Differences differences(request);
        const double until = i * 0.3;
        kq::test::WaitUntil([&] { return differences.MeasuredUntil() >= until || differences.IsDone(); });
    }
    request.other = std::string(KQ_CLIPS) + "/missing.mp4";
    const Differences none(request);
    ASSERT_TRUE(kq::test::WaitUntil([&] { return none.IsDone(); }));
    EXPECT_NE(none.Error().find("missing.mp4: No such file"), std::string::npos) << none.Error();
}

} // namespace
} // namespace kq::measure
