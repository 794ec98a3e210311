/// @file
/// YUV to RGB in blocks of one vector of luma samples. Included once per target.
#if defined(KQ_IMAGE_YUV_TO_RGB_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef KQ_IMAGE_YUV_TO_RGB_INL_H
#undef KQ_IMAGE_YUV_TO_RGB_INL_H
#else
#define KQ_IMAGE_YUV_TO_RGB_INL_H
#endif

#include "Kernels.h"
#include "Lanes-inl.h"

#include <cstring>

HWY_BEFORE_NAMESPACE();
namespace kq::image::HWY_NAMESPACE {
namespace {

/// What an arithmetic wants beside a luma sample, in the upper byte of its word.
enum class Beside { zero, complement, same };

/// The colours of a block, or its components c0, c1, c2.
struct BgrBlock {
    V8 b, g, r;
};

/// The coefficients of one channel: uWeight u + vWeight v + offset, samples as they are.
template <int uFactor, int vFactor, int offsetValue>
struct Weights {
    static constexpr int uWeight = uFactor;
    static constexpr int vWeight = vFactor;
    static constexpr int offset = offsetValue;
    static constexpr int min = offset + (uWeight < 0 ? 255 * uWeight : 0) + (vWeight < 0 ? 255 * vWeight : 0);
    static constexpr int max = offset + (uWeight > 0 ? 255 * uWeight : 0) + (vWeight > 0 ? 255 * vWeight : 0);
};

/// Chroma samples of half a block: (u, v) pairs of 16-bit words, each 256 times a sample.
using ChromaPairs = V16;

/// Repeats the first (0) or the second (1) word of each pair for the two columns of the pair.
template <int word>
HWY_INLINE V16 RepeatWord(V16 pairs) {
    constexpr std::uint8_t k = 2 * word;
    alignas(16) static constexpr std::uint8_t order[16] = {k,      k + 1,  k,      k + 1, k + 4, k + 5,
                                                           k + 4,  k + 5,  k + 8,  k + 9, k + 8, k + 9,
                                                           k + 12, k + 13, k + 12, k + 13};
    return hn::BitCast(d16, hn::TableLookupBytes(hn::BitCast(d8, pairs), EveryLane(order)));
}

/// Arithmetics with luma factor 149 x 2^shift and shift + 7 fractional bits, in 16-bit lanes.
///
/// The floor of a sum that has a whole number as one term is that number plus the floor of the rest, so
///     (149 2^s y + C) >> (s + 7) = (149 y + (C >> s)) >> 7
/// exactly. Saturating additions stand in for the clamps: a sum outside 16 bits ends at 0 or 255 anyway. Luma
/// is kept with lumaBias subtracted so that it fits, the chroma terms with it added. A channel whose terms
/// need more than 16 bits is kept as 256 (sample - 128) plus a rest; added in this order nothing is lost,
/// because the rest is never negative and too small to lift a sum that saturated at the lower end above 0.
template <int shift, class Blue, class Green, class Red, bool limitSamples>
struct Saturating {
    static constexpr bool limit = limitSamples;
    static constexpr Beside beside = Beside::complement;
    static constexpr int lumaBias = 22 * 255;

    template <class W>
    static constexpr bool isWide = (W::min >> shift) + lumaBias<-32768 || (W::max >> shift) + lumaBias> 32767;

    /// A channel of one sample, which it takes as x = 256 (sample - 128) + nudge. A rounded product of x is
    /// then the term (the rest of one that does not fit) but for a constant: the nudge stands in for the
    /// fraction of offset, and is found by trying all samples.
    template <class W>
    struct SampleChannel {
        V16 main, term;

        static constexpr bool wide = isWide<W>;
        static constexpr int word = W::uWeight != 0 ? 0 : 1;
        static constexpr int factor = W::uWeight + W::vWeight - (wide ? 256 << shift : 0);
        static constexpr int rate = factor << (7 - shift);

        static constexpr int TermOf(int sample) {
            return ((factor * sample + W::offset) >> shift) + lumaBias;
        }
        static constexpr int Product(int x) { return (x * rate + 0x4000) >> 15; }
        static constexpr bool Suits(int nudge) {
            for (int sample = 1; sample < 256; ++sample) {
                if (Product(256 * (sample - 128) + nudge) - Product(256 * -128 + nudge) !=
                    TermOf(sample) - TermOf(0)) {
                    return false;
                }
            }
            return true;
        }
        static constexpr int FindNudge() {
            int nudge = 0;
            while (!Suits(nudge)) {
                ++nudge;
            }
            return nudge;
        }
        static constexpr int bestNudge = FindNudge();
        static constexpr int termOffset =
            TermOf(0) - Product(256 * -128 + bestNudge) + (wide ? 256 * 128 - bestNudge : 0);
        static_assert((W::uWeight == 0) != (W::vWeight == 0) && bestNudge < 256 && rate < 32768);
        static_assert(!wide || (Product(256 * -128 + bestNudge) + termOffset >= 0 &&
                                Product(256 * 127 + bestNudge) + termOffset < 32768));

        static HWY_INLINE SampleChannel Make(V16 x, V16 terms) {
            return {RepeatWord<word>(x), RepeatWord<word>(terms)};
        }
        HWY_INLINE V16 AddTo(V16 luma) const {
            return hn::SaturatedAdd(wide ? hn::SaturatedAdd(luma, main) : luma, term);
        }
    };

    using BlueTerm = SampleChannel<Blue>;
    using RedTerm = SampleChannel<Red>;
    static_assert(BlueTerm::word == 0 && RedTerm::word == 1 && !isWide<Green>);

    /// The channel of both samples: the upper halves of 32-bit sums.
    struct GreenTerm {
        V16 term;

        static constexpr int uFactor = Green::uWeight * (1 << (8 - shift));
        static constexpr int vFactor = Green::vWeight * (1 << (8 - shift));
        static constexpr int sumOffset =
            (Green::offset + 128 * (Green::uWeight + Green::vWeight) + (lumaBias << shift)) *
                (1 << (16 - shift)) -
            BlueTerm::bestNudge * uFactor - RedTerm::bestNudge * vFactor;

        static HWY_INLINE GreenTerm Make(V16 x) {
            const V32 sum = MulAddPairs(DoubleWords<sumOffset>(), x, Words<uFactor, vFactor>());
            return {RepeatWord<1>(hn::BitCast(d16, sum))};
        }
        HWY_INLINE V16 AddTo(V16 luma) const { return hn::SaturatedAdd(luma, term); }
    };

    struct Terms {
        BlueTerm b;
        GreenTerm g;
        RedTerm r;
    };

    static HWY_INLINE Terms MakeTerms(ChromaPairs uv) {
        const V16 x = hn::Xor(uv, Words<0x8000 + BlueTerm::bestNudge, 0x8000 + RedTerm::bestNudge>());
        const V16 terms = hn::Add(MulRounded(x, Words<BlueTerm::rate, RedTerm::rate>()),
                                  Words<BlueTerm::termOffset, RedTerm::termOffset>());
        return {BlueTerm::Make(x, terms), GreenTerm::Make(x), RedTerm::Make(x, terms)};
    }

    /// 149 y - lumaBias as 127 y - 22 (255 - y).
    static HWY_INLINE V16 Luma(V16 yAndComplement) {
        return MulAddBytePairs(hn::BitCast(d8, yAndComplement), hn::BitCast(d8, Words<127 + (-22) * 256>()));
    }

    template <class C>
    static HWY_INLINE V8 Pack(V16 lumaLow, V16 lumaHigh, const C& low, const C& high) {
        // Shifts and shuffles compete for the same ports of a processor; a product's upper half is the shift.
        const V16 by7 = Words<(1 << (16 - 7))>();
        return PackSaturated(hn::MulHigh(low.AddTo(lumaLow), by7), hn::MulHigh(high.AddTo(lumaHigh), by7));
    }
    static HWY_INLINE BgrBlock Convert(V16 yLow, V16 yHigh, const Terms& low, const Terms& high) {
        return Sum(Luma(yLow), Luma(yHigh), low, high);
    }
    /// The same from luma samples in 16-bit words.
    static HWY_INLINE BgrBlock ConvertWords(V16 yLow, V16 yHigh, const Terms& low, const Terms& high) {
        const V16 bias = Words<lumaBias>();
        return Sum(hn::Sub(hn::Mul(yLow, Words<149>()), bias), hn::Sub(hn::Mul(yHigh, Words<149>()), bias),
                   low, high);
    }

private:
    static HWY_INLINE BgrBlock Sum(V16 lumaLow, V16 lumaHigh, const Terms& low, const Terms& high) {
        return {Pack(lumaLow, lumaHigh, low.b, high.b), Pack(lumaLow, lumaHigh, low.g, high.g),
                Pack(lumaLow, lumaHigh, low.r, high.r)};
    }
};

/// The arithmetic of YuvToBgr13(), divided by 64.
using Rgb13 = Saturating<6, Weights<16532, 0, -2268594>, Weights<-3203, -6660, 1109918>,
                         Weights<0, 13074, -1826095>, false>;
/// The arithmetic of YuvToBgr10(), divided by 8.
using Rgb10 =
    Saturating<3, Weights<2065, 0, -2065 * 128 - 18560>, Weights<-401, -833, (401 + 833) * 128 - 18560>,
               Weights<0, 1634, -1634 * 128 - 18560>, false>;
/// The sums of the tables of yuv2rgb_24(), divided by 2.
using TableComponents =
    Saturating<1, Weights<408, 0, -408 * 128 - 298 * 16>, Weights<-208, -100, (208 + 100) * 128 - 298 * 16>,
               Weights<0, 517, -517 * 128 - 298 * 16>, true>;

/// The arithmetic of YuvToComponents13(): luma factor 9576 = 8 x 1197 = 8 (1024 + 173). With D = C >> 3,
///     (9576 y + C) >> 13 = (1197 y + D) >> 10 = y + (D >> 10) + ((173 y + (D & 1023)) >> 10)
/// where every part fits 16 bits.
struct Components13 {
    static constexpr bool limit = false;
    static constexpr Beside beside = Beside::zero;

    template <int uWeight, int vWeight>
    struct Channel {
        V16 whole, fraction;

        /// @param uv pairs of 8 times the samples: the upper half of a sum is the whole part, the lower half
        ///           the fraction in 16 bits
        static HWY_INLINE Channel Make(V16 uv) {
            const V16 sum =
                hn::BitCast(d16, hn::Add(MulAddPairs(uv, Words<uWeight, vWeight>()),
                                         DoubleWords<8 * (-128 * (uWeight + vWeight) - 153216)>()));
            return {RepeatWord<1>(sum),
                    hn::BitCast(d16, hn::ShiftRight<6>(hn::BitCast(du16, RepeatWord<0>(sum))))};
        }
        HWY_INLINE V16 Apply(V16 y, V16 scaled) const {
            const auto sum = hn::BitCast(du16, hn::Add(scaled, fraction));
            const V16 carry =
                hn::BitCast(d16, hn::MulHigh(sum, hn::BitCast(du16, Words<(1 << (16 - 10))>())));
            return hn::Add(hn::Add(y, whole), carry);
        }
    };

    struct Terms {
        Channel<13123, 0> c0;
        Channel<-6686, -3218> c1;
        Channel<0, 16591> c2;
    };

    static HWY_INLINE Terms MakeTerms(ChromaPairs uv) {
        const V16 uv8 = hn::BitCast(d16, hn::ShiftRight<5>(hn::BitCast(du16, uv)));
        return {Channel<13123, 0>::Make(uv8), Channel<-6686, -3218>::Make(uv8), Channel<0, 16591>::Make(uv8)};
    }
    static HWY_INLINE BgrBlock Convert(V16 yLow, V16 yHigh, const Terms& low, const Terms& high) {
        const V16 scaledLow = hn::Mul(yLow, Words<173>());
        const V16 scaledHigh = hn::Mul(yHigh, Words<173>());
        return {PackSaturated(low.c0.Apply(yLow, scaledLow), high.c0.Apply(yHigh, scaledHigh)),
                PackSaturated(low.c1.Apply(yLow, scaledLow), high.c1.Apply(yHigh, scaledHigh)),
                PackSaturated(low.c2.Apply(yLow, scaledLow), high.c2.Apply(yHigh, scaledHigh))};
    }
};

/// Bytes B, G, R and a constant. parts tells Deal() how often Store() interleaves within lanes.
template <int fourth>
struct Layout32 {
    static constexpr std::size_t pixelBytes = 4;
    static constexpr std::size_t parts = 4;

    template <bool stream>
    static HWY_INLINE void Store(const BgrBlock& block, std::uint8_t* out) {
        const V8 last = Bytes<fourth>();
        const auto bgLow = hn::BitCast(du16, hn::InterleaveLower(d8, block.b, block.g));
        const auto bgHigh = hn::BitCast(du16, hn::InterleaveUpper(d8, block.b, block.g));
        const auto raLow = hn::BitCast(du16, hn::InterleaveLower(d8, block.r, last));
        const auto raHigh = hn::BitCast(du16, hn::InterleaveUpper(d8, block.r, last));
        StoreVector<stream>(hn::BitCast(d8, hn::InterleaveLower(du16, bgLow, raLow)), out);
        StoreVector<stream>(hn::BitCast(d8, hn::InterleaveUpper(du16, bgLow, raLow)), out + blockSize);
        StoreVector<stream>(hn::BitCast(d8, hn::InterleaveLower(du16, bgHigh, raHigh)), out + 2 * blockSize);
        StoreVector<stream>(hn::BitCast(d8, hn::InterleaveUpper(du16, bgHigh, raHigh)), out + 3 * blockSize);
    }
};

/// Bytes B, G, R.
struct Layout24 {
    static constexpr std::size_t pixelBytes = 3;
    static constexpr std::size_t parts = 1;

#if KQ_FOUR_LANES
    /// As 3 and the size of a vector have no common factor, byte i of channel c belongs at 3 i + c, counted
    /// round the vector, in one of three vectors: a channel is permuted once, and the vectors are blended.
    /// @param halves whether the lower half of each lane has the pixels of the block's first half
    template <bool stream, bool halves = false>
    static HWY_INLINE void Store(const BgrBlock& block, std::uint8_t* out) {
        static constexpr ByteIndex bOrder = IndexChannel(0, halves), gOrder = IndexChannel(1, halves),
                                   rOrder = IndexChannel(2, halves);
        const auto b = PermuteBytes(block.b, bOrder).raw, g = PermuteBytes(block.g, gOrder).raw,
                   r = PermuteBytes(block.r, rOrder).raw;
        constexpr __mmask64 first = 0x9249249249249249, second = first << 1;
        const auto blend = [](auto atFirst, auto atSecond, auto atThird) {
            return V8{
                _mm512_mask_blend_epi8(first, _mm512_mask_blend_epi8(second, atThird, atSecond), atFirst)};
        };
        StoreVector<stream>(blend(b, g, r), out);
        StoreVector<stream>(blend(g, r, b), out + blockSize);
        StoreVector<stream>(blend(r, b, g), out + 2 * blockSize);
    }

    static constexpr ByteIndex IndexChannel(std::size_t channel, bool halves) {
        ByteIndex index{};
        for (std::size_t i = 0; i < blockSize; ++i) {
            const std::size_t inHalf = i % halfBlock;
            const std::size_t apart = inHalf / 8 * 16 + inHalf % 8 + i / halfBlock * 8;
            index.bytes[(3 * i + channel) % blockSize] = static_cast<std::uint8_t>(halves ? apart : i);
        }
        return index;
    }
#else
    /// Each lane's 48 bytes: a channel is shuffled once so that each of its bytes is where one of three
    /// vectors has it, and the vectors are blended from the channels.
    template <bool stream>
    static HWY_INLINE void Store(const BgrBlock& block, std::uint8_t* out) {
#if KQ_TWO_LANES
        alignas(16) static constexpr std::uint8_t bOrder[16] = {0, 11, 6,  1, 12, 7,  2,  13,
                                                                8, 3,  14, 9, 4,  15, 10, 5};
        alignas(16) static constexpr std::uint8_t gOrder[16] = {5,  0, 11, 6,  1, 12, 7,  2,
                                                                13, 8, 3,  14, 9, 4,  15, 10};
        alignas(16) static constexpr std::uint8_t rOrder[16] = {10, 5,  0, 11, 6,  1, 12, 7,
                                                                2,  13, 8, 3,  14, 9, 4,  15};
        alignas(16) static constexpr std::uint8_t firstMask[16] = {255, 0,   0, 255, 0,   0, 255, 0,
                                                                   0,   255, 0, 0,   255, 0, 0,   255};
        alignas(16) static constexpr std::uint8_t secondMask[16] = {0, 255, 0,   0, 255, 0,   0, 255,
                                                                    0, 0,   255, 0, 0,   255, 0, 0};
        const V8 b = hn::TableLookupBytes(block.b, EveryLane(bOrder));
        const V8 g = hn::TableLookupBytes(block.g, EveryLane(gOrder));
        const V8 r = hn::TableLookupBytes(block.r, EveryLane(rOrder));
        const V8 first = EveryLane(firstMask), second = EveryLane(secondMask);
        const auto blend = [&](V8 atFirst, V8 atSecond, V8 atThird) {
            return V8{_mm256_blendv_epi8(_mm256_blendv_epi8(atThird.raw, atSecond.raw, second.raw),
                                         atFirst.raw, first.raw)};
        };
        const V8 v0 = blend(b, g, r), v1 = blend(g, r, b), v2 = blend(r, b, g);
        StoreVector<stream>(hn::ConcatLowerLower(d8, v1, v0), out);
        StoreVector<stream>(hn::ConcatUpperLower(d8, v0, v2), out + blockSize);
        StoreVector<stream>(hn::ConcatUpperUpper(d8, v2, v1), out + 2 * blockSize);
#else
        if constexpr (stream) {
            alignas(16) std::uint8_t pixels[3 * blockSize];
            hn::StoreInterleaved3(block.b, block.g, block.r, d8, pixels);
            for (std::size_t i = 0; i < 3; ++i) {
                hn::Stream(hn::Load(d8, pixels + i * blockSize), d8, out + i * blockSize);
            }
        } else {
            hn::StoreInterleaved3(block.b, block.g, block.r, d8, out);
        }
#endif
    }
#endif
};

/// 16-bit words with the upper bits of c0, of c1 (greenBits of them) and of c2.
template <int greenBits>
struct Layout16 {
    static constexpr std::size_t pixelBytes = 2;
    static constexpr std::size_t parts = 2;

    static HWY_INLINE V16 Words(V8 greenZero, V8 blueRed) {
        // c2's five bits lie in the upper byte; with 5-5-5 everything above c0 moves down by one.
        const V16 outer = hn::BitCast(d16, blueRed);
        return hn::Or(outer, hn::ShiftLeft<greenBits - 3>(hn::BitCast(d16, greenZero)));
    }
    template <bool stream>
    static HWY_INLINE void Store(const BgrBlock& block, std::uint8_t* out) {
        const V8 blue =
            hn::BitCast(d8, hn::ShiftRight<3>(hn::BitCast(du16, hn::And(block.b, Bytes<0xF8>()))));
        const V8 green = hn::And(block.g, Bytes<(0xFF00 >> greenBits)>());
        V8 red = hn::And(block.r, Bytes<0xF8>());
        if constexpr (greenBits == 5) {
            red = hn::BitCast(d8, hn::ShiftRight<1>(hn::BitCast(du16, red)));
        }
        StoreVector<stream>(hn::BitCast(d8, Words(hn::InterleaveLower(d8, green, hn::Zero(d8)),
                                                  hn::InterleaveLower(d8, blue, red))),
                            out);
        StoreVector<stream>(hn::BitCast(d8, Words(hn::InterleaveUpper(d8, green, hn::Zero(d8)),
                                                  hn::InterleaveUpper(d8, blue, red))),
                            out + blockSize);
    }
};

template <class Arithmetic, class V>
HWY_INLINE V Limit(V v) {
    if constexpr (Arithmetic::limit) {
        const hn::DFromV<V> d;
        return hn::Min(hn::Max(v, hn::Set(d, 16)), hn::Set(d, 240));
    } else {
        return v;
    }
}

/// The chroma terms of a block, for the lower and the upper half of each lane.
template <class Arithmetic>
struct BlockTerms {
    typename Arithmetic::Terms low, high;
};

#if KQ_TWO_LANES
/// Where words get the samples of half a block from, in the order of Deal<parts>(), when every lane has them
/// all.
/// @param even, odd whether the even (or odd) bytes are samples, not 0
constexpr ByteIndex IndexHalfBlock(std::size_t parts, bool even, bool odd) {
    ByteIndex index{};
    const std::size_t width = 8 / parts;
    for (std::size_t word = 0; word < halfBlock; ++word) {
        const std::size_t lane = word / 8, part = word % 8 / width;
        const auto at = static_cast<std::uint8_t>((part * laneCount + lane) * width + word % width);
        index.bytes[2 * word] = even ? at : 0x80;
        index.bytes[2 * word + 1] = odd ? at : 0x80;
    }
    return index;
}

/// Half a block's samples fit a lane; every lane picks its own, which is cheaper than moves from lane to
/// lane.
template <class Arithmetic>
HWY_INLINE V16 PickHalfBlock(const std::uint8_t* samples, const ByteIndex& index) {
    return hn::BitCast(d16, PickBytes(Limit<Arithmetic>(hn::LoadDup128(d8, samples)), index));
}
#endif

/// The samples of half a block, each in the upper byte of a word, in the order of Deal<parts>().
template <class Arithmetic, std::size_t parts>
HWY_INLINE V16 LoadChroma(const std::uint8_t* samples) {
#if KQ_TWO_LANES
    static constexpr ByteIndex order = IndexHalfBlock(parts, false, true);
    return PickHalfBlock<Arithmetic>(samples, order);
#else
    return hn::ShiftLeft<8>(Deal<parts>(hn::PromoteTo(d16, Limit<Arithmetic>(hn::LoadU(d8Half, samples)))));
#endif
}

template <class Arithmetic, class Layout>
HWY_INLINE BlockTerms<Arithmetic> MakeBlockTerms(const std::uint8_t* uSamples, const std::uint8_t* vSamples) {
    const V16 u = LoadChroma<Arithmetic, Layout::parts>(uSamples);
    const V16 v = LoadChroma<Arithmetic, Layout::parts>(vSamples);
    return {Arithmetic::MakeTerms(hn::InterleaveLower(d16, u, v)),
            Arithmetic::MakeTerms(hn::InterleaveUpper(d16, u, v))};
}

/// The samples of a block, each in the lower byte of a word, in the order of Deal<parts>(). The upper byte
/// is what the arithmetic wants there.
struct LumaWords {
    V16 low, high;
};

template <class Arithmetic, std::size_t parts>
HWY_INLINE LumaWords LoadLuma(const std::uint8_t* samples) {
#if KQ_TWO_LANES
    if constexpr (parts > 1) {
        static constexpr ByteIndex order =
            IndexHalfBlock(parts / 2, true, Arithmetic::beside != Beside::zero);
        const V16 low = PickHalfBlock<Arithmetic>(samples, order);
        const V16 high = PickHalfBlock<Arithmetic>(samples + halfBlock, order);
        if constexpr (Arithmetic::beside == Beside::complement) {
            return {hn::Xor(low, Words<0xFF00>()), hn::Xor(high, Words<0xFF00>())};
        } else {
            return {low, high};
        }
    }
#endif
    const V8 y = Deal<parts>(Limit<Arithmetic>(hn::LoadU(d8, samples)));
    const V8 beside = Arithmetic::beside == Beside::same         ? y
                      : Arithmetic::beside == Beside::complement ? hn::Not(y)
                                                                 : hn::Zero(d8);
    return {hn::BitCast(d16, hn::InterleaveLower(d8, y, beside)),
            hn::BitCast(d16, hn::InterleaveUpper(d8, y, beside))};
}

template <class Arithmetic, class Layout, bool stream>
HWY_INLINE void ConvertBlock(const std::uint8_t* luma, const BlockTerms<Arithmetic>& terms,
                             std::uint8_t* out) {
    const LumaWords y = LoadLuma<Arithmetic, Layout::parts>(luma);
    Layout::template Store<stream>(Arithmetic::Convert(y.low, y.high, terms.low, terms.high), out);
}

/// Rows that share a chroma row: two, or the last one of an odd height.
template <class Arithmetic, class Layout, int rows, bool stream>
void PlanarRowsToRgb(const PlanarToRgb& job, std::ptrdiff_t row) {
    const std::uint8_t* u = job.u.Row(row / 2);
    const std::uint8_t* v = job.v.Row(row / 2);
    const std::uint8_t* y[2] = {job.y.Row(row), rows == 2 ? job.y.Row(row + 1) : nullptr};
    std::uint8_t* out[2] = {job.rgb.Row(row), rows == 2 ? job.rgb.Row(row + 1) : nullptr};
    const bool skipLast = job.skipOddCorner && rows == 1 && job.width % 2 != 0;
    const std::size_t width = static_cast<std::size_t>(job.width) - (skipLast ? 1 : 0);
    std::size_t x = 0;
    for (; x + blockSize <= width; x += blockSize) {
        const auto terms = MakeBlockTerms<Arithmetic, Layout>(u + x / 2, v + x / 2);
        for (int i = 0; i < rows; ++i) {
            ConvertBlock<Arithmetic, Layout, stream>(y[i] + x, terms, out[i] + x * Layout::pixelBytes);
        }
    }
    if (x == width) {
        return;
    }
    // The rest of a row goes through buffers of a whole block, so that nothing beyond it is touched.
    alignas(64) std::uint8_t uRest[halfBlock] = {}, vRest[halfBlock] = {}, yRest[blockSize] = {};
    alignas(64) std::uint8_t outRest[blockSize * Layout::pixelBytes];
    const std::size_t rest = width - x;
    std::memcpy(uRest, u + x / 2, (rest + 1) / 2);
    std::memcpy(vRest, v + x / 2, (rest + 1) / 2);
    const auto terms = MakeBlockTerms<Arithmetic, Layout>(uRest, vRest);
    for (int i = 0; i < rows; ++i) {
        std::memcpy(yRest, y[i] + x, rest);
        ConvertBlock<Arithmetic, Layout, false>(yRest, terms, outRest);
        std::memcpy(out[i] + x * Layout::pixelBytes, outRest, rest * Layout::pixelBytes);
    }
}

template <class Arithmetic, class Layout, bool stream>
void PlanarPictureRowsToRgb(const PlanarToRgb& job) {
    std::ptrdiff_t row = 0;
    for (; row + 1 < job.height; row += 2) {
        PlanarRowsToRgb<Arithmetic, Layout, 2, stream>(job, row);
    }
    if (row < job.height) {
        PlanarRowsToRgb<Arithmetic, Layout, 1, stream>(job, row);
    }
}

template <class Arithmetic, class Layout>
void PlanarPictureToRgb(const PlanarToRgb& job) {
    if (job.width <= 0) {
        return;
    }
    WithStores(job.rgb, job.width * static_cast<std::ptrdiff_t>(Layout::pixelBytes), job.height,
               [&](auto stream) { PlanarPictureRowsToRgb<Arithmetic, Layout, stream>(job); });
}

template <bool yuy2>
HWY_INLINE ChromaPairs PackedChroma(V8 packed) {
    const V16 words = hn::BitCast(d16, packed);
    return yuy2 ? hn::And(words, Words<0xFF00>()) : hn::ShiftLeft<8>(words);
}
template <bool yuy2>
HWY_INLINE V16 PackedLuma(V8 packed) {
    const V16 words = hn::BitCast(d16, packed);
    return yuy2 ? hn::And(words, Words<255>())
                : hn::BitCast(d16, hn::ShiftRight<8>(hn::BitCast(du16, words)));
}

/// A block of macropixels to natural order 24-bit pixels.
template <bool yuy2, bool stream>
HWY_INLINE void ConvertPackedBlock(const std::uint8_t* packed, std::uint8_t* out) {
    const auto convert = [](V8 low, V8 high) {
        return Rgb13::ConvertWords(PackedLuma<yuy2>(low), PackedLuma<yuy2>(high),
                                   Rgb13::MakeTerms(PackedChroma<yuy2>(low)),
                                   Rgb13::MakeTerms(PackedChroma<yuy2>(high)));
    };
#if KQ_FOUR_LANES
    Layout24::Store<stream, true>(convert(hn::LoadU(d8, packed), hn::LoadU(d8, packed + blockSize)), out);
#else
    const LanePairs in = LoadAlternating(packed);
    Layout24::Store<stream>(convert(in.even, in.odd), out);
#endif
}

template <bool yuy2, bool stream>
void PackedRowToBgr(const std::uint8_t* packed, std::uint8_t* out, std::size_t width) {
    std::size_t x = 0;
    for (; x + blockSize <= width; x += blockSize) {
        ConvertPackedBlock<yuy2, stream>(packed + x * 2, out + x * 3);
    }
    if (x == width) {
        return;
    }
    alignas(64) std::uint8_t packedRest[blockSize * 2] = {};
    alignas(64) std::uint8_t outRest[blockSize * 3];
    std::memcpy(packedRest, packed + x * 2, (width - x + 1) / 2 * 4);
    ConvertPackedBlock<yuy2, false>(packedRest, outRest);
    std::memcpy(out + x * 3, outRest, (width - x) * 3);
}

void PackedToBgr(const PackedToRgb& job) {
    if (job.width <= 0) {
        return;
    }
    WithStores(job.rgb, job.width * 3, job.height, [&](auto stream) {
        const auto convert = job.yuy2 ? PackedRowToBgr<true, stream> : PackedRowToBgr<false, stream>;
        for (std::ptrdiff_t row = 0; row < job.height; ++row) {
            convert(job.packed.Row(row), job.rgb.Row(row), static_cast<std::size_t>(job.width));
        }
    });
}

} // namespace
} // namespace kq::image::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
