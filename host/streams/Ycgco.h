/// @file
/// Pictures of luma, Cg and Co, as some lossless files have them.
#pragma once

#include "Handles.h"

namespace kq::streams {

/// Writes a picture anew with luma, Cb and Cr by BT.601, in its own range.
/// @param source planar, 8 or 10 bits
/// @param target of the same format and size
void YcgcoToBt601(const AVFrame& source, AVFrame& target, bool isFullRange);

} // namespace kq::streams
