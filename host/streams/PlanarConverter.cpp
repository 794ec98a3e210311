#include "PlanarConverter.h"

extern "C" {
#include <libavutil/opt.h>
#include <libavutil/pixdesc.h>
}

#include <utility>

namespace kq::streams {
namespace {

constexpr int alignment = 64;
/// The scaler's wide stores may run over a row's end.
constexpr int slack = 64;

int Half(int size) {
    return (size + 1) / 2;
}

int Aligned(int size) {
    return (size + alignment - 1) / alignment * alignment;
}

/// The formats with a J are their plain relatives with full range.
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

bool IsFullRange(const AVFrame& picture) {
    if (WithoutRange(picture.format) != picture.format) {
        return true;
    }
    const auto* description = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(picture.format));
    const bool isGray = description != nullptr && description->nb_components <= 2;
    return isGray ? picture.color_range != AVCOL_RANGE_MPEG : picture.color_range == AVCOL_RANGE_JPEG;
}

bool IsReady(const AVFrame& picture) {
    const bool planar = picture.format == AV_PIX_FMT_YUV420P || picture.format == AV_PIX_FMT_YUVA420P;
    return planar && picture.color_range != AVCOL_RANGE_JPEG && picture.linesize[0] > 0 &&
           picture.linesize[1] > 0 && picture.linesize[2] > 0;
}

} // namespace

FrameHandle PicturePool::Make(int width, int height) {
    const int pitch = Aligned(width);
    const int chromaPitch = Aligned(Half(width));
    const auto luma = static_cast<std::size_t>(pitch) * static_cast<std::size_t>(height);
    const auto chroma = static_cast<std::size_t>(chromaPitch) * static_cast<std::size_t>(Half(height));
    const std::size_t bytes = luma + 2 * chroma + slack;
    if (bytes != m_bytes) {
        m_pool.reset(av_buffer_pool_init(bytes, nullptr));
        m_bytes = bytes;
    }
    FrameHandle picture(av_frame_alloc());
    if (!m_pool || !picture) {
        return nullptr;
    }
    picture->buf[0] = av_buffer_pool_get(m_pool.get());
    if (picture->buf[0] == nullptr) {
        return nullptr;
    }
    picture->format = AV_PIX_FMT_YUV420P;
    picture->width = width;
    picture->height = height;
    picture->linesize[0] = pitch;
    picture->linesize[1] = picture->linesize[2] = chromaPitch;
    picture->data[0] = picture->buf[0]->data;
    picture->data[1] = picture->data[0] + luma;
    picture->data[2] = picture->data[1] + chroma;
    return picture;
}

FrameHandle PlanarConverter::Convert(FrameHandle picture) {
    const AVColorSpace matrix = MatrixConverter::MatrixOf(*picture);
    if (!IsReady(*picture)) {
        picture = Scale(*picture);
    }
    if (picture) {
        picture = m_matrix.Convert(std::move(picture), matrix);
    }
    if (picture && !m_orientation.IsUpright()) {
        picture = Turn(*picture);
    }
    return picture;
}

FrameHandle PlanarConverter::Scale(const AVFrame& picture) {
    const Kind kind{WithoutRange(picture.format), picture.width, picture.height, IsFullRange(picture)};
    if (!PrepareScaler(kind)) {
        return nullptr;
    }
    FrameHandle result = m_scaled.Make(picture.width, picture.height);
    if (!result) {
        return nullptr;
    }
    const int rows = sws_scale(m_scaler.get(), picture.data, picture.linesize, 0, picture.height,
                               result->data, result->linesize);
    return rows == picture.height ? std::move(result) : nullptr;
}

bool PlanarConverter::PrepareScaler(const Kind& kind) {
    if (m_scaler && kind == m_kind) {
        return true;
    }
    m_kind = kind;
    m_scaler.reset(sws_alloc_context());
    SwsContext* scaler = m_scaler.get();
    if (scaler == nullptr) {
        return false;
    }
    av_opt_set_int(scaler, "srcw", kind.width, 0);
    av_opt_set_int(scaler, "srch", kind.height, 0);
    av_opt_set_int(scaler, "src_format", kind.format, 0);
    av_opt_set_int(scaler, "src_range", kind.fullRange ? 1 : 0, 0);
    av_opt_set_int(scaler, "dstw", kind.width, 0);
    av_opt_set_int(scaler, "dsth", kind.height, 0);
    av_opt_set_int(scaler, "dst_format", AV_PIX_FMT_YUV420P, 0);
    av_opt_set_int(scaler, "dst_range", 0, 0);
    av_opt_set_int(scaler, "sws_flags", SWS_BICUBIC | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INP | SWS_BITEXACT,
                   0);
    if (sws_init_context(scaler, nullptr, nullptr) >= 0) {
        return true;
    }
    m_scaler.reset();
    return false;
}

FrameHandle PlanarConverter::Turn(const AVFrame& picture) {
    const bool swaps = m_orientation.swapAxes;
    const int width = swaps ? picture.height : picture.width;
    const int height = swaps ? picture.width : picture.height;
    FrameHandle result = m_turned.Make(width, height);
    if (!result) {
        return nullptr;
    }
    for (int i = 0; i < 3; ++i) {
        const PlaneView target{result->data[i], result->linesize[i], i == 0 ? width : Half(width),
                               i == 0 ? height : Half(height)};
        TurnPlane(m_orientation, picture.data[i], picture.linesize[i], target);
    }
    return result;
}

} // namespace kq::streams
