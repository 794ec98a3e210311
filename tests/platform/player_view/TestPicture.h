/// @file
#pragma once

#include "tests/support/Xvfb.h"

#include <cstdint>
#include <functional>
#include <vector>

namespace kqtest {

/// A picture to show: B, G, R, 255.
struct TestPicture {
    int width;
    int height;
    std::vector<std::uint8_t> pixels;

    /// @param rgbAt the colour 0xRRGGBB at (x, y)
    TestPicture(int w, int h, const std::function<std::uint32_t(int, int)>& rgbAt) : width(w), height(h) {
        for (int y = 0; y < h; ++y) {
            for (int x = 0; x < w; ++x) {
                const std::uint32_t rgb = rgbAt(x, y);
                for (const int shift : {0, 8, 16}) {
                    pixels.push_back(static_cast<std::uint8_t>(rgb >> shift));
                }
                pixels.push_back(255);
            }
        }
    }
    std::uint32_t at(int x, int y) const {
        const std::uint8_t* p = &pixels[4 * (static_cast<std::size_t>(y) * width + x)];
        return static_cast<std::uint32_t>(p[2] << 16 | p[1] << 8 | p[0]);
    }
};

/// Every pixel differs from its neighbours, so that a shift by one pixel shows.
inline TestPicture noise(int width, int height) {
    return {width, height, [](int x, int y) { return (x * 2654435761u ^ y * 40503u * 7919u) & 0xFFFFFF; }};
}

inline TestPicture plain(int width, int height, std::uint32_t rgb) {
    return {width, height, [rgb](int, int) { return rgb; }};
}

constexpr std::uint32_t Red = 0xFF0000;
constexpr std::uint32_t Green = 0x00FF00;
constexpr std::uint32_t Blue = 0x0000FF;
constexpr std::uint32_t White = 0xFFFFFF;
constexpr std::uint32_t Black = 0x000000;

/// Red, green above blue, white.
inline TestPicture quadrants(int width, int height) {
    return {width, height, [=](int x, int y) {
                const bool right = x >= width / 2;
                return y < height / 2 ? (right ? Green : Red) : (right ? White : Blue);
            }};
}

/// The picture is shown unscaled with its top left corner at (x, y) of the image.
inline bool showsAt(const Image& image, const TestPicture& picture, int x, int y) {
    if (image.width < x + picture.width || image.height < y + picture.height) {
        return false;
    }
    for (int row = 0; row < picture.height; ++row) {
        for (int column = 0; column < picture.width; ++column) {
            if (image.at(x + column, y + row) != picture.at(column, row)) {
                return false;
            }
        }
    }
    return true;
}

/// One pixel that a screenshot must have.
struct Probe {
    int x;
    int y;
    std::uint32_t rgb;
};

/// Waits until a window (0: the screen) shows a picture. @return whether it does
inline bool waitForPicture(Xvfb& server, const TestPicture& picture, int x, int y, xcb_window_t window = 0) {
    const auto isShown = [&](const Image& image) { return showsAt(image, picture, x, y); };
    return isShown(server.waitFor(isShown, window));
}

inline bool showsProbes(const Image& image, const std::vector<Probe>& probes) {
    for (const Probe& p : probes) {
        if (p.x >= image.width || p.y >= image.height || image.at(p.x, p.y) != p.rgb) {
            return false;
        }
    }
    return true;
}

inline bool waitForProbes(Xvfb& server, const std::vector<Probe>& probes, xcb_window_t window = 0) {
    const auto isShown = [&](const Image& image) { return showsProbes(image, probes); };
    return isShown(server.waitFor(isShown, window));
}

} // namespace kqtest
