#include "TileSheet.h"

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
constexpr int wideTile = 200; ///< from here on labels are drawn large
constexpr int smallText = 10;
constexpr int largeText = 14;

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

TileSheet::TileSheet(int width, int height, int columns, int rows, TextRenderer* text,
                     const std::vector<TextLine>& title)
    : m_columns(columns), m_text(text) {
    m_tileWidth = std::min(widestTile, width);
    m_tileHeight =
        std::clamp(static_cast<int>(std::lround(m_tileWidth * 1.0 * height / width)), 1, highestTile);
    const int across = gap + (m_tileWidth + gap) * columns;
    TextBox box;
    if (m_text) {
        m_text->SetSize(m_tileWidth < wideTile ? smallText : largeText);
        box = title.empty() ? TextBox() : m_text->Draw(title, across);
    }
    m_top = box.height + gap;
    m_sheet.Resize(across, m_top + (m_tileHeight + gap) * rows);
    if (!m_sheet.IsEmpty()) {
        DrawBox(0, 0, box);
    }
}

bool TileSheet::Draw(int tile, const MEDIA_FRAME& frame, const std::string& label,
                     const std::string& instead) {
    const tagYUVImage& image = frame.image;
    const Scaler scaler(sws_getContext(image.nWidth, image.nHeight, AV_PIX_FMT_YUV420P, m_tileWidth,
                                       m_tileHeight, AV_PIX_FMT_BGR24, SWS_AREA, nullptr, nullptr, nullptr),
                        sws_freeContext);
    if (!scaler) {
        return false;
    }
    SetColour(*scaler, kq::ColourOf(frame));
    const int left = gap + tile % m_columns * (m_tileWidth + gap);
    const int top = m_top + tile / m_columns * (m_tileHeight + gap);
    const std::uint8_t* planes[] = {image.pY, image.pU, image.pV};
    const int pitches[] = {image.nPitchY, image.nPitchU, image.nPitchV};
    std::uint8_t* target[] = {m_sheet.Bits() + static_cast<std::ptrdiff_t>(top) * m_sheet.Pitch() + left * 3};
    const int targetPitch[] = {m_sheet.Pitch()};
    sws_scale(scaler.get(), planes, pitches, 0, image.nHeight, target, targetPitch);
    if (!DrawLabel(left, top, label)) {
        DrawLabel(left, top, instead);
    }
    return true;
}

/// Writes on a tile. @param left,top of the tile @return false for a text that is too large for it
bool TileSheet::DrawLabel(int left, int top, const std::string& label) {
    if (!m_text || label.empty()) {
        return true;
    }
    const TextBox box = m_text->Draw({{label}}, m_sheet.Width());
    const bool fits =
        box.width + 2 * labelMargin <= m_tileWidth && box.height + 2 * labelMargin <= m_tileHeight;
    if (fits) {
        DrawBox(left + labelMargin, top + labelMargin, box);
    }
    return fits;
}

void TileSheet::DrawBox(int left, int top, const TextBox& box) {
    const std::uint32_t* pixel = box.pixels.data();
    for (int y = top; y < top + box.height; ++y) {
        unsigned char* out = m_sheet.Bits() + static_cast<std::ptrdiff_t>(y) * m_sheet.Pitch() + left * 3;
        for (int x = 0; x < box.width; ++x, ++pixel) {
            for (const int shift : {0, 8, 16}) {
                *out++ = static_cast<unsigned char>(*pixel >> shift);
            }
        }
    }
}

} // namespace kqplay
