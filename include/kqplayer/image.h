/// @file
/// Colour-space conversions between planar YUV 4:2:0, packed YUV 4:2:2 and RGB.
///
/// Planar YUV 4:2:0 is three 8-bit planes: luma of H rows of W samples, Cb and Cr of (H+1)/2 rows of (W+1)/2
/// samples; the chroma pair at (row/2, column/2) serves a 2x2 block. Packed YUV 4:2:2 holds two pixels in a
/// 4-byte macropixel: Y0 U Y1 V (YUY2) or U Y0 V Y1 (UYVY). RGB pixels lie in memory as B, G, R unless stated
/// otherwise, and "padded rows" take ((W * bits + 31) / 32) * 4 bytes. Sizes and positions are in pixels,
/// pitches in bytes from one row to the next (negative ones walk upwards); a size of zero or less writes
/// nothing.
///
/// All routines are reentrant, allocate nothing, write no byte outside the documented rectangle (the padding
/// of rows included) and give the same bytes on every processor. Source and destination must not overlap
/// unless a routine says so. Buffers need no alignment.
///
/// A broken precondition stops the process (abort) after one line on standard error that names the routine,
/// the unit "Common/Image/ImageConvert", the source line and the expression; release builds check as well.
/// Routines without stated preconditions check nothing.
#pragma once

#include "bitmap.h"
#include "export.h"

#include <cstdint>

/// @name Planar YUV 4:2:0 to RGB
/// All four take the destination's header and pixels, then the luma, Cb and Cr planes and their pitches.
/// @{

/// To 32-bit RGB: bytes B, G, R, 255, rows of 4 x W bytes, every pixel written.
///
/// BT.601 video range in 13-bit fixed point without rounding, y, u, v raw samples, clamped to 0..255:
///     B = (9536 y + 16532 u - 2268594) >> 13
///     G = (9536 y - 3203 u - 6660 v + 1109918) >> 13
///     R = (9536 y + 13074 v - 1826095) >> 13
///
/// Preconditions: a header whose biBitCount is 32, and no null pointer.
/// @param lpDstBmi  the rows lie top-down for a positive biHeight and bottom-up for a negative one
/// @param lpDstBits destination, |biHeight| x biWidth x 4 bytes
/// @param pY,pU,pV  luma, Cb and Cr planes
/// @param nPt_Y,nPt_U,nPt_V their pitches
/// @return 0; -1 with nothing written for a width of 0 or less or a height of 0
KQ_API std::int32_t Yuv420_2_rgb32(tagBITMAPINFOHEADER* lpDstBmi, std::uint8_t* lpDstBits, std::uint8_t* pY,
                                   std::uint8_t* pU, std::uint8_t* pV, std::int32_t nPt_Y, std::int32_t nPt_U,
                                   std::int32_t nPt_V);

/// The same as Yuv420_2_rgb32() to 24-bit RGB: bytes B, G, R in padded rows whose padding is left as it was;
/// biBitCount must be 24.
KQ_API std::int32_t Yuv420_2_rgb24(tagBITMAPINFOHEADER* lpDstBmi, std::uint8_t* lpDstBits, std::uint8_t* pY,
                                   std::uint8_t* pU, std::uint8_t* pV, std::int32_t nPt_Y, std::int32_t nPt_U,
                                   std::int32_t nPt_V);

/// The arithmetic, pixels and rows of Yuv420_2_rgb32(), always top-down: biHeight is a row count, zero or
/// less writes nothing. When both sizes are odd, the pixel at the last row and column is not written.
KQ_API void Yuv420_2_Argb(tagBITMAPINFOHEADER* lpDstBmi, std::uint8_t* lpDstBits, std::uint8_t* pY,
                          std::uint8_t* pU, std::uint8_t* pV, std::int32_t nPt_Y, std::int32_t nPt_U,
                          std::int32_t nPt_V);

/// To 24-bit RGB, bottom-up in padded rows, rounded 10-bit fixed point with u' = u - 128 and v' = v - 128:
///     B = (1192 y + 2065 u' - 18560) >> 10
///     G = (1192 y - 401 u' - 833 v' - 18560) >> 10
///     R = (1192 y + 1634 v' - 18560) >> 10
/// The last column of an odd width and the last row of an odd height are not converted; luma row r goes to
/// memory row biHeight - 1 - r all the same. No preconditions; biBitCount is not read.
KQ_API void Yuv420_2_rgb24Simple(tagBITMAPINFOHEADER* lpDstBmi, std::uint8_t* lpDstBits, std::uint8_t* pY,
                                 std::uint8_t* pU, std::uint8_t* pV, std::int32_t nPt_Y, std::int32_t nPt_U,
                                 std::int32_t nPt_V);
/// @}

/// @name RGB to planar YUV 4:2:0
/// BT.601 video range in 14-bit fixed point:
///     Y = ((1606 B + 8258 G + 4211 R) >> 14) + 16
///     u = (7193 B - 4768 G - 2425 R) >> 14,  v = (7193 R - 6029 G - 1163 B) >> 14
/// a chroma sample is the mean of its four pixels' terms + 128, truncated: U = (sum u + 512) >> 2, or
/// (sum u + 256) >> 1 over the two pixels at an odd edge. When both sizes are odd, neither the last luma
/// sample nor the last chroma pair is written. For an odd width the last luma sample of each row of a row
/// pair is written a second time one column further, so nPt_Y must be at least W + 1 (Rgb32_2_yuv420A() does
/// not).
///
/// biHeight is a row count, whatever the order of the rows; zero or less writes nothing.
/// Preconditions: a header with the routine's biBitCount; no null source or plane pointer (pA is not
/// checked).
/// @{

/// From B, G, R, x, rows of 4 x W bytes, bottom-up.
KQ_API void Rgb32_2_yuv420(std::uint8_t* pY, std::uint8_t* pU, std::uint8_t* pV, std::int32_t nPt_Y,
                           std::int32_t nPt_U, std::int32_t nPt_V, tagBITMAPINFOHEADER* lpSrcBmi,
                           std::uint8_t* lpSrcBits);

/// From 8-bit indices in padded rows, bottom-up. The table of 256 colours follows the 40-byte header
/// directly; biSize and biClrUsed are not read.
KQ_API void Rgb8_2_YUV420(std::uint8_t* pY, std::uint8_t* pU, std::uint8_t* pV, std::int32_t nPt_Y,
                          std::int32_t nPt_U, std::int32_t nPt_V, tagBITMAPINFO* lpBitmapInfo,
                          std::uint8_t* lpSrcBits);

/// From B, G, R, x, rows of 4 x W bytes, top-down.
KQ_API void Argb_2_yuv420(std::uint8_t* pY, std::uint8_t* pU, std::uint8_t* pV, std::int32_t nPt_Y,
                          std::int32_t nPt_U, std::int32_t nPt_V, tagBITMAPINFOHEADER* lpSrcBmi,
                          std::uint8_t* lpSrcBits);

/// From x, R, G, B, rows nPitchSrc bytes apart, top-down.
KQ_API void Argb_2_yuv420(std::uint8_t* pY, std::uint8_t* pU, std::uint8_t* pV, std::int32_t nPt_Y,
                          std::int32_t nPt_U, std::int32_t nPt_V, tagBITMAPINFOHEADER* lpSrcBmi,
                          std::uint8_t* lpSrcBits, std::int32_t nPitchSrc);

/// From B, G, R in padded rows, bottom-up.
KQ_API void Rgb24_2_yuv420(std::uint8_t* pY, std::uint8_t* pU, std::uint8_t* pV, std::int32_t nPt_Y,
                           std::int32_t nPt_U, std::int32_t nPt_V, tagBITMAPINFOHEADER* lpSrcBmi,
                           std::uint8_t* lpSrcBits);

/// From B, G, R in padded rows, bottom-up, with an arithmetic of its own: rounded 10-bit fixed point,
///     Y = (263 R + 516 G + 100 B + 16896) >> 10, clamped to 16..235
///     u = (450 B - 298 G - 152 R + 131584) >> 10, v = (450 R - 377 G - 73 B + 131584) >> 10, clamped
///     to 16..240
/// and U, V the truncated means of four. The last column of an odd width and the last row of an odd height
/// are not converted. No preconditions; biBitCount is not read.
KQ_API void Rgb24_2_yuv420Simple(std::uint8_t* pY, std::uint8_t* pU, std::uint8_t* pV, std::int32_t nPt_Y,
                                 std::int32_t nPt_U, std::int32_t nPt_V, tagBITMAPINFOHEADER* lpSrcBmi,
                                 std::uint8_t* lpSrcBits);

/// From B, G, R, A, rows of 4 x W bytes, bottom-up, with an alpha plane: A of every converted pixel goes to
/// pA at the pixel's luma position (pitch nPt_Y). Writes no extra luma column.
KQ_API void Rgb32_2_yuv420A(std::uint8_t* pY, std::uint8_t* pU, std::uint8_t* pV, std::uint8_t* pA,
                            std::int32_t nPt_Y, std::int32_t nPt_U, std::int32_t nPt_V,
                            tagBITMAPINFOHEADER* lpSrcBmi, std::uint8_t* lpSrcBits);
/// @}

/// @name Packed YUV 4:2:2 and rectangles
/// Rectangles of cx x cy pixels at (x, y). Packed rows are addressed top-down, pixel x at byte 2 x; the flag
/// bYUY2 is non-zero for YUY2, zero for UYVY. 24-bit RGB is bottom-up: picture row y lies in memory row
/// height - 1 - y.
/// @{

/// 24-bit RGB to packed 4:2:2. Luma and chroma terms as for RGB to planar; U, V = (sum of two + 256) >> 1. An
/// odd width ends in a macropixel made of the last pixel alone.
///
/// For xDst of 2 or more the destination starts one pixel further left and the width grows by one (the source
/// column does not move): one more source pixel is read.
/// Preconditions: no null pointer; (xDst + cxDst) * 2 <= nPitchDst; nPitchSrc / 3 - xSrc >= cxDst.
KQ_API void Rgb24_2_YUY2(std::uint8_t* lpBitsDst, std::int32_t nPitchDst, std::int32_t xDst,
                         std::int32_t yDst, std::int32_t cxDst, std::int32_t cyDst, std::int32_t bYUY2,
                         std::uint8_t* lpBitsSrc, std::int32_t nHeightSrc, std::int32_t nPitchSrc,
                         std::int32_t xSrc, std::int32_t ySrc);

/// Packed 4:2:2 to 24-bit RGB with the arithmetic of Yuv420_2_rgb32(). For xSrc of 2 or more the source
/// starts one pixel further left. An odd width reads the whole last macropixel. Precondition: no null
/// pointer.
KQ_API void YUY2_2_Rgb24(std::uint8_t* lpBitsDst, std::int32_t nHeightDst, std::int32_t nPitchDst,
                         std::int32_t xDst, std::int32_t yDst, std::int32_t cx, std::int32_t cy,
                         std::uint8_t* lpBitsSrc, std::int32_t nPitchSrc, std::int32_t bYUY2,
                         std::int32_t xSrc, std::int32_t ySrc);

/// Copies packed pixels, swapping the bytes of each pair where the flags differ. The rectangle is written at
/// the position it has in the source: xDst and yDst are not read. With different flags an odd cx converts one
/// pixel more. With equal flags, source and destination may overlap if the destination starts at or before
/// the source.
KQ_API void YUY2_Blt_fast(std::uint8_t* lpBitsDst, std::int32_t nPitchDst, std::int32_t xDst,
                          std::int32_t yDst, std::int32_t cx, std::int32_t cy, std::int32_t bYUY2Dst,
                          std::uint8_t* lpBitsSrc, std::int32_t nPitchSrc, std::int32_t bYUY2Src,
                          std::int32_t xSrc, std::int32_t ySrc);

/// Copies planar 4:2:0 pixels, two luma rows and one chroma row at a time, from destination row yDst up to
/// the exclusive end row nRowLimit (an odd number of rows copies one more). Chroma starts at row y/2 and
/// column (x + 1)/2 and is (cx + 1)/2 samples wide. Planes may overlap if the destination starts at or before
/// the source.
KQ_API void YV12_Blt_fast(std::uint8_t* pDstY, std::uint8_t* pDstU, std::uint8_t* pDstV,
                          std::int32_t nPt_DstY, std::int32_t nPt_DstU, std::int32_t nPt_DstV,
                          std::int32_t xDst, std::int32_t yDst, std::int32_t cx, std::int32_t nRowLimit,
                          std::uint8_t* pSrcY, std::uint8_t* pSrcU, std::uint8_t* pSrcV,
                          std::int32_t nPt_SrcY, std::int32_t nPt_SrcU, std::int32_t nPt_SrcV,
                          std::int32_t xSrc, std::int32_t ySrc);

/// Packed 4:2:2 to planar 4:2:0: chroma is the truncated mean of two rows. Odd sizes round up to whole pairs,
/// in the source and in the destination. Source rows are read from their first byte: xSrc is not read.
/// Precondition: the V samples of the rectangle lie within its rows, (char*)V <= (char*)pV + (yDst + cy) *
/// nPt_V.
KQ_API void YUY2_2_Yuv420(std::uint8_t* pY, std::uint8_t* pU, std::uint8_t* pV, std::int32_t nPt_Y,
                          std::int32_t nPt_U, std::int32_t nPt_V, std::int32_t xDst, std::int32_t yDst,
                          std::int32_t cx, std::int32_t cy, std::uint8_t* lpBitsSrc, std::int32_t nPitchSrc,
                          std::int32_t bYUY2, std::int32_t xSrc, std::int32_t ySrc);

/// Planar 4:2:0 to packed 4:2:2: both rows of a pair carry the same chroma. Odd sizes round up to whole
/// pairs, in the source and in the destination. Destination rows are written from their first byte: xDst is
/// not read.
KQ_API void Yuv420_2_YUY2(std::uint8_t* lpBitsDst, std::int32_t nPitchDst, std::int32_t xDst,
                          std::int32_t yDst, std::int32_t cx, std::int32_t cy, std::int32_t bYUY2,
                          std::uint8_t* pY, std::uint8_t* pU, std::uint8_t* pV, std::int32_t nPt_Y,
                          std::int32_t nPt_U, std::int32_t nPt_V, std::int32_t xSrc, std::int32_t ySrc);
/// @}

/// @name Output converters with one parameter list
/// Planar 4:2:0 to an output format chosen at run time. A negative nHeight turns the picture upside down: the
/// planes are read from the last row up, the output is always written forwards. pU and pV share one stride.
/// No preconditions. The RGB routines weight pU as red difference and pV as blue difference: c0 is red with
/// pU = Cr and pV = Cb, and blue with the planes in YUV order exchanged.
/// @{

/// The type of an output converter. The unit of nStrideDst is the routine's.
typedef void KQ_CONVERT_YUV(std::uint8_t* pY, std::int32_t nStrideY, std::uint8_t* pU, std::uint8_t* pV,
                            std::int32_t nStrideUV, std::uint8_t* pDst, std::int32_t nWidth,
                            std::int32_t nHeight, std::int32_t nStrideDst);

extern "C" {

/// The host's choice of converter; null when the library is loaded. The library never reads or writes it.
KQ_API extern KQ_CONVERT_YUV* convert_yuv;

/// Fills the tables of yuv2rgb_24(). Call it once before any thread uses that routine; calling it again is
/// harmless.
KQ_API void init_yuv2rgb(void);

/// 4 bytes c0, c1, c2, 0; nStrideDst in pixels. In 13-bit fixed point, clamped to 0..255, with u = pU - 128,
/// v = pV - 128 and l = 9576 y - 153216:
///     c0 = (l + 13123 u) >> 13, c1 = (l - 6686 u - 3218 v) >> 13, c2 = (l + 16591 v) >> 13
KQ_API KQ_CONVERT_YUV yuv2rgb_32;

/// 3 bytes c0, c1, c2; nStrideDst in bytes. All samples are first limited to 16..240:
///     c0 = (298 (y - 16) + 408 u) >> 8, c1 = (298 (y - 16) - 208 u - 100 v) >> 8, c2 = (298 (y - 16) + 517
///     v) >> 8
/// An odd width rounds up to whole pairs: one luma column is read and one pixel written beyond it. Before
/// init_yuv2rgb() every output byte is 0.
KQ_API KQ_CONVERT_YUV yuv2rgb_24;

/// 16-bit words of c0 >> 3 in bits 0..4, c1 >> 3 in 5..9, c2 >> 3 in 10..14; nStrideDst in pixels. Components
/// as for yuv2rgb_32().
KQ_API KQ_CONVERT_YUV yuv2rgb_555;

/// 16-bit words of c0 >> 3 in bits 0..4, c1 >> 2 in 5..10, c2 >> 3 in 11..15; nStrideDst in pixels.
/// Components as for yuv2rgb_32().
KQ_API KQ_CONVERT_YUV yuv2rgb_565;

/// Packed Y0 U Y1 V; nStrideDst in bytes. An odd width rounds up to a macropixel, reading one luma column
/// more; an odd height writes its last row alone.
KQ_API KQ_CONVERT_YUV yuy2_out;

/// Packed U Y0 V Y1; nStrideDst in bytes. A last odd column and a last odd row are dropped.
KQ_API KQ_CONVERT_YUV uyvy_out;

/// One contiguous planar picture of luma rows nStrideDst apart, then at pDst + H nStrideDst the pV plane and
/// at pDst + 5/4 H nStrideDst the pU plane, in rows half as far apart. A last odd chroma row and column are
/// dropped.
KQ_API KQ_CONVERT_YUV yuv12_out;
}
/// @}
