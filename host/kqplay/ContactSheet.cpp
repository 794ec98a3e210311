#include "ContactSheet.h"

#include "ProgressLine.h"
#include "VideoSize.h"

#include <kqplayer/convenience.h>

namespace kqplay {
namespace {

TileSheet SheetFor(const kq::streams::MediaFile& file, const ContactSheetRequest& request,
                   const std::string& name, TextRenderer* text) {
    int width = 1;
    int height = 1;
    DisplaySize(file.video, width, height);
    return {width, height, request.columns, request.rows, text, FormatTitle(name, file.facts, request.info)};
}

} // namespace

ContactSheet::ContactSheet(const kq::streams::MediaFile& file, double begin, double seconds,
                           const ContactSheetRequest& request, const std::string& name, TextRenderer* text)
    : m_file(file), m_video(*file.video), m_begin(begin), m_part(seconds / (request.columns * request.rows)),
      m_request(request), m_sheet(SheetFor(file, request, name, text)) {}

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
    const kq::streams::PicturePlace place = kq::streams::KeepPicture(m_video).place;
    const bool hasPlace = m_request.info != InfoLevel::Off && place.number >= 0;
    const std::string time = FormatTime(static_cast<double>(frame->llPTS) / kq::TicksPerSecond);
    return hasPlace ? m_sheet.Draw(tile, *frame, FormatPlace(place, m_file.facts.frameRate), time)
                    : m_sheet.Draw(tile, *frame, time);
}

} // namespace kqplay
