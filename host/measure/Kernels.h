/// @file
/// The arithmetic of the measures, sample by sample.
#pragma once

#include <cstddef>
#include <cstdint>

namespace kq::measure {

/// Rows of two planes of one size, one above the other.
struct RowPair {
    const std::uint8_t* first; ///< samples of 8 bits, or words of more bits
    std::ptrdiff_t firstPitch; ///< bytes, as all pitches
    const std::uint8_t* second;
    std::ptrdiff_t secondPitch;
};

/// Sums over the blocks of 4x4 samples in four rows, one entry a block. Whoever holds it owns the arrays.
/// @tparam Sum std::int32_t serves up to 12 bits a sample, std::int64_t up to 16
template <class Sum>
struct BlockRow {
    Sum* first;    ///< of the samples
    Sum* second;   ///< likewise
    Sum* squares;  ///< of both planes' samples
    Sum* products; ///< of the samples at the same place
};

/// What keeps the similarity of flat windows defined.
struct Stabilizers {
    std::int64_t luminance; ///< (0.01 * peak)² * 64
    std::int64_t contrast;  ///< (0.03 * peak)² * 64 * 63
};
Stabilizers StabilizersFor(int depth);

/// The sums of four rows of samples.
/// @param count blocks
/// @return the sum of the squared differences of the samples
template <class Sum>
using BlockKernel = std::uint64_t (*)(const RowPair& rows, std::size_t count, const BlockRow<Sum>& sums);

/// The similarity of windows of 8x8 samples that overlap by half: each lies on two blocks of the upper and
/// two of the lower row. All integers are exact; both factors and their quotient are single precision.
/// @param count    windows, one less than blocks
/// @param ssim     receives one value a window
template <class Sum>
using WindowKernel = void (*)(const BlockRow<Sum>& upper, const BlockRow<Sum>& lower, std::size_t count,
                              const Stabilizers& stabilizers, float* ssim);

/// One implementation of each. Every implementation gives the same values to the last bit.
struct Kernels {
    BlockKernel<std::int32_t> blocks8;    ///< samples of 8 bits
    BlockKernel<std::int32_t> blocks16;   ///< words of 9 to 12 bits
    WindowKernel<std::int32_t> windows8;  ///< for sums of blocks8
    WindowKernel<std::int32_t> windows16; ///< for sums of blocks16
};

/// Written to be checked by eye.
const Kernels& PlainKernels();
/// For the processor that this runs on.
const Kernels& BestKernels();

/// Words of up to 16 bits have no other implementation.
std::uint64_t PlainDeepBlocks(const RowPair& rows, std::size_t count, const BlockRow<std::int64_t>& sums);
void PlainDeepWindows(const BlockRow<std::int64_t>& upper, const BlockRow<std::int64_t>& lower,
                      std::size_t count, const Stabilizers& stabilizers, float* ssim);

} // namespace kq::measure
