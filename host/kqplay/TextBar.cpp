#include "TextBar.h"

#include <algorithm>

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
        return m_overlay->Hide();
    }
    text.SetSize(std::clamp(area.height / linesInArea, smallestText, largestText));
    const TextBox box = text.Draw(lines, area.width);
    m_overlay->Show({area.left, area.top, box.width, box.height}, box.pixels);
}

} // namespace kqplay
