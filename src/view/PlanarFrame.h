/// @file
/// Frames that the component builds itself: a view's black picture and the capture copy.
#pragma once

#include <kqplayer/records.h>

#include <memory>

/// Frees a built frame: its one plane buffer, then the frame.
struct PlanarFrameDeleter {
    void operator()(MEDIA_FRAME* pFrame) const;
};
using PlanarFramePtr = std::unique_ptr<MEDIA_FRAME, PlanarFrameDeleter>;

/// Makes an opaque black planar 4:2:0 frame with an alpha plane. One buffer of 2 * (L + Q) + 512 bytes, with
/// L = width * height and Q = ((height+1)/2) * ((width+1)/2), holds Y at 0, V at L, U at L + Q, alpha at L +
/// 2Q.
/// @return null for a size that is not positive or too large, or without memory
PlanarFramePtr MakeBlackFrame(int nWidth, int nHeight);
