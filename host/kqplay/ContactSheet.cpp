#include "ContactSheet.h"

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

ContactSheet::ContactSheet(const kq::streams::MediaFile& file, double begin, double seconds,
                           const ContactSheetRequest& request, const std::string& name, TextRenderer* text)
    : m_file(file), m_video(*file.video), m_begin(begin), m_part(seconds / (request.columns * request.rows)),
      m_request(request), m_text(text) {
    int width = 1;
    int height = 1;
    DisplaySize(&m_video, width, height);
    m_tileWidth = std::min(tileWidth, width);
    m_tileHeight =
        std::clamp(static_cast<int>(std::lround(m_tileWidth * 1.0 * height / width)), 1, highestTile);
    const int across = gap + (m_tileWidth + gap) * request.columns;
    if (m_text) {
        m_text->SetSize(m_tileWidth < wideTile ? smallText : largeText);
        const std::vector<TextLine> title = FormatTitle(name, file.facts, request.info);
        m_title = title.empty() ? TextBox() : m_text->Draw(title, across);
    }
    m_top = m_title.height + gap;
    m_sheet.Resize(across, m_top + (m_tileHeight + gap) * request.rows);
}

bool ContactSheet::Draw(const Progress& progress, std::string& error) {
    if (m_sheet.IsEmpty()) {
        error = m_request.path + ": no memory for the picture";
        return false;
    }
    DrawBox(0, 0, m_title);
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
    const int top = m_top + tile / m_request.columns * (m_tileHeight + gap);
    const std::uint8_t* planes[] = {image.pY, image.pU, image.pV};
    const int pitches[] = {image.nPitchY, image.nPitchU, image.nPitchV};
    std::uint8_t* target[] = {m_sheet.Bits() + static_cast<std::ptrdiff_t>(top) * m_sheet.Pitch() + left * 3};
    const int targetPitch[] = {m_sheet.Pitch()};
    sws_scale(scaler.get(), planes, pitches, 0, image.nHeight, target, targetPitch);
    const kq::streams::PicturePlace place = kq::streams::KeepPicture(m_video).place;
    const bool hasPlace = m_request.info != InfoLevel::Off && place.number >= 0;
    if (!hasPlace || !DrawLabel(left, top, FormatPlace(place, m_file.facts.frameRate))) {
        DrawLabel(left, top, FormatTime(static_cast<double>(frame->llPTS) / kq::TicksPerSecond));
    }
    return true;
}

/// Writes on a tile. @param left,top of the tile @return false for a text that is too large for it
bool ContactSheet::DrawLabel(int left, int top, const std::string& label) {
    if (!m_text) {
        return false;
    }
    const TextBox box = m_text->Draw({{label}}, m_sheet.Width());
    const bool fits =
        box.width + 2 * labelMargin <= m_tileWidth && box.height + 2 * labelMargin <= m_tileHeight;
    if (fits) {
        DrawBox(left + labelMargin, top + labelMargin, box);
    }
    return fits;
}

void ContactSheet::DrawBox(int left, int top, const TextBox& box) {
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
