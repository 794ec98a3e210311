#include "DigitFont.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace kqplay {
namespace {

constexpr int glyphWidth = 5;
constexpr int glyphHeight = 7;
constexpr int advance = glyphWidth + 1;

struct Glyph {
    char character;
    std::array<const char*, glyphHeight> rows;
};

constexpr Glyph glyphs[] = {
    {'0', {" ### ", "#   #", "#  ##", "# # #", "##  #", "#   #", " ### "}},
    {'1', {"  #  ", " ##  ", "  #  ", "  #  ", "  #  ", "  #  ", " ### "}},
    {'2', {" ### ", "#   #", "    #", "   # ", "  #  ", " #   ", "#####"}},
    {'3', {" ### ", "#   #", "    #", "  ## ", "    #", "#   #", " ### "}},
    {'4', {"   # ", "  ## ", " # # ", "#  # ", "#####", "   # ", "   # "}},
    {'5', {"#####", "#    ", "#### ", "    #", "    #", "#   #", " ### "}},
    {'6', {" ### ", "#    ", "#    ", "#### ", "#   #", "#   #", " ### "}},
    {'7', {"#####", "    #", "   # ", "  #  ", "  #  ", "  #  ", "  #  "}},
    {'8', {" ### ", "#   #", "#   #", " ### ", "#   #", "#   #", " ### "}},
    {'9', {" ### ", "#   #", "#   #", " ####", "    #", "    #", " ### "}},
    {':', {"     ", "  #  ", "  #  ", "     ", "  #  ", "  #  ", "     "}},
    {'.', {"     ", "     ", "     ", "     ", "     ", "  #  ", "  #  "}},
};

void Fill(Picture& picture, int left, int top, int width, int height, unsigned char grey) {
    for (int y = top; y < top + height; ++y) {
        std::memset(picture.Bits() + static_cast<std::ptrdiff_t>(y) * picture.Pitch() + left * 3, grey,
                    static_cast<std::size_t>(width) * 3);
    }
}

} // namespace

int TextWidth(const std::string& text, int scale) {
    return (static_cast<int>(text.size()) * advance + 1) * scale;
}

int TextHeight(int scale) {
    return (glyphHeight + 2) * scale;
}

void DrawText(Picture& picture, const std::string& text, int left, int top, int scale) {
    Fill(picture, left, top, TextWidth(text, scale), TextHeight(scale), 0);
    left += scale;
    for (const char c : text) {
        const auto* glyph = std::find_if(std::begin(glyphs), std::end(glyphs),
                                         [c](const Glyph& candidate) { return candidate.character == c; });
        for (int y = 0; glyph != std::end(glyphs) && y < glyphHeight; ++y) {
            for (int x = 0; x < glyphWidth; ++x) {
                if (glyph->rows[static_cast<std::size_t>(y)][x] == '#') {
                    Fill(picture, left + x * scale, top + (y + 1) * scale, scale, scale, 255);
                }
            }
        }
        left += advance * scale;
    }
}

} // namespace kqplay
