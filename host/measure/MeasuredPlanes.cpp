#include "MeasuredPlanes.h"

#include <streams/PictureLayout.h>

extern "C" {
#include <libavutil/pixdesc.h>
}

#include <tuple>
#include <utility>

namespace kq::measure {
namespace {

const AVPixFmtDescriptor& DescriptorOf(int format) {
    return *av_pix_fmt_desc_get(static_cast<AVPixelFormat>(format));
}

/// @return true for a format whose luma and chroma lie in planes of their own, one sample after the other
bool IsPlanar(int format) {
    const AVPixFmtDescriptor& descriptor = DescriptorOf(format);
    constexpr std::uint64_t others =
        AV_PIX_FMT_FLAG_HWACCEL | AV_PIX_FMT_FLAG_FLOAT | AV_PIX_FMT_FLAG_BE | AV_PIX_FMT_FLAG_RGB;
    if (!streams::HasLuma(format) || (descriptor.flags & others) != 0) {
        return false;
    }
    const int depth = descriptor.comp[0].depth;
    for (int i = 0; i < std::min<int>(descriptor.nb_components, 3); ++i) {
        const AVComponentDescriptor& component = descriptor.comp[i];
        const bool isAlone =
            component.plane == i && component.step == (depth > 8 ? 2 : 1) && component.offset == 0;
        if (!isAlone || component.shift != 0 || component.depth != depth) {
            return false;
        }
    }
    return depth >= 8 && depth <= 16 && descriptor.nb_components != 2;
}

/// @return the format in which pictures of a format are measured
AVPixelFormat MeasuredFormat(int format) {
    return IsPlanar(format) ? streams::WithoutExtras(format)
                            : streams::WithoutPairs(streams::NearestFormat(format));
}

bool IsFullRange(const AVFrame& picture) {
    return picture.color_range == AVCOL_RANGE_JPEG || streams::WithoutRange(picture.format) != picture.format;
}

/// What tells whether two formats have the same planes: names that tell the range or an alpha plane do not.
auto PlanesOf(int format) {
    const AVPixFmtDescriptor& descriptor = DescriptorOf(format);
    return std::make_tuple(IsPlanar(format), streams::IsGray(format), descriptor.comp[0].depth,
                           descriptor.log2_chroma_w, descriptor.log2_chroma_h);
}

/// @return what turns pictures upright, each filter with a comma behind it
std::string TurningFilters(streams::Orientation orientation) {
    return std::string(orientation.swapAxes ? "transpose=cclock_flip," : "") +
           (orientation.mirrorX ? "hflip," : "") + (orientation.mirrorY ? "vflip," : "");
}

} // namespace

Shape Shape::Of(const AVFrame& picture, streams::Orientation orientation) {
    Shape shape{MeasuredFormat(picture.format), picture.width, picture.height, IsFullRange(picture)};
    if (orientation.swapAxes) {
        std::swap(shape.width, shape.height);
    }
    if (!streams::HasLuma(picture.format)) {
        shape.isFullRange = false; // what FFmpeg makes of RGB
    }
    return shape;
}

bool Shape::operator==(const Shape& other) const {
    return PlanesOf(format) == PlanesOf(other.format) && width == other.width && height == other.height &&
           isFullRange == other.isFullRange;
}

int Shape::PlaneCount() const {
    return streams::IsGray(format) ? 1 : 3;
}

int Shape::Depth() const {
    return DescriptorOf(format).comp[0].depth;
}

std::string Shape::Text() const {
    return std::to_string(width) + "x" + std::to_string(height) + " " + av_get_pix_fmt_name(format) +
           (isFullRange ? " in full range" : "");
}

PlanePair PlaneOf(const Shape& shape, int plane, const AVFrame& first, const AVFrame& second) {
    const streams::PlaneShape size = streams::ShapeOf(shape.format, plane, shape.width, shape.height);
    PlanePair pair;
    pair.rows = {first.data[plane], first.linesize[plane], second.data[plane], second.linesize[plane]};
    pair.width = size.width;
    pair.height = size.height;
    pair.depth = shape.Depth();
    return pair;
}

streams::FrameHandle Shaper::Bring(streams::FrameHandle picture) {
    const bool isPlanar = IsPlanar(picture->format);
    if (isPlanar && m_orientation.IsUpright() && Shape::Of(*picture, {}) == m_shape) {
        return picture;
    }
    if (!Prepare(*picture) || !m_graph->Push(std::move(picture), 0, 0)) {
        return nullptr;
    }
    streams::FrameHandle brought(av_frame_alloc());
    const bool came = brought && m_graph->Pull(*brought) == streams::FilterGraph::Pulled::Picture;
    return came ? std::move(brought) : nullptr;
}

/// Builds the graph, unless it takes such pictures already.
bool Shaper::Prepare(const AVFrame& picture) {
    const bool isFull = IsFullRange(picture);
    if (m_graph && m_graph->Takes(picture) && isFull == m_graphIsFull) {
        return true;
    }
    m_graphIsFull = isFull;
    std::string scale = "scale=w=" + std::to_string(m_shape.width) + ":h=" + std::to_string(m_shape.height) +
                        ":flags=bicubic";
    if (streams::HasLuma(picture.format) && isFull != m_shape.isFullRange) {
        scale += std::string(":in_range=") + (isFull ? "full" : "limited") +
                 ":out_range=" + (m_shape.isFullRange ? "full" : "limited");
    }
    streams::PictureKind kind;
    kind.format = picture.format;
    kind.width = picture.width;
    kind.height = picture.height;
    kind.rate = 25; // of no consequence
    std::string reason;
    m_graph = streams::FilterGraph::Build(TurningFilters(m_orientation) + scale +
                                              ",format=" + av_get_pix_fmt_name(m_shape.format),
                                          kind, reason);
    return m_graph != nullptr;
}

} // namespace kq::measure
