// The vectorised arithmetic beside the plain one, for every instruction set that this processor has.
#include "host/measure/Kernels.h"

#include <gtest/gtest.h>
#include <hwy/targets.h>

#include <algorithm>
#include <random>
#include <vector>

namespace kq::measure {
namespace {

constexpr std::int32_t canary = 0x5EED;

/// Sums with a canary behind each array.
struct Sums {
    explicit Sums(std::size_t blocks) : memory(4 * (blocks + 1), canary), size(blocks + 1) {}
    BlockRow<std::int32_t> Row() {
        std::int32_t* const at = memory.data();
        return {at, at + size, at + 2 * size, at + 3 * size};
    }
    std::vector<std::int32_t> memory;
    std::size_t size;
};

/// What a kernel makes of random rows.
struct Made {
    std::uint64_t error = 0;
    std::vector<std::int32_t> sums;
    std::vector<float> windows;
    bool operator==(const Made& other) const {
        return error == other.error && sums == other.sums && windows == other.windows;
    }
};

Made Make(const Kernels& kernels, std::size_t blocks, int depth, unsigned seed) {
    const std::size_t bytes = depth > 8 ? 2 : 1;
    const std::size_t pitch = 4 * blocks * bytes; // a row's end is the memory's end
    std::mt19937 random(seed);
    const unsigned peak = (1U << depth) - 1;
    const auto plane = [&] {
        std::vector<std::uint8_t> samples(8 * pitch);
        for (std::size_t i = 0; i < samples.size(); i += bytes) {
            // Many at both ends, where sums are the largest.
            const unsigned value = std::min<unsigned>(random() % (2 * peak), peak);
            samples[i] = static_cast<std::uint8_t>(value);
            if (bytes > 1) {
                samples[i + 1] = static_cast<std::uint8_t>(value >> 8);
            }
        }
        return samples;
    };
    const std::vector<std::uint8_t> a = plane(), b = seed % 3 == 0 ? a : plane();
    const auto step = static_cast<std::ptrdiff_t>(pitch);
    Sums upper(blocks), lower(blocks);
    Made made;
    made.windows.assign(blocks, -2);
    const auto kernel = depth > 8 ? kernels.blocks16 : kernels.blocks8;
    made.error = kernel({a.data(), step, b.data(), step}, blocks, upper.Row());
    made.error += kernel({a.data() + 4 * step, step, b.data() + 4 * step, step}, blocks, lower.Row());
    (depth > 8 ? kernels.windows16 : kernels.windows8)(upper.Row(), lower.Row(), blocks - 1,
                                                       StabilizersFor(depth), made.windows.data());
    made.sums = upper.memory;
    made.sums.insert(made.sums.end(), lower.memory.begin(), lower.memory.end());
    return made;
}

TEST(MeasureKernels, GiveTheSameOnEveryTarget) {
    const std::int64_t all = hwy::SupportedTargets() & HWY_TARGETS;
    for (std::int64_t bits = all; bits != 0; bits &= bits - 1) {
        const std::int64_t target = bits & -bits;
        SCOPED_TRACE(hwy::TargetName(target));
        hwy::SetSupportedTargetsForTest(target);
        hwy::GetChosenTarget().Update(hwy::SupportedTargets());
        for (unsigned seed = 0; seed < 200; ++seed) {
            const std::size_t blocks = 1 + seed * 7 % 90;
            for (const int depth : {8, 9, 10, 12}) {
                ASSERT_EQ(Make(BestKernels(), blocks, depth, seed), Make(PlainKernels(), blocks, depth, seed))
                    << blocks << " blocks of " << depth << " bits, seed " << seed;
            }
        }
    }
    hwy::SetSupportedTargetsForTest(0);
    hwy::GetChosenTarget().Update(hwy::SupportedTargets());
}

} // namespace
} // namespace kq::measure
