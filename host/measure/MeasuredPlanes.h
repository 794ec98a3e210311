/// @file
/// Decoded pictures brought to planes that can be measured.
#pragma once

#include "Quality.h"

#include <streams/FilterGraph.h>
#include <streams/Handles.h>
#include <streams/Orientation.h>

#include <memory>
#include <string>

namespace kq::measure {

/// What the planes of a picture are. Pictures of one shape can be measured against each other.
struct Shape {
    AVPixelFormat format = AV_PIX_FMT_NONE; ///< planar luma and chroma, or luma alone, 8 to 16 bits
    int width = 0;
    int height = 0;
    bool isFullRange = false;

    /// @return the shape in which a picture is measured: its own, turned upright, or the nearest one
    static Shape Of(const AVFrame& picture, streams::Orientation orientation);
    bool operator==(const Shape& other) const;
    bool operator!=(const Shape& other) const { return !(*this == other); }
    int PlaneCount() const;
    int Depth() const; ///< bits a sample
    /// @return "1920x1080 yuv420p", with "full range" where it is
    std::string Text() const;
};

/// @return a plane of two pictures of one shape
PlanePair PlaneOf(const Shape& shape, int plane, const AVFrame& first, const AVFrame& second);

/// Brings pictures to a shape, with FFmpeg's filters: turned as the file says, scaled and converted as its
/// "scale" does by default (bicubic). Matrices are not converted. Used by one thread, with a log in scope.
class Shaper {
public:
    Shaper(const Shape& shape, streams::Orientation orientation)
        : m_shape(shape), m_orientation(orientation) {}

    /// @return the picture itself where it has the shape; null when it cannot be brought to it
    streams::FrameHandle Bring(streams::FrameHandle picture);

private:
    bool Prepare(const AVFrame& picture);

    const Shape m_shape;
    const streams::Orientation m_orientation;
    std::unique_ptr<streams::FilterGraph> m_graph;
    bool m_graphIsFull = false; ///< the range of what it was built for
};

} // namespace kq::measure
