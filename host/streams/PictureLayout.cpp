#include "PictureLayout.h"

#include <kqplayer/records.h>

extern "C" {
#include <libavutil/pixdesc.h>
}

#include <cstdlib>

namespace kq::streams {
namespace {

struct Layout {
    AVPixelFormat format;
    std::int32_t kind;
};

constexpr Layout layouts[] = {
    {AV_PIX_FMT_YUV420P, KQ_PICTURE_PLANAR_YUV},        {AV_PIX_FMT_YUV422P, KQ_PICTURE_PLANAR_422},
    {AV_PIX_FMT_YUV444P, KQ_PICTURE_PLANAR_444},        {AV_PIX_FMT_NV12, KQ_PICTURE_NV12},
    {AV_PIX_FMT_YUV420P10LE, KQ_PICTURE_PLANAR_420_10}, {AV_PIX_FMT_YUV422P10LE, KQ_PICTURE_PLANAR_422_10},
    {AV_PIX_FMT_YUV444P10LE, KQ_PICTURE_PLANAR_444_10}, {AV_PIX_FMT_P010LE, KQ_PICTURE_P010},
};

const AVPixFmtDescriptor* DescriptorOf(int format) {
    return av_pix_fmt_desc_get(static_cast<AVPixelFormat>(format));
}

int RoundedUp(int size, int shift) {
    return -((-size) >> shift);
}

} // namespace

std::int32_t KindOf(int format) {
    for (const Layout& layout : layouts) {
        if (layout.format == format) {
            return layout.kind;
        }
    }
    return -1;
}

AVPixelFormat FormatOf(std::int32_t kind) {
    for (const Layout& layout : layouts) {
        if (layout.kind == kind) {
            return layout.format;
        }
    }
    return AV_PIX_FMT_NONE;
}

AVPixelFormat WithoutPairs(AVPixelFormat format) {
    switch (format) {
    case AV_PIX_FMT_NV12:
        return AV_PIX_FMT_YUV420P;
    case AV_PIX_FMT_P010LE:
        return AV_PIX_FMT_YUV420P10LE;
    default:
        return format;
    }
}

AVPixelFormat WithoutRange(int format) {
    switch (format) {
    case AV_PIX_FMT_YUVJ420P:
        return AV_PIX_FMT_YUV420P;
    case AV_PIX_FMT_YUVJ422P:
        return AV_PIX_FMT_YUV422P;
    case AV_PIX_FMT_YUVJ444P:
        return AV_PIX_FMT_YUV444P;
    case AV_PIX_FMT_YUVJ440P:
        return AV_PIX_FMT_YUV440P;
    case AV_PIX_FMT_YUVJ411P:
        return AV_PIX_FMT_YUV411P;
    default:
        return static_cast<AVPixelFormat>(format);
    }
}

AVPixelFormat WithoutExtras(int format) {
    switch (format) {
    case AV_PIX_FMT_YUVA420P:
        return AV_PIX_FMT_YUV420P;
    case AV_PIX_FMT_YUVA422P:
        return AV_PIX_FMT_YUV422P;
    case AV_PIX_FMT_YUVA444P:
        return AV_PIX_FMT_YUV444P;
    case AV_PIX_FMT_YUVA420P10LE:
        return AV_PIX_FMT_YUV420P10LE;
    case AV_PIX_FMT_YUVA422P10LE:
        return AV_PIX_FMT_YUV422P10LE;
    case AV_PIX_FMT_YUVA444P10LE:
        return AV_PIX_FMT_YUV444P10LE;
    default:
        return WithoutRange(format);
    }
}

bool HasLuma(int format) {
    constexpr std::uint64_t others =
        AV_PIX_FMT_FLAG_RGB | AV_PIX_FMT_FLAG_PAL | AV_PIX_FMT_FLAG_BITSTREAM | AV_PIX_FMT_FLAG_BAYER;
    const AVPixFmtDescriptor* descriptor = DescriptorOf(format);
    const bool isXyz = format == AV_PIX_FMT_XYZ12LE || format == AV_PIX_FMT_XYZ12BE;
    return descriptor != nullptr && !isXyz && (descriptor->flags & others) == 0;
}

bool IsGray(int format) {
    return HasLuma(format) && DescriptorOf(format)->nb_components <= 2;
}

AVPixelFormat NearestFormat(int format) {
    if (KindOf(WithoutExtras(format)) >= 0) {
        return WithoutExtras(format);
    }
    if (!HasLuma(format)) {
        return AV_PIX_FMT_YUV420P;
    }
    const AVPixFmtDescriptor& descriptor = *DescriptorOf(format);
    const bool isDeep = descriptor.comp[0].depth > 8;
    const bool fewerRows = descriptor.log2_chroma_h > 0;
    const bool fewerColumns = descriptor.log2_chroma_w > 0;
    if (IsGray(format) || (fewerRows && fewerColumns)) {
        return isDeep ? AV_PIX_FMT_YUV420P10LE : AV_PIX_FMT_YUV420P;
    }
    if (fewerColumns) {
        return isDeep ? AV_PIX_FMT_YUV422P10LE : AV_PIX_FMT_YUV422P;
    }
    return isDeep ? AV_PIX_FMT_YUV444P10LE : AV_PIX_FMT_YUV444P;
}

int PlaneCount(int format) {
    return av_pix_fmt_count_planes(static_cast<AVPixelFormat>(format));
}

PlaneShape ShapeOf(int format, int plane, int width, int height) {
    const AVPixFmtDescriptor& descriptor = *DescriptorOf(format);
    const int sampleBytes = descriptor.comp[0].depth > 8 ? 2 : 1;
    if (plane == 0) {
        return {width, height, sampleBytes};
    }
    const bool isPaired = PlaneCount(format) == 2;
    return {RoundedUp(width, descriptor.log2_chroma_w), RoundedUp(height, descriptor.log2_chroma_h),
            isPaired ? 2 * sampleBytes : sampleBytes};
}

std::size_t BytesOf(const AVFrame& picture) {
    const AVPixFmtDescriptor* descriptor = DescriptorOf(picture.format);
    std::size_t bytes = 0;
    for (int plane = 0; plane < AV_NUM_DATA_POINTERS && picture.data[plane] != nullptr; ++plane) {
        const bool isChroma = plane == 1 || plane == 2;
        const int rows =
            RoundedUp(picture.height, isChroma && descriptor != nullptr ? descriptor->log2_chroma_h : 0);
        bytes += static_cast<std::size_t>(std::abs(picture.linesize[plane])) * static_cast<std::size_t>(rows);
    }
    return bytes;
}

} // namespace kq::streams
