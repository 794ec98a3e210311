#include "Magnifier.h"

#include "PixelReadout.h"
#include "VideoSize.h"

#include <algorithm>
#include <cmath>

namespace kqplay {

std::string Magnifier::SetFactor(double factor) {
    const auto screen = ScreenOf(0);
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
    const auto screen = ScreenOf(0);
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
        const ViewPlace& place = places[i];
        if (x >= place.x && y >= place.y && x < place.x + place.width && y < place.y + place.height) {
            return Pointed{i, {x - place.x + 0.5, y - place.y + 0.5}};
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
    const ViewPlace place = m_parts.window->ViewPlaces().at(view);
    int width = mapping.nPictureWidth;
    int height = mapping.nPictureHeight;
    DisplaySize(StreamOf(view), width, height);
    Zoom::Screen screen;
    screen.width = place.width;
    screen.height = place.height;
    screen.pictureWidth = mapping.nPictureWidth;
    screen.pictureHeight = mapping.nPictureHeight;
    screen.pixelShape = static_cast<double>(width) / height * screen.pictureHeight / screen.pictureWidth;
    return screen;
}

IMediaStream* Magnifier::StreamOf(std::size_t view) const {
    return m_parts.second.video && view == 1 ? m_parts.second.video : m_parts.file.video;
}

void Magnifier::Apply() {
    m_places = m_parts.window->ViewPlaces();
    const auto first = ScreenOf(0);
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
    const auto screen = ScreenOf(0);
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
    std::vector<FilePixel> files;
    int firstX = 0;
    int firstY = 0;
    for (std::size_t i = 0; i < (m_parts.second.video ? 2U : 1U); ++i) {
        const auto other = ScreenOf(i);
        const MEDIA_FRAME* frame = StreamOf(i)->GetCurrentFrame();
        if (!other || !frame) {
            return {};
        }
        const int x = static_cast<int>(position.x * other->pictureWidth / screen->pictureWidth);
        const int y = static_cast<int>(position.y * other->pictureHeight / screen->pictureHeight);
        firstX = i == 0 ? x : firstX;
        firstY = i == 0 ? y : firstY;
        std::uint32_t rgb = 0;
        const bool isKnown = m_parts.player.View(i)->GetShownPixel(x, y, &rgb) == kq::Ok;
        files.push_back({SamplesAt(*frame, x, y), isKnown ? std::optional(rgb) : std::nullopt});
    }
    return FormatPixel(firstX, firstY, files);
}

} // namespace kqplay
