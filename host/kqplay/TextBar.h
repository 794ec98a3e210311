/// @file
/// Text above a picture in a window.
#pragma once

#include "NativeWindow.h"
#include "TextRenderer.h"
#include "ViewLayout.h"

#include <memory>
#include <utility>
#include <vector>

namespace kqplay {

/// Lines of text in the upper left corner of an area, above whatever is shown there: no picture and no
/// capture has the text in it. The main thread's.
class TextBar {
public:
    /// @param overlay of the window
    explicit TextBar(std::unique_ptr<Overlay> overlay) : m_overlay(std::move(overlay)) {}

    /// Shows lines, or nothing for none. Draws only what differs from what was shown before.
    void Show(const std::vector<TextLine>& lines, const Area& area, TextRenderer& text);

private:
    std::unique_ptr<Overlay> m_overlay;
    std::vector<TextLine> m_lines;
    Area m_area;
};

} // namespace kqplay
