/// @file
/// The conversion routines written as their formulas read, one pixel after the other. They are what the
/// optimised routines are compared with, byte for byte, and they serve processors without the needed
/// instructions. Parameters and results are those of the routines of the same name in <kqplayer/image.h>.
#pragma once

#include <kqplayer/image.h>

namespace kq::image::reference {

std::int32_t Yuv420_2_rgb32(tagBITMAPINFOHEADER* lpDstBmi, std::uint8_t* lpDstBits, std::uint8_t* pY,
                            std::uint8_t* pU, std::uint8_t* pV, std::int32_t nPt_Y, std::int32_t nPt_U,
                            std::int32_t nPt_V);
std::int32_t Yuv420_2_rgb24(tagBITMAPINFOHEADER* lpDstBmi, std::uint8_t* lpDstBits, std::uint8_t* pY,
                            std::uint8_t* pU, std::uint8_t* pV, std::int32_t nPt_Y, std::int32_t nPt_U,
                            std::int32_t nPt_V);
void Yuv420_2_Argb(tagBITMAPINFOHEADER* lpDstBmi, std::uint8_t* lpDstBits, std::uint8_t* pY, std::uint8_t* pU,
                   std::uint8_t* pV, std::int32_t nPt_Y, std::int32_t nPt_U, std::int32_t nPt_V);
void Yuv420_2_rgb24Simple(tagBITMAPINFOHEADER* lpDstBmi, std::uint8_t* lpDstBits, std::uint8_t* pY,
                          std::uint8_t* pU, std::uint8_t* pV, std::int32_t nPt_Y, std::int32_t nPt_U,
                          std::int32_t nPt_V);
void Rgb32_2_yuv420(std::uint8_t* pY, std::uint8_t* pU, std::uint8_t* pV, std::int32_t nPt_Y,
                    std::int32_t nPt_U, std::int32_t nPt_V, tagBITMAPINFOHEADER* lpSrcBmi,
                    std::uint8_t* lpSrcBits);
void Rgb8_2_YUV420(std::uint8_t* pY, std::uint8_t* pU, std::uint8_t* pV, std::int32_t nPt_Y,
                   std::int32_t nPt_U, std::int32_t nPt_V, tagBITMAPINFO* lpBitmapInfo,
                   std::uint8_t* lpSrcBits);
void Argb_2_yuv420(std::uint8_t* pY, std::uint8_t* pU, std::uint8_t* pV, std::int32_t nPt_Y,
                   std::int32_t nPt_U, std::int32_t nPt_V, tagBITMAPINFOHEADER* lpSrcBmi,
                   std::uint8_t* lpSrcBits);
void Argb_2_yuv420(std::uint8_t* pY, std::uint8_t* pU, std::uint8_t* pV, std::int32_t nPt_Y,
                   std::int32_t nPt_U, std::int32_t nPt_V, tagBITMAPINFOHEADER* lpSrcBmi,
                   std::uint8_t* lpSrcBits, std::int32_t nPitchSrc);
void Rgb24_2_yuv420(std::uint8_t* pY, std::uint8_t* pU, std::uint8_t* pV, std::int32_t nPt_Y,
                    std::int32_t nPt_U, std::int32_t nPt_V, tagBITMAPINFOHEADER* lpSrcBmi,
                    std::uint8_t* lpSrcBits);
void Rgb24_2_yuv420Simple(std::uint8_t* pY, std::uint8_t* pU, std::uint8_t* pV, std::int32_t nPt_Y,
                          std::int32_t nPt_U, std::int32_t nPt_V, tagBITMAPINFOHEADER* lpSrcBmi,
                          std::uint8_t* lpSrcBits);
void Rgb32_2_yuv420A(std::uint8_t* pY, std::uint8_t* pU, std::uint8_t* pV, std::uint8_t* pA,
                     std::int32_t nPt_Y, std::int32_t nPt_U, std::int32_t nPt_V,
                     tagBITMAPINFOHEADER* lpSrcBmi, std::uint8_t* lpSrcBits);
void Rgb24_2_YUY2(std::uint8_t* lpBitsDst, std::int32_t nPitchDst, std::int32_t xDst, std::int32_t yDst,
                  std::int32_t cxDst, std::int32_t cyDst, std::int32_t bYUY2, std::uint8_t* lpBitsSrc,
                  std::int32_t nHeightSrc, std::int32_t nPitchSrc, std::int32_t xSrc, std::int32_t ySrc);
void YUY2_2_Rgb24(std::uint8_t* lpBitsDst, std::int32_t nHeightDst, std::int32_t nPitchDst, std::int32_t xDst,
                  std::int32_t yDst, std::int32_t cx, std::int32_t cy, std::uint8_t* lpBitsSrc,
                  std::int32_t nPitchSrc, std::int32_t bYUY2, std::int32_t xSrc, std::int32_t ySrc);
void YUY2_Blt_fast(std::uint8_t* lpBitsDst, std::int32_t nPitchDst, std::int32_t xDst, std::int32_t yDst,
                   std::int32_t cx, std::int32_t cy, std::int32_t bYUY2Dst, std::uint8_t* lpBitsSrc,
                   std::int32_t nPitchSrc, std::int32_t bYUY2Src, std::int32_t xSrc, std::int32_t ySrc);
void YV12_Blt_fast(std::uint8_t* pDstY, std::uint8_t* pDstU, std::uint8_t* pDstV, std::int32_t nPt_DstY,
                   std::int32_t nPt_DstU, std::int32_t nPt_DstV, std::int32_t xDst, std::int32_t yDst,
                   std::int32_t cx, std::int32_t nRowLimit, std::uint8_t* pSrcY, std::uint8_t* pSrcU,
                   std::uint8_t* pSrcV, std::int32_t nPt_SrcY, std::int32_t nPt_SrcU, std::int32_t nPt_SrcV,
                   std::int32_t xSrc, std::int32_t ySrc);
void YUY2_2_Yuv420(std::uint8_t* pY, std::uint8_t* pU, std::uint8_t* pV, std::int32_t nPt_Y,
                   std::int32_t nPt_U, std::int32_t nPt_V, std::int32_t xDst, std::int32_t yDst,
                   std::int32_t cx, std::int32_t cy, std::uint8_t* lpBitsSrc, std::int32_t nPitchSrc,
                   std::int32_t bYUY2, std::int32_t xSrc, std::int32_t ySrc);
void Yuv420_2_YUY2(std::uint8_t* lpBitsDst, std::int32_t nPitchDst, std::int32_t xDst, std::int32_t yDst,
                   std::int32_t cx, std::int32_t cy, std::int32_t bYUY2, std::uint8_t* pY, std::uint8_t* pU,
                   std::uint8_t* pV, std::int32_t nPt_Y, std::int32_t nPt_U, std::int32_t nPt_V,
                   std::int32_t xSrc, std::int32_t ySrc);

KQ_CONVERT_YUV yuv2rgb_32;
KQ_CONVERT_YUV yuv2rgb_24;
KQ_CONVERT_YUV yuv2rgb_555;
KQ_CONVERT_YUV yuv2rgb_565;
KQ_CONVERT_YUV yuy2_out;
KQ_CONVERT_YUV uyvy_out;
KQ_CONVERT_YUV yuv12_out;

} // namespace kq::image::reference
