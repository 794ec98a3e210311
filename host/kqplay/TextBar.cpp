#include "TextBar.h"

#include <X11/Xlib.h>
#include <X11/Xutil.h>

#include <algorithm>
#include <tuple>

namespace kqplay {
namespace {

/// Characters are this part of the area's height, within bounds that keep them legible.
constexpr int linesInArea = 60;
constexpr int smallestText = 13;
constexpr int largestText = 40;

bool AreEqual(const std::vector<TextLine>& one, const std::vector<TextLine>& other) {
    return std::equal(
        one.begin(), one.end(), other.begin(), other.end(),
        [](const TextLine& a, const TextLine& b) { return a.text == b.text && a.tail == b.tail; });
}

} // namespace

void TextBar::Show(const std::vector<TextLine>& lines, const Area& area, TextRenderer& text) {
    if (AreEqual(lines, m_lines) && area == m_area) {
        return;
    }
    m_lines = lines;
    m_area = area;
    if (lines.empty()) {
        if (m_window != 0) {
            XUnmapWindow(m_display, m_window);
            XFlush(m_display);
        }
        return;
    }
    text.SetSize(std::clamp(area.height / linesInArea, smallestText, largestText));
    Fill(text.Draw(lines, area.width));
}

/// The text is the window's background: the server itself draws it wherever it is uncovered.
void TextBar::Fill(const TextBox& box) {
    const auto width = static_cast<unsigned>(box.width);
    const auto height = static_cast<unsigned>(box.height);
    if (m_window == 0) {
        XWindowAttributes parent = {};
        XGetWindowAttributes(m_display, m_parent, &parent);
        m_depth = static_cast<unsigned>(parent.depth);
        m_window = XCreateSimpleWindow(m_display, m_parent, m_area.left, m_area.top, width, height, 0, 0, 0);
    }
    auto* const pixels = reinterpret_cast<char*>(const_cast<std::uint32_t*>(box.pixels.data()));
    constexpr int bits = 32; // a pixel; the view library shows nothing on servers that have others
    XImage* const image =
        XCreateImage(m_display, nullptr, m_depth, ZPixmap, 0, pixels, width, height, bits, 0);
    if (!image) {
        return;
    }
    image->byte_order = LSBFirst;
    const Pixmap pixmap = XCreatePixmap(m_display, m_window, width, height, m_depth);
    const GC context = XCreateGC(m_display, pixmap, 0, nullptr);
    XPutImage(m_display, pixmap, context, image, 0, 0, 0, 0, width, height);
    XFreeGC(m_display, context);
    image->data = nullptr; // the box's
    XDestroyImage(image);
    XSetWindowBackgroundPixmap(m_display, m_window, pixmap);
    XFreePixmap(m_display, pixmap);
    XMoveResizeWindow(m_display, m_window, m_area.left, m_area.top, width, height);
    XMapRaised(m_display, m_window);
    XClearWindow(m_display, m_window);
    XFlush(m_display);
}

} // namespace kqplay
