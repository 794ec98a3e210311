#include "Magnifier.h"

#include "PixelReadout.h"
#include "VideoSize.h"

#include <algorithm>
#include <cmath>

namespace kqplay {

std::string Magnifier::SetFactor(double factor) {
    const auto screen = FrontScreen();
    if (!screen) {
        return "no picture in a window";
    }
    if (factor > 0) {
        m_zoom.SetFactor(factor, *screen);
    } else {
        m_zoom.Fit();
    }
    Apply();
    return Describe();
}

std::string Magnifier::Follow(const PictureMouse& mouse) {
    m_x = mouse.x;
    m_y = mouse.y;
    const bool isMoved = !m_zoom.IsFit() && (mouse.draggedX != 0 || mouse.draggedY != 0);
    const bool isResized = !m_zoom.IsFit() && !(m_places == m_parts.window->ViewPlaces());
    const auto pointed = mouse.wheel != 0 ? FindView(mouse.x, mouse.y) : std::nullopt;
    if (!isMoved && !isResized && !pointed) {
        return {};
    }
    const auto screen = FrontScreen();
    if (!screen) {
        return {};
    }
    m_zoom.Move(mouse.draggedX, mouse.draggedY, *screen);
    if (pointed) {
        m_zoom.Step(mouse.wheel, pointed->position, *screen);
    }
    Apply();
    return pointed ? Describe() : "";
}

std::optional<Magnifier::Pointed> Magnifier::FindView(int x, int y) const {
    const std::vector<ViewPlace> places = m_parts.window->ViewPlaces();
    for (std::size_t i = 0; i < places.size(); ++i) {
        const Area& seen = places[i].visible;
        if (x >= seen.left && y >= seen.top && x < seen.left + seen.width && y < seen.top + seen.height) {
            return Pointed{i, {x - places[i].whole.left + 0.5, y - places[i].whole.top + 0.5}};
        }
    }
    return std::nullopt;
}

/// @return none without a window or before the first picture
std::optional<Zoom::Screen> Magnifier::ScreenOf(std::size_t view) const {
    const auto shown = m_parts.player.View(view);
    KQViewMapping mapping;
    if (!m_parts.window || !shown || shown->GetMapping(&mapping) != kq::Ok) {
        return std::nullopt;
    }
    const Area place = m_parts.window->ViewPlaces().at(view).whole;
    int width = mapping.nPictureWidth;
    int height = mapping.nPictureHeight;
    DisplaySize(m_parts.file.video, width, height); // all views take the shape of the first file's pictures
    Zoom::Screen screen;
    screen.width = place.width;
    screen.height = place.height;
    screen.pictureWidth = mapping.nPictureWidth;
    screen.pictureHeight = mapping.nPictureHeight;
    screen.pixelShape = static_cast<double>(width) / height * screen.pictureHeight / screen.pictureWidth;
    return screen;
}

void Magnifier::Apply() {
    m_places = m_parts.window->ViewPlaces();
    const auto first = FrontScreen();
    for (std::size_t i = 0; i < m_places.size(); ++i) {
        const auto screen = ScreenOf(i);
        const auto view = m_parts.player.View(i);
        if (first && screen && view) {
            const KQViewDisplay display = m_zoom.Display(*first, *screen);
            view->SetDisplay(m_zoom.IsFit() ? nullptr : &display);
        }
    }
}

std::string Magnifier::Describe() const {
    const auto screen = FrontScreen();
    if (m_zoom.IsFit() || !screen) {
        return "zoom to fit";
    }
    return "zoom " + std::to_string(std::lround(100 * m_zoom.Factor(*screen))) + " %";
}

std::string Magnifier::DescribePixel() const {
    const auto pointed = m_parts.window ? FindView(m_x, m_y) : std::nullopt;
    const auto view = pointed ? m_parts.player.View(pointed->view) : nullptr;
    const auto screen = pointed ? ScreenOf(pointed->view) : std::nullopt;
    KQPointF position;
    if (!view || !screen ||
        view->WindowToPicture(pointed->position.x, pointed->position.y, &position) != kq::Ok ||
        position.x < 0 || position.y < 0 || position.x >= screen->pictureWidth ||
        position.y >= screen->pictureHeight) {
        return {};
    }
    const double across = position.x / screen->pictureWidth;
    const double down = position.y / screen->pictureHeight;
    std::vector<FilePixel> files;
    int firstX = 0;
    int firstY = 0;
    IMediaStream* const other = m_parts.BesideVideo();
    for (IMediaStream* const stream : {m_parts.file.video, other}) {
        const MEDIA_FRAME* const frame = stream ? stream->GetCurrentFrame() : nullptr;
        if (!frame) {
            continue;
        }
        const int x = static_cast<int>(across * frame->image.nWidth);
        const int y = static_cast<int>(down * frame->image.nHeight);
        if (files.empty()) {
            firstX = x;
            firstY = y;
        }
        files.push_back({SamplesAt(*frame, x, y), ShownPixel(stream == other, x, y)});
    }
    return files.empty() ? std::string() : FormatPixel(firstX, firstY, files);
}

/// @param isOther a pixel of the file beside the first
/// @return none where no view shows that file
std::optional<std::uint32_t> Magnifier::ShownPixel(bool isOther, int x, int y) const {
    const auto number = m_parts.comparison ? m_parts.comparison->ViewOf(isOther) : std::optional(0);
    const auto view = number ? m_parts.player.View(static_cast<std::size_t>(*number)) : nullptr;
    std::uint32_t rgb = 0;
    const bool isKnown = view && view->GetShownPixel(x, y, &rgb) == kq::Ok;
    return isKnown ? std::optional(rgb) : std::nullopt;
}

} // namespace kqplay
