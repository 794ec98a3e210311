// The low 4 GiB: many blocks at once, places that are taken, and more than there is.
#include "player/LowMemory.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <map>

namespace {

TEST(LowMemory, GivesBlocksOfTheirOwnBelowFourGiB) {
    constexpr std::size_t blockBytes = 70'000; // no whole pages
    std::map<std::uintptr_t, char*> blocks;
    for (int i = 0; i < 3000; ++i) {
        auto* const block = static_cast<char*>(AllocateLow(blockBytes));
        ASSERT_NE(block, nullptr) << i;
        const auto address = reinterpret_cast<std::uintptr_t>(block);
        ASSERT_LE(address, UINT32_MAX - blockBytes);
        ASSERT_TRUE(block[0] == 0 && block[blockBytes - 1] == 0) << "not zeroed, or given twice: " << i;
        std::memset(block, 1, blockBytes);
        blocks[address] = block;
        if (i % 3 == 0) {
            FreeLow(blocks.begin()->second, blockBytes);
            blocks.erase(blocks.begin());
        }
    }
    for (const auto& [address, block] : blocks) {
        FreeLow(block, blockBytes);
    }
}

TEST(LowMemory, HasAnEndAndGivesAgainWhatWasGivenBack) {
    constexpr std::size_t largeBytes = std::size_t{1} << 30;
    void* blocks[4] = {};
    int got = 0;
    while (got < 4 && (blocks[got] = AllocateLow(largeBytes)) != nullptr) {
        ++got;
    }
    EXPECT_GE(got, 1);
    EXPECT_LT(got, 4) << "four times 1 GiB do not fit beside the program";
    EXPECT_EQ(AllocateLow(SIZE_MAX / 2), nullptr);
    for (int i = 0; i < got; ++i) {
        FreeLow(blocks[i], largeBytes);
    }
    void* const again = AllocateLow(largeBytes);
    EXPECT_NE(again, nullptr);
    FreeLow(again, largeBytes);
}

} // namespace
