#include "NoPicture.h"

#include "PictureConverter.h"
#include "PictureLayout.h"

#include <algorithm>
#include <cstring>

namespace kq::streams {
namespace {

constexpr std::uint8_t black = 16;
constexpr std::uint8_t grey = 96;
constexpr std::uint8_t neutral = 128;
/// A line is so many times thinner than the picture is high.
constexpr int linesInHeight = 60;

void DrawCross(std::uint8_t* luma, int pitch, int width, int height) {
    const int thickness = std::min(width, std::max(1, height / linesInHeight));
    for (int y = 0; y < height; ++y) {
        const auto left = static_cast<int>(std::int64_t{y} * (width - thickness) / std::max(1, height - 1));
        std::uint8_t* const row = luma + static_cast<std::ptrdiff_t>(y) * pitch;
        std::memset(row + left, grey, static_cast<std::size_t>(thickness));
        std::memset(row + width - thickness - left, grey, static_cast<std::size_t>(thickness));
    }
}

} // namespace

FramePtr NoPicture(int width, int height) {
    auto frame = std::make_shared<Frame>();
    frame->picture = PicturePool().Make(AV_PIX_FMT_YUV420P, std::max(width, 1), std::max(height, 1));
    if (!frame->picture) {
        return nullptr;
    }
    AVFrame& picture = *frame->picture;
    for (int plane = 0; plane < PlaneCount(picture.format); ++plane) {
        const PlaneShape shape = ShapeOf(picture.format, plane, picture.width, picture.height);
        std::memset(picture.data[plane], plane == 0 ? black : neutral,
                    static_cast<std::size_t>(picture.linesize[plane]) *
                        static_cast<std::size_t>(shape.height));
    }
    DrawCross(picture.data[0], picture.linesize[0], picture.width, picture.height);
    picture.colorspace = AVCOL_SPC_SMPTE170M;
    picture.color_range = AVCOL_RANGE_MPEG;
    frame->record = RecordOf(picture, KQ_NO_PTS);
    return frame;
}

bool IsNoPicture(const MEDIA_FRAME* frame) {
    return frame == nullptr || frame->llPTS == KQ_NO_PTS;
}

} // namespace kq::streams
