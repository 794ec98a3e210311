/// @file
/// YUV of any layout to RGB with weights given as data, in blocks of one vector of pixels. Included once per
/// target.
#if defined(KQ_IMAGE_WEIGHTED_TO_RGB_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef KQ_IMAGE_WEIGHTED_TO_RGB_INL_H
#undef KQ_IMAGE_WEIGHTED_TO_RGB_INL_H
#else
#define KQ_IMAGE_WEIGHTED_TO_RGB_INL_H
#endif

#include "Kernels.h"
#include "Lanes-inl.h"
#include "YuvToRgb-inl.h"

#include <cstring>

HWY_BEFORE_NAMESPACE();
namespace kq::image::HWY_NAMESPACE {
namespace {

/// The arithmetic of SamplesToBgr() in 16-bit lanes. Saturation stands in for the upper clamp; downwards no
/// sum leaves 16 bits. Weights lie in memory, from where loops take them for nothing.
class Weighted {
public:
    static constexpr bool limit = false;
    static constexpr Beside beside = Beside::same;

    /// The parts of a sum that come from chroma, offset included, for half a block.
    struct Terms {
        V16 b, g, r;
    };

    explicit Weighted(const SampleWeights& w) {
        Fill(m_luma, w.luma, w.luma);
        Fill(m_blue, w.blue, w.blue);
        Fill(m_red, w.red, w.red);
        Fill(m_blueRed, w.blue, w.red);
        Fill(m_green, w.greenU, w.greenV);
        Fill(m_offset, w.offset, w.offset);
        Fill(m_greenOffset, 0x8000, w.offset);
    }

    /// @param pairs (Cb, Cr) for two columns each
    HWY_INLINE Terms MakeTerms(V16 pairs) const {
        const V16 terms = hn::Add(MulRounded(pairs, Load(m_blueRed)), Load(m_offset));
        return {RepeatWord<0>(terms), RepeatWord<1>(hn::BitCast(d16, Green(pairs))), RepeatWord<1>(terms)};
    }
    /// The same from samples for one column each.
    HWY_INLINE Terms MakeTerms(V16 u, V16 v) const {
        const V16 even = hn::OddEven(hn::BitCast(d16, hn::ShiftLeft<16>(hn::BitCast(du32, v))), u);
        const V16 odd = hn::OddEven(v, hn::BitCast(d16, hn::ShiftRight<16>(hn::BitCast(du32, u))));
        return {hn::Add(MulRounded(u, Load(m_blue)), Load(m_offset)), HighHalves(Green(even), Green(odd)),
                hn::Add(MulRounded(v, Load(m_red)), Load(m_offset))};
    }

    HWY_INLINE BgrBlock Convert(V16 yLow, V16 yHigh, const Terms& low, const Terms& high) const {
        const V16 lumaLow = Luma(yLow), lumaHigh = Luma(yHigh);
        return {Pack(lumaLow, lumaHigh, low.b, high.b), Pack(lumaLow, lumaHigh, low.g, high.g),
                Pack(lumaLow, lumaHigh, low.r, high.r)};
    }

private:
    struct Constant {
        alignas(64) std::int16_t words[32];
    };

    static void Fill(Constant& constant, int even, int odd) {
        for (std::size_t i = 0; i < 32; i += 2) {
            constant.words[i] = static_cast<std::int16_t>(even);
            constant.words[i + 1] = static_cast<std::int16_t>(odd);
        }
    }
    static HWY_INLINE V16 Load(const Constant& constant) { return hn::Load(d16, constant.words); }

    HWY_INLINE V32 Green(V16 pairs) const {
        return MulAddPairs(hn::BitCast(d32, Load(m_greenOffset)), pairs, Load(m_green));
    }
    HWY_INLINE V16 Luma(V16 y) const {
        return hn::BitCast(d16, hn::MulHigh(hn::BitCast(du16, y), hn::BitCast(du16, Load(m_luma))));
    }
    static HWY_INLINE V8 Pack(V16 lumaLow, V16 lumaHigh, V16 low, V16 high) {
        const V16 by6 = Words<(1 << (16 - 6))>();
        return PackSaturated(hn::MulHigh(hn::SaturatedAdd(lumaLow, low), by6),
                             hn::MulHigh(hn::SaturatedAdd(lumaHigh, high), by6));
    }

    Constant m_luma, m_blue, m_red, m_blueRed, m_green, m_offset, m_greenOffset;
};

/// Samples in 16-bit words, for the lower and the upper half of each lane, in the order of Deal<parts>().
struct WordHalves {
    V16 low, high;
};

/// Ten bits in the upper bits of a word, the others empty.
template <SampleDepth depth>
HWY_INLINE V16 AlignTen(V16 words) {
    return depth == SampleDepth::TenLow ? hn::ShiftLeft<6>(words) : hn::And(words, Words<0xFFC0>());
}

/// As many samples as a block has pixels, each in the upper bits of a word.
template <SampleDepth depth, std::size_t parts>
HWY_INLINE WordHalves LoadHigh(const std::uint8_t* samples) {
    if constexpr (depth == SampleDepth::Eight) {
#if KQ_TWO_LANES
        if constexpr (parts > 1) {
            static constexpr ByteIndex order = IndexHalfBlock(parts / 2, false, true);
            return {PickHalfBlock<Weighted>(samples, order),
                    PickHalfBlock<Weighted>(samples + halfBlock, order)};
        }
#endif
        const V8 dealt = Deal<parts>(hn::LoadU(d8, samples));
        return {hn::BitCast(d16, hn::InterleaveLower(d8, hn::Zero(d8), dealt)),
                hn::BitCast(d16, hn::InterleaveUpper(d8, hn::Zero(d8), dealt))};
    } else if constexpr (parts == 1) {
        const LanePairs lanes = LoadAlternating(samples);
        return {AlignTen<depth>(hn::BitCast(d16, lanes.even)), AlignTen<depth>(hn::BitCast(d16, lanes.odd))};
    } else {
        const auto load = [](const std::uint8_t* p) {
            return AlignTen<depth>(Deal<parts / 2>(hn::BitCast(d16, hn::LoadU(d8, p))));
        };
        return {load(samples), load(samples + blockSize)};
    }
}

/// Luma, as the arithmetic wants eight bits of it; ten lie in the upper bits.
template <class Arithmetic, SampleDepth depth, std::size_t parts>
HWY_INLINE WordHalves LoadFull(const std::uint8_t* samples) {
    if constexpr (depth == SampleDepth::Eight) {
        const LumaWords words = LoadLuma<Arithmetic, parts>(samples);
        return {words.low, words.high};
    } else {
        return LoadHigh<depth, parts>(samples);
    }
}

/// One sample for two columns, half a block's.
template <SampleDepth depth, std::size_t parts>
HWY_INLINE V16 LoadHalfHigh(const std::uint8_t* samples) {
    if constexpr (depth == SampleDepth::Eight) {
        return LoadChroma<Weighted, parts>(samples);
    } else {
        return AlignTen<depth>(Deal<parts>(hn::BitCast(d16, hn::LoadU(d8, samples))));
    }
}

/// Turns a sample in the upper bits into a signed number with no colour at 0.
HWY_INLINE V16 Centred(V16 words) {
    return hn::Xor(words, Words<0x8000>());
}

template <SampleDepth depth, ChromaColumns chroma>
struct Samples {
    static constexpr std::size_t bytes = depth == SampleDepth::Eight ? 1 : 2;
    static constexpr bool hasTwoPlanes = chroma != ChromaColumns::Interleaved;

    /// Bytes of so many columns in a plane of chroma.
    static constexpr std::size_t ChromaBytes(std::size_t columns) {
        return chroma == ChromaColumns::Full          ? columns * bytes
               : chroma == ChromaColumns::Interleaved ? (columns + 1) / 2 * 2 * bytes
                                                      : (columns + 1) / 2 * bytes;
    }

    template <std::size_t parts, class Arithmetic>
    static HWY_INLINE BlockTerms<Arithmetic> MakeTerms(const Arithmetic& arithmetic, const std::uint8_t* u,
                                                       const std::uint8_t* v) {
        if constexpr (chroma == ChromaColumns::Full) {
            const WordHalves cb = LoadHigh<depth, parts>(u), cr = LoadHigh<depth, parts>(v);
            return {arithmetic.MakeTerms(Centred(cb.low), Centred(cr.low)),
                    arithmetic.MakeTerms(Centred(cb.high), Centred(cr.high))};
        } else if constexpr (chroma == ChromaColumns::Interleaved) {
            const WordHalves pairs = LoadHigh<depth, parts>(u);
            return {arithmetic.MakeTerms(Centred(pairs.low)), arithmetic.MakeTerms(Centred(pairs.high))};
        } else {
            const V16 cb = LoadHalfHigh<depth, parts>(u), cr = LoadHalfHigh<depth, parts>(v);
            return {arithmetic.MakeTerms(Centred(hn::InterleaveLower(d16, cb, cr))),
                    arithmetic.MakeTerms(Centred(hn::InterleaveUpper(d16, cb, cr)))};
        }
    }

    template <class Layout, bool stream, class Arithmetic>
    static HWY_INLINE void ConvertBlock(const Arithmetic& arithmetic, const BlockTerms<Arithmetic>& terms,
                                        const std::uint8_t* luma, std::uint8_t* out) {
        const WordHalves y = LoadFull<Arithmetic, depth, Layout::parts>(luma);
        Layout::template Store<stream>(arithmetic.Convert(y.low, y.high, terms.low, terms.high), out);
    }
};

/// Rows that share a chroma row.
template <class Source, class Layout, int rows, bool stream, class Arithmetic>
void SampleRowsToRgb(const SamplesToRgb& job, const Arithmetic& arithmetic, std::ptrdiff_t row) {
    const std::uint8_t* u = job.u.Row(job.layout.ChromaRow(row));
    const std::uint8_t* v = job.v.Row(job.layout.ChromaRow(row));
    const std::uint8_t* y[2] = {job.y.Row(row), rows == 2 ? job.y.Row(row + 1) : nullptr};
    std::uint8_t* out[2] = {job.rgb.Row(row), rows == 2 ? job.rgb.Row(row + 1) : nullptr};
    const auto width = static_cast<std::size_t>(job.width);
    std::size_t x = 0;
    for (; x + blockSize <= width; x += blockSize) {
        const std::size_t at = Source::ChromaBytes(x);
        const auto terms = Source::template MakeTerms<Layout::parts>(arithmetic, u + at, v + at);
        for (int i = 0; i < rows; ++i) {
            Source::template ConvertBlock<Layout, stream>(arithmetic, terms, y[i] + x * Source::bytes,
                                                          out[i] + x * Layout::pixelBytes);
        }
    }
    if (x == width) {
        return;
    }
    // The rest of a row goes through buffers of a whole block, so that nothing beyond it is touched.
    alignas(64) std::uint8_t uRest[2 * blockSize] = {}, vRest[2 * blockSize] = {}, yRest[2 * blockSize] = {};
    alignas(64) std::uint8_t outRest[blockSize * Layout::pixelBytes];
    const std::size_t rest = width - x, at = Source::ChromaBytes(x);
    std::memcpy(uRest, u + at, Source::ChromaBytes(rest));
    if constexpr (Source::hasTwoPlanes) {
        std::memcpy(vRest, v + at, Source::ChromaBytes(rest));
    }
    const auto terms = Source::template MakeTerms<Layout::parts>(arithmetic, uRest, vRest);
    for (int i = 0; i < rows; ++i) {
        std::memcpy(yRest, y[i] + x * Source::bytes, rest * Source::bytes);
        Source::template ConvertBlock<Layout, false>(arithmetic, terms, yRest, outRest);
        std::memcpy(out[i] + x * Layout::pixelBytes, outRest, rest * Layout::pixelBytes);
    }
}

template <class Source, class Layout, class Arithmetic>
void SamplePictureToRgb(const SamplesToRgb& job, const Arithmetic& arithmetic) {
    WithStores(job.rgb, job.width * static_cast<std::ptrdiff_t>(Layout::pixelBytes), job.height,
               [&](auto stream) {
                   std::ptrdiff_t row = 0;
                   for (; job.layout.rowsShareChroma && row + 1 < job.height; row += 2) {
                       SampleRowsToRgb<Source, Layout, 2, stream>(job, arithmetic, row);
                   }
                   for (; row < job.height; ++row) {
                       SampleRowsToRgb<Source, Layout, 1, stream>(job, arithmetic, row);
                   }
               });
}

/// Calls Rows::Convert<depth, chroma>(job) for the job's layout.
template <class Rows, class Job>
void ConvertAsLaidOut(const Job& job) {
    using Depth = SampleDepth;
    using Chroma = ChromaColumns;
    const auto select = [&](auto eight, auto tenLow, auto tenHigh) {
        const Depth depth = job.layout.depth;
        (depth == Depth::Eight ? eight : depth == Depth::TenLow ? tenLow : tenHigh)(job);
    };
    switch (job.layout.chroma) {
    case Chroma::Half:
        return select(Rows::template Convert<Depth::Eight, Chroma::Half>,
                      Rows::template Convert<Depth::TenLow, Chroma::Half>,
                      Rows::template Convert<Depth::TenHigh, Chroma::Half>);
    case Chroma::Interleaved:
        return select(Rows::template Convert<Depth::Eight, Chroma::Interleaved>,
                      Rows::template Convert<Depth::TenLow, Chroma::Interleaved>,
                      Rows::template Convert<Depth::TenHigh, Chroma::Interleaved>);
    case Chroma::Full:
        return select(Rows::template Convert<Depth::Eight, Chroma::Full>,
                      Rows::template Convert<Depth::TenLow, Chroma::Full>,
                      Rows::template Convert<Depth::TenHigh, Chroma::Full>);
    }
}

template <class Layout>
struct WeightedRows {
    template <SampleDepth depth, ChromaColumns chroma>
    static void Convert(const WeightedToRgb& job) {
        SamplePictureToRgb<Samples<depth, chroma>, Layout>(job, Weighted(job.weights));
    }
};

template <class Layout>
void WeightedPictureToRgb(const WeightedToRgb& job) {
    ConvertAsLaidOut<WeightedRows<Layout>>(job);
}

} // namespace
} // namespace kq::image::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
