/// @file
/// Planar YUV 4:2:0 and packed YUV 4:2:2. Included once per target.
#if defined(KQ_IMAGE_PACKED_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef KQ_IMAGE_PACKED_INL_H
#undef KQ_IMAGE_PACKED_INL_H
#else
#define KQ_IMAGE_PACKED_INL_H
#endif

#include "Kernels.h"
#include "Lanes-inl.h"

#include <cstring>

HWY_BEFORE_NAMESPACE();
namespace kq::image::HWY_NAMESPACE {
namespace {

/// Chroma of a block as bytes U, V in turn, dealt for interleaving with luma.
HWY_INLINE V8 InterleavedChroma(const std::uint8_t* u, const std::uint8_t* v) {
    const V16 uWords = hn::PromoteTo(d16, hn::LoadU(d8Half, u));
    const V16 vWords = hn::PromoteTo(d16, hn::LoadU(d8Half, v));
    return hn::BitCast(d8, hn::Or(uWords, hn::ShiftLeft<8>(vWords)));
}

template <bool kYuy2>
HWY_INLINE void StorePackedBlock(V8 y, V8 chroma, std::uint8_t* out) {
    const V8 first = kYuy2 ? y : chroma;
    const V8 second = kYuy2 ? chroma : y;
    hn::StoreU(hn::InterleaveLower(d8, first, second), d8, out);
    hn::StoreU(hn::InterleaveUpper(d8, first, second), d8, out + kBlock);
}

/// The samples of fewer macropixels than a block has.
template <bool kYuy2>
void PackRest(const std::uint8_t* y, const std::uint8_t* u, const std::uint8_t* v, std::uint8_t* out,
              std::size_t macropixels) {
    for (std::size_t k = 0; k < macropixels; ++k) {
        const std::uint8_t yuy2[4] = {y[2 * k], u[k], y[2 * k + 1], v[k]};
        const std::uint8_t uyvy[4] = {u[k], y[2 * k], v[k], y[2 * k + 1]};
        std::memcpy(out + 4 * k, kYuy2 ? yuy2 : uyvy, 4);
    }
}

template <bool kYuy2>
void PlanarRowToPacked(const std::uint8_t* y, const std::uint8_t* u, const std::uint8_t* v, std::uint8_t* out,
                       std::size_t macropixels) {
    std::size_t k = 0;
    for (; k + kHalfBlock <= macropixels; k += kHalfBlock)
        StorePackedBlock<kYuy2>(Deal<2>(hn::LoadU(d8, y + 2 * k)), Deal<2>(InterleavedChroma(u + k, v + k)),
                                out + 4 * k);
    PackRest<kYuy2>(y + 2 * k, u + k, v + k, out + 4 * k, macropixels - k);
}

template <bool kYuy2>
void PlanarRowPairToPacked(const PlanarToPacked& job, std::ptrdiff_t row) {
    const std::uint8_t* u = job.u.Row(row / 2);
    const std::uint8_t* v = job.v.Row(row / 2);
    const std::uint8_t* y[2] = {job.y.Row(row), job.y.Row(row + 1)};
    std::uint8_t* out[2] = {job.packed.Row(row), job.packed.Row(row + 1)};
    const std::size_t macropixels = static_cast<std::size_t>(job.macropixels);
    std::size_t k = 0;
    for (; k + kHalfBlock <= macropixels; k += kHalfBlock) {
        const V8 chroma = Deal<2>(InterleavedChroma(u + k, v + k));
        for (int i = 0; i < 2; ++i)
            StorePackedBlock<kYuy2>(Deal<2>(hn::LoadU(d8, y[i] + 2 * k)), chroma, out[i] + 4 * k);
    }
    for (int i = 0; i < 2; ++i)
        PackRest<kYuy2>(y[i] + 2 * k, u + k, v + k, out[i] + 4 * k, macropixels - k);
}

template <bool kYuy2>
void PlanarPictureToPacked(const PlanarToPacked& job) {
    std::ptrdiff_t row = 0;
    for (; row + 1 < job.rows; row += 2)
        PlanarRowPairToPacked<kYuy2>(job, row);
    if (row < job.rows)
        PlanarRowToPacked<kYuy2>(job.y.Row(row), job.u.Row(row / 2), job.v.Row(row / 2), job.packed.Row(row),
                                 static_cast<std::size_t>(job.macropixels));
}

void PlanarToPackedPicture(const PlanarToPacked& job) {
    if (job.macropixels <= 0)
        return;
    if (job.yuy2)
        PlanarPictureToPacked<true>(job);
    else
        PlanarPictureToPacked<false>(job);
}

/// The bytes at even (or odd) positions of two vectors, in natural order.
template <bool kOdd>
HWY_INLINE V8 EveryOtherByte(V8 low, V8 high) {
    const auto a = hn::BitCast(du16, low);
    const auto b = hn::BitCast(du16, high);
    const auto mask = hn::Set(du16, 255);
    return PackSaturated(hn::BitCast(d16, kOdd ? hn::ShiftRight<8>(a) : hn::And(a, mask)),
                         hn::BitCast(d16, kOdd ? hn::ShiftRight<8>(b) : hn::And(b, mask)));
}

/// The truncated mean of bytes.
HWY_INLINE V8 MeanDown(V8 a, V8 b) {
    const V8 up = hn::AverageRound(a, b);
    return hn::Sub(up, hn::And(hn::Xor(a, b), hn::Set(d8, 1)));
}

/// Splits bytes U, V in turn and stores the samples of one block; the lanes are in natural order.
HWY_INLINE void StoreSplitChroma(V8 chroma, std::uint8_t* u, std::uint8_t* v) {
    alignas(16) static constexpr std::uint8_t kIndex[16] = {0, 2, 4, 6, 8, 10, 12, 14,
                                                            1, 3, 5, 7, 9, 11, 13, 15};
    const V8 split = hn::TableLookupBytes(chroma, EveryLane(kIndex));
    const hn::Repartition<std::uint64_t, decltype(d8)> d64;
    const hn::Repartition<std::uint64_t, decltype(d8Half)> d64Half;
    if constexpr (kLanes == 1) {
        hn::StoreU(hn::LowerHalf(d8Half, split), d8Half, u);
        hn::StoreU(hn::UpperHalf(d8Half, split), d8Half, v);
    } else {
        const auto parts = hn::BitCast(d64, split);
        hn::StoreU(hn::LowerHalf(d64Half, hn::ConcatEven(d64, parts, parts)), d64Half,
                   reinterpret_cast<std::uint64_t*>(u));
        hn::StoreU(hn::LowerHalf(d64Half, hn::ConcatOdd(d64, parts, parts)), d64Half,
                   reinterpret_cast<std::uint64_t*>(v));
    }
}

template <bool kYuy2>
void PackedRowPairToPlanar(const std::uint8_t* upper, const std::uint8_t* lower, std::uint8_t* y0,
                           std::uint8_t* y1, std::uint8_t* u, std::uint8_t* v, std::size_t macropixels) {
    std::size_t k = 0;
    for (; k + kHalfBlock <= macropixels; k += kHalfBlock) {
        const V8 a0 = LoadLanes<32>(upper + 4 * k), a1 = LoadLanes<32>(upper + 4 * k + 16);
        const V8 b0 = LoadLanes<32>(lower + 4 * k), b1 = LoadLanes<32>(lower + 4 * k + 16);
        hn::StoreU(EveryOtherByte<!kYuy2>(a0, a1), d8, y0 + 2 * k);
        hn::StoreU(EveryOtherByte<!kYuy2>(b0, b1), d8, y1 + 2 * k);
        StoreSplitChroma(EveryOtherByte<kYuy2>(MeanDown(a0, b0), MeanDown(a1, b1)), u + k, v + k);
    }
    constexpr int luma = kYuy2 ? 0 : 1;
    for (; k < macropixels; ++k) {
        const std::uint8_t* a = upper + 4 * k;
        const std::uint8_t* b = lower + 4 * k;
        for (int i = 0; i < 2; ++i) {
            y0[2 * k + i] = a[2 * i + luma];
            y1[2 * k + i] = b[2 * i + luma];
        }
        u[k] = static_cast<std::uint8_t>((a[1 - luma] + b[1 - luma]) >> 1);
        v[k] = static_cast<std::uint8_t>((a[3 - luma] + b[3 - luma]) >> 1);
    }
}

void PackedToPlanarPicture(const PackedToPlanar& job) {
    if (job.macropixels <= 0)
        return;
    for (std::ptrdiff_t row = 0; row < job.rows; row += 2) {
        const auto convert = job.yuy2 ? PackedRowPairToPlanar<true> : PackedRowPairToPlanar<false>;
        convert(job.packed.Row(row), job.packed.Row(row + 1), job.y.Row(row), job.y.Row(row + 1),
                job.u.Row(row / 2), job.v.Row(row / 2), static_cast<std::size_t>(job.macropixels));
    }
}

void SwapPairs(const std::uint8_t* source, std::uint8_t* out, std::size_t bytes) {
    alignas(16) static constexpr std::uint8_t kIndex[16] = {1, 0, 3,  2,  5,  4,  7,  6,
                                                            9, 8, 11, 10, 13, 12, 15, 14};
    const V8 index = EveryLane(kIndex);
    std::size_t i = 0;
    for (; i + kBlock <= bytes; i += kBlock)
        hn::StoreU(hn::TableLookupBytes(hn::LoadU(d8, source + i), index), d8, out + i);
    for (; i < bytes; i += 2) {
        const std::uint8_t pair[2] = {source[i + 1], source[i]};
        std::memcpy(out + i, pair, 2);
    }
}

} // namespace
} // namespace kq::image::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
