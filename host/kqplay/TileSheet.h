/// @file
/// A picture of small pictures in rows.
#pragma once

#include "ComponentOutput.h"
#include "Picture.h"

#include <kqplayer/records.h>

#include <string>

namespace kqplay {

/// Draws frames side by side, row by row, each with a label. Tiles are counted from 0.
class TileSheet {
public:
    /// @param width,height of the pictures, as they are to be displayed; larger ones are drawn smaller
    TileSheet(int width, int height, int columns, int rows);

    /// @return true without memory for it
    bool IsEmpty() const { return m_sheet.IsEmpty(); }
    /// @param frame planar 4:2:0 with 8 bits (StillPlayer::Flatten()), of any size, matrix and range
    /// @param label digits, ':' and '.'; left out where it does not fit, or empty
    /// @return false when it cannot be drawn
    bool Draw(int tile, const MEDIA_FRAME& frame, const std::string& label);
    bool Save(const std::string& path, ComponentOutput& output, std::string& error) {
        return m_sheet.Save(path, output, error);
    }

private:
    const int m_columns;
    int m_tileWidth = 0;
    int m_tileHeight = 0;
    Picture m_sheet;
};

} // namespace kqplay
