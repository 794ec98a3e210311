/// @file
/// The published 40-byte Windows bitmap header, as the conversion routines and the image library use it.
#pragma once

#include "version.h"

#include <cstdint>

/// Describes the rows of a bitmap. The conversions read its size and bit count only.
struct tagBITMAPINFOHEADER {
    std::uint32_t biSize;         ///< bytes of the header, 40
    std::int32_t biWidth;         ///< pixels
    std::int32_t biHeight;        ///< pixels; what its sign says, each routine tells
    std::uint16_t biPlanes;       ///< 1
    std::uint16_t biBitCount;     ///< bits per pixel: 8, 24 or 32
    std::uint32_t biCompression;  ///< 0: none
    std::uint32_t biSizeImage;    ///< bytes of all rows, or 0
    std::int32_t biXPelsPerMeter; ///< resolution; 0 for unknown
    std::int32_t biYPelsPerMeter; ///< resolution; 0 for unknown
    std::uint32_t biClrUsed;      ///< entries of the colour table; 0: as many as the bit count allows
    std::uint32_t biClrImportant; ///< 0: all
};

/// One entry of a colour table.
struct RGBQUAD {
    std::uint8_t rgbBlue;     ///< 0 to 255
    std::uint8_t rgbGreen;    ///< 0 to 255
    std::uint8_t rgbRed;      ///< 0 to 255
    std::uint8_t rgbReserved; ///< 0
};

/// A header followed by its colour table, whose length the header's bit count gives.
struct tagBITMAPINFO {
    tagBITMAPINFOHEADER bmiHeader; ///< size and bit count
    RGBQUAD bmiColors[1];          ///< the first entry; with 8 bits up to 256 follow
};

static_assert(sizeof(tagBITMAPINFOHEADER) == 40 && sizeof(RGBQUAD) == 4);
