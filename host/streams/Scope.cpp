#include "FileLog.h"
#include "FilterGraph.h"
#include "PictureColour.h"
#include "PictureConverter.h"
#include "PictureLayout.h"

#include <kqplayer/convenience.h>
#include <kqplayer/scope.h>

extern "C" {
#include <libavutil/imgutils.h>
}

#include <utility>

namespace kq::streams {
namespace {

/// The filters ask for a rate, and make nothing of it.
constexpr double anyRate = 25;

using PicturePtr = std::shared_ptr<const MEDIA_FRAME>;

/// @return the filters of a scope, up to its own size
std::string FiltersOf(ScopeKind kind) {
    switch (kind) {
    case ScopeKind::Waveform:
        return "waveform=intensity=0.08:graticule=green:opacity=0.3:flags=0";
    case ScopeKind::Vectorscope:
        return "vectorscope=mode=color3:intensity=0.02:graticule=green:opacity=0.5:flags=0";
    case ScopeKind::Histogram:
        return "histogram=level_height=160:scale_height=10";
    }
    return {};
}

/// @return the filter that brings pictures of a kind to planes of 8 bits, empty for those that have them
std::string ToPlanes(std::int32_t kind) {
    constexpr const char* convert = "scale=sws_dither=none,format=";
    switch (kind) {
    case KQ_PICTURE_NV12:
    case KQ_PICTURE_PLANAR_420_10:
    case KQ_PICTURE_P010:
        return std::string(convert) + "yuv420p,";
    case KQ_PICTURE_PLANAR_422_10:
        return std::string(convert) + "yuv422p,";
    case KQ_PICTURE_PLANAR_444_10:
        return std::string(convert) + "yuv444p,";
    default:
        return {};
    }
}

/// @return the planes of a frame for FFmpeg, which gives the frame back when it is done with them
FrameHandle Wrap(const PicturePtr& picture) {
    FrameHandle wrapped(av_frame_alloc());
    const tagYUVImage& image = picture->image;
    const auto giveBack = [](void* held, std::uint8_t*) {
        const std::unique_ptr<PicturePtr> ended(static_cast<PicturePtr*>(held));
    };
    auto held = std::make_unique<PicturePtr>(picture);
    const auto bytes = static_cast<std::size_t>(image.nPitchY) * static_cast<std::size_t>(image.nHeight);
    AVBufferRef* const buffer =
        wrapped ? av_buffer_create(image.pY, bytes, giveBack, held.get(), AV_BUFFER_FLAG_READONLY) : nullptr;
    if (buffer == nullptr) {
        return nullptr;
    }
    static_cast<void>(held.release()); // the buffer's now
    wrapped->buf[0] = buffer;
    PointAt(*wrapped, *picture);
    wrapped->colorspace = MatrixOf(ColourOf(*picture)); // where the graticule's colours are
    return wrapped;
}

} // namespace

struct Scope::Filters {
    std::int32_t kind = -1; ///< of the pictures that the graph takes
    int width = 0;
    int height = 0;
    std::unique_ptr<FilterGraph> graph;
    Ticks time = 0; ///< of the next picture: it only has to rise
    FrameHandle drawn{av_frame_alloc()};
    std::shared_ptr<FileLog> log = FileLog::Make({}, {});
};

Scope::Scope(ScopeKind kind) : m_kind(kind), m_filters(std::make_unique<Filters>()) {}

Scope::~Scope() = default;

std::unique_ptr<Scope> Scope::Make(ScopeKind kind, std::string& error) {
    std::unique_ptr<Scope> scope(new Scope(kind));
    MEDIA_FRAME usual{};
    usual.nKind = KQ_PICTURE_PLANAR_YUV;
    usual.image.nWidth = usual.image.nHeight = 16;
    return scope->Prepare(usual, error) ? std::move(scope) : nullptr;
}

/// Builds the graph for pictures like this one, unless it is there.
bool Scope::Prepare(const MEDIA_FRAME& picture, std::string& error) {
    Filters& filters = *m_filters;
    const tagYUVImage& image = picture.image;
    if (filters.graph && filters.kind == picture.nKind && filters.width == image.nWidth &&
        filters.height == image.nHeight) {
        return true;
    }
    const LogScope scope(*filters.log);
    PictureKind input;
    input.format = FormatOf(picture.nKind);
    input.width = image.nWidth;
    input.height = image.nHeight;
    input.rate = anyRate;
    const std::string size = std::to_string(side);
    const std::string toSize = ",scale=" + size + ":" + size + ":flags=area,format=bgra";
    filters.graph = FilterGraph::Build(ToPlanes(picture.nKind) + FiltersOf(m_kind) + toSize, input, error);
    if (!filters.graph) {
        error = filters.log->FirstError().empty() ? error : filters.log->FirstError();
        return false;
    }
    filters.kind = picture.nKind;
    filters.width = image.nWidth;
    filters.height = image.nHeight;
    return true;
}

bool Scope::Draw(const PicturePtr& picture, ScopePicture& drawn) {
    const LogScope scope(*m_filters->log);
    std::string ignored;
    const bool isPlanar = picture && FormatOf(picture->nKind) != AV_PIX_FMT_NONE && picture->image.pY;
    if (!isPlanar || !Prepare(*picture, ignored)) {
        return false;
    }
    FrameHandle wrapped = Wrap(picture);
    AVFrame& result = *m_filters->drawn;
    if (!wrapped || !m_filters->graph->Push(std::move(wrapped), ++m_filters->time, 1) ||
        m_filters->graph->Pull(result) != FilterGraph::Pulled::Picture) {
        m_filters->graph.reset();
        return false;
    }
    drawn.width = result.width;
    drawn.height = result.height;
    drawn.pixels.resize(static_cast<std::size_t>(4 * result.width) * static_cast<std::size_t>(result.height));
    av_image_copy_plane(drawn.pixels.data(), 4 * result.width, result.data[0], result.linesize[0],
                        4 * result.width, result.height);
    av_frame_unref(&result);
    return true;
}

} // namespace kq::streams
