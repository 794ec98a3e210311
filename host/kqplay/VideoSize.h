/// @file
/// How large a video is on show.
#pragma once

#include <kqplayer/streams.h>

namespace kqplay {

/// Tells the size of a stream's picture as it is to be seen: the width follows the display aspect ratio.
/// Nothing is written for a stream that does not tell its format.
void DisplaySize(IMediaStream* video, int& width, int& height);

} // namespace kqplay
