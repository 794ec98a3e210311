/// @file
/// Text above a picture in a window.
#pragma once

#include "TextRenderer.h"
#include "ViewLayout.h"

#include <cstddef>
#include <vector>

using Display = struct _XDisplay;

namespace kqplay {

/// A window with lines of text in the upper left corner of an area, above whatever is shown there: no picture
/// and no capture has the text in it. It goes with its parent. The main thread's.
class TextBar {
public:
    /// @param parent X11 window, at least as long-lived
    TextBar(Display* display, unsigned long parent) : m_display(display), m_parent(parent) {}

    /// Shows lines, or nothing for none. Draws only what differs from what was shown before.
    void Show(const std::vector<TextLine>& lines, const Area& area, TextRenderer& text);

private:
    void Fill(const TextBox& box);

    Display* m_display;
    unsigned long m_parent;
    unsigned long m_window = 0; ///< made when there is something to show
    unsigned m_depth = 0;
    std::vector<TextLine> m_lines;
    Area m_area;
};

} // namespace kqplay
