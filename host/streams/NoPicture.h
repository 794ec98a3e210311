/// @file
/// What is shown where a file has no picture.
#pragma once

#include "FrameSource.h"

namespace kq::streams {

/// @return a black picture with a grey cross, planar 4:2:0 with 8 bits, which no film and no difference looks
///         like; its time stamp is KQ_NO_PTS. Null without memory.
FramePtr NoPicture(int width, int height);

/// @return true for what NoPicture() made, and for no frame at all
bool IsNoPicture(const MEDIA_FRAME* frame);

} // namespace kq::streams
