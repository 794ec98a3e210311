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

/// A group of pixels, one 32-bit part each: bytes B, R, G, R. A weighted sum of B, G and R is the sum of two
/// multiples of small sums of neighbours; one whose weights add up to 0 needs only the differences B - R and
/// G - R.
struct Pixels {
    V8 brgr;
    V16 differences;
};

/// The sum of b B + r0 R in the first and of g G + r1 R in the second 16 bits of each pixel.
template <int b, int r0, int g, int r1>
HWY_INLINE V16 NeighbourSums(V8 brgr) {
    constexpr auto byte = [](int weight) { return static_cast<std::uint32_t>(weight & 0xFF); };
    return MulAddBytePairs(brgr, Pattern<byte(b) | byte(r0) << 8 | byte(g) << 16 | byte(r1) << 24>());
}

/// @param first, others where the pixels of the first lane and of all others begin in their lanes
/// @param step          bytes from one pixel to the next
/// @param b, g, r       where a pixel has its channels
constexpr ByteIndex IndexPixels(int first, int others, int step, int b, int g, int r) {
    ByteIndex index{};
    for (std::size_t i = 0; i < blockSize; ++i) {
        const int pixel = (i < 16 ? first : others) + static_cast<int>(i % 16 / 4) * step;
        const int channels[4] = {b, r, g, r};
        index.bytes[i] = static_cast<std::uint8_t>(pixel + channels[i % 4]);
    }
    return index;
}

HWY_INLINE Pixels MakePixels(V8 source, const ByteIndex& index) {
    const V8 brgr = PickBytes(source, index);
    return {brgr, NeighbourSums<1, -1, 1, -1>(brgr)};
}

/// Four-byte pixels.
template <int b, int g, int r>
struct Source32 {
    static constexpr std::size_t pixelBytes = 4;

    /// Quarter i of the block: in lane l the pixels from 4 (i laneCount + l) on.
    template <int i>
    static HWY_INLINE Pixels Load(const std::uint8_t* p) {
        static constexpr ByteIndex order = IndexPixels(0, 0, 4, b, g, r);
        return MakePixels(hn::LoadU(d8, p + i * blockSize), order);
    }
};
using SourceBgra = Source32<0, 1, 2>;
using SourceXrgb = Source32<3, 2, 1>;

#if KQ_FOUR_LANES
/// Three-byte pixels B, G, R. Nothing beyond the block is read.
struct SourceBgr {
    static constexpr std::size_t pixelBytes = 3;

    template <int i>
    static HWY_INLINE Pixels Load(const std::uint8_t* p) {
        constexpr int quarter = i * halfBlock * 3 / 2, from = i < 3 ? quarter : 2 * blockSize;
        static constexpr ByteIndex order = IndexQuarter(quarter - from);
        const V8 brgr = PermuteBytes(hn::LoadU(d8, p + from), order);
        return {brgr, NeighbourSums<1, -1, 1, -1>(brgr)};
    }

private:
    static constexpr ByteIndex IndexQuarter(int first) {
        ByteIndex index{};
        constexpr int channels[4] = {0, 2, 1, 2};
        for (std::size_t k = 0; k < blockSize; ++k) {
            index.bytes[k] = static_cast<std::uint8_t>(first + static_cast<int>(k / 4) * 3 + channels[k % 4]);
        }
        return index;
    }
};
#else
/// Three-byte pixels B, G, R. A lane is loaded from its pixels on, or from 4 bytes before them, so that
/// nothing beyond the block is read.
struct SourceBgr {
    static constexpr std::size_t pixelBytes = 3;

    template <int i>
    static HWY_INLINE Pixels Load(const std::uint8_t* p) {
        static constexpr ByteIndex order =
            IndexPixels(i == 0 ? 0 : 4, IsOneLoad(i) ? 0 : 4, pixelBytes, 0, 1, 2);
        const std::uint8_t* from = p + i * 12 * laneCount;
        if constexpr (i == 0) {
            return MakePixels(LoadFirst(p), order);
        } else if constexpr (IsOneLoad(i)) {
            return MakePixels(hn::LoadU(d8, from - 4), order);
        } else {
            return MakePixels(LoadLanes<12>(from - 4), order);
        }
    }

private:
    /// Whether the bytes around a quarter belong to the block, and two lanes meet between its pixels.
    static constexpr bool IsOneLoad(int i) { return laneCount == 2 && (i == 1 || i == 2); }

    static HWY_INLINE V8 LoadFirst(const std::uint8_t* p) { return LoadLanes<8>(p); }
};
#endif

/// The arithmetic of BgrToYuv14() times 4, so that each term is the upper half of its 32-bit part:
///     4 Y' = 292 (22 B - 112 R) + 16516 (2 G + 3 R)
///     4 u = 28772 (B - R) - 19072 (G - R)
///     4 v = -4652 (B - R) - 24116 (G - R) + 4 R
struct Yuv14 {
    static constexpr int lumaOffset = 16;
    static constexpr int chromaOffset = 128;

    static HWY_INLINE V32 Y(const Pixels& p) {
        return MulAddPairs(NeighbourSums<22, -112, 2, 3>(p.brgr), Words<292, 16516>());
    }
    static HWY_INLINE V32 U(const Pixels& p) { return MulAddPairs(p.differences, Words<28772, -19072>()); }
    static HWY_INLINE V32 V(const Pixels& p) {
        // R is the highest byte. The two bits of G below 4 R change nothing: all the rest is a multiple of 4.
        const V32 red4 = hn::BitCast(d32, hn::ShiftRight<22>(hn::BitCast(du32, p.brgr)));
        return MulAddPairs(red4, p.differences, Words<-4652, -24116>());
    }
};

/// The arithmetic of BgrToYuv10():
///     100 B + 516 G + 263 R = 5 (20 B + R) + 129 (4 G + 2 R)
///     450 B - 298 G - 152 R = 450 (B - R) - 298 (G - R)
///     450 R - 377 G - 73 B = -73 (B - R) - 377 (G - R)
struct Yuv10 {
    static constexpr int lumaOffset = 0;
    static constexpr int chromaOffset = 0;

    template <int offset, int high>
    static HWY_INLINE V32 Clamped(V32 sum) {
        const V32 value = hn::ShiftRight<10>(hn::Add(sum, DoubleWords<offset>()));
        return hn::ShiftLeft<16>(hn::Min(hn::Max(value, DoubleWords<16>()), DoubleWords<high>()));
    }
    static HWY_INLINE V32 Y(const Pixels& p) {
        return Clamped<16896, 235>(MulAddPairs(NeighbourSums<20, 1, 4, 2>(p.brgr), Words<5, 129>()));
    }
    static HWY_INLINE V32 U(const Pixels& p) {
        return Clamped<131584, 240>(MulAddPairs(p.differences, Words<450, -298>()));
    }
    static HWY_INLINE V32 V(const Pixels& p) {
        return Clamped<131584, 240>(MulAddPairs(p.differences, Words<-73, -377>()));
    }
};

/// Puts the luma of a block, given as the upper halves of two quarters each, into natural order.
#if KQ_FOUR_LANES
constexpr ByteIndex IndexPackedLuma() {
    ByteIndex index{};
    for (std::size_t i = 0; i < blockSize; ++i) {
        const std::size_t quarter = i / 16, lane = i % 16 / 4, pixel = i % 4;
        index.bytes[i] = static_cast<std::uint8_t>(16 * lane + quarter / 2 * 8 + pixel * 2 + quarter % 2);
    }
    return index;
}
#endif

template <int offset>
HWY_INLINE V8 PackLuma(V16 quarters01, V16 quarters23) {
    const V8 packed = PackSaturated(quarters01, quarters23);
#if KQ_FOUR_LANES
    static constexpr ByteIndex order = IndexPackedLuma();
    const V8 ordered = PermuteBytes(packed, order);
#else
    alignas(16) static constexpr std::uint8_t order[16] = {0, 2,  4,  6,  1, 3,  5,  7,
                                                           8, 10, 12, 14, 9, 11, 13, 15};
    const V8 ordered = Gather<4>(hn::TableLookupBytes(packed, EveryLane(order)));
#endif
    if constexpr (offset == 0) {
        return ordered;
    } else {
        return hn::Add(ordered, Bytes<offset>());
    }
}

/// Adds horizontal neighbours. The result's lanes hold quarters 0 and 1 in turn, then 2 and 3.
HWY_INLINE V16 AddColumns(V16 quarters01, V16 quarters23) {
    return hn::Add(EvenParts(quarters01, quarters23), OddParts(quarters01, quarters23));
}

#if KQ_FOUR_LANES
constexpr ByteIndex IndexPackedChroma() {
    ByteIndex index{};
    for (std::size_t i = 0; i < halfBlock; ++i) {
        const std::size_t quarter = i / 8, lane = i % 8 / 2, pair = i % 2;
        const std::size_t at = 16 * lane + quarter / 2 * 4 + pair * 2 + quarter % 2;
        index.bytes[i] = static_cast<std::uint8_t>(at);
        index.bytes[halfBlock + i] = static_cast<std::uint8_t>(at + 8);
    }
    return index;
}
#endif

/// Stores the chroma samples of a block, each lane of u and v as AddColumns() leaves them.
HWY_INLINE void StoreChroma(V16 u, V16 v, std::uint8_t* uOut, std::uint8_t* vOut) {
#if KQ_FOUR_LANES
    static constexpr ByteIndex order = IndexPackedChroma();
    const V8 ordered = PermuteBytes(PackSaturated(u, v), order);
    hn::StoreU(hn::LowerHalf(d8Half, ordered), d8Half, uOut);
    hn::StoreU(hn::UpperHalf(d8Half, ordered), d8Half, vOut);
#else
    alignas(16) static constexpr std::uint8_t order[16] = {0, 2,  1, 3,  4,  6,  5,  7,
                                                           8, 10, 9, 11, 12, 14, 13, 15};
    const V8 both = hn::TableLookupBytes(PackSaturated(u, v), EveryLane(order));
#if KQ_TWO_LANES
    StoreInterleavedHalves<std::uint16_t>(both, uOut, vOut);
#else
    hn::StoreU(hn::LowerHalf(d8Half, both), d8Half, uOut);
    hn::StoreU(hn::UpperHalf(d8Half, both), d8Half, vOut);
#endif
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

/// Two quarters of a block of one or two rows: luma of each row, chroma terms of all.
struct HalfSums {
    V16 y[2], u, v;
};

template <class Source, class Arithmetic, int rows, int first>
HWY_INLINE HalfSums SumHalf(const std::uint8_t* row0, const std::uint8_t* row1) {
    using A = Arithmetic;
    HalfSums sums{};
    const Pixels a0 = Source::template Load<first>(row0);
    const Pixels b0 = Source::template Load<first + 1>(row0);
    sums.y[0] = Pinned(HighHalves(A::Y(a0), A::Y(b0)));
    if constexpr (rows == 1) {
        sums.u = HighHalves(A::U(a0), A::U(b0));
        sums.v = HighHalves(A::V(a0), A::V(b0));
    } else {
        const Pixels a1 = Source::template Load<first>(row1);
        const Pixels b1 = Source::template Load<first + 1>(row1);
        sums.y[1] = Pinned(HighHalves(A::Y(a1), A::Y(b1)));
        sums.u = Pinned(HighHalves(AddHigh(A::U(a0), A::U(a1)), AddHigh(A::U(b0), A::U(b1))));
        sums.v = Pinned(HighHalves(AddHigh(A::V(a0), A::V(a1)), AddHigh(A::V(b0), A::V(b1))));
    }
    return sums;
}

/// The mean of the chroma terms of 2 x rows pixels, given the sums of the rows.
template <class Arithmetic, int rows>
HWY_INLINE V16 MeanChroma(V16 quarters01, V16 quarters23) {
    const V16 sum = hn::Add(AddColumns(quarters01, quarters23), Words<Arithmetic::chromaOffset * 2 * rows>());
    return hn::ShiftRight<rows>(sum);
}

/// Converts a block of two rows, or of a single one; row1 and y1 count with two only.
template <class Source, class Arithmetic, int rows, bool stream>
HWY_INLINE void ConvertRgbBlock(const std::uint8_t* row0, const std::uint8_t* row1, const PlanarRows& out) {
    const HalfSums a = SumHalf<Source, Arithmetic, rows, 0>(row0, row1);
    const HalfSums b = SumHalf<Source, Arithmetic, rows, 2>(row0, row1);
    StoreVector<stream>(PackLuma<Arithmetic::lumaOffset>(a.y[0], b.y[0]), out.y0);
    if constexpr (rows == 2) {
        StoreVector<stream>(PackLuma<Arithmetic::lumaOffset>(a.y[1], b.y[1]), out.y1);
    }
    StoreChroma(MeanChroma<Arithmetic, rows>(a.u, b.u), MeanChroma<Arithmetic, rows>(a.v, b.v), out.u, out.v);
}

/// A row pair's lengths: an odd column may count for chroma only, and its luma sample may be written twice.
struct RowLengths {
    std::size_t pixels; ///< source pixels, rounded up to a pair by repeating the last one
    std::size_t luma;   ///< luma samples to write
};

/// Asks for what a row will be read from soon: processors fetch ahead too late where the rows of a pair take
/// turns. Addresses behind a picture do no harm.
template <class Source>
HWY_INLINE void FetchAhead(const std::uint8_t* block) {
    constexpr std::size_t line = 64, distance = 20 * line;
    for (std::size_t i = 0; i < blockSize * Source::pixelBytes; i += line) {
        hwy::Prefetch(block + distance + i);
    }
}

/// Rows that share a chroma row: two, or a single one, which needs neither row1 nor out.y1.
template <class Source, class Arithmetic, int rows, bool stream>
void ConvertRgbRows(const std::uint8_t* row0, const std::uint8_t* row1, PlanarRows out, RowLengths lengths) {
    constexpr std::size_t pixelBytes = Source::pixelBytes;
    std::size_t x = 0;
    for (; x + blockSize <= lengths.pixels; x += blockSize) {
        FetchAhead<Source>(row0 + x * pixelBytes);
        if constexpr (rows == 2) {
            FetchAhead<Source>(row1 + x * pixelBytes);
        }
        ConvertRgbBlock<Source, Arithmetic, rows, stream>(
            row0 + x * pixelBytes, row1 + x * pixelBytes,
            {out.y0 + x, out.y1 + x, out.u + x / 2, out.v + x / 2});
    }
    const std::size_t rest = lengths.pixels - x;
    if (rest == 0) {
        return;
    }
    alignas(64) std::uint8_t in[2][blockSize * pixelBytes] = {};
    alignas(64) std::uint8_t y[2][blockSize], u[halfBlock], v[halfBlock];
    const std::uint8_t* from[2] = {row0, row1};
    for (int i = 0; i < rows; ++i) {
        std::memcpy(in[i], from[i] + x * pixelBytes, rest * pixelBytes);
        if (rest % 2 != 0) {
            std::memcpy(in[i] + rest * pixelBytes, in[i] + (rest - 1) * pixelBytes, pixelBytes);
        }
    }
    ConvertRgbBlock<Source, Arithmetic, rows, false>(in[0], in[1], {y[0], y[1], u, v});
    std::memcpy(out.y0 + x, y[0], lengths.luma - x);
    if constexpr (rows == 2) {
        std::memcpy(out.y1 + x, y[1], lengths.luma - x);
    }
    std::memcpy(out.u + x / 2, u, (rest + 1) / 2);
    std::memcpy(out.v + x / 2, v, (rest + 1) / 2);
}

template <class Source, class Arithmetic>
void RgbPictureToPlanar(const RgbToPlanar& job) {
    if (job.width <= 0) {
        return;
    }
    const std::size_t width = static_cast<std::size_t>(job.width);
    const RowLengths full = {width, width + (job.repeatLastColumn ? width % 2 : 0)};
    WithStores(job.y, job.width, job.height, [&](auto stream) {
        std::ptrdiff_t row = 0;
        for (; row + 1 < job.height; row += 2) {
            ConvertRgbRows<Source, Arithmetic, 2, stream>(
                job.rgb.Row(row), job.rgb.Row(row + 1),
                {job.y.Row(row), job.y.Row(row + 1), job.u.Row(row / 2), job.v.Row(row / 2)}, full);
        }
        if (row < job.height) {
            ConvertRgbRows<Source, Arithmetic, 1, stream>(
                job.rgb.Row(row), job.rgb.Row(row),
                {job.y.Row(row), job.y.Row(row), job.u.Row(row / 2), job.v.Row(row / 2)},
                {width - width % 2, width - width % 2});
        }
    });
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
                for (std::ptrdiff_t k = 0; k < width; ++k) {
                    std::memcpy(&pixels[i][k * 4], job.colours + indices[k] * 4, 4);
                }
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
template <bool yuy2, bool stream>
void BgrRowToPacked(const std::uint8_t* pixels, std::uint8_t* out, std::size_t width) {
    constexpr std::size_t piece = 512;
    alignas(64) std::uint8_t y[piece], u[piece / 2], v[piece / 2];
    for (std::size_t x = 0; x < width; x += piece) {
        const std::size_t count = std::min(piece, width - x);
        ConvertRgbRows<SourceBgr, Yuv14, 1, false>(pixels + x * 3, pixels + x * 3, {y, y, u, v},
                                                   {count, count + count % 2});
        PlanarRowToPacked<yuy2, stream>(y, u, v, out + x * 2, (count + 1) / 2);
    }
}

void BgrToPacked(const RgbToPacked& job) {
    if (job.width <= 0) {
        return;
    }
    WithStores(job.packed, (job.width + 1) / 2 * 4, job.height, [&](auto stream) {
        const auto convert = job.yuy2 ? BgrRowToPacked<true, stream> : BgrRowToPacked<false, stream>;
        for (std::ptrdiff_t row = 0; row < job.height; ++row) {
            convert(job.rgb.Row(row), job.packed.Row(row), static_cast<std::size_t>(job.width));
        }
    });
}

} // namespace
} // namespace kq::image::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
