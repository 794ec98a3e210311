#include "DifferenceStream.h"

#include "NoPicture.h"
#include "PictureLayout.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <utility>

namespace kq::streams {
namespace {

/// @return the planar format of a frame's samples, AV_PIX_FMT_NONE for a frame that is no picture
AVPixelFormat PlanarFormat(std::int32_t kind) {
    return WithoutPairs(FormatOf(kind));
}

/// How the samples of a plane become those of the difference.
struct Scale {
    unsigned base = 0; ///< what equal samples become
    unsigned most = 0; ///< that may be added to it
    int doublings = 0;
};

/// A loop that compilers turn into vector code. Amplified differences of 10 bits fill 16 bits, no more.
template <class Sample>
void SubtractRow(const Sample* reference, const Sample* other, Sample* result, int count, Scale scale) {
    const auto base = static_cast<std::uint16_t>(scale.base);
    const auto most = static_cast<std::uint16_t>(scale.most);
    const auto doublings = scale.doublings;
    for (int i = 0; i < count; ++i) {
        const std::uint16_t a = reference[i];
        const std::uint16_t b = other[i];
        const auto apart = static_cast<std::uint16_t>(std::max(a, b) - std::min(a, b));
        const auto amplified = static_cast<std::uint16_t>(apart << doublings);
        result[i] = static_cast<Sample>(base + std::min(amplified, most));
    }
}

template <class Sample>
void SubtractPlane(const AVFrame& reference, const AVFrame& other, AVFrame& result, int plane, Scale scale) {
    const PlaneShape shape = ShapeOf(result.format, plane, result.width, result.height);
    for (int y = 0; y < shape.height; ++y) {
        const auto row = [&](const AVFrame& picture) {
            return reinterpret_cast<const Sample*>(picture.data[plane] +
                                                   static_cast<std::ptrdiff_t>(y) * picture.linesize[plane]);
        };
        SubtractRow(row(reference), row(other), const_cast<Sample*>(row(result)), shape.width, scale);
    }
}

template <class Sample>
void FillPlane(AVFrame& result, int plane, unsigned value) {
    const PlaneShape shape = ShapeOf(result.format, plane, result.width, result.height);
    for (int y = 0; y < shape.height; ++y) {
        auto* const row = reinterpret_cast<Sample*>(result.data[plane] +
                                                    static_cast<std::ptrdiff_t>(y) * result.linesize[plane]);
        std::fill(row, row + shape.width, static_cast<Sample>(value));
    }
}

/// @param unit what one level of 8 bits is: 1 or 4
template <class Sample>
void Subtract(const AVFrame& reference, const AVFrame& other, AVFrame& result, unsigned unit, bool isFull,
              int doublings, bool hasChroma) {
    constexpr unsigned black = 16;
    constexpr unsigned lumaLevels = 219;
    constexpr unsigned neutral = 128;
    const Scale luma = {isFull ? 0 : black * unit, isFull ? 256 * unit - 1 : lumaLevels * unit, doublings};
    SubtractPlane<Sample>(reference, other, result, 0, luma);
    for (const int plane : {1, 2}) {
        if (hasChroma) {
            const unsigned most = isFull ? neutral * unit - 1 : 112 * unit;
            SubtractPlane<Sample>(reference, other, result, plane, {neutral * unit, most, doublings});
        } else {
            FillPlane<Sample>(result, plane, neutral * unit);
        }
    }
}

bool IsPicture(const MEDIA_FRAME& frame) {
    return PlanarFormat(frame.nKind) != AV_PIX_FMT_NONE && frame.image.pY != nullptr &&
           frame.image.nWidth > 0 && frame.image.nHeight > 0;
}

} // namespace

DifferenceStream::DifferenceStream(const VIDEO_STREAM_INFO& format, ComPtr<IMediaStream> reference,
                                   ComPtr<IMediaStream> other, std::shared_ptr<const DifferenceLook> look)
    : MediaStream(format), m_reference(std::move(reference)), m_other(std::move(other)),
      m_look(std::move(look)) {}

double DifferenceStream::Seek(double /*dSeconds*/, int /*nMode*/) {
    const double rate = std::get<VIDEO_STREAM_INFO>(Format()).dFrameRate;
    return rate > 0 ? GetFramePosition() / rate : 0;
}

MEDIA_FRAME* DifferenceStream::GetCurrentFrame() {
    const std::lock_guard guard(m_lock);
    const MEDIA_FRAME* reference = m_reference->GetCurrentFrame();
    const MEDIA_FRAME* other = nullptr;
    // Another thread may move the reference between the two: they are a pair once it has stood still.
    for (bool isPair = false; reference != nullptr && !isPair;) {
        const std::int64_t before = reference->llPTS;
        other = m_other->GetCurrentFrame();
        reference = m_reference->GetCurrentFrame();
        isPair = reference == nullptr || reference->llPTS == before;
    }
    FramePtr frame;
    if (reference != nullptr && IsPicture(*reference)) {
        const bool has = !IsNoPicture(other) && IsPicture(*other);
        frame = has ? Make(*reference, *other) : Sign(*reference);
    }
    if (!frame) {
        m_pins.Unpin();
        return nullptr;
    }
    m_pins.Pin(frame);
    return &frame->record; // the pin keeps it
}

/// @return null when it cannot be made
FramePtr DifferenceStream::Make(const MEDIA_FRAME& reference, const MEDIA_FRAME& other) {
    const AVPixelFormat format = PlanarFormat(reference.nKind);
    const FrameHandle first = m_fitReference.Fit(reference, format, reference);
    const FrameHandle second = m_fitOther.Fit(other, format, reference);
    auto frame = std::make_shared<Frame>();
    frame->picture = m_pool.Make(format, reference.image.nWidth, reference.image.nHeight);
    if (!first || !second || !frame->picture) {
        return nullptr;
    }
    const Colour colour = ColourOf(reference);
    const bool isFull = colour.nRange == KQ_RANGE_FULL;
    const int doublings = std::clamp(m_look->doublings.load(), 0, DifferenceLook::mostDoublings);
    if (ShapeOf(format, 0, 1, 1).unitBytes == 1) {
        Subtract<std::uint8_t>(*first, *second, *frame->picture, 1, isFull, doublings, m_look->hasChroma);
    } else {
        Subtract<std::uint16_t>(*first, *second, *frame->picture, 4, isFull, doublings, m_look->hasChroma);
    }
    frame->record = RecordOf(*frame->picture, reference.llPTS);
    std::fill(std::begin(frame->record.reserved), std::end(frame->record.reserved), 0);
    Colour shown; // differences are not of light: nothing is tone-mapped
    shown.nMatrix = colour.nMatrix;
    shown.nRange = colour.nRange;
    if (shown != Colour{}) {
        DescribeColour(frame->record, shown);
    }
    return frame;
}

FramePtr DifferenceStream::Sign(const MEDIA_FRAME& reference) {
    const tagYUVImage& image = reference.image;
    if (!m_sign || m_sign->record.image.nWidth != image.nWidth ||
        m_sign->record.image.nHeight != image.nHeight) {
        m_sign = NoPicture(image.nWidth, image.nHeight);
    }
    return m_sign;
}

FrameHandle DifferenceStream::Fitter::Fit(const MEDIA_FRAME& frame, int format, const MEDIA_FRAME& like) {
    const auto side = [](const MEDIA_FRAME& of, int itsFormat) {
        const Colour colour = ColourOf(of);
        return ScalerSetup::Side{itsFormat, of.image.nWidth, of.image.nHeight, colour.nRange == KQ_RANGE_FULL,
                                 MatrixOf(colour)};
    };
    const ScalerSetup setup = {side(frame, FormatOf(frame.nKind)), side(like, format)};
    FrameHandle picture(av_frame_alloc());
    if (!picture) {
        return nullptr;
    }
    PointAt(*picture, frame);
    if (setup.from == setup.to) {
        return picture;
    }
    if (!m_scaler || !(setup == m_setup)) {
        m_scaler = MakeScaler(setup);
        m_setup = setup;
    }
    FrameHandle fitted = m_scaler ? m_pool.Make(format, setup.to.width, setup.to.height) : nullptr;
    const bool isFitted =
        fitted && sws_scale(m_scaler.get(), picture->data, picture->linesize, 0, picture->height,
                            fitted->data, fitted->linesize) == setup.to.height;
    return isFitted ? std::move(fitted) : nullptr;
}

IMediaStream* MakeDifference(IMediaStream& reference, IMediaStream& other,
                             std::shared_ptr<const DifferenceLook> look) {
    ComPtr<IStreamInfo> info;
    const VIDEO_STREAM_INFO* const format =
        reference.GetStreamInfo(info.Out()) == Ok ? info->GetVideoFormat() : nullptr;
    return format != nullptr ? new DifferenceStream(*format, ComPtr<IMediaStream>::Share(&reference),
                                                    ComPtr<IMediaStream>::Share(&other), std::move(look))
                             : nullptr;
}

} // namespace kq::streams
