/// @file
/// RGB to YUV in blocks of one vector of luma samples. Included once per target.
#if defined(KQ_IMAGE_RGB_TO_YUV_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef KQ_IMAGE_RGB_TO_YUV_INL_H
#undef KQ_IMAGE_RGB_TO_YUV_INL_H
#else
#define KQ_IMAGE_RGB_TO_YUV_INL_H
#endif

#include "Arithmetic.h"
#include "Kernels.h"
#include "Lanes-inl.h"
#include "Packed-inl.h"

#include <algorithm>
#include <cstring>

HWY_BEFORE_NAMESPACE();
namespace kq::image::HWY_NAMESPACE {
namespace {

/// A group of pixels, one 32-bit part each, as two pairs of 16-bit values: (B - G, B - R) and (G, R). Any
/// weighted sum of B, G and R is one of these four, and one whose weights add up to 0 needs the differences
/// only.
struct PixelPairs {
    V16 differences, greenRed;
};

/// Makes the pairs from pixels whose B, G and R lie at given bytes, kStep bytes apart, kFirst bytes into each
/// lane.
template <int kFirst, int kStep, int kB, int kG, int kR>
HWY_INLINE PixelPairs MakePairs(V8 pixels) {
    constexpr std::uint8_t none = 0x80;
    constexpr std::uint8_t at[4] = {kFirst, kFirst + kStep, kFirst + 2 * kStep, kFirst + 3 * kStep};
    alignas(16) static constexpr std::uint8_t kBgbr[16] = {
        at[0] + kB, at[0] + kG, at[0] + kB, at[0] + kR, at[1] + kB, at[1] + kG, at[1] + kB, at[1] + kR,
        at[2] + kB, at[2] + kG, at[2] + kB, at[2] + kR, at[3] + kB, at[3] + kG, at[3] + kB, at[3] + kR};
    alignas(16) static constexpr std::uint8_t kGr[16] = {at[0] + kG, none, at[0] + kR, none, at[1] + kG, none,
                                                         at[1] + kR, none, at[2] + kG, none, at[2] + kR, none,
                                                         at[3] + kG, none, at[3] + kR, none};
    const V8 minus = hn::BitCast(d8, Set16(1 - 256));
    return {MulAddBytePairs(hn::TableLookupBytes(pixels, EveryLane(kBgbr)), minus),
            hn::BitCast(d16, hn::TableLookupBytes(pixels, EveryLane(kGr)))};
}

/// Four-byte pixels.
template <int kB, int kG, int kR>
struct Source32 {
    static constexpr std::size_t kPixelBytes = 4;

    /// Quarter i of the block: in lane l the pixels from 4 (i kLanes + l) on.
    template <int i>
    static HWY_INLINE PixelPairs Load(const std::uint8_t* p) {
        return MakePairs<0, 4, kB, kG, kR>(hn::LoadU(d8, p + i * kBlock));
    }
};
using SourceBgra = Source32<0, 1, 2>;
using SourceXrgb = Source32<3, 2, 1>;

/// Three-byte pixels B, G, R. All lanes but the block's first are loaded from 4 bytes before their pixels, so
/// that nothing beyond the block is read.
struct SourceBgr {
    static constexpr std::size_t kPixelBytes = 3;

    template <int i>
    static HWY_INLINE PixelPairs Load(const std::uint8_t* p) {
        if constexpr (i != 0)
            return MakePairs<4, 3, 0, 1, 2>(LoadLanes<12>(p + i * 12 * kLanes - 4));
        else
            return MakePairs<4, 3, 0, 1, 2>(LoadFirst(p));
    }

private:
    static HWY_INLINE V8 LoadFirst(const std::uint8_t* p) {
        // The first lane's bytes move up by the 4 that the others start early.
        const V8Lane first = hn::ShiftLeftBytes<4>(d8Lane, hn::LoadU(d8Lane, p));
        return WithFirstLane(first, p);
    }
    static HWY_INLINE V8 WithFirstLane(V8Lane first, const std::uint8_t* p) {
#if HWY_TARGET <= HWY_AVX3
        const hn::Full256<std::uint8_t> half;
        return hn::Combine(d8, hn::Combine(half, hn::LoadU(d8Lane, p + 32), hn::LoadU(d8Lane, p + 20)),
                           hn::Combine(half, hn::LoadU(d8Lane, p + 8), first));
#elif HWY_TARGET <= HWY_AVX2
        return hn::Combine(d8, hn::LoadU(d8Lane, p + 8), first);
#else
        return first;
#endif
    }
};

/// The arithmetic of BgrToYuv14() times 4, so that each term is the upper half of its 32-bit part:
///     4 Y' = 28150 (G + R) - 4882 (B - G) + 11306 (B - R)
///     4 u = 19072 (B - G) + 9700 (B - R)
///     4 v = 24116 (B - G) - 28768 (B - R) + 4 R
struct Yuv14 {
    static constexpr int kLumaOffset = 16;
    static constexpr int kChromaOffset = 512;

    static HWY_INLINE V32 Y(const PixelPairs& p) {
        return hn::Add(MulAddPairs(p.greenRed, SetPair(28150, 28150)),
                       MulAddPairs(p.differences, SetPair(-4882, 11306)));
    }
    static HWY_INLINE V32 U(const PixelPairs& p) { return MulAddPairs(p.differences, SetPair(19072, 9700)); }
    static HWY_INLINE V32 V(const PixelPairs& p) {
        // R is the upper half of its pair; G, below it, is shifted out.
        const V32 red4 = hn::BitCast(d32, hn::ShiftRight<14>(hn::BitCast(du32, p.greenRed)));
        return hn::Add(MulAddPairs(p.differences, SetPair(24116, -28768)), red4);
    }
};

/// The arithmetic of BgrToYuv10():
///     263 R + 516 G + 100 B = 616 G + 263 R + 100 (B - G)
///     450 B - 298 G - 152 R = 298 (B - G) + 152 (B - R)
///     450 R - 377 G - 73 B = 377 (B - G) - 450 (B - R)
struct Yuv10 {
    static constexpr int kLumaOffset = 0;
    static constexpr int kChromaOffset = 0;

    static HWY_INLINE V32 Clamped(V32 sum, int offset, int high) {
        const V32 value = hn::ShiftRight<10>(hn::Add(sum, hn::Set(d32, offset)));
        return hn::ShiftLeft<16>(hn::Min(hn::Max(value, hn::Set(d32, 16)), hn::Set(d32, high)));
    }
    static HWY_INLINE V32 Y(const PixelPairs& p) {
        return Clamped(
            hn::Add(MulAddPairs(p.greenRed, SetPair(616, 263)), MulAddPairs(p.differences, SetPair(100, 0))),
            16896, 235);
    }
    static HWY_INLINE V32 U(const PixelPairs& p) {
        return Clamped(MulAddPairs(p.differences, SetPair(298, 152)), 131584, 240);
    }
    static HWY_INLINE V32 V(const PixelPairs& p) {
        return Clamped(MulAddPairs(p.differences, SetPair(377, -450)), 131584, 240);
    }
};

/// Puts the luma of a block, given as the upper halves of two quarters each, into natural order.
HWY_INLINE V8 PackLuma(V16 quarters01, V16 quarters23, int offset) {
    alignas(16) static constexpr std::uint8_t kIndex[16] = {0, 2,  4,  6,  1, 3,  5,  7,
                                                            8, 10, 12, 14, 9, 11, 13, 15};
    const V8 packed = PackSaturated(quarters01, quarters23);
    const V8 ordered = Gather(hn::TableLookupBytes(packed, EveryLane(kIndex)));
    return offset == 0 ? ordered : hn::Add(ordered, hn::Set(d8, static_cast<std::uint8_t>(offset)));
}

/// Adds horizontal neighbours. The result's lanes hold quarters 0 and 1 in turn, then 2 and 3.
HWY_INLINE V16 AddColumns(V16 quarters01, V16 quarters23) {
    return hn::Add(EvenParts(quarters01, quarters23), OddParts(quarters01, quarters23));
}

/// Stores the chroma samples of a block, each lane of u and v as AddColumns() leaves them.
HWY_INLINE void StoreChroma(V16 u, V16 v, std::uint8_t* uOut, std::uint8_t* vOut) {
    alignas(16) static constexpr std::uint8_t kIndex[16] = {0, 2,  1, 3,  4,  6,  5,  7,
                                                            8, 10, 9, 11, 12, 14, 13, 15};
    const V8 both = hn::TableLookupBytes(PackSaturated(u, v), EveryLane(kIndex));
#if HWY_TARGET <= HWY_AVX3
    // Each lane holds four pairs of u, then four of v; pair i of lane l belongs at pair i * kLanes + l.
    alignas(64) std::uint16_t pairs[kBlock / 2];
    hn::Store(hn::BitCast(du16, both), du16, pairs);
    for (std::size_t i = 0; i < 4; ++i) {
        for (std::size_t l = 0; l < kLanes; ++l) {
            std::memcpy(uOut + (i * kLanes + l) * 2, &pairs[l * 8 + i], 2);
            std::memcpy(vOut + (i * kLanes + l) * 2, &pairs[l * 8 + 4 + i], 2);
        }
    }
#elif HWY_TARGET <= HWY_AVX2
    const hn::Full128<std::uint16_t> pairs;
    const auto even = hn::BitCast(pairs, hn::LowerHalf(d8Half, both));
    const auto odd = hn::BitCast(pairs, hn::UpperHalf(d8Half, both));
    hn::StoreU(hn::BitCast(d8Half, hn::InterleaveLower(pairs, even, odd)), d8Half, uOut);
    hn::StoreU(hn::BitCast(d8Half, hn::InterleaveUpper(pairs, even, odd)), d8Half, vOut);
#else
    hn::StoreU(hn::LowerHalf(d8Half, both), d8Half, uOut);
    hn::StoreU(hn::UpperHalf(d8Half, both), d8Half, vOut);
#endif
}

/// Where a block of one or two rows goes.
struct PlanarRows {
    std::uint8_t *y0, *y1, *u, *v;
};

/// Adds upper halves: what the lower halves carry does not reach them.
HWY_INLINE V32 AddHigh(V32 a, V32 b) {
    return hn::BitCast(d32, hn::Add(hn::BitCast(d16, a), hn::BitCast(d16, b)));
}

/// Two quarters of a block of two rows: luma of each row, chroma terms of both.
struct HalfSums {
    V16 y0, y1, u, v;
};

template <class Source, class Arithmetic, int kFirst>
HWY_INLINE HalfSums SumHalf(const std::uint8_t* row0, const std::uint8_t* row1) {
    using A = Arithmetic;
    const PixelPairs a0 = Source::template Load<kFirst>(row0);
    const PixelPairs b0 = Source::template Load<kFirst + 1>(row0);
    const V16 y0 = Pinned(HighHalves(A::Y(a0), A::Y(b0)));
    const PixelPairs a1 = Source::template Load<kFirst>(row1);
    const PixelPairs b1 = Source::template Load<kFirst + 1>(row1);
    const V16 y1 = Pinned(HighHalves(A::Y(a1), A::Y(b1)));
    const V16 u = Pinned(HighHalves(AddHigh(A::U(a0), A::U(a1)), AddHigh(A::U(b0), A::U(b1))));
    const V16 v = Pinned(HighHalves(AddHigh(A::V(a0), A::V(a1)), AddHigh(A::V(b0), A::V(b1))));
    return {y0, y1, u, v};
}

/// Converts a block of two rows; a single row is given twice, which yields its rounding of two pixels as
/// well.
template <class Source, class Arithmetic>
HWY_INLINE void ConvertRgbBlock(const std::uint8_t* row0, const std::uint8_t* row1, const PlanarRows& out) {
    const HalfSums a = SumHalf<Source, Arithmetic, 0>(row0, row1);
    const HalfSums b = SumHalf<Source, Arithmetic, 2>(row0, row1);
    hn::StoreU(PackLuma(a.y0, b.y0, Arithmetic::kLumaOffset), d8, out.y0);
    hn::StoreU(PackLuma(a.y1, b.y1, Arithmetic::kLumaOffset), d8, out.y1);
    const V16 offset = Set16(Arithmetic::kChromaOffset);
    StoreChroma(hn::ShiftRight<2>(hn::Add(AddColumns(a.u, b.u), offset)),
                hn::ShiftRight<2>(hn::Add(AddColumns(a.v, b.v), offset)), out.u, out.v);
}

/// A row pair's lengths: an odd column may count for chroma only, and its luma sample may be written twice.
struct RowLengths {
    std::size_t pixels; ///< source pixels, rounded up to a pair by repeating the last one
    std::size_t luma;   ///< luma samples to write
};

template <class Source, class Arithmetic>
void ConvertRgbRows(const std::uint8_t* row0, const std::uint8_t* row1, PlanarRows out, RowLengths lengths) {
    constexpr std::size_t pixelBytes = Source::kPixelBytes;
    std::size_t x = 0;
    for (; x + kBlock <= lengths.pixels; x += kBlock)
        ConvertRgbBlock<Source, Arithmetic>(row0 + x * pixelBytes, row1 + x * pixelBytes,
                                            {out.y0 + x, out.y1 + x, out.u + x / 2, out.v + x / 2});
    const std::size_t rest = lengths.pixels - x;
    if (rest == 0)
        return;
    alignas(64) std::uint8_t in[2][kBlock * pixelBytes] = {};
    alignas(64) std::uint8_t y[2][kBlock], u[kHalfBlock], v[kHalfBlock];
    const std::uint8_t* rows[2] = {row0, row1};
    for (int i = 0; i < 2; ++i) {
        std::memcpy(in[i], rows[i] + x * pixelBytes, rest * pixelBytes);
        if (rest % 2 != 0)
            std::memcpy(in[i] + rest * pixelBytes, in[i] + (rest - 1) * pixelBytes, pixelBytes);
    }
    ConvertRgbBlock<Source, Arithmetic>(in[0], in[1], {y[0], y[1], u, v});
    std::memcpy(out.y0 + x, y[0], lengths.luma - x);
    std::memcpy(out.y1 + x, y[1], lengths.luma - x);
    std::memcpy(out.u + x / 2, u, (rest + 1) / 2);
    std::memcpy(out.v + x / 2, v, (rest + 1) / 2);
}

template <class Source, class Arithmetic>
void RgbPictureToPlanar(const RgbToPlanar& job) {
    if (job.width <= 0)
        return;
    const std::size_t width = static_cast<std::size_t>(job.width);
    const RowLengths full = {width, width + (job.repeatLastColumn ? width % 2 : 0)};
    std::ptrdiff_t row = 0;
    for (; row + 1 < job.height; row += 2)
        ConvertRgbRows<Source, Arithmetic>(
            job.rgb.Row(row), job.rgb.Row(row + 1),
            {job.y.Row(row), job.y.Row(row + 1), job.u.Row(row / 2), job.v.Row(row / 2)}, full);
    if (row < job.height)
        ConvertRgbRows<Source, Arithmetic>(
            job.rgb.Row(row), job.rgb.Row(row),
            {job.y.Row(row), job.y.Row(row), job.u.Row(row / 2), job.v.Row(row / 2)},
            {width - width % 2, width - width % 2});
}

void CopyAlpha(const RgbToPlanar& job) {
    for (std::ptrdiff_t row = 0; row < job.height; ++row) {
        const bool last = job.height % 2 != 0 && row == job.height - 1;
        const std::ptrdiff_t width = job.width - (last ? job.width % 2 : 0);
        const std::uint8_t* pixels = job.rgb.Row(row);
        std::uint8_t* out = job.alpha.Row(row);
        for (std::ptrdiff_t x = 0; x < width; ++x)
            out[x] = pixels[4 * x + 3];
    }
}

void BgraPictureToPlanarAlpha(const RgbToPlanar& job) {
    RgbPictureToPlanar<SourceBgra, Yuv14>(job);
    CopyAlpha(job);
}

/// Palette rows are expanded to pixels piece by piece.
void PalettePictureToPlanar(const RgbToPlanar& job) {
    constexpr std::ptrdiff_t piece = 512;
    alignas(64) std::uint8_t pixels[2][piece * 4];
    for (std::ptrdiff_t row = 0; row < job.height; row += 2) {
        const int rows = row + 1 < job.height ? 2 : 1;
        for (std::ptrdiff_t x = 0; x < job.width; x += piece) {
            const std::ptrdiff_t width = std::min(piece, job.width - x);
            for (int i = 0; i < rows; ++i) {
                const std::uint8_t* indices = job.rgb.Row(row + i) + x;
                for (std::ptrdiff_t k = 0; k < width; ++k)
                    std::memcpy(&pixels[i][k * 4], job.colours + indices[k] * 4, 4);
            }
            RgbToPlanar part = job;
            part.rgb = {pixels[0], piece * 4};
            part.y.data = job.y.Row(row) + x;
            part.u.data = job.u.Row(row / 2) + x / 2;
            part.v.data = job.v.Row(row / 2) + x / 2;
            part.width = width;
            part.height = rows;
            RgbPictureToPlanar<SourceBgra, Yuv14>(part);
        }
    }
}

/// Luma and chroma of a piece of a row lie in buffers until they are interleaved.
template <bool kYuy2>
void BgrRowToPacked(const std::uint8_t* pixels, std::uint8_t* out, std::size_t width) {
    constexpr std::size_t piece = 512;
    alignas(64) std::uint8_t y[piece], u[piece / 2], v[piece / 2];
    for (std::size_t x = 0; x < width; x += piece) {
        const std::size_t count = std::min(piece, width - x);
        ConvertRgbRows<SourceBgr, Yuv14>(pixels + x * 3, pixels + x * 3, {y, y, u, v},
                                         {count, count + count % 2});
        PlanarRowToPacked<kYuy2, false>(y, u, v, out + x * 2, (count + 1) / 2);
    }
}

void BgrToPacked(const RgbToPacked& job) {
    if (job.width <= 0)
        return;
    for (std::ptrdiff_t row = 0; row < job.height; ++row) {
        const auto convert = job.yuy2 ? BgrRowToPacked<true> : BgrRowToPacked<false>;
        convert(job.rgb.Row(row), job.packed.Row(row), static_cast<std::size_t>(job.width));
    }
}

} // namespace
} // namespace kq::image::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
