/// @file
/// Times in pictures.
#pragma once

#include "Picture.h"

#include <string>

namespace kqplay {

/// @return pixels that a text of digits, ':' and '.' takes
int TextWidth(const std::string& text, int scale);
int TextHeight(int scale);

/// Draws the text in white on a black ground. It has to lie in the picture.
/// @param scale pixels that a dot of the font is wide and high
void DrawText(Picture& picture, const std::string& text, int left, int top, int scale);

} // namespace kqplay
