// The low 4 GiB: many blocks at once, places that are taken, and more than there is.
#include "player/LowMemory.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <map>

namespace {

TEST(LowMemory, GivesBlocksOfTheirOwnBelowFourGiB) {
    constexpr std::size_t kBytes = 70'000; // no whole pages
    std::map<std::uintptr_t, char*> blocks;
    for (int i = 0; i < 3000; ++i) {
        auto* const pBlock = static_cast<char*>(AllocateLow(kBytes));
        ASSERT_NE(pBlock, nullptr) << i;
        const auto nAddress = reinterpret_cast<std::uintptr_t>(pBlock);
        ASSERT_LE(nAddress, UINT32_MAX - kBytes);
        ASSERT_TRUE(pBlock[0] == 0 && pBlock[kBytes - 1] == 0) << "not zeroed, or given twice: " << i;
        std::memset(pBlock, 1, kBytes);
        blocks[nAddress] = pBlock;
        if (i % 3 == 0) {
            FreeLow(blocks.begin()->second, kBytes);
            blocks.erase(blocks.begin());
        }
    }
    for (const auto& [nAddress, pBlock] : blocks) {
        FreeLow(pBlock, kBytes);
    }
}

TEST(LowMemory, HasAnEndAndGivesAgainWhatWasGivenBack) {
    constexpr std::size_t kLarge = std::size_t{1} << 30;
    void* blocks[4] = {};
    int nGot = 0;
    while (nGot < 4 && (blocks[nGot] = AllocateLow(kLarge)) != nullptr) {
        ++nGot;
    }
    EXPECT_GE(nGot, 1);
    EXPECT_LT(nGot, 4) << "four times 1 GiB do not fit beside the program";
    EXPECT_EQ(AllocateLow(SIZE_MAX / 2), nullptr);
    for (int i = 0; i < nGot; ++i) {
        FreeLow(blocks[i], kLarge);
    }
    void* const pAgain = AllocateLow(kLarge);
    EXPECT_NE(pAgain, nullptr);
    FreeLow(pAgain, kLarge);
}

} // namespace
