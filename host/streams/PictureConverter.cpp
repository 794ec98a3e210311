#include "PictureConverter.h"

#include "PictureLayout.h"
#include "Ycgco.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

#include <cstring>
#include <utility>

namespace kq::streams {
namespace {

constexpr int alignment = 64;
/// The scaler's wide stores may run over a row's end.
constexpr int slack = 64;

int Aligned(int size) {
    return (size + alignment - 1) / alignment * alignment;
}

const char* NameOf(int format) {
    const char* name = av_get_pix_fmt_name(static_cast<AVPixelFormat>(format));
    return name != nullptr ? name : "unknown";
}

/// The picture says from now on how it is read.
void Label(AVFrame& picture, const ColourReading& reading) {
    picture.colorspace = reading.matrix;
    picture.color_range = reading.IsFullRange() ? AVCOL_RANGE_JPEG : AVCOL_RANGE_MPEG;
}

/// The scaler leaves the last row of chroma out when it brings such a picture to planar 4:2:0 at once.
bool LosesItsLastRow(const AVFrame& picture) {
    const bool isPacked = picture.format == AV_PIX_FMT_YUYV422 || picture.format == AV_PIX_FMT_UYVY422;
    return isPacked && picture.height % 2 != 0;
}

/// Pictures of such a layout have no other one to be turned into.
AVPixelFormat WithAllColumns(AVPixelFormat format) {
    switch (format) {
    case AV_PIX_FMT_YUV422P:
        return AV_PIX_FMT_YUV444P;
    case AV_PIX_FMT_YUV422P10LE:
        return AV_PIX_FMT_YUV444P10LE;
    default:
        return format;
    }
}

} // namespace

FrameHandle PicturePool::Make(int format, int width, int height) {
    std::size_t planeBytes[4] = {};
    std::size_t bytes = slack;
    FrameHandle picture(av_frame_alloc());
    if (!picture) {
        return nullptr;
    }
    for (int plane = 0; plane < PlaneCount(format); ++plane) {
        const PlaneShape shape = ShapeOf(format, plane, width, height);
        picture->linesize[plane] = Aligned(shape.width * shape.unitBytes);
        planeBytes[plane] =
            static_cast<std::size_t>(picture->linesize[plane]) * static_cast<std::size_t>(shape.height);
        bytes += planeBytes[plane];
    }
    if (bytes != m_bytes) {
        m_pool.reset(av_buffer_pool_init(bytes, nullptr));
        m_bytes = bytes;
    }
    picture->buf[0] = m_pool ? av_buffer_pool_get(m_pool.get()) : nullptr;
    if (picture->buf[0] == nullptr) {
        return nullptr;
    }
    picture->format = format;
    picture->width = width;
    picture->height = height;
    std::uint8_t* at = picture->buf[0]->data;
    for (int plane = 0; plane < PlaneCount(format); ++plane) {
        picture->data[plane] = at;
        at += planeBytes[plane];
    }
    return picture;
}

AVPixelFormat PictureConverter::FormatFor(int format) const {
    if (m_plain) {
        return AV_PIX_FMT_YUV420P;
    }
    return m_orientation.swapAxes ? WithAllColumns(NearestFormat(format)) : NearestFormat(format);
}

/// @return true for a picture whose planes are those of the format
bool PictureConverter::IsReady(const AVFrame& picture, int format) {
    if (WithoutExtras(picture.format) != format) {
        return false;
    }
    for (int plane = 0; plane < PlaneCount(format); ++plane) {
        if (picture.linesize[plane] <= 0) {
            return false; // upside down, as some filters turn pictures
        }
    }
    return true;
}

FrameHandle PictureConverter::Convert(FrameHandle picture, FileLog& log) {
    ColourReading reading = ReadColour(*picture);
    CarrySourceText(*picture);
    NoticeChanges(*picture, reading, log);
    if (reading.matrix == AVCOL_SPC_YCGCO) {
        const AVPixelFormat planar = WithoutPairs(NearestFormat(picture->format));
        if (!IsReady(*picture, planar)) {
            picture = Scale(*picture, planar, reading, reading);
        }
        picture = picture ? WithoutCgco(*picture, planar, reading.IsFullRange()) : nullptr;
        reading.matrix = MatrixOf(reading.colour);
    }
    if (picture && m_plain && LosesItsLastRow(*picture)) {
        picture = Scale(*picture, NearestFormat(picture->format), reading, reading);
    }
    if (!picture) {
        return nullptr;
    }
    const ColourReading wanted = m_plain ? ColourReading{} : reading;
    const AVPixelFormat format = FormatFor(picture->format);
    if (!IsReady(*picture, format) || wanted.matrix != reading.matrix ||
        wanted.IsFullRange() != reading.IsFullRange()) {
        picture = Scale(*picture, format, reading, wanted);
    }
    if (picture && !m_orientation.IsUpright()) {
        picture = Turn(*picture, format);
    }
    if (!picture) {
        return nullptr;
    }
    picture->format = format;
    picture->data[PlaneCount(format)] = nullptr; // no alpha
    Label(*picture, wanted);
    if (m_plain) {
        picture->color_trc = AVCOL_TRC_UNSPECIFIED;
    }
    return picture;
}

FrameHandle PictureConverter::Scale(const AVFrame& picture, int format, const ColourReading& from,
                                    const ColourReading& to) {
    ScalerSetup setup;
    setup.from = {WithoutRange(picture.format), picture.width, picture.height,
                  from.IsFullRange() || picture.color_range == AVCOL_RANGE_JPEG, from.matrix};
    setup.to = {format, picture.width, picture.height, to.IsFullRange(), to.matrix};
    if (IsGray(picture.format) && from.IsFullRange() == to.IsFullRange()) {
        setup.from.isFull = setup.to.isFull = true; // what the scaler takes every gray picture for
    }
    FrameHandle result =
        PrepareScaler(setup) ? m_scaled.Make(format, picture.width, picture.height) : nullptr;
    if (!result || av_frame_copy_props(result.get(), &picture) < 0) {
        return nullptr;
    }
    const int rows = sws_scale(m_scaler.get(), picture.data, picture.linesize, 0, picture.height,
                               result->data, result->linesize);
    return rows == picture.height ? std::move(result) : nullptr;
}

bool PictureConverter::PrepareScaler(const ScalerSetup& setup) {
    if (!m_scaler || !(setup == m_setup)) {
        m_scaler = MakeScaler(setup);
        m_setup = setup;
    }
    return m_scaler != nullptr;
}

FrameHandle PictureConverter::Turn(const AVFrame& picture, int format) {
    const bool swaps = m_orientation.swapAxes;
    const int width = swaps ? picture.height : picture.width;
    const int height = swaps ? picture.width : picture.height;
    FrameHandle result = m_turned.Make(format, width, height);
    if (!result || av_frame_copy_props(result.get(), &picture) < 0) {
        return nullptr;
    }
    for (int plane = 0; plane < PlaneCount(format); ++plane) {
        const PlaneShape shape = ShapeOf(format, plane, width, height);
        const PlaneView target{result->data[plane], result->linesize[plane], shape.width, shape.height,
                               shape.unitBytes};
        TurnPlane(m_orientation, picture.data[plane], picture.linesize[plane], target);
    }
    return result;
}

FrameHandle PictureConverter::WithoutCgco(const AVFrame& picture, int format, bool isFullRange) {
    FrameHandle result = m_recoded.Make(format, picture.width, picture.height);
    if (!result || av_frame_copy_props(result.get(), &picture) < 0) {
        return nullptr;
    }
    YcgcoToBt601(picture, *result, isFullRange);
    return result;
}

/// A picture that came from another converter has its text already.
void PictureConverter::CarrySourceText(AVFrame& picture) {
    if (picture.opaque_ref != nullptr) {
        return;
    }
    std::string text = SaidText(picture);
    if (!m_orientation.IsUpright()) {
        text += ", turned";
    }
    const bool isSame = m_sourceText && text == reinterpret_cast<const char*>(m_sourceText->data);
    if (!isSame) {
        m_sourceText.reset(av_buffer_alloc(text.size() + 1));
        if (!m_sourceText) {
            return;
        }
        std::memcpy(m_sourceText->data, text.c_str(), text.size() + 1);
    }
    picture.opaque_ref = av_buffer_ref(m_sourceText.get());
}

std::string PictureConverter::SourceText(const AVFrame& picture) {
    return picture.opaque_ref != nullptr ? reinterpret_cast<const char*>(picture.opaque_ref->data) : "";
}

void PictureConverter::NoticeChanges(const AVFrame& picture, const ColourReading& reading, FileLog& log) {
    const bool isResized = m_width != 0 && (m_width != picture.width || m_height != picture.height);
    const bool isKnown = picture.format == m_format && reading.matrix == m_matrix;
    m_width = picture.width;
    m_height = picture.height;
    if (isResized) {
        log.NoticeOnce("video: the pictures change to " + std::to_string(m_width) + "x" +
                       std::to_string(m_height));
    }
    if (isKnown && reading.guesses.empty()) {
        return;
    }
    m_format = picture.format;
    m_matrix = reading.matrix;
    for (const std::string& guess : reading.guesses) {
        log.NoticeOnce("video: " + guess);
    }
    const AVPixelFormat format = FormatFor(picture.format);
    if (WithoutExtras(picture.format) != format) {
        log.NoticeOnce(std::string("video: ") + NameOf(picture.format) + " is brought to " + NameOf(format));
    }
    const AVPixFmtDescriptor* descriptor = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(picture.format));
    if (descriptor != nullptr && (descriptor->flags & AV_PIX_FMT_FLAG_ALPHA) != 0) {
        log.NoticeOnce("video: alpha is left out");
    }
}

MEDIA_FRAME RecordOf(const AVFrame& picture, Ticks time) {
    MEDIA_FRAME record{};
    record.nType = 2;
    record.nKind = KindOf(picture.format);
    record.image.nFormat = 2;
    record.image.pY = picture.data[0];
    record.image.pU = picture.data[1];
    record.image.pV = picture.data[2];
    record.image.nWidth = picture.width;
    record.image.nHeight = picture.height;
    record.image.nPitchY = picture.linesize[0];
    record.image.nPitchU = picture.linesize[1];
    record.image.nPitchV = picture.linesize[2];
    record.llTime = time;
    record.llPTS = time;
    // Frames that are what they always were say nothing.
    if (const Colour colour = ReadColour(picture).colour; colour != Colour{}) {
        DescribeColour(record, colour);
    }
    return record;
}

void PointAt(AVFrame& picture, const MEDIA_FRAME& record) {
    const tagYUVImage& image = record.image;
    std::uint8_t* const planes[] = {image.pY, image.pU, image.pV};
    const int pitches[] = {image.nPitchY, image.nPitchU, image.nPitchV};
    picture.format = FormatOf(record.nKind);
    picture.width = image.nWidth;
    picture.height = image.nHeight;
    for (int plane = 0; plane < std::min(PlaneCount(picture.format), 3); ++plane) {
        picture.data[plane] = planes[plane];
        picture.linesize[plane] = pitches[plane];
    }
}

} // namespace kq::streams
