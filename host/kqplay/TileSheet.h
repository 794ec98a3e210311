/// @file
/// A picture of small pictures in rows.
#pragma once

#include "ComponentOutput.h"
#include "Picture.h"
#include "TextRenderer.h"

#include <kqplayer/records.h>

#include <string>
#include <vector>

namespace kqplay {

/// Draws frames side by side, row by row, each with a label, below a title. Tiles are counted from 0.
class TileSheet {
public:
    /// @param width,height of the pictures, as they are to be displayed; larger ones are drawn smaller
    /// @param text  draws what is written; null to write nothing
    /// @param title may be empty
    TileSheet(int width, int height, int columns, int rows, TextRenderer* text,
              const std::vector<TextLine>& title = {});

    /// @return true without memory for it
    bool IsEmpty() const { return m_sheet.IsEmpty(); }
    /// @param frame planar 4:2:0 with 8 bits (StillPlayer::Flatten()), of any size, matrix and range
    /// @param label   left out where it does not fit
    /// @param instead takes its place then, likewise
    /// @return false when it cannot be drawn
    bool Draw(int tile, const MEDIA_FRAME& frame, const std::string& label, const std::string& instead = {});
    bool Save(const std::string& path, ComponentOutput& output, std::string& error) {
        return m_sheet.Save(path, output, error);
    }

private:
    bool DrawLabel(int left, int top, const std::string& label);
    void DrawBox(int left, int top, const TextBox& box);

    const int m_columns;
    TextRenderer* const m_text;
    int m_top = 0; ///< of the tiles
    int m_tileWidth = 0;
    int m_tileHeight = 0;
    Picture m_sheet;
};

} // namespace kqplay
