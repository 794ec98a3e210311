/// @file
#pragma once

#include "PictureLayout.h"

#include <cstdint>

namespace kq::playerview {

/// Scales the visible part of a picture by taking the nearest pixel, for servers that cannot scale.
/// @param pixels the whole picture, 4 bytes a pixel, rows of pictureWidth pixels
/// @param out    receives the pixels of layout.visible, row by row without gaps
void ScaleNearest(const std::uint8_t* pixels, int pictureWidth, const PictureLayout& layout,
                  std::uint8_t* out);

} // namespace kq::playerview
