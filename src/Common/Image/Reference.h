/// @file
/// The conversion routines written as their formulas read, one pixel after the other. They are what the
/// optimised routines are compared with, byte for byte; parameters and results are those of the routines of
/// the same name in <kqplayer/image.h>.
#pragma once

#include <kqplayer/image.h>

namespace kq::image::reference {

std::int32_t Yuv420_2_rgb32(tagBITMAPINFOHEADER* lpDstBmi, std::uint8_t* lpDstBits, std::uint8_t* pY,
                            std::uint8_t* pU, std::uint8_t* pV, std::int32_t nPt_Y, std::int32_t nPt_U,
                            std::int32_t nPt_V);
std::int32_t Yuv420_2_rgb24(tagBITMAPINFOHEADER* lpDstBmi, std::uint8_t* lpDstBits, std::uint8_t* pY,
                            std::uint8_t* pU, std::uint8_t* pV, std::int32_t nPt_Y, std::int32_t nPt_U,
                            std::int32_t nPt_V);

} // namespace kq::image::reference
