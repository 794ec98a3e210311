/// @file
/// Reads image files as other programs do, to compare them with what was written.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace kqtest {

/// R, G, B, rows from top to bottom without gaps. Empty when the file cannot be read.
struct RgbImage {
    int width = 0;
    int height = 0;
    std::vector<std::uint8_t> rgb;
};

RgbImage readBmp(const std::string& path);
#ifdef KQ_HAVE_PNG
RgbImage readPng(const std::string& path);
#endif
#ifdef KQ_HAVE_JPEG
RgbImage readJpeg(const std::string& path);
#endif

} // namespace kqtest
