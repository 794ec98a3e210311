#include "Kernels.h"

#include "Arithmetic.h"

#include <cstring>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "Common/Image/Kernels.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace kq::image::HWY_NAMESPACE {
#if HWY_TARGET == HWY_SCALAR

const Kernels* TargetKernels() {
    return nullptr;
}

#else
namespace hn = hwy::HWY_NAMESPACE;
namespace {

constexpr hn::ScalableTag<std::uint8_t> d8;
constexpr hn::ScalableTag<std::int16_t> d16;
constexpr hn::ScalableTag<std::uint16_t> du16;
constexpr hn::ScalableTag<std::uint32_t> d32;
constexpr hn::Half<decltype(d8)> d8Half;
using V8 = hn::Vec<decltype(d8)>;
using V16 = hn::Vec<decltype(d16)>;
using V32 = hn::Vec<decltype(d32)>;

/// Pixels of a block: one vector of luma samples.
constexpr std::size_t kBlock = HWY_MAX_BYTES;
constexpr std::size_t kHalfBlock = kBlock / 2;

/// Packs two vectors of 16-bit values into bytes with saturation, each 128-bit lane for itself.
HWY_INLINE V8 PackSaturated(V16 low, V16 high) {
#if HWY_TARGET <= HWY_AVX3
    return V8{_mm512_packus_epi16(low.raw, high.raw)};
#elif HWY_TARGET <= HWY_AVX2
    return V8{_mm256_packus_epi16(low.raw, high.raw)};
#else
    return V8{_mm_packus_epi16(low.raw, high.raw)};
#endif
}

/// Deals the 32-bit groups of a vector to its 128-bit lanes in turn, so that interleaving within the lanes
/// later yields pixels in their order in memory.
template <class V>
HWY_INLINE V Deal(V v) {
    constexpr std::size_t lanes = kBlock / 16;
    if constexpr (lanes == 1) {
        return v;
    } else {
        alignas(64) std::int32_t index[kBlock / 4];
        for (std::size_t i = 0; i < kBlock / 4; ++i)
            index[i] = static_cast<std::int32_t>(i % 4 * lanes + i / 4);
        const hn::DFromV<V> d;
        return hn::BitCast(d, hn::TableLookupLanes(hn::BitCast(d32, v), hn::SetTableIndices(d32, index)));
    }
}

constexpr int FloorShift(int value, int shift) {
    return value >> shift;
}

/// 13-bit arithmetic in 16-bit lanes. All sums are divided by 64 first: 9536 y = 64 * 149 y, and the floor of
/// a sum of which one term is a whole number is that number plus the floor of the rest, so
///     (9536 y + C) >> 13 = (149 y + (C >> 6)) >> 7
/// exactly. Saturating additions stand in for the clamps: whatever leaves 16 bits clamps to 0 or 255 anyway.
/// Luma is held with kLumaBias subtracted to fit, and the chroma terms with it added.
constexpr int kLumaBias = 5610;

/// The chroma part of one channel, >> 6, biased: hi and lo are the coefficients' parts above and below 64.
template <int kU, int kV, int kOffset>
HWY_INLINE V16 ChromaTerm(V16 u, V16 v) {
    constexpr int shift = 6;
    constexpr int mask = (1 << shift) - 1;
    V16 high = hn::Set(d16, static_cast<std::int16_t>(FloorShift(kOffset, shift) + kLumaBias));
    V16 low = hn::Set(d16, static_cast<std::int16_t>(kOffset & mask));
    if constexpr (kU != 0) {
        high = hn::Add(high, hn::Mul(u, hn::Set(d16, static_cast<std::int16_t>(FloorShift(kU, shift)))));
        low = hn::Add(low, hn::Mul(u, hn::Set(d16, static_cast<std::int16_t>(kU & mask))));
    }
    if constexpr (kV != 0) {
        high = hn::Add(high, hn::Mul(v, hn::Set(d16, static_cast<std::int16_t>(FloorShift(kV, shift)))));
        low = hn::Add(low, hn::Mul(v, hn::Set(d16, static_cast<std::int16_t>(kV & mask))));
    }
    return hn::Add(high, hn::ShiftRight<shift>(low));
}

/// The chroma terms of a block, each sample repeated for its two columns. Blue needs more than 16 bits and is
/// kept as 256 (u - 128) and the rest, which is never negative.
struct ChromaTerms {
    V16 blueLow, blueHigh, blueRestLow, blueRestHigh, greenLow, greenHigh, redLow, redHigh;
};

HWY_INLINE ChromaTerms MakeChromaTerms(const std::uint8_t* uSamples, const std::uint8_t* vSamples) {
    const V16 u = Deal(hn::PromoteTo(d16, hn::LoadU(d8Half, uSamples)));
    const V16 v = Deal(hn::PromoteTo(d16, hn::LoadU(d8Half, vSamples)));
    const V16 blueMain = hn::Xor(hn::ShiftLeft<8>(u), hn::Set(d16, -32768));
    const V16 blueRest = hn::Sub(ChromaTerm<16532, 0, -2268594>(u, v), blueMain);
    const V16 green = ChromaTerm<-3203, -6660, 1109918>(u, v);
    const V16 red = ChromaTerm<0, 13074, -1826095>(u, v);
    return {hn::InterleaveLower(d16, blueMain, blueMain), hn::InterleaveUpper(d16, blueMain, blueMain),
            hn::InterleaveLower(d16, blueRest, blueRest), hn::InterleaveUpper(d16, blueRest, blueRest),
            hn::InterleaveLower(d16, green, green),       hn::InterleaveUpper(d16, green, green),
            hn::InterleaveLower(d16, red, red),           hn::InterleaveUpper(d16, red, red)};
}

struct BgrBlock {
    V8 b, g, r;
};

HWY_INLINE V8 Channel(V16 low, V16 high) {
    return PackSaturated(hn::ShiftRight<7>(low), hn::ShiftRight<7>(high));
}

HWY_INLINE BgrBlock ConvertBlock(const std::uint8_t* luma, const ChromaTerms& chroma) {
    const V8 y = Deal(hn::LoadU(d8, luma));
    const V16 factor = hn::Set(d16, 149);
    const V16 bias = hn::Set(d16, kLumaBias);
    const V16 low =
        hn::Sub(hn::Mul(hn::BitCast(d16, hn::InterleaveLower(d8, y, hn::Zero(d8))), factor), bias);
    const V16 high =
        hn::Sub(hn::Mul(hn::BitCast(d16, hn::InterleaveUpper(d8, y, hn::Zero(d8))), factor), bias);
    return {Channel(hn::SaturatedAdd(hn::SaturatedAdd(low, chroma.blueLow), chroma.blueRestLow),
                    hn::SaturatedAdd(hn::SaturatedAdd(high, chroma.blueHigh), chroma.blueRestHigh)),
            Channel(hn::SaturatedAdd(low, chroma.greenLow), hn::SaturatedAdd(high, chroma.greenHigh)),
            Channel(hn::SaturatedAdd(low, chroma.redLow), hn::SaturatedAdd(high, chroma.redHigh))};
}

/// Bytes B, G, R, 255.
struct BgraLayout {
    static constexpr std::size_t kPixelBytes = 4;

    static HWY_INLINE void Store(const BgrBlock& block, std::uint8_t* out) {
        const V8 opaque = hn::Set(d8, 255);
        const auto bgLow = hn::BitCast(du16, hn::InterleaveLower(d8, block.b, block.g));
        const auto bgHigh = hn::BitCast(du16, hn::InterleaveUpper(d8, block.b, block.g));
        const auto raLow = hn::BitCast(du16, hn::InterleaveLower(d8, block.r, opaque));
        const auto raHigh = hn::BitCast(du16, hn::InterleaveUpper(d8, block.r, opaque));
        hn::StoreU(hn::BitCast(d8, hn::InterleaveLower(du16, bgLow, raLow)), d8, out);
        hn::StoreU(hn::BitCast(d8, hn::InterleaveUpper(du16, bgLow, raLow)), d8, out + kBlock);
        hn::StoreU(hn::BitCast(d8, hn::InterleaveLower(du16, bgHigh, raHigh)), d8, out + 2 * kBlock);
        hn::StoreU(hn::BitCast(d8, hn::InterleaveUpper(du16, bgHigh, raHigh)), d8, out + 3 * kBlock);
    }
};

/// Up to two rows that share their chroma row.
template <class Layout>
void ConvertRows(const PlanarToRgb& job, std::ptrdiff_t row, int rows) {
    const std::uint8_t* u = job.u.Row(row / 2);
    const std::uint8_t* v = job.v.Row(row / 2);
    const std::size_t width = static_cast<std::size_t>(job.width);
    std::size_t x = 0;
    for (; x + kBlock <= width; x += kBlock) {
        const ChromaTerms chroma = MakeChromaTerms(u + x / 2, v + x / 2);
        for (int i = 0; i < rows; ++i)
            Layout::Store(ConvertBlock(job.y.Row(row + i) + x, chroma),
                          job.rgb.Row(row + i) + x * Layout::kPixelBytes);
    }
    if (x == width)
        return;
    // The rest of a row goes through buffers of a whole block.
    alignas(64) std::uint8_t uRest[kHalfBlock] = {}, vRest[kHalfBlock] = {}, yRest[kBlock] = {};
    alignas(64) std::uint8_t out[kBlock * Layout::kPixelBytes];
    const std::size_t rest = width - x;
    std::memcpy(uRest, u + x / 2, (rest + 1) / 2);
    std::memcpy(vRest, v + x / 2, (rest + 1) / 2);
    const ChromaTerms chroma = MakeChromaTerms(uRest, vRest);
    for (int i = 0; i < rows; ++i) {
        const bool corner = job.skipOddCorner && (width & 1) != 0 && rows == 1;
        std::memcpy(yRest, job.y.Row(row + i) + x, rest);
        Layout::Store(ConvertBlock(yRest, chroma), out);
        std::memcpy(job.rgb.Row(row + i) + x * Layout::kPixelBytes, out,
                    (rest - (corner ? 1 : 0)) * Layout::kPixelBytes);
    }
}

void PlanarToBgra(const PlanarToRgb& job) {
    for (std::ptrdiff_t row = 0; row < job.height; row += 2)
        ConvertRows<BgraLayout>(job, row, row + 1 < job.height ? 2 : 1);
}

void PlanarToBgr(const PlanarToRgb& job) {
    for (std::ptrdiff_t row = 0; row < job.height; ++row) {
        std::uint8_t* out = job.rgb.Row(row);
        for (std::ptrdiff_t x = 0; x < job.width; ++x, out += 3) {
            const Bgr pixel =
                YuvToBgr13(job.y.Row(row)[x], job.u.Row(row / 2)[x / 2], job.v.Row(row / 2)[x / 2]);
            out[0] = pixel.b;
            out[1] = pixel.g;
            out[2] = pixel.r;
        }
    }
}

} // namespace

const Kernels* TargetKernels() {
    static constexpr Kernels kernels = {PlanarToBgra, PlanarToBgr};
    return &kernels;
}

#endif // HWY_TARGET == HWY_SCALAR
} // namespace kq::image::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kq::image {

HWY_EXPORT(TargetKernels);

const Kernels* FindKernels() {
    return HWY_DYNAMIC_DISPATCH(TargetKernels)();
}

} // namespace kq::image
#endif
