/// @file
/// The vectorised conversions: what a routine asks for, and the table of the functions that carry it out on
/// the best instruction set of this processor.
#pragma once

#include <cstddef>
#include <cstdint>

namespace kq::image {

/// A plane or a packed picture: row r starts r * pitch bytes after data. A negative pitch walks upwards.
template <class Byte>
struct PlaneOf {
    Byte* data;
    std::ptrdiff_t pitch;

    Byte* Row(std::ptrdiff_t row) const { return data + row * pitch; }
};
using Plane = PlaneOf<std::uint8_t>;
using ConstPlane = PlaneOf<const std::uint8_t>;

/// Planar YUV 4:2:0 to RGB. Every pixel of width x height is written, except the corner on request.
struct PlanarToRgb {
    ConstPlane y, u, v;
    Plane rgb;
    std::int32_t width, height;
    /// Leaves the last pixel of the last row when both sizes are odd.
    bool skipOddCorner;
};

struct Kernels {
    void (*planarToBgra)(const PlanarToRgb&);
    void (*planarToBgr)(const PlanarToRgb&);
};

/// The table for the best target that is enabled, or null on a processor without SSE4, which the plain
/// routines serve.
const Kernels* FindKernels();

} // namespace kq::image
