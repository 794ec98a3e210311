#include "ContactSheet.h"

#include "DigitFont.h"
#include "ProgressLine.h"
#include "VideoSize.h"

#include <kqplayer/convenience.h>

extern "C" {
#include <libswscale/swscale.h>
}

#include <algorithm>
#include <cmath>
#include <memory>

namespace kqplay {
namespace {

constexpr int tileWidth = 320;
constexpr int highestTile = 640;
constexpr int gap = 4;
constexpr int labelMargin = 4;
constexpr int wideTile = 200; ///< from here on labels are drawn twice as large

using Scaler = std::unique_ptr<SwsContext, decltype(&sws_freeContext)>;

/// @param colour of the pictures to be scaled
void SetColour(SwsContext& scaler, const kq::Colour& colour) {
    constexpr int matrices[] = {SWS_CS_ITU601, SWS_CS_ITU709, SWS_CS_BT2020, SWS_CS_SMPTE240M};
    constexpr int unity = 1 << 16; // of contrast and saturation
    sws_setColorspaceDetails(&scaler, sws_getCoefficients(matrices[colour.nMatrix]),
                             colour.nRange == KQ_RANGE_FULL ? 1 : 0, sws_getCoefficients(SWS_CS_DEFAULT), 1,
                             0, unity, unity);
}

} // namespace

ContactSheet::ContactSheet(IMediaStream& video, double begin, double seconds,
                           const ContactSheetRequest& request)
    : m_video(video), m_begin(begin), m_part(seconds / (request.columns * request.rows)), m_request(request) {
    int width = 1;
    int height = 1;
    DisplaySize(&video, width, height);
    m_tileWidth = std::min(tileWidth, width);
    m_tileHeight =
        std::clamp(static_cast<int>(std::lround(m_tileWidth * 1.0 * height / width)), 1, highestTile);
    m_sheet.Resize(gap + (m_tileWidth + gap) * request.columns, gap + (m_tileHeight + gap) * request.rows);
}

bool ContactSheet::Draw(const Progress& progress, std::string& error) {
    if (m_sheet.IsEmpty()) {
        error = m_request.path + ": no memory for the picture";
        return false;
    }
    for (int tile = 0; tile < m_request.columns * m_request.rows; ++tile) {
        if (!progress(tile)) {
            return false;
        }
        if (!GoTo(tile) || !DrawTile(tile)) {
            error = m_request.path + ": there is no picture to show";
            return false;
        }
    }
    return true;
}

bool ContactSheet::GoTo(int tile) {
    const double middle = m_begin + (tile + 0.5) * m_part;
    const double reached = m_video.Seek(middle, kq::KeyFrameSeek);
    if (reached > middle || reached < middle - m_part / 2) {
        m_video.Seek(middle, kq::ExactSeek);
    }
    return m_video.GetCurrentFrame() != nullptr;
}

bool ContactSheet::DrawTile(int tile) {
    const MEDIA_FRAME* frame = m_stills.Flatten(*m_video.GetCurrentFrame());
    if (!frame) {
        return false;
    }
    const tagYUVImage& image = frame->image;
    const Scaler scaler(sws_getContext(image.nWidth, image.nHeight, AV_PIX_FMT_YUV420P, m_tileWidth,
                                       m_tileHeight, AV_PIX_FMT_BGR24, SWS_AREA, nullptr, nullptr, nullptr),
                        sws_freeContext);
    if (!scaler) {
        return false;
    }
    SetColour(*scaler, kq::ColourOf(*frame));
    const int left = gap + tile % m_request.columns * (m_tileWidth + gap);
    const int top = gap + tile / m_request.columns * (m_tileHeight + gap);
    const std::uint8_t* planes[] = {image.pY, image.pU, image.pV};
    const int pitches[] = {image.nPitchY, image.nPitchU, image.nPitchV};
    std::uint8_t* target[] = {m_sheet.Bits() + static_cast<std::ptrdiff_t>(top) * m_sheet.Pitch() + left * 3};
    const int targetPitch[] = {m_sheet.Pitch()};
    sws_scale(scaler.get(), planes, pitches, 0, image.nHeight, target, targetPitch);
    const std::string label = FormatTime(static_cast<double>(frame->llPTS) / kq::TicksPerSecond);
    const int labelScale = m_tileWidth < wideTile ? 1 : 2;
    if (TextWidth(label, labelScale) + 2 * labelMargin <= m_tileWidth &&
        TextHeight(labelScale) + 2 * labelMargin <= m_tileHeight) {
        DrawText(m_sheet, label, left + labelMargin, top + labelMargin, labelScale);
    }
    return true;
}

} // namespace kqplay
