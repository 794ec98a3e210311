/// @file
/// How the samples of decoded pictures lie in memory, and which of these layouts frames can have.
#pragma once

#include "Handles.h"

#include <cstddef>
#include <cstdint>

namespace kq::streams {

/// @return the kind of frame that pictures of a pixel format are, or -1 for a format that frames cannot have
std::int32_t KindOf(int format);
/// @return the pixel format of pictures of a kind, AV_PIX_FMT_NONE for a kind that frames cannot have
AVPixelFormat FormatOf(std::int32_t kind);
/// @return the format with Cb and Cr in planes of their own, for one that has them in pairs; others as they
/// are
AVPixelFormat WithoutPairs(AVPixelFormat format);

/// @return the format whose name does not say full range (those with a J do)
AVPixelFormat WithoutRange(int format);
/// @return the format without what frames do not tell by their kind: the same planes without alpha and range
AVPixelFormat WithoutExtras(int format);

/// @return the format among those of frames that loses the least: as many chroma samples, as many bits or 10.
///         What has no luma and chroma of its own (RGB, palettes, XYZ, one bit) becomes planar 4:2:0 with 8
///         bits.
AVPixelFormat NearestFormat(int format);

/// @return true for a format of luma and chroma, or of luma alone
bool HasLuma(int format);
/// @return true for a format of luma alone
bool IsGray(int format);

/// The samples of one plane; a unit is what has to stay together when pictures are turned: one sample, or a
/// pair of Cb and Cr.
struct PlaneShape {
    int width = 0; ///< units a row
    int height = 0;
    int unitBytes = 0;
};

/// @return number of planes of a format that frames can have
int PlaneCount(int format);
/// @return the shape of a plane of a picture with that size, for a format that frames can have
PlaneShape ShapeOf(int format, int plane, int width, int height);

/// @return the memory that a picture of any format takes, in bytes
std::size_t BytesOf(const AVFrame& picture);

} // namespace kq::streams
