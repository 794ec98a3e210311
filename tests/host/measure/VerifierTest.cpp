// Moving about in real clips leads to the pictures that decoding from the start gives, and what does not is
// told.
#include "host/measure/Verifier.h"

#include <gtest/gtest.h>

namespace kq::measure {
namespace {

VerifyReport Verify(const VerifyRequest& request, const Verifier::Tamper& tamper = {}) {
    std::string error;
    VerifyReport report;
    const auto verifier = Verifier::Open(request, error);
    if (!verifier) {
        ADD_FAILURE() << error;
        return report;
    }
    verifier->SetTamper(tamper);
    EXPECT_TRUE(verifier->Run([](const char*, std::int64_t, std::int64_t) { return true; }, report, error))
        << error;
    return report;
}

class VerifiedClips : public testing::TestWithParam<const char*> {};

TEST_P(VerifiedClips, GiveTheSamePicturesWhicheverWay) {
    VerifyRequest request;
    request.file = std::string(KQ_CLIPS) + "/" + GetParam();
    request.count = 150;
    const VerifyReport report = Verify(request);
    EXPECT_TRUE(report.isComplete);
    EXPECT_EQ(report.MovementCount(), request.count);
    EXPECT_GT(report.compared, request.count);
    EXPECT_EQ(report.faultCount, 0) << report.Text(request);
}

INSTANTIATE_TEST_SUITE_P(Clips, VerifiedClips,
                         testing::Values("bframes.mp4", "opengop.mp4", "opengop.ts", "hevc.mp4", "vp9.webm",
                                         "untimed.avi", "undelayed.avi", "program.mpg", "vfr.mkv",
                                         "editlist.mp4", "baseless.mkv", "leading.mkv", "longgop.mp4",
                                         "hidden.webm", "rotated.mp4", "theora.ogg", "plain.h264",
                                         "changing.ts", "relayout.ts"));

TEST(Verifier, TellsOfAPictureThatDiffers) {
    VerifyRequest request;
    request.file = std::string(KQ_CLIPS) + "/bframes.mp4";
    request.count = 200;
    const auto tamper = [](std::int64_t number, std::uint64_t hash) { return number == 7 ? ~hash : hash; };
    const VerifyReport report = Verify(request, tamper);
    ASSERT_GT(report.faultCount, 0);
    EXPECT_LT(report.faultCount, report.compared / 10);
    for (const std::string& fault : report.faults) {
        EXPECT_NE(fault.find("led to #7 (0.280 s), whose samples differ"), std::string::npos) << fault;
    }
    EXPECT_EQ(Verify(request, tamper).faults, report.faults) << "a seed repeats the movements";
}

TEST(Verifier, EndsWhenItIsTold) {
    VerifyRequest request;
    request.file = std::string(KQ_CLIPS) + "/bframes.mp4";
    for (const char* until : {"decoding", "verifying"}) {
        std::string error;
        VerifyReport report;
        const auto verifier = Verifier::Open(request, error);
        ASSERT_TRUE(verifier) << error;
        const auto goOn = [until](const char* what, std::int64_t done, std::int64_t) {
            return std::string(what) != until || done < 5;
        };
        ASSERT_TRUE(verifier->Run(goOn, report, error));
        EXPECT_FALSE(report.isComplete);
        EXPECT_LE(report.MovementCount(), 5);
    }
}

} // namespace
} // namespace kq::measure
