/// @file
/// Scaling by its plain formula, a pixel at a time.
#pragma once

#include "PictureLayout.h"
#include "TestPicture.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

namespace kqtest {

inline TestPicture Random(int width, int height, std::mt19937& random) {
    return {width, height, [&](int, int) { return static_cast<std::uint32_t>(random() & 0xFFFFFF); }};
}

/// Where a pixel of the window is taken, on one side of the picture.
struct Taken {
    int nearest, first, second;
    int weight; ///< of the second, in parts of 32768

    Taken(double begin, double length, int target, int pixel, int side) {
        const double last = side - 1;
        const double position = begin + (pixel + 0.5) * length / target;
        nearest = static_cast<int>(std::clamp(std::floor(position), 0.0, last));
        const double between = std::clamp(position - 0.5, 0.0, last);
        first = static_cast<int>(between);
        weight = static_cast<int>(std::lround((between - first) * 32768));
        first += weight / 32768;
        weight %= 32768;
        second = std::min(first + 1, side - 1);
    }
};

/// A blend in parts of 32768, rounded.
inline int Blended(int first, int second, int weight) {
    return first + (((second - first) * weight + 0x4000) >> 15);
}

/// @return the pixels of layout.visible
inline std::vector<std::uint8_t> Scaled(const TestPicture& picture, const kq::playerview::PictureLayout& l,
                                        bool smooth) {
    std::vector<std::uint8_t> out;
    for (int y = l.visible.y; y < l.visible.y + l.visible.height; ++y) {
        const Taken row(l.source.y, l.source.height, l.target.height, y - l.target.y, picture.height);
        for (int x = l.visible.x; x < l.visible.x + l.visible.width; ++x) {
            const Taken column(l.source.x, l.source.width, l.target.width, x - l.target.x, picture.width);
            for (int channel = 0; channel < 4; ++channel) {
                const auto level = [&](int c, int r) {
                    return picture.pixels[4 * (static_cast<std::size_t>(r) * picture.width + c) + channel];
                };
                const auto blendedRow = [&](int r) {
                    return Blended(64 * level(column.first, r), 64 * level(column.second, r), column.weight);
                };
                const int blend = Blended(blendedRow(row.first), blendedRow(row.second), row.weight);
                out.push_back(smooth ? static_cast<std::uint8_t>((blend + 32) >> 6)
                                     : level(column.nearest, row.nearest));
            }
        }
    }
    return out;
}

} // namespace kqtest
