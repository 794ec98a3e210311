#include "audio/TimeCodeMgr.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <utility>

namespace {

using Answer = std::pair<std::int64_t, std::int64_t>; ///< time stamp and begin of a chunk

Answer Search(TimeCodeMgr& map, std::int64_t llPos) {
    Answer answer(-7, -7);
    map.SearchPTSReverse(llPos, answer.first, answer.second);
    return answer;
}

TEST(TimeCodeMgr, FindsTheChunkOfAPosition) {
    TimeCodeMgr map;
    EXPECT_EQ(Search(map, 0), (Answer{-1, -1}));
    EXPECT_EQ(map.PutPTS(100, 10), 100);
    EXPECT_EQ(Search(map, 101), (Answer{10, 0}));
    EXPECT_EQ(Search(map, 150), (Answer{-7, -7})); // nothing found: the caller's values stay
    map.PutPTS(100, 20);
    map.PutPTS(100, 30);
    const struct {
        std::int64_t llPos;
        Answer answer;
    } cases[] = {{0, {10, 0}},     {101, {10, 0}},   {102, {20, 100}},
                 {200, {20, 100}}, {201, {30, 200}}, {5000, {30, 200}}};
    for (const auto& c : cases) {
        EXPECT_EQ(Search(map, c.llPos), c.answer) << c.llPos;
    }
}

TEST(TimeCodeMgr, UnstampedChunksLengthenTheOneBefore) {
    TimeCodeMgr map;
    map.PutPTS(300, -1);
    EXPECT_EQ(Search(map, 10), (Answer{-1, 0}));
    map.Reset();
    map.PutPTS(1000, 5);
    map.PutPTS(500, -1);
    EXPECT_EQ(map.GetCount(), 1u);
    map.PutPTS(200, 9);
    EXPECT_EQ(Search(map, 1600), (Answer{9, 1500}));
}

TEST(TimeCodeMgr, AStretchWithoutStampsMayBeLongerThanTwoGigabytes) {
    constexpr int kPart = 1 << 30;
    TimeCodeMgr map;
    for (int i = 0; i < 2; ++i) {
        map.PutPTS(100, 10);
        for (int nPart = 0; nPart < 5; ++nPart) {
            map.PutPTS(kPart, -1);
        }
        constexpr std::int64_t kEnd = 100 + 5LL * kPart;
        EXPECT_EQ(Search(map, kEnd + 1), (Answer{10, 0}));
        EXPECT_EQ(Search(map, kEnd + 2), (Answer{-7, -7}));
        map.PutPTS(100, 20);
        EXPECT_EQ(Search(map, kEnd + 1), (Answer{10, 0}));
        EXPECT_EQ(Search(map, kEnd + 2), (Answer{20, kEnd}));
        map.Reset();
        EXPECT_EQ(map.GetCount(), 0u);
    }
}

TEST(TimeCodeMgr, ADayOfStereoStaysSmallAndExact) {
    constexpr int kChunk = 16 * 1024 * 4;
    constexpr std::int64_t kTotal = 24LL * 3600 * 48000 * 4;
    TimeCodeMgr map;
    for (std::int64_t llPos = 0; llPos < kTotal; llPos += kChunk) {
        map.PutPTS(kChunk, llPos * 3);
        if (llPos >= 8 * kChunk && llPos % (64 * kChunk) == 0) {
            // The sound being heard is a few chunks behind the one put last.
            const std::int64_t llHeard = llPos - 6 * kChunk + 1;
            ASSERT_EQ(Search(map, llHeard), (Answer{(llHeard - 1) * 3, llHeard - 1}));
            ASSERT_EQ(Search(map, llHeard - 1), (Answer{(llHeard - 1 - kChunk) * 3, llHeard - 1 - kChunk}));
        }
        ASSERT_LE(map.GetCount(), 5000u);
    }
}

} // namespace
