/// @file
/// The pixel formulas of the conversion routines, one pixel or one chroma block at a time.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace kq::image {

struct Bgr {
    std::uint8_t b, g, r;
};

constexpr std::uint8_t Clamp8(int value) {
    return static_cast<std::uint8_t>(value < 0 ? 0 : value > 255 ? 255 : value);
}

/// BT.601 video range to full-range RGB, 13 fractional bits, no rounding.
constexpr Bgr YuvToBgr13(int y, int u, int v) {
    const int luma = 9536 * y;
    return {Clamp8((luma + 16532 * u - 2268594) >> 13), Clamp8((luma - 3203 * u - 6660 * v + 1109918) >> 13),
            Clamp8((luma + 13074 * v - 1826095) >> 13)};
}

/// Bytes of one row of a bitmap: whole pixels, padded to a multiple of 4.
constexpr std::ptrdiff_t BitmapRowBytes(std::int32_t width, int bitsPerPixel) {
    return static_cast<std::ptrdiff_t>((std::int64_t{width} * bitsPerPixel + 31) / 32 * 4);
}

} // namespace kq::image
