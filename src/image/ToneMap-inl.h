/// @file
/// HDR of any layout to RGB, tone-mapped, in blocks of one vector of pixels. Included once per target.
#if defined(KQ_IMAGE_TONE_MAP_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef KQ_IMAGE_TONE_MAP_INL_H
#undef KQ_IMAGE_TONE_MAP_INL_H
#else
#define KQ_IMAGE_TONE_MAP_INL_H
#endif

#include "Arithmetic.h"
#include "Kernels.h"
#include "Lanes-inl.h"
#include "WeightedToRgb-inl.h"

HWY_BEFORE_NAMESPACE();
namespace kq::image::HWY_NAMESPACE {
namespace {

/// The arithmetic of ToneMapped() in 32-bit lanes, for the even and the odd columns of a block apart.
template <SampleDepth depth>
class ToneMapping {
public:
    static constexpr bool limit = false;
    static constexpr Beside beside = Beside::zero;

    /// The parts of the encoded components that come from chroma.
    struct Parts {
        V32 b, g, r;
    };
    /// For half a block.
    struct Terms {
        Parts even, odd;
    };

    explicit ToneMapping(const ToneMappedToRgb& job) : m_weights(job.weights), m_curves(job.curves) {}

    /// @param pairs (Cb, Cr) for two columns each
    HWY_INLINE Terms MakeTerms(V16 pairs) const {
        const Parts both = PartsOf(SignedEven(pairs), SignedOdd(pairs));
        return {both, both};
    }
    /// The same from samples for one column each.
    HWY_INLINE Terms MakeTerms(V16 u, V16 v) const {
        return {PartsOf(SignedEven(u), SignedEven(v)), PartsOf(SignedOdd(u), SignedOdd(v))};
    }

    HWY_INLINE BgrBlock Convert(V16 yLow, V16 yHigh, const Terms& low, const Terms& high) const {
        const BgrWords a = ConvertWords(yLow, low), b = ConvertWords(yHigh, high);
        return {PackSaturated(a.b, b.b), PackSaturated(a.g, b.g), PackSaturated(a.r, b.r)};
    }

private:
    using C = ToneCurves;
    struct BgrWords {
        V16 b, g, r;
    };

    /// Chroma comes in the upper bits of its words.
    static constexpr int chromaShift = depth == SampleDepth::Eight ? 8 : 6;
    static constexpr int lumaShift = depth == SampleDepth::Eight ? 0 : 6;

    static HWY_INLINE V32 SignedEven(V16 words) {
        return hn::ShiftRight<16 + chromaShift>(hn::ShiftLeft<16>(hn::BitCast(d32, words)));
    }
    static HWY_INLINE V32 SignedOdd(V16 words) {
        return hn::ShiftRight<16 + chromaShift>(hn::BitCast(d32, words));
    }
    static HWY_INLINE V32 Times(V32 v, int factor) { return hn::Mul(v, hn::Set(d32, factor)); }

    HWY_INLINE Parts PartsOf(V32 u, V32 v) const {
        return {Times(u, m_weights.blueU), hn::Add(Times(u, m_weights.greenU), Times(v, m_weights.greenV)),
                Times(v, m_weights.redV)};
    }

    HWY_INLINE BgrWords ConvertWords(V16 words, const Terms& terms) const {
        const auto y = hn::ShiftRight<lumaShift>(hn::BitCast(du16, words));
        const V32 yEven = hn::And(hn::BitCast(d32, y), DoubleWords<0xFFFF>());
        const V32 yOdd = hn::BitCast(d32, hn::ShiftRight<16>(hn::BitCast(du32, y)));
        const Parts even = ConvertColumns(yEven, terms.even), odd = ConvertColumns(yOdd, terms.odd);
        return {Joined(even.b, odd.b), Joined(even.g, odd.g), Joined(even.r, odd.r)};
    }
    static HWY_INLINE V16 Joined(V32 even, V32 odd) {
        return hn::BitCast(d16, hn::Or(even, hn::ShiftLeft<16>(odd)));
    }

    HWY_INLINE Parts ConvertColumns(V32 y, const Parts& chroma) const {
        const V32 luma = hn::Sub(Times(y, m_weights.luma), hn::Set(d32, m_weights.black));
        Parts light = {LightOf(hn::Add(luma, chroma.b)), LightOf(hn::Add(luma, chroma.g)),
                       LightOf(hn::Add(luma, chroma.r))};
        if (m_curves.systemGamma != nullptr) {
            light = WithSystemGamma(light);
        }
        const V32 rg = hn::Sub(light.r, light.g), rb = hn::Sub(light.r, light.b),
                  gb = hn::Sub(light.g, light.b);
        return {
            LevelOf(hn::Sub(light.b, WeightedSum(rb, C::blueByRed, gb, C::blueByGreen))),
            LevelOf(hn::Add(light.g, WeightedSum(gb, C::greenByBlue, rg, -C::greenByRed))),
            LevelOf(hn::Add(light.r, WeightedSum(rg, C::redByGreen, rb, C::redByBlue))),
        };
    }
    static HWY_INLINE V32 WeightedSum(V32 a, int aFactor, V32 b, int bFactor) {
        return hn::ShiftRight<15>(hn::Add(Times(a, aFactor), Times(b, bFactor)));
    }

    HWY_INLINE Parts WithSystemGamma(const Parts& light) const {
        const V32 sum = hn::Add(hn::Add(Times(light.r, C::luminanceRed), Times(light.g, C::luminanceGreen)),
                                Times(light.b, C::luminanceBlue));
        const V32 factor =
            hn::ShiftRight<C::pieceBits>(OnCurveByLight(m_curves.systemGamma, hn::ShiftRight<14>(sum)));
        const auto scaled = [&](V32 part) { return hn::ShiftRight<14>(hn::Mul(part, factor)); };
        return {scaled(light.b), scaled(light.g), scaled(light.r)};
    }

    HWY_INLINE V32 LightOf(V32 encoded) const {
        const V32 bounded = hn::Min(hn::Max(encoded, hn::Zero(d32)), DoubleWords<1 << C::encodedBits>());
        const V32 pieces = hn::GatherIndex(d32, m_curves.light, hn::ShiftRight<C::encodedPieceBits>(bounded));
        const V32 value = Interpolated(pieces, hn::ShiftRight<C::encodedPieceBits - C::pieceBits>(bounded));
        constexpr int middle = (C::middleLight << C::pieceBits) + (1 << (C::pieceBits - 1));
        return hn::ShiftRight<C::pieceBits>(hn::Add(value, DoubleWords<middle>()));
    }

    HWY_INLINE V32 LevelOf(V32 light) const {
        const V32 bounded = hn::Min(hn::Max(light, hn::Zero(d32)), DoubleWords<C::wholeLight - 1>());
        return hn::ShiftRight<C::pieceBits + 7>(OnCurveByLight(m_curves.levels, bounded));
    }

    static HWY_INLINE V32 OnCurveByLight(const std::int32_t* curve, V32 light) {
        constexpr hn::RebindToFloat<decltype(d32)> floats;
        const auto number = hn::ConvertTo(floats, hn::Add(light, DoubleWords<C::leastLight>()));
        const V32 bits = hn::BitCast(d32, number);
        const V32 piece = hn::Sub(hn::ShiftRight<C::lightPieceBits>(bits),
                                  DoubleWords<static_cast<int>(C::firstLightPiece)>());
        return Interpolated(PickLightPieces(curve, piece),
                            hn::ShiftRight<C::lightPieceBits - C::pieceBits>(bits));
    }

    static HWY_INLINE V32 PickLightPieces(const std::int32_t* curve, V32 piece) {
#if KQ_FOUR_LANES
        static_assert(C::lightPieces == 64);
        const auto part = [=](int i) { return hn::LoadU(d32, curve + 16 * i).raw; };
        const V32 lower{_mm512_permutex2var_epi32(part(0), piece.raw, part(1))};
        const V32 upper{_mm512_permutex2var_epi32(part(2), piece.raw, part(3))};
        return hn::IfThenElse(hn::TestBit(piece, DoubleWords<32>()), upper, lower);
#else
        return hn::GatherIndex(d32, curve, piece);
#endif
    }

    /// @param place its lowest bits count
    static HWY_INLINE V32 Interpolated(V32 pieces, V32 place) {
        const V32 factors = hn::Or(hn::And(place, DoubleWords<(1 << C::pieceBits) - 1>()),
                                   DoubleWords<1 << (C::pieceBits + 16)>());
        return MulAddPairs(hn::BitCast(d16, pieces), hn::BitCast(d16, factors));
    }

    EncodedWeights m_weights;
    ToneCurves m_curves;
};

template <class Layout>
struct ToneMappedRows {
    template <SampleDepth depth, ChromaColumns chroma>
    static void Convert(const ToneMappedToRgb& job) {
        SamplePictureToRgb<Samples<depth, chroma>, Layout>(job, ToneMapping<depth>(job));
    }
};

template <class Layout>
void ToneMappedPictureToRgb(const ToneMappedToRgb& job) {
    ConvertAsLaidOut<ToneMappedRows<Layout>>(job);
}

} // namespace
} // namespace kq::image::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
