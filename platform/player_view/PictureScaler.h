/// @file
/// Scaling in this process, to the byte.
#pragma once

#include "PictureLayout.h"

#include <cstdint>
#include <vector>

namespace kq::playerview {

/// Scales the visible part of pictures as KQ_SCALING_BILINEAR and KQ_SCALING_NEAREST say. Keeps its tables
/// and rows from picture to picture, so that a steady layout costs no memory.
///
/// Bilinear: positions between pixels are counted in parts of 32768, levels in parts of 64; first columns are
/// blended, then rows, then levels are rounded to nearest. All instruction sets give the same bytes.
class PictureScaler {
public:
    /// @param pixels the whole picture, 4 bytes a pixel, rows of picture.width pixels; only the part that
    ///               NeededPart() names is read
    /// @param layout whose visible part is not empty
    /// @param out    receives the pixels of layout.visible, row by row without gaps
    /// @throw std::bad_alloc
    void Scale(const std::uint8_t* pixels, Size picture, const PictureLayout& layout, bool smooth,
               std::uint8_t* out);

private:
    struct Row {
        int number = -1;                   ///< of the picture
        std::vector<std::int16_t> samples; ///< its columns blended, in parts of a level
    };

    void Nearest(const std::uint8_t* pixels, Size picture, const PictureLayout& layout, std::uint8_t* out);
    void Bilinear(const std::uint8_t* pixels, Size picture, const PictureLayout& layout, std::uint8_t* out);
    const std::int16_t* BlendedRow(const std::uint8_t* pixels, Size picture, int number, int keep);

    std::vector<std::int32_t> m_columns; ///< of the picture, for each that is made
    std::vector<std::uint32_t> m_row;    ///< the pixels there
    std::vector<std::int16_t> m_weights; ///< of the ones to the right of them, four times each
    Row m_rows[2];
};

} // namespace kq::playerview
