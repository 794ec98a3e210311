/// @file
/// What a video tells of its pictures, and how large it is on show.
#pragma once

#include <kqplayer/streams.h>

namespace kqplay {

/// @return what a stream tells of its pictures; zeros for one that tells nothing
VIDEO_STREAM_INFO VideoFormatOf(IMediaStream& video);

/// Tells the size of a stream's picture as it is to be seen: the width follows the display aspect ratio.
/// Nothing is written for a stream that does not tell its format.
void DisplaySize(IMediaStream* video, int& width, int& height);

} // namespace kqplay
