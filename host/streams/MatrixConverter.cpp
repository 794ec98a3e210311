#include "MatrixConverter.h"

extern "C" {
#include <libavutil/imgutils.h>
#include <libavutil/pixdesc.h>
}

#include <string>
#include <utility>

namespace kq::streams {
namespace {

/// @return FFmpeg's name for a matrix that differs from BT.601's; null for one that does not, or that is
/// unknown
const char* NameOf(AVColorSpace matrix) {
    switch (matrix) {
    case AVCOL_SPC_BT709:
        return "bt709";
    case AVCOL_SPC_SMPTE240M:
        return "smpte240m";
    case AVCOL_SPC_YCGCO:
        return "ycgco";
    case AVCOL_SPC_BT2020_NCL:
    case AVCOL_SPC_BT2020_CL:
        return "bt2020ncl";
    default:
        return nullptr;
    }
}

int Even(int size) {
    return size + size % 2;
}

/// The filter takes even sizes only. What a column or row more holds does not matter: luma goes into no other
/// sample, and there is no chroma more.
FrameHandle MadeEven(FrameHandle picture) {
    picture->format = AV_PIX_FMT_YUV420P; // alpha does not matter either
    if (picture->width % 2 == 0 && picture->height % 2 == 0) {
        return picture;
    }
    FrameHandle even(av_frame_alloc());
    if (!even) {
        return nullptr;
    }
    even->format = picture->format;
    even->width = Even(picture->width);
    even->height = Even(picture->height);
    if (av_frame_get_buffer(even.get(), 0) < 0) {
        return nullptr;
    }
    for (int i = 0; i < 3; ++i) {
        av_image_copy_plane(even->data[i], even->linesize[i], picture->data[i], picture->linesize[i],
                            i == 0 ? picture->width : even->width / 2,
                            i == 0 ? picture->height : even->height / 2);
    }
    return even;
}

} // namespace

AVColorSpace MatrixConverter::MatrixOf(const AVFrame& picture) {
    const AVPixFmtDescriptor* format = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(picture.format));
    const bool isXyz = picture.format == AV_PIX_FMT_XYZ12LE || picture.format == AV_PIX_FMT_XYZ12BE;
    const bool hasMatrix = format != nullptr && format->nb_components >= 3 && !isXyz &&
                           (format->flags & (AV_PIX_FMT_FLAG_RGB | AV_PIX_FMT_FLAG_PAL)) == 0;
    if (!hasMatrix) {
        return viewMatrix;
    }
    if (picture.colorspace != AVCOL_SPC_UNSPECIFIED && picture.colorspace != AVCOL_SPC_RGB) {
        return picture.colorspace;
    }
    return picture.width >= 1280 || picture.height > 576 ? AVCOL_SPC_BT709 : viewMatrix;
}

FrameHandle MatrixConverter::Convert(FrameHandle picture, AVColorSpace matrix) {
    if (NameOf(matrix) == nullptr || !Prepare(*picture, matrix)) {
        return picture;
    }
    const int width = picture->width, height = picture->height;
    picture = MadeEven(std::move(picture));
    FrameHandle converted(av_frame_alloc());
    if (!picture || !converted || !m_graph->Push(std::move(picture), 0, 0) ||
        m_graph->Pull(*converted) != FilterGraph::Pulled::Picture) {
        return nullptr;
    }
    converted->width = width;
    converted->height = height;
    return converted;
}

/// @return false, after FFmpeg's messages, when pictures of this kind cannot be converted
bool MatrixConverter::Prepare(const AVFrame& picture, AVColorSpace matrix) {
    PictureKind input;
    input.width = Even(picture.width);
    input.height = Even(picture.height);
    if (m_matrix == matrix && m_width == input.width && m_height == input.height) {
        return m_graph != nullptr;
    }
    m_matrix = matrix;
    m_width = input.width;
    m_height = input.height;
    std::string reason;
    // The same primaries and transfer on both sides, whichever, leave the matrix alone to be changed.
    m_graph = FilterGraph::Build(std::string("colorspace=ispace=") + NameOf(matrix) +
                                     ":irange=tv:iprimaries=bt709:itrc=bt709:range=tv:"
                                     "primaries=bt709:trc=bt709:fast=1:space=" +
                                     std::to_string(viewMatrix),
                                 input, reason);
    return m_graph != nullptr;
}

} // namespace kq::streams
