/// @file
/// A file's pictures as they are decoded, for whoever measures or checks them.
#pragma once

#include "Decoder.h"
#include "FrameNumbers.h"
#include "Orientation.h"

#include <kqplayer/media_file.h>

#include <memory>
#include <string>

namespace kq::streams {

/// The video of a file that is open.
struct FileVideo {
    std::unique_ptr<Decoder> decoder; ///< gives the pictures as they lie in the file
    Orientation orientation;          ///< how they have to be turned to stand upright
    double rate = 0;                  ///< pictures per second, above 0
    bool isSteady = true;             ///< the distances of the pictures are equal, as far as the file tells
    Ticks begin = 0;                  ///< where the file says that its pictures begin
    double tick = 0;                  ///< one unit of the file's clock, seconds
    std::shared_ptr<FrameNumbers> numbers;
    MediaFacts facts;
};

/// Opens a file's video without a stream; times and numbers are those of OpenMediaFile() and OpenTimeline().
/// @param options video filters do not count here
/// @param error receives one line that names the file and the reason
/// @return false when there are no pictures that can be decoded
bool OpenFileVideo(const std::string& path, const OpenOptions& options, FileVideo& video, std::string& error);

} // namespace kq::streams
