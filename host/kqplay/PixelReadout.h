/// @file
/// The values of one pixel, as a line of text.
#pragma once

#include <kqplayer/records.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace kqplay {

/// What a decoder gave for a pixel: a chroma sample serves all pixels of its block.
struct PixelSamples {
    int bits = 8; ///< 8 or 10
    int y = 0;
    int cb = 0;
    int cr = 0;
};

/// A pixel of one of the files.
struct FilePixel {
    std::optional<PixelSamples> samples; ///< none for a picture that has no such samples
    std::optional<std::uint32_t> rgb;    ///< as it is shown, 0x00RRGGBB; none when nobody knows
};

/// @param x,y column and row
/// @return none outside of the picture, and for one of another kind than views show
std::optional<PixelSamples> SamplesAt(const MEDIA_FRAME& frame, int x, int y);

/// @param x,y   column and row in the first file's picture
/// @param files the first one first
/// @return "12,34  Y 128 Cb 90 Cr 200  RGB 161 142 60", and of several files, so short that it fits in a
/// line,
///         each of the others with its differences from the first one:
///         "12,34  128 90 200 #A18E3C | 127 90 200 #A08D3B | -1 +0 +0, -1 -1 -1"
std::string FormatPixel(int x, int y, const std::vector<FilePixel>& files);

} // namespace kqplay
