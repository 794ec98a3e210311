/// @file
/// Text in pictures and above them.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

struct FT_FaceRec_;
struct FT_LibraryRec_;

namespace kqplay {

/// A line of text. Where it is too long, its tail loses its middle, and then what is left its end.
struct TextLine {
    std::string text;
    std::string tail = {};
};

/// White text on a dark ground.
struct TextBox {
    int width = 0;                     ///< pixels
    int height = 0;                    ///< pixels
    std::vector<std::uint32_t> pixels; ///< 0xRRGGBB, row by row
};

/// Draws text with the system's fonts: its monospaced one, and for characters that this one lacks others that
/// have them. Text is UTF-8; what is none, and control characters, are drawn as U+FFFD. Characters stand side
/// by side as they come: scripts that join their letters are not shaped. Used by one thread.
class TextRenderer {
public:
    /// @param error receives a line that says what is missing
    /// @return null without a font
    static std::unique_ptr<TextRenderer> Open(std::string& error);
    ~TextRenderer();
    TextRenderer(const TextRenderer&) = delete;
    TextRenderer& operator=(const TextRenderer&) = delete;

    /// @param pixels height of the characters from now on, 6 to 200; 14 at first
    void SetSize(int pixels);
    /// Draws lines one below the other.
    /// @param mostWidth of the box, in pixels
    TextBox Draw(const std::vector<TextLine>& lines, int mostWidth);

    /// @return the file of the monospaced font
    const std::string& FontFile() const { return m_fontFile; }
    /// @return version of FreeType, "2.12.1"
    static std::string Version();

private:
    using Text = std::u32string;
    struct Glyph {
        int left = 0; ///< from the pen to the first column
        int top = 0;  ///< from the base line up to the first row
        int width = 0;
        int advance = 0;
        std::vector<std::uint8_t> coverage; ///< rows of width
    };
    struct LibraryDeleter {
        void operator()(FT_LibraryRec_* library) const;
    };
    struct FaceDeleter {
        void operator()(FT_FaceRec_* face) const;
    };
    using Face = std::unique_ptr<FT_FaceRec_, FaceDeleter>;

    TextRenderer() = default;
    FT_FaceRec_* OpenFace(const std::string& file, int index);
    FT_FaceRec_* FaceFor(char32_t character);
    const Glyph& GlyphOf(char32_t character);
    int WidthOf(const Text& text);
    Text Fit(const TextLine& line, int mostWidth);
    void DrawLine(TextBox& box, const Text& text, int left, int baseLine);

    std::unique_ptr<FT_LibraryRec_, LibraryDeleter> m_library; ///< goes after the faces
    std::unordered_map<std::string, Face> m_faces;             ///< by file and index
    FT_FaceRec_* m_main = nullptr;
    std::string m_fontFile;
    int m_size = 14;
    std::unordered_map<char32_t, Glyph> m_glyphs; ///< of this size
};

} // namespace kqplay
