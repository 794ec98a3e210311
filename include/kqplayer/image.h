/// @file
/// Colour-space conversions between planar YUV 4:2:0, packed YUV 4:2:2 and RGB.
///
/// Planar YUV 4:2:0 is three 8-bit planes: luma of H rows of W samples, Cb and Cr of (H+1)/2 rows of (W+1)/2
/// samples; the chroma pair at (row/2, column/2) serves a 2x2 block. Every plane has its own pitch, the bytes
/// from one row to the next. All routines are reentrant, allocate nothing and write no byte outside the
/// documented rectangle. Source and destination must not overlap.
///
/// A broken precondition stops the process (abort) after one line on standard error that names the routine,
/// the unit "Common/Image/ImageConvert", the source line and the expression; release builds check as well.
#pragma once

#include "bitmap.h"
#include "export.h"

#include <cstdint>

/// Planar YUV 4:2:0 to 32-bit RGB: bytes B, G, R, 255, rows of 4 x W bytes, every pixel written.
///
/// BT.601 video range in 13-bit fixed point without rounding, y, u, v raw samples, clamped to 0..255:
///     B = (9536 y + 16532 u - 2268594) >> 13
///     G = (9536 y - 3203 u - 6660 v + 1109918) >> 13
///     R = (9536 y + 13074 v - 1826095) >> 13
///
/// @param lpDstBmi  destination's header; biBitCount must be 32. Rows lie top-down for a positive biHeight
/// and
///                  bottom-up for a negative one.
/// @param lpDstBits destination, |biHeight| x biWidth x 4 bytes
/// @param pY,pU,pV  luma, Cb and Cr planes at pitches nPt_Y, nPt_U, nPt_V in bytes
/// @return 0; -1 with nothing written for a width of 0 or less or a height of 0
KQ_API std::int32_t Yuv420_2_rgb32(tagBITMAPINFOHEADER* lpDstBmi, std::uint8_t* lpDstBits, std::uint8_t* pY,
                                   std::uint8_t* pU, std::uint8_t* pV, std::int32_t nPt_Y, std::int32_t nPt_U,
                                   std::int32_t nPt_V);

/// The same as Yuv420_2_rgb32() for 24-bit RGB: bytes B, G, R, rows of ((W * 24 + 31) / 32) * 4 bytes whose
/// padding is left as it was; biBitCount must be 24.
KQ_API std::int32_t Yuv420_2_rgb24(tagBITMAPINFOHEADER* lpDstBmi, std::uint8_t* lpDstBits, std::uint8_t* pY,
                                   std::uint8_t* pU, std::uint8_t* pV, std::int32_t nPt_Y, std::int32_t nPt_U,
                                   std::int32_t nPt_V);
