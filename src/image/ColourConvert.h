/// @file
/// Pictures that say what their samples mean, to RGB: what views show and captures save.
///
/// Every layout, matrix and range that kqplayer/records.h lists is brought to RGB in one step: by the
/// standard's formula, rounded to nearest, at most 0.55 of a level from its real value before it is clamped
/// to 0..255. The chroma sample of a block serves its pixels as it is. BT.601 in limited range as planar
/// 4:2:0 with 8 bits, which is what frames without a description hold, keeps the arithmetic and the bytes of
/// Yuv420_2_rgb32() and Yuv420_2_rgb24().
///
/// PQ and HLG pictures are tone-mapped to SDR (ToneMap.h says how), at most two levels from the real value of
/// the same curve. Their curves are made when a transfer and peak is first met, and kept; without memory for
/// them the picture is converted as if it were SDR.
///
/// All functions may be called from any thread, allocate nothing but those curves, read nothing outside the
/// planes, write nothing outside the pixels of the picture (bytes between rows included), and give the same
/// bytes on every instruction set.
#pragma once

#include <kqplayer/convenience.h>
#include <kqplayer/records.h>

#include <cstddef>
#include <cstdint>

namespace kq::image {

/// A picture to be converted. It does not own the planes; they need no alignment.
struct SourcePicture {
    const std::uint8_t* planes[3];           ///< luma, Cb, Cr; NV12 and P010: luma, both, not read
    std::ptrdiff_t pitches[3];               ///< bytes from one row to the next, negative ones walk upwards
    std::int32_t width, height;              ///< pixels, any size above 0
    std::int32_t kind;                       ///< KQ_PICTURE_PLANAR_YUV or one from KQ_PICTURE_PLANAR_422 on
    std::int32_t matrix;                     ///< one of KQ_MATRIX_...; BT.601 for any other
    std::int32_t range;                      ///< one of KQ_RANGE_...; limited for any other
    std::int32_t transfer = KQ_TRANSFER_SDR; ///< one of KQ_TRANSFER_...; SDR for any other
    std::int32_t peak = 0;                   ///< of PQ content in cd/m²; 1000 for 0 and beyond 10,000
};

/// @return the picture of a frame, as its kind and its colour description say
SourcePicture SourceOf(const MEDIA_FRAME& frame);

/// @return whether the picture can be converted: its kind is known, it has a size, and no plane that its kind
///         reads is null
bool IsConvertible(const SourcePicture& picture) noexcept;

/// @param part inside the picture; its first column and row are even
/// @return the part of a picture whose kind is known, as a picture of its own
SourcePicture PartOf(const SourcePicture& picture, const tagRECT& part) noexcept;

/// To 32-bit RGB: bytes B, G, R, 255, top-down.
/// @param out   width x height x 4 bytes, apart from the planes; from a 64-byte boundary on, pictures beyond
/// the
///              caches are written faster
/// @param pitch bytes from one row to the next; a negative one walks upwards
/// @return false, with nothing written, for a picture that is not convertible or a null out
bool ToRgb32(const SourcePicture& picture, std::uint8_t* out, std::ptrdiff_t pitch) noexcept;

/// The same to 24-bit RGB: bytes B, G, R.
bool ToRgb24(const SourcePicture& picture, std::uint8_t* out, std::ptrdiff_t pitch) noexcept;

} // namespace kq::image
