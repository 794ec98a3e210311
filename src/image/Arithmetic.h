/// @file
/// The pixel formulas of the conversion routines, one pixel or one chroma sample at a time.
#pragma once

#include <cstddef>
#include <cstdint>

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
