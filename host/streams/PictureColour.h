/// @file
/// What the samples of decoded pictures mean, as their files say it and as frames can say it.
#pragma once

#include "Handles.h"

#include <kqplayer/convenience.h>

#include <string>
#include <vector>

namespace kq::streams {

/// How a picture's samples are read.
struct ColourReading {
    Colour colour;                             ///< as a frame says it
    AVColorSpace matrix = AVCOL_SPC_SMPTE170M; ///< as FFmpeg says it; YCgCo stays to be converted
    std::vector<std::string> guesses;          ///< what the file says and nobody here knows, for the log

    bool IsFullRange() const { return colour.nRange == KQ_RANGE_FULL; }
};

/// Brings what FFmpeg has no name for to the ends of its enumerations: it hands on what some containers say
/// unseen, and a number that no enumerator can have may not even be read.
void LimitColour(AVFrame& picture);

/// Reads what a decoded picture says, and what follows from its size where it says nothing: without a matrix
/// it has that of BT.709 from 1280 columns or 577 rows on, as players have agreed on, and that of BT.2020
/// with its primaries or an HDR transfer. RGB and the like become BT.601.
ColourReading ReadColour(const AVFrame& picture);

/// @return FFmpeg's name of a matrix that frames can have
AVColorSpace MatrixOf(const Colour& colour);

/// @return what the file says of a picture: "yuv420p10le, bt2020nc, limited range, smpte2084"
std::string SaidText(const AVFrame& picture);
/// @return what a frame says of it: "4:2:0, 10 bits, BT.2020, limited range, PQ"
std::string GivenText(const MEDIA_FRAME& frame);

} // namespace kq::streams
