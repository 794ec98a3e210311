/// @file
/// The vectorised conversions: the shapes that the routines ask for, and the table of functions that carry
/// them out on the best instruction set of this processor.
#pragma once

#include "Arithmetic.h"

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

/// Planar YUV 4:2:0 to RGB: every pixel of width x height, except the corner on request.
struct PlanarToRgb {
    ConstPlane y, u, v;
    Plane rgb;
    std::ptrdiff_t width, height;
    /// Leaves the last pixel of the last row when both sizes are odd.
    bool skipOddCorner;
};

/// Bits of a sample; ten of them lie in a little-endian word.
enum class SampleDepth : std::uint8_t {
    Eight,
    TenLow,  ///< in the lower bits; those above are not read
    TenHigh, ///< in the upper bits; those below are not read
};

enum class ChromaColumns : std::uint8_t {
    Half,        ///< a sample of each plane for two columns
    Interleaved, ///< likewise, Cb and Cr in turn in the first plane
    Full,        ///< a sample of each plane for every column
};

/// How the planes of a picture hold its samples.
struct SampleLayout {
    SampleDepth depth;
    ChromaColumns chroma;
    bool rowsShareChroma; ///< a row of chroma serves two rows

    std::ptrdiff_t ChromaRow(std::ptrdiff_t row) const { return rowsShareChroma ? row / 2 : row; }
};

/// Samples of any layout to RGB: every pixel of width x height.
struct SamplesToRgb {
    ConstPlane y, u, v; ///< v is not read when chroma is interleaved
    Plane rgb;
    std::ptrdiff_t width, height;
    SampleLayout layout;
};

/// With weights of their own.
struct WeightedToRgb : SamplesToRgb {
    SampleWeights weights;
};

/// HDR, tone-mapped.
struct ToneMappedToRgb : SamplesToRgb {
    EncodedWeights weights;
    ToneCurves curves;
};

/// RGB to planar YUV 4:2:0: every pixel of width x height, except the corner when both sizes are odd.
struct RgbToPlanar {
    ConstPlane rgb;
    Plane y, u, v;
    std::ptrdiff_t width, height;
    /// Writes the last luma sample of an odd width a second time, one column further (full row pairs only).
    bool repeatLastColumn;
    const std::uint8_t* colours; ///< 256 entries B, G, R, x; read by paletteToPlanar only
};

struct PackedToRgb {
    ConstPlane packed;
    Plane rgb;
    std::ptrdiff_t width, height;
    bool yuy2;
};

struct RgbToPacked {
    ConstPlane rgb;
    Plane packed;
    std::ptrdiff_t width, height;
    bool yuy2;
};

/// Whole macropixels; chroma row r / 2 serves row r.
struct PlanarToPacked {
    ConstPlane y, u, v;
    Plane packed;
    std::ptrdiff_t macropixels, rows;
    bool yuy2;
};

/// Whole macropixels of whole row pairs.
struct PackedToPlanar {
    ConstPlane packed;
    Plane y, u, v;
    std::ptrdiff_t macropixels, rows;
    bool yuy2;
};

/// Rows of bytes, from the first on.
struct RowsToRows {
    ConstPlane source;
    Plane out;
    std::ptrdiff_t bytes, rows;
};

/// Output of this size bypasses the caches, which it would leave again before anybody reads it: without that,
/// every line is first read from memory, only to be overwritten. Tests lower it.
inline std::ptrdiff_t streamBytes = 4 << 20;

/// One family's loops for one target. Tables are filled by name.
struct Kernels {
    void (*planarToBgra13)(const PlanarToRgb&);
    void (*planarToBgr13)(const PlanarToRgb&);
    void (*planarToBgr10)(const PlanarToRgb&);
    void (*planarToComponents32)(const PlanarToRgb&);
    void (*planarToComponents24)(const PlanarToRgb&); ///< with the tables of init_yuv2rgb(), filled
    void (*planarToComponents555)(const PlanarToRgb&);
    void (*planarToComponents565)(const PlanarToRgb&);
    void (*weightedToBgra)(const WeightedToRgb&);
    void (*weightedToBgr)(const WeightedToRgb&);
    void (*toneMappedToBgra)(const ToneMappedToRgb&);
    void (*toneMappedToBgr)(const ToneMappedToRgb&);
    void (*bgraToPlanar)(const RgbToPlanar&);
    void (*xrgbToPlanar)(const RgbToPlanar&);
    void (*bgrToPlanar)(const RgbToPlanar&);
    void (*bgrToPlanar10)(const RgbToPlanar&);
    void (*paletteToPlanar)(const RgbToPlanar&);
    void (*packedToBgr)(const PackedToRgb&);
    void (*bgrToPacked)(const RgbToPacked&);
    void (*planarToPacked)(const PlanarToPacked&);
    void (*packedToPlanar)(const PackedToPlanar&);
    void (*swapPairs)(const RowsToRows&); ///< an even number of bytes
    void (*copyRows)(const RowsToRows&);  ///< a row may overlap its source
};

/// The loops as their formulas read.
const Kernels& PlainKernels();
/// The loops for the best target that is enabled; the plain ones on a processor without SSE4.
const Kernels& BestKernels();

} // namespace kq::image
