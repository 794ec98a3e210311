/// @file
/// What the line of information on a picture says.
#pragma once

#include "TextRenderer.h"

#include <kqplayer/media_file.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace kqplay {

/// How much is said.
enum class InfoLevel {
    Off,
    Short, ///< number, time code and kind of the picture, and the file
    Full,  ///< also size, codec, rate, speed and offset
};

/// A picture on show, and the file that it is of.
struct PictureInfo {
    std::string name;               ///< of the file
    kq::streams::KeptPicture shown; ///< without a frame while nothing is shown
    kq::streams::MediaFacts facts;  ///< of the file
    double speed = 1;               ///< of play, below 0 backwards
    std::int64_t offset = 0;        ///< pictures by which the file is shifted against the first one
};

/// @return the number, the time code and the kind, as far as they are known: "#99  00:00:03:24  B"
std::string FormatPlace(const kq::streams::PicturePlace& place, double frameRate);

/// @return the lines above an overview of a file, none at InfoLevel::Off
std::vector<TextLine> FormatTitle(const std::string& name, const kq::streams::MediaFacts& facts,
                                  InfoLevel level);

/// @return the lines for a picture, none at InfoLevel::Off:
///         "#99  00:00:03:24  B  clip.mp4" and "offset +3  1920x1080  h264 (High) yuv420p  25 frames/s  1x"
std::vector<TextLine> FormatInfo(const PictureInfo& info, InfoLevel level);

} // namespace kqplay
