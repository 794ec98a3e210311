#include "audio/TimeCodeMgr.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <utility>

namespace {

using Answer = std::pair<std::int64_t, std::int64_t>; ///< time stamp and begin of a chunk

Answer Search(TimeCodeMgr& map, std::int64_t position) {
    Answer answer(-7, -7);
    map.SearchPTSReverse(position, answer.first, answer.second);
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
        std::int64_t position;
        Answer answer;
    } cases[] = {{0, {10, 0}},     {101, {10, 0}},   {102, {20, 100}},
                 {200, {20, 100}}, {201, {30, 200}}, {5000, {30, 200}}};
    for (const auto& c : cases) {
        EXPECT_EQ(Search(map, c.position), c.answer) << c.position;
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
    constexpr int partBytes = 1 << 30;
    TimeCodeMgr map;
    for (int i = 0; i < 2; ++i) {
        map.PutPTS(100, 10);
        for (int part = 0; part < 5; ++part) {
            map.PutPTS(partBytes, -1);
        }
        constexpr std::int64_t end = 100 + 5LL * partBytes;
        EXPECT_EQ(Search(map, end + 1), (Answer{10, 0}));
        EXPECT_EQ(Search(map, end + 2), (Answer{-7, -7}));
        map.PutPTS(100, 20);
        EXPECT_EQ(Search(map, end + 1), (Answer{10, 0}));
        EXPECT_EQ(Search(map, end + 2), (Answer{20, end}));
        map.Reset();
        EXPECT_EQ(map.GetCount(), 0u);
    }
}

TEST(TimeCodeMgr, WhatHasNotBeenHeardStaysHoweverMuchThereIs) {
    TimeCodeMgr map;
    for (int i = 0; i < 2; ++i) { // what was heard before a reset does not count
        for (int n = 0; n < 5000; ++n) {
            map.PutPTS(100, n);
        }
        EXPECT_EQ(Search(map, 50), (Answer{0, 0})) << i;
        EXPECT_EQ(Search(map, 499'950), (Answer{4999, 499'900}));
        map.Reset();
    }
}

TEST(TimeCodeMgr, ADayOfStereoStaysSmallAndExact) {
    constexpr int chunkBytes = 16 * 1024 * 4;
    constexpr std::int64_t total = 24LL * 3600 * 48000 * 4;
    TimeCodeMgr map;
    for (std::int64_t position = 0; position < total; position += chunkBytes) {
        map.PutPTS(chunkBytes, position * 3);
        if (position >= 8 * chunkBytes && position % (64 * chunkBytes) == 0) {
            // The sound being heard is a few chunks behind the one put last.
            const std::int64_t heard = position - 6 * chunkBytes + 1;
            ASSERT_EQ(Search(map, heard), (Answer{(heard - 1) * 3, heard - 1}));
            ASSERT_EQ(Search(map, heard - 1), (Answer{(heard - 1 - chunkBytes) * 3, heard - 1 - chunkBytes}));
        }
        ASSERT_LE(map.GetCount(), 5000u);
    }
}

} // namespace
