/// @file
/// The inner loops of scaling, for the processor at hand.
#pragma once

#include <cstddef>
#include <cstdint>

namespace kq::playerview {

/// Samples of a row are kept in this many parts of a level.
inline constexpr int levelParts = 64;

/// The loops work in whole vectors: what they write into tables and rows of samples must be as long as this
/// says, and what they read from there too.
constexpr std::size_t PaddedColumns(std::size_t count) {
    constexpr std::size_t most = 64; // 32-bit lanes of any vector, several times
    return (count + most - 1) / most * most;
}

/// out[i] = row[columns[i]], in whole vectors.
/// @param width   pixels in the row
/// @param columns rising
void PickColumns(const std::uint32_t* row, int width, const std::int32_t* columns, std::size_t count,
                 std::uint32_t* out);
/// Blends two neighbouring pixels for each column that is made, in whole vectors.
/// @param width   pixels in the row, 2 or more
/// @param columns of the left pixels, rising, none of them the last of the row
/// @param weights of the right pixels, in parts of 32768, one for each byte of the pixel; the largest, 32767,
///                gives exactly the right pixel
/// @param out     four samples a column
void BlendColumns(const std::uint32_t* row, int width, const std::int32_t* columns,
                  const std::int16_t* weights, std::size_t count, std::int16_t* out);
/// Writes @p count bytes and no more; as with BlendRows(), hwy::FlushStream() is to follow when all is
/// written.
void CopyRow(const std::uint8_t* from, std::size_t count, std::uint8_t* out);
/// Blends two rows of samples and rounds them. Writes @p count bytes and no more.
/// @param weight of the lower row, in parts of 32768
void BlendRows(const std::int16_t* upper, const std::int16_t* lower, std::int16_t weight, std::size_t count,
               std::uint8_t* out);

} // namespace kq::playerview
