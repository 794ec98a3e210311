#include "TileSheet.h"

#include "DigitFont.h"

#include <kqplayer/convenience.h>

extern "C" {
#include <libswscale/swscale.h>
}

#include <algorithm>
#include <cmath>
#include <memory>

namespace kqplay {
namespace {

constexpr int widestTile = 320;
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

TileSheet::TileSheet(int width, int height, int columns, int rows) : m_columns(columns) {
    m_tileWidth = std::min(widestTile, width);
    m_tileHeight =
        std::clamp(static_cast<int>(std::lround(m_tileWidth * 1.0 * height / width)), 1, highestTile);
    m_sheet.Resize(gap + (m_tileWidth + gap) * columns, gap + (m_tileHeight + gap) * rows);
}

bool TileSheet::Draw(int tile, const MEDIA_FRAME& frame, const std::string& label) {
    const tagYUVImage& image = frame.image;
    const Scaler scaler(sws_getContext(image.nWidth, image.nHeight, AV_PIX_FMT_YUV420P, m_tileWidth,
                                       m_tileHeight, AV_PIX_FMT_BGR24, SWS_AREA, nullptr, nullptr, nullptr),
                        sws_freeContext);
    if (!scaler) {
        return false;
    }
    SetColour(*scaler, kq::ColourOf(frame));
    const int left = gap + tile % m_columns * (m_tileWidth + gap);
    const int top = gap + tile / m_columns * (m_tileHeight + gap);
    const std::uint8_t* planes[] = {image.pY, image.pU, image.pV};
    const int pitches[] = {image.nPitchY, image.nPitchU, image.nPitchV};
    std::uint8_t* target[] = {m_sheet.Bits() + static_cast<std::ptrdiff_t>(top) * m_sheet.Pitch() + left * 3};
    const int targetPitch[] = {m_sheet.Pitch()};
    sws_scale(scaler.get(), planes, pitches, 0, image.nHeight, target, targetPitch);
    const int labelScale = m_tileWidth < wideTile ? 1 : 2;
    if (!label.empty() && TextWidth(label, labelScale) + 2 * labelMargin <= m_tileWidth &&
        TextHeight(labelScale) + 2 * labelMargin <= m_tileHeight) {
        DrawText(m_sheet, label, left + labelMargin, top + labelMargin, labelScale);
    }
    return true;
}

} // namespace kqplay
