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

/// Stores four vectors lane by lane: the first lane of each, then the second of each.
template <bool stream>
HWY_INLINE void StoreLaneByLane(V8 v0, V8 v1, V8 v2, V8 v3, std::uint8_t* out) {
#if KQ_FOUR_LANES
    const auto store = [&](V8 low, V8 high, std::uint8_t* p) {
        StoreVector<stream>(V8{_mm512_shuffle_i32x4(low.raw, high.raw, 0x88)}, p);
        StoreVector<stream>(V8{_mm512_shuffle_i32x4(low.raw, high.raw, 0xDD)}, p + blockSize);
    };
    store(hn::ConcatLowerLower(d8, v1, v0), hn::ConcatLowerLower(d8, v3, v2), out);
    store(hn::ConcatUpperUpper(d8, v1, v0), hn::ConcatUpperUpper(d8, v3, v2), out + 2 * blockSize);
#elif HWY_TARGET <= HWY_AVX2
    StoreVector<stream>(hn::ConcatLowerLower(d8, v1, v0), out);
    StoreVector<stream>(hn::ConcatLowerLower(d8, v3, v2), out + blockSize);
    StoreVector<stream>(hn::ConcatUpperUpper(d8, v1, v0), out + 2 * blockSize);
    StoreVector<stream>(hn::ConcatUpperUpper(d8, v3, v2), out + 3 * blockSize);
#else
    StoreVector<stream>(v0, out);
    StoreVector<stream>(v1, out + blockSize);
    StoreVector<stream>(v2, out + 2 * blockSize);
    StoreVector<stream>(v3, out + 3 * blockSize);
#endif
}

/// Packs blockSize macropixels. Lane l of the luma vectors has the columns from 32 l and from 32 l + 16 on,
/// which is where interleaving leaves their chroma, so that lanes are crossed once only, on the way out.
template <bool yuy2, bool stream>
HWY_INLINE void PackBlock(const std::uint8_t* y, const std::uint8_t* u, const std::uint8_t* v,
                          std::uint8_t* out) {
    const V8 us = hn::LoadU(d8, u), vs = hn::LoadU(d8, v);
    const LanePairs ys = LoadAlternating(y);
    const V8 uvLow = hn::InterleaveLower(d8, us, vs), uvHigh = hn::InterleaveUpper(d8, us, vs);
    const V8 low[2] = {yuy2 ? ys.even : uvLow, yuy2 ? uvLow : ys.even};
    const V8 high[2] = {yuy2 ? ys.odd : uvHigh, yuy2 ? uvHigh : ys.odd};
    StoreLaneByLane<stream>(hn::InterleaveLower(d8, low[0], low[1]), hn::InterleaveUpper(d8, low[0], low[1]),
                            hn::InterleaveLower(d8, high[0], high[1]),
                            hn::InterleaveUpper(d8, high[0], high[1]), out);
}

/// The samples of fewer macropixels than a block has.
template <bool yuy2>
void PackRest(const std::uint8_t* y, const std::uint8_t* u, const std::uint8_t* v, std::uint8_t* out,
              std::size_t macropixels) {
    for (std::size_t k = 0; k < macropixels; ++k) {
        const std::uint8_t lumaFirst[4] = {y[2 * k], u[k], y[2 * k + 1], v[k]};
        const std::uint8_t chromaFirst[4] = {u[k], y[2 * k], v[k], y[2 * k + 1]};
        std::memcpy(out + 4 * k, yuy2 ? lumaFirst : chromaFirst, 4);
    }
}

template <bool yuy2, bool stream>
void PlanarRowToPacked(const std::uint8_t* y, const std::uint8_t* u, const std::uint8_t* v, std::uint8_t* out,
                       std::size_t macropixels) {
    if (macropixels < blockSize) {
        return PackRest<yuy2>(y, u, v, out, macropixels);
    }
    std::size_t k = 0;
    for (; k + blockSize <= macropixels; k += blockSize) {
        PackBlock<yuy2, stream>(y + 2 * k, u + k, v + k, out + 4 * k);
    }
    if (k == macropixels) {
        return;
    }
    k = macropixels - blockSize; // The last block overlaps its neighbour.
    PackBlock<yuy2, false>(y + 2 * k, u + k, v + k, out + 4 * k);
}

/// One row after the other: memory takes a single ascending stream faster than two rows side by side, and the
/// chroma row is in the nearest cache when it is read again.
template <bool yuy2, bool stream>
void PlanarPictureToPacked(const PlanarToPacked& job) {
    for (std::ptrdiff_t row = 0; row < job.rows; ++row) {
        PlanarRowToPacked<yuy2, stream>(job.y.Row(row), job.u.Row(row / 2), job.v.Row(row / 2),
                                        job.packed.Row(row), static_cast<std::size_t>(job.macropixels));
    }
}

void PlanarToPackedPicture(const PlanarToPacked& job) {
    if (job.macropixels <= 0) {
        return;
    }
    WithStores(job.packed, job.macropixels * 4, job.rows, [&](auto stream) {
        if (job.yuy2) {
            PlanarPictureToPacked<true, stream>(job);
        } else {
            PlanarPictureToPacked<false, stream>(job);
        }
    });
}

/// The bytes at even (or odd) positions as 16-bit values.
template <bool odd>
HWY_INLINE V16 EveryOtherByte(V8 bytes) {
    const auto words = hn::BitCast(du16, bytes);
    return hn::BitCast(d16, odd ? hn::ShiftRight<8>(words) : hn::And(words, hn::BitCast(du16, Words<255>())));
}

/// The truncated mean of the bytes at even (or odd) positions.
template <bool odd>
HWY_INLINE V16 MeanOfEveryOtherByte(V8 a, V8 b) {
    return hn::ShiftRight<1>(hn::Add(EveryOtherByte<odd>(a), EveryOtherByte<odd>(b)));
}

#if KQ_FOUR_LANES
/// First the bytes at even positions, then those at odd ones.
constexpr ByteIndex IndexSplit() {
    ByteIndex index{};
    for (std::size_t i = 0; i < halfBlock; ++i) {
        index.bytes[i] = static_cast<std::uint8_t>(2 * i);
        index.bytes[halfBlock + i] = static_cast<std::uint8_t>(2 * i + 1);
    }
    return index;
}
#endif

/// Splits bytes U, V in turn and stores the samples of one block; the lanes are in natural order.
HWY_INLINE void StoreSplitChroma(V8 chroma, std::uint8_t* u, std::uint8_t* v) {
#if KQ_FOUR_LANES
    static constexpr ByteIndex order = IndexSplit();
    const V8 ordered = PermuteBytes(chroma, order);
    hn::StoreU(hn::LowerHalf(d8Half, ordered), d8Half, u);
    hn::StoreU(hn::UpperHalf(d8Half, ordered), d8Half, v);
#else
    alignas(16) static constexpr std::uint8_t order[16] = {0, 2, 4, 6, 8, 10, 12, 14,
                                                           1, 3, 5, 7, 9, 11, 13, 15};
    const V8 split = hn::TableLookupBytes(chroma, EveryLane(order));
#if KQ_TWO_LANES
    StoreInterleavedHalves<std::uint64_t>(split, u, v);
#else
    hn::StoreU(hn::LowerHalf(d8Half, split), d8Half, u);
    hn::StoreU(hn::UpperHalf(d8Half, split), d8Half, v);
#endif
#endif
}

template <bool yuy2, bool stream>
void PackedRowPairToPlanar(const std::uint8_t* upper, const std::uint8_t* lower, std::uint8_t* y0,
                           std::uint8_t* y1, std::uint8_t* u, std::uint8_t* v, std::size_t macropixels) {
    constexpr int luma = yuy2 ? 0 : 1;
    std::size_t k = 0;
    for (; k + halfBlock <= macropixels; k += halfBlock) {
        const LanePairs a = LoadAlternating(upper + 4 * k);
        const LanePairs b = LoadAlternating(lower + 4 * k);
        StoreVector<stream>(PackSaturated(EveryOtherByte<luma>(a.even), EveryOtherByte<luma>(a.odd)),
                            y0 + 2 * k);
        StoreVector<stream>(PackSaturated(EveryOtherByte<luma>(b.even), EveryOtherByte<luma>(b.odd)),
                            y1 + 2 * k);
        StoreSplitChroma(PackSaturated(MeanOfEveryOtherByte<!luma>(a.even, b.even),
                                       MeanOfEveryOtherByte<!luma>(a.odd, b.odd)),
                         u + k, v + k);
    }
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
    if (job.macropixels <= 0) {
        return;
    }
    WithStores(job.y, job.macropixels * 2, job.rows, [&](auto stream) {
        const auto convert =
            job.yuy2 ? PackedRowPairToPlanar<true, stream> : PackedRowPairToPlanar<false, stream>;
        for (std::ptrdiff_t row = 0; row < job.rows; row += 2) {
            convert(job.packed.Row(row), job.packed.Row(row + 1), job.y.Row(row), job.y.Row(row + 1),
                    job.u.Row(row / 2), job.v.Row(row / 2), static_cast<std::size_t>(job.macropixels));
        }
    });
}

template <bool stream>
void SwapPairsOfRow(const std::uint8_t* source, std::uint8_t* out, std::size_t bytes) {
    alignas(16) static constexpr std::uint8_t order[16] = {1, 0, 3,  2,  5,  4,  7,  6,
                                                           9, 8, 11, 10, 13, 12, 15, 14};
    const V8 index = EveryLane(order);
    std::size_t i = 0;
    for (; i + blockSize <= bytes; i += blockSize) {
        StoreVector<stream>(hn::TableLookupBytes(hn::LoadU(d8, source + i), index), out + i);
    }
    for (; i < bytes; i += 2) {
        const std::uint8_t pair[2] = {source[i + 1], source[i]};
        std::memcpy(out + i, pair, 2);
    }
}

void SwapPairs(const RowsToRows& job) {
    WithStores(job.out, job.bytes, job.rows, [&](auto stream) {
        for (std::ptrdiff_t row = 0; row < job.rows; ++row) {
            SwapPairsOfRow<stream>(job.source.Row(row), job.out.Row(row),
                                   static_cast<std::size_t>(job.bytes));
        }
    });
}

/// A row past the caches. It may overlap its source from below, as what is read is read before it is written.
void StreamRow(const std::uint8_t* source, std::uint8_t* out, std::size_t bytes) {
    std::size_t i = 0;
    for (; i + blockSize <= bytes; i += blockSize) {
        hn::Stream(hn::LoadU(d8, source + i), d8, out + i);
    }
    std::memmove(out + i, source + i, bytes - i);
}

void CopyRows(const RowsToRows& job) {
    const auto bytes = static_cast<std::size_t>(job.bytes);
    WithStores(job.out, job.bytes, job.rows, [&](auto stream) {
        for (std::ptrdiff_t row = 0; row < job.rows; ++row) {
            const std::uint8_t* source = job.source.Row(row);
            std::uint8_t* out = job.out.Row(row);
            const bool overlapsAbove = out > source && out < source + bytes;
            if (stream && !overlapsAbove) {
                StreamRow(source, out, bytes);
            } else {
                std::memmove(out, source, bytes);
            }
        }
    });
}

} // namespace
} // namespace kq::image::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
