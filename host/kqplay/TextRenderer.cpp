#include "TextRenderer.h"

#include <ft2build.h>
#include FT_FREETYPE_H
#include <fontconfig/fontconfig.h>
#include <text/Utf8.h>

#include <algorithm>
#include <cstdio>
#include <numeric>
#include <optional>

namespace kqplay {
namespace {

constexpr std::uint32_t ground = 0x202020;
constexpr std::uint32_t ink = 0xF0F0F0;
constexpr int margin = 4; ///< between the text and the box's edge
constexpr char32_t ellipsis = 0x2026;

constexpr const char* noFont = "no font is installed (on Debian: apt install fonts-dejavu-core)";

struct PatternDeleter {
    void operator()(FcPattern* pattern) const { FcPatternDestroy(pattern); }
};
using Pattern = std::unique_ptr<FcPattern, PatternDeleter>;

struct FontFile {
    std::string path;
    int index = 0;
};

/// @param character that the font has to have, 0 for any
/// @return the system's monospaced font, or the one that is nearest to it
std::optional<FontFile> FindFont(char32_t character) {
    const Pattern wanted(FcPatternCreate());
    if (!wanted) {
        return std::nullopt;
    }
    FcPatternAddString(wanted.get(), FC_FAMILY, reinterpret_cast<const FcChar8*>("monospace"));
    FcPatternAddBool(wanted.get(), FC_SCALABLE, FcTrue);
    FcPatternAddBool(wanted.get(), FC_COLOR, FcFalse);
    if (character != 0) {
        FcCharSet* const characters = FcCharSetCreate();
        FcCharSetAddChar(characters, character);
        FcPatternAddCharSet(wanted.get(), FC_CHARSET, characters);
        FcCharSetDestroy(characters);
    }
    FcConfigSubstitute(nullptr, wanted.get(), FcMatchPattern);
    FcDefaultSubstitute(wanted.get());
    FcResult result = FcResultNoMatch;
    const Pattern found(FcFontMatch(nullptr, wanted.get(), &result));
    FcChar8* path = nullptr;
    FontFile file;
    if (!found || FcPatternGetString(found.get(), FC_FILE, 0, &path) != FcResultMatch) {
        return std::nullopt;
    }
    FcPatternGetInteger(found.get(), FC_INDEX, 0, &file.index);
    file.path = reinterpret_cast<const char*>(path);
    return file;
}

bool IsControl(char32_t character) {
    return character < 0x20 || (character >= 0x7F && character < 0xA0);
}

std::u32string Decoded(const std::string& text) {
    std::u32string characters;
    for (const char* at = text.c_str(); *at != '\0';) {
        const char32_t character = kq::text::DecodeUtf8(at);
        characters += IsControl(character) ? char32_t{kq::text::replacement} : character;
    }
    return characters;
}

std::size_t Index(int x, int y, int width) {
    return static_cast<std::size_t>(y) * static_cast<std::size_t>(width) + static_cast<std::size_t>(x);
}

/// @param coverage 0 for the colour below, 255 for the one above
std::uint32_t Mixed(std::uint32_t below, std::uint32_t above, unsigned coverage) {
    std::uint32_t mixed = 0;
    for (const int shift : {0, 8, 16}) {
        const std::uint32_t from = below >> shift & 0xFF;
        const std::uint32_t to = above >> shift & 0xFF;
        mixed |= (from * (255 - coverage) + to * coverage + 127) / 255 << shift;
    }
    return mixed;
}

} // namespace

void TextRenderer::LibraryDeleter::operator()(FT_LibraryRec_* library) const {
    FT_Done_FreeType(library);
}

void TextRenderer::FaceDeleter::operator()(FT_FaceRec_* face) const {
    FT_Done_Face(face);
}

TextRenderer::~TextRenderer() = default;

std::unique_ptr<TextRenderer> TextRenderer::Open(std::string& error) {
    std::unique_ptr<TextRenderer> renderer(new TextRenderer);
    FT_Library library = nullptr;
    if (FT_Init_FreeType(&library) != 0) {
        error = "FreeType does not start";
        return nullptr;
    }
    renderer->m_library.reset(library);
    const auto file = FindFont(0);
    renderer->m_main = file ? renderer->OpenFace(file->path, file->index) : nullptr;
    if (renderer->m_main == nullptr) {
        error = file ? file->path + ": FreeType cannot read this font" : noFont;
        return nullptr;
    }
    renderer->m_fontFile = file->path;
    return renderer;
}

std::string TextRenderer::Version() {
    FT_Library library = nullptr;
    if (FT_Init_FreeType(&library) != 0) {
        return "unknown";
    }
    int major = 0;
    int minor = 0;
    int patch = 0;
    FT_Library_Version(library, &major, &minor, &patch);
    FT_Done_FreeType(library);
    return std::to_string(major) + "." + std::to_string(minor) + "." + std::to_string(patch);
}

/// @return null for a file that FreeType cannot read or scale
FT_FaceRec_* TextRenderer::OpenFace(const std::string& file, int index) {
    const std::string key = std::to_string(index) + " " + file;
    const auto known = m_faces.find(key);
    if (known != m_faces.end()) {
        return known->second.get();
    }
    FT_Face face = nullptr;
    if (FT_New_Face(m_library.get(), file.c_str(), index, &face) != 0) {
        face = nullptr;
    } else if (FT_Set_Pixel_Sizes(face, 0, static_cast<FT_UInt>(m_size)) != 0) {
        FT_Done_Face(face);
        face = nullptr;
    }
    m_faces.emplace(key, face);
    return face;
}

void TextRenderer::SetSize(int pixels) {
    pixels = std::clamp(pixels, 6, 200);
    if (pixels == m_size) {
        return;
    }
    m_size = pixels;
    m_glyphs.clear();
    for (const auto& [key, face] : m_faces) {
        if (face) {
            FT_Set_Pixel_Sizes(face.get(), 0, static_cast<FT_UInt>(pixels));
        }
    }
}

/// @return a font that has the character, or the main one, which then draws its sign for what it lacks
FT_FaceRec_* TextRenderer::FaceFor(char32_t character) {
    if (FT_Get_Char_Index(m_main, character) != 0) {
        return m_main;
    }
    const auto file = FindFont(character);
    FT_FaceRec_* const face = file ? OpenFace(file->path, file->index) : nullptr;
    return face != nullptr && FT_Get_Char_Index(face, character) != 0 ? face : m_main;
}

const TextRenderer::Glyph& TextRenderer::GlyphOf(char32_t character) {
    const auto known = m_glyphs.find(character);
    if (known != m_glyphs.end()) {
        return known->second;
    }
    Glyph& glyph = m_glyphs[character];
    FT_FaceRec_* const face = FaceFor(character);
    if (FT_Load_Char(face, character, FT_LOAD_RENDER | FT_LOAD_NO_BITMAP) != 0) {
        return glyph;
    }
    const FT_GlyphSlot slot = face->glyph;
    const FT_Bitmap& bitmap = slot->bitmap;
    glyph.advance = static_cast<int>(slot->advance.x >> 6); // from 64ths of a pixel
    if (bitmap.pixel_mode != FT_PIXEL_MODE_GRAY) {
        return glyph;
    }
    glyph.left = slot->bitmap_left;
    glyph.top = slot->bitmap_top;
    glyph.width = static_cast<int>(bitmap.width);
    glyph.coverage.reserve(std::size_t{bitmap.width} * bitmap.rows);
    for (unsigned row = 0; row < bitmap.rows; ++row) {
        const std::uint8_t* const begin = bitmap.buffer + static_cast<std::ptrdiff_t>(row) * bitmap.pitch;
        glyph.coverage.insert(glyph.coverage.end(), begin, begin + bitmap.width);
    }
    return glyph;
}

int TextRenderer::WidthOf(const Text& text) {
    return std::accumulate(text.begin(), text.end(), 0,
                           [this](int width, char32_t c) { return width + GlyphOf(c).advance; });
}

/// @return the line's characters, as many as there is room for
TextRenderer::Text TextRenderer::Fit(const TextLine& line, int mostWidth) {
    Text text = Decoded(line.text);
    const Text tail = Decoded(line.tail);
    const int left = mostWidth - WidthOf(text);
    int width = WidthOf(tail);
    if (width <= left) {
        return text + tail;
    }
    // The middle grows by one character on either side in turn.
    width += GlyphOf(ellipsis).advance;
    std::size_t begin = tail.size() / 2;
    std::size_t end = begin;
    while (width > left && end - begin < tail.size()) {
        const bool isLeftsTurn = begin > tail.size() - end;
        width -= GlyphOf(isLeftsTurn ? tail[--begin] : tail[end++]).advance;
    }
    if (width <= left) {
        return text + tail.substr(0, begin) + ellipsis + tail.substr(end);
    }
    while (!text.empty() && WidthOf(text) > mostWidth) {
        text.pop_back();
    }
    return text;
}

TextBox TextRenderer::Draw(const std::vector<TextLine>& lines, int mostWidth) {
    const FT_Size_Metrics& metrics = m_main->size->metrics; // in 64ths of a pixel
    const auto ascent = static_cast<int>((metrics.ascender + 63) >> 6);
    const auto descent = static_cast<int>((63 - metrics.descender) >> 6);
    std::vector<Text> fitting;
    TextBox box;
    for (const TextLine& line : lines) {
        fitting.push_back(Fit(line, mostWidth - 2 * margin));
        box.width = std::max(box.width, WidthOf(fitting.back()) + 2 * margin);
    }
    box.height = static_cast<int>(lines.size()) * (ascent + descent) + margin;
    box.pixels.assign(static_cast<std::size_t>(box.width) * static_cast<std::size_t>(box.height), ground);
    int baseLine = margin / 2 + ascent;
    for (const Text& text : fitting) {
        DrawLine(box, text, margin, baseLine);
        baseLine += ascent + descent;
    }
    return box;
}

/// What reaches beyond the box is cut off.
void TextRenderer::DrawLine(TextBox& box, const Text& text, int left, int baseLine) {
    for (const char32_t character : text) {
        const Glyph& glyph = GlyphOf(character);
        for (std::size_t i = 0; i < glyph.coverage.size(); ++i) {
            const int at = static_cast<int>(i);
            const int x = left + glyph.left + at % glyph.width;
            const int y = baseLine - glyph.top + at / glyph.width;
            if (x >= 0 && x < box.width && y >= 0 && y < box.height) {
                std::uint32_t& pixel = box.pixels[Index(x, y, box.width)];
                pixel = Mixed(pixel, ink, glyph.coverage[i]);
            }
        }
        left += glyph.advance;
    }
}

} // namespace kqplay
