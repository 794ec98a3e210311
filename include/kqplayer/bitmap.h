/// @file
/// The published 40-byte Windows bitmap header, as the conversion routines and the image library use it.
#pragma once

#include "version.h"

#include <cstdint>

struct tagBITMAPINFOHEADER {
    std::uint32_t biSize;
    std::int32_t biWidth;
    std::int32_t biHeight;
    std::uint16_t biPlanes;
    std::uint16_t biBitCount;
    std::uint32_t biCompression;
    std::uint32_t biSizeImage;
    std::int32_t biXPelsPerMeter;
    std::int32_t biYPelsPerMeter;
    std::uint32_t biClrUsed;
    std::uint32_t biClrImportant;
};

/// One entry of a colour table.
struct RGBQUAD {
    std::uint8_t rgbBlue;
    std::uint8_t rgbGreen;
    std::uint8_t rgbRed;
    std::uint8_t rgbReserved;
};

/// A header followed by its colour table, whose length the header's bit count gives.
struct tagBITMAPINFO {
    tagBITMAPINFOHEADER bmiHeader;
    RGBQUAD bmiColors[1];
};

static_assert(sizeof(tagBITMAPINFOHEADER) == 40 && sizeof(RGBQUAD) == 4);
