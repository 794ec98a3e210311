/// @file
/// Frames that the component builds itself: a view's black picture and the capture copy.
#pragma once

#include <kqplayer/records.h>

#include <memory>

/// Width and height in pixels.
struct PictureSize {
    int nWidth;
    int nHeight;
};

/// @return the size of a stream's pictures, whose parts a host may give as negative numbers
PictureSize SizeOf(const VIDEO_STREAM_INFO& format);

/// @return whether the parts are positive, and numbers of 32 bits hold the bytes of such a picture
bool IsPictureSize(PictureSize size);

/// @return whether a host's picture can be read: no plane is missing and it has a size
bool HasPlanes(const tagYUVImage& image);

/// Frees a built frame: its one plane buffer, then the frame.
struct PlanarFrameDeleter {
    void operator()(MEDIA_FRAME* pFrame) const;
};
using PlanarFramePtr = std::unique_ptr<MEDIA_FRAME, PlanarFrameDeleter>;

/// Makes an opaque black planar 4:2:0 frame with an alpha plane. One buffer of 2 * (L + Q) + 512 bytes, with
/// L = width * height and Q = ((height+1)/2) * ((width+1)/2), holds Y at 0, V at L, U at L + Q, alpha at L +
/// 2Q.
/// @return null for a size that a picture cannot have, or without memory
PlanarFramePtr MakeBlackFrame(PictureSize size);
