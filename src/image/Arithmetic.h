/// @file
/// The pixel formulas of the conversion routines, one pixel or one chroma sample at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace kq::image {

struct Bgr {
    std::uint8_t b, g, r;
};

/// One pixel's luma and its part of the chroma of its block.
struct YuvTerms {
    int y, u, v;
};

constexpr int Clamp(int value, int low, int high) {
    return value < low ? low : value > high ? high : value;
}

constexpr std::uint8_t Clamp8(int value) {
    return static_cast<std::uint8_t>(Clamp(value, 0, 255));
}

/// BT.601 video range to full-range RGB, 13 fractional bits, no rounding.
constexpr Bgr YuvToBgr13(int y, int u, int v) {
    const int luma = 9536 * y;
    return {Clamp8((luma + 16532 * u - 2268594) >> 13), Clamp8((luma - 3203 * u - 6660 * v + 1109918) >> 13),
            Clamp8((luma + 13074 * v - 1826095) >> 13)};
}

/// The same with 10 fractional bits and rounding.
constexpr Bgr YuvToBgr10(int y, int u, int v) {
    const int luma = 1192 * y - 18560;
    return {Clamp8((luma + 2065 * (u - 128)) >> 10), Clamp8((luma - 401 * (u - 128) - 833 * (v - 128)) >> 10),
            Clamp8((luma + 1634 * (v - 128)) >> 10)};
}

/// The output converters' components c0, c1, c2 (in b, g, r), 13 fractional bits.
constexpr Bgr YuvToComponents13(int y, int u, int v) {
    const int luma = 9576 * y - 153216;
    return {Clamp8((luma + 13123 * (u - 128)) >> 13),
            Clamp8((luma - 6686 * (u - 128) - 3218 * (v - 128)) >> 13),
            Clamp8((luma + 16591 * (v - 128)) >> 13)};
}

/// RGB to BT.601 video range, 14 fractional bits; chroma terms centred on 0.
constexpr YuvTerms BgrToYuv14(Bgr p) {
    return {((1606 * p.b + 8258 * p.g + 4211 * p.r) >> 14) + 16, (7193 * p.b - 4768 * p.g - 2425 * p.r) >> 14,
            (7193 * p.r - 6029 * p.g - 1163 * p.b) >> 14};
}

/// RGB to BT.601 video range, 10 fractional bits, rounded and clamped; chroma centred on 128.
constexpr YuvTerms BgrToYuv10(Bgr p) {
    return {Clamp((263 * p.r + 516 * p.g + 100 * p.b + 16896) >> 10, 16, 235),
            Clamp((450 * p.b - 298 * p.g - 152 * p.r + 131584) >> 10, 16, 240),
            Clamp((450 * p.r - 377 * p.g - 73 * p.b + 131584) >> 10, 16, 240)};
}

/// The weights of a described picture, 6 fractional bits in the results. Luma is a sample scaled to all of 16
/// bits, chroma one scaled to 16 bits minus 2^15.
struct SampleWeights {
    int luma;           ///< times luma, with 16 more fractional bits
    int blue, red;      ///< times Cb and Cr, 15 more
    int greenU, greenV; ///< times Cb and Cr, 16 more
    int offset;         ///< black, and the halves that the floors below take away
};

/// The standard's formula with weights as data, rounded to nearest. Neutral samples give equal components.
constexpr Bgr SamplesToBgr(const SampleWeights& w, int y, int u, int v) {
    const int luma = (y * w.luma >> 16) + w.offset;
    return {Clamp8((luma + ((u * w.blue + 0x4000) >> 15)) >> 6),
            Clamp8((luma + ((u * w.greenU + v * w.greenV + 0x8000) >> 16)) >> 6),
            Clamp8((luma + ((v * w.red + 0x4000) >> 15)) >> 6)};
}

/// The weights of an HDR picture, whose encoded components go through curves: 2^28 for the whole, samples in
/// the units of the picture, chroma around its middle.
struct EncodedWeights {
    int luma, black;
    int blueU, greenU, greenV, redV;
};

/// Curves of straight pieces, one entry a piece: the value at its beginning in the upper 16 bits, and how
/// much it rises over the piece in the lower 16, both signed.
struct ToneCurves {
    const std::int32_t* light;       ///< by encoded component: light above middleLight
    const std::int32_t* systemGamma; ///< by luminance: the factor of light, 2^14 for 1; null for PQ
    const std::int32_t* levels;      ///< by light: 128 for a level, 64 more to round

    static constexpr int encodedBits = 28, encodedPieceBits = 17; ///< the whole, and a piece of it
    static constexpr int pieceBits = 12; ///< how finely a place within a piece is told
    /// Whole light, what is added to it where it looks up a curve, and what is taken away in a curve's entry.
    static constexpr int wholeLight = 65280, leastLight = 256, middleLight = 32640;
    /// Curves by light, which end before the whole, have pieces in proportion: 8 to a doubling, steps of the
    /// upper bits of light + leastLight as a floating-point number. All fit the registers of wide vectors.
    static constexpr int lightPieces = 64, lightPieceBits = 23 - 3;
    static constexpr std::uint32_t firstLightPiece = (127u + 8) << 3;
    /// The primaries of BT.2020 to those of BT.709, 2^15 for 1: parts of the differences red - green, red -
    /// blue and green - blue in what is added to the components.
    static constexpr int redByGreen = 19256, redByBlue = 2387, greenByRed = 4081, greenByBlue = 274,
                         blueByRed = 595, blueByGreen = 3296;
    /// Parts of luminance in BT.2020, 2^14 for 1, which their sum does not reach.
    static constexpr int luminanceRed = 4304, luminanceGreen = 11107, luminanceBlue = 972;
};

/// @return 2^12 times the curve's value, so far into a piece
constexpr int OnCurve(const std::int32_t* curve, std::uint32_t piece, std::uint32_t place) {
    const std::int32_t entry = curve[piece];
    return (entry >> 16) * (1 << ToneCurves::pieceBits) +
           static_cast<std::int16_t>(entry) * static_cast<int>(place);
}

constexpr int LightOf(const ToneCurves& curves, int encoded) {
    using C = ToneCurves;
    const auto e = static_cast<std::uint32_t>(Clamp(encoded, 0, 1 << C::encodedBits));
    const std::uint32_t place = e >> (C::encodedPieceBits - C::pieceBits) & ((1u << C::pieceBits) - 1);
    return (OnCurve(curves.light, e >> C::encodedPieceBits, place) + (C::middleLight << C::pieceBits) +
            (1 << (C::pieceBits - 1))) >>
           C::pieceBits;
}

inline int OnCurveByLight(const std::int32_t* curve, int light) {
    using C = ToneCurves;
    const auto number = static_cast<float>(light + C::leastLight);
    std::uint32_t bits = 0;
    std::memcpy(&bits, &number, sizeof(bits));
    return OnCurve(curve, (bits >> C::lightPieceBits) - C::firstLightPiece,
                   bits >> (C::lightPieceBits - C::pieceBits) & ((1u << C::pieceBits) - 1));
}

inline std::uint8_t LevelOf(const ToneCurves& curves, int light) {
    const int bounded = Clamp(light, 0, ToneCurves::wholeLight - 1);
    return static_cast<std::uint8_t>(OnCurveByLight(curves.levels, bounded) >> (ToneCurves::pieceBits + 7));
}

/// An HDR pixel as SDR.
inline Bgr ToneMapped(const EncodedWeights& w, const ToneCurves& curves, int y, int u, int v) {
    using C = ToneCurves;
    const int luma = y * w.luma - w.black;
    int r = LightOf(curves, luma + v * w.redV);
    int g = LightOf(curves, luma + (u * w.greenU + v * w.greenV));
    int b = LightOf(curves, luma + u * w.blueU);
    if (curves.systemGamma != nullptr) {
        const int luminance = (C::luminanceRed * r + C::luminanceGreen * g + C::luminanceBlue * b) >> 14;
        const int factor = OnCurveByLight(curves.systemGamma, luminance) >> C::pieceBits;
        r = r * factor >> 14;
        g = g * factor >> 14;
        b = b * factor >> 14;
    }
    const int rg = r - g, rb = r - b, gb = g - b;
    return {LevelOf(curves, b - ((C::blueByRed * rb + C::blueByGreen * gb) >> 15)),
            LevelOf(curves, g + ((C::greenByBlue * gb - C::greenByRed * rg) >> 15)),
            LevelOf(curves, r + ((C::redByGreen * rg + C::redByBlue * rb) >> 15))};
}

/// The tables of yuv2rgb_24(), in units of 1/256.
struct YuvTables {
    std::int32_t lut[5][256];
};

constexpr std::uint8_t SaturateTableSum(int sum) {
    return Clamp8(sum >> 8);
}

/// Bytes of one row of a bitmap: whole pixels, padded to a multiple of 4.
constexpr std::ptrdiff_t BitmapRowBytes(std::int32_t width, int bitsPerPixel) {
    return static_cast<std::ptrdiff_t>((std::int64_t{width} * bitsPerPixel + 31) / 32 * 4);
}

} // namespace kq::image
