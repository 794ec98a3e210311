// Numbers and times of pictures, against those that decoding gives.
#include "SourceTest.h"
#include "host/streams/FrameIndex.h"
#include "tests/support/Files.h"

#include <filesystem>
#include <thread>

namespace kq::streams::test {
namespace {

using kq::test::TemporaryFolder;
using kq::test::WriteFile;

std::unique_ptr<FrameIndex> IndexOf(const std::string& path) {
    const DecoderSetup setup = SetupOf(path);
    return FrameIndex::Read(path, setup.stream, setup.fileStart, setup.rate);
}

/// Compares an index with the pictures of the same file.
void ExpectSame(const std::string& path) {
    SCOPED_TRACE(path);
    const std::vector<Shot> shots = DecodeAll(path);
    const auto index = IndexOf(path);
    EXPECT_EQ(index->Count(), static_cast<std::int64_t>(shots.size()));
    for (std::size_t n = 0; n < shots.size(); ++n) {
        const auto number = static_cast<std::int64_t>(n);
        ASSERT_EQ(index->TimeOf(number), shots[n].time) << n;
        ASSERT_EQ(index->NumberAt(shots[n].time), number);
    }
    EXPECT_EQ(index->TimeOf(index->Count()), std::nullopt);
    EXPECT_EQ(index->TimeOf(-1), std::nullopt);
}

TEST(FrameNumbers, AreThoseOfDecodedPictures) {
    int clips = 0;
    for (const auto& file : std::filesystem::directory_iterator(KQ_CLIPS)) {
        std::string reason;
        const auto demuxer = Demuxer::Open(file.path(), FileLog::Make({}, {}), reason);
        if (demuxer && demuxer->BestStream(AVMEDIA_TYPE_VIDEO) >= 0) {
            ExpectSame(file.path());
            ++clips;
        }
    }
    EXPECT_GT(clips, 40);
}

TEST(FrameNumbers, OfATimeAreThoseOfThePictureOnShow) {
    const auto index = IndexOf(Clip("vfr.mkv")); // pictures at 0, 0.12, 0.24, 0.28, 0.36 ...
    EXPECT_EQ(index->Count(), 44);
    const struct {
        double time;
        std::int64_t number;
    } cases[] = {{-1, 0},   {0, 0},    {0.1, 0},  {0.12, 1}, {0.239, 1},
                 {0.27, 2}, {0.28, 3}, {0.35, 3}, {100, 43}};
    for (const auto& expected : cases) {
        EXPECT_EQ(index->NumberAt(static_cast<Ticks>(expected.time * 1e7)), expected.number) << expected.time;
    }
    EXPECT_EQ(index->End(), *index->TimeOf(43) + 400'000);
}

TEST(FrameNumbers, OfATapeAreKnownAsFarAsItWasSeen) {
    const auto index = FrameIndex::Told(10);
    EXPECT_EQ(index->NumberAt(0), std::nullopt);
    for (const Ticks time : {0, 400, 800, 400, 900}) { // the second 400 is a look back
        index->Add(time, time + 100);
    }
    EXPECT_EQ(index->NumberAt(395), 1) << "within the rounding";
    EXPECT_EQ(index->NumberAt(850), 2);
    EXPECT_EQ(index->NumberAt(900), std::nullopt) << "more may come";
    EXPECT_EQ(index->TimeOf(3), 900);
    index->Finish();
    EXPECT_EQ(index->NumberAt(5000), 3);
    EXPECT_EQ(index->TimeOf(4), std::nullopt);
    EXPECT_EQ(index->End(), 1000);
}

TEST(FrameNumbers, NobodyWaitsAfterTheEnd) {
    const TemporaryFolder folder;
    const auto broken = FrameIndex::Read(WriteFile(folder / "text", "no media"), 0, 0, 25);
    EXPECT_EQ(broken->Count(), 0);
    EXPECT_EQ(broken->TimeOf(0), std::nullopt);
    const auto tape = FrameIndex::Told(10);
    std::thread waiting([&tape] { EXPECT_EQ(tape->Count(), 0); });
    tape->Cancel();
    waiting.join();
}

} // namespace
} // namespace kq::streams::test
