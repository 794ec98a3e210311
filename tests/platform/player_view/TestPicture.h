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
    std::uint32_t At(int x, int y) const {
        const std::uint8_t* p = &pixels[4 * (static_cast<std::size_t>(y) * width + x)];
        return static_cast<std::uint32_t>(p[2] << 16 | p[1] << 8 | p[0]);
    }
};

/// Every pixel differs from its neighbours, so that a shift by one pixel shows.
inline TestPicture Noise(int width, int height) {
    return {width, height, [](int x, int y) { return (x * 2654435761u ^ y * 40503u * 7919u) & 0xFFFFFF; }};
}

inline TestPicture Plain(int width, int height, std::uint32_t rgb) {
    return {width, height, [rgb](int, int) { return rgb; }};
}

constexpr std::uint32_t red = 0xFF0000;
constexpr std::uint32_t green = 0x00FF00;
constexpr std::uint32_t blue = 0x0000FF;
constexpr std::uint32_t white = 0xFFFFFF;
constexpr std::uint32_t black = 0x000000;

/// Red, green above blue, white.
inline TestPicture Quadrants(int width, int height) {
    return {width, height, [=](int x, int y) {
                const bool right = x >= width / 2;
                return y < height / 2 ? (right ? green : red) : (right ? white : blue);
            }};
}

/// The picture is shown unscaled with its top left corner at (x, y) of the image.
inline bool ShowsAt(const Image& image, const TestPicture& picture, int x, int y) {
    if (image.width < x + picture.width || image.height < y + picture.height) {
        return false;
    }
    for (int row = 0; row < picture.height; ++row) {
        for (int column = 0; column < picture.width; ++column) {
            if (image.At(x + column, y + row) != picture.At(column, row)) {
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
inline bool WaitForPicture(Xvfb& server, const TestPicture& picture, int x, int y, xcb_window_t window = 0) {
    const auto isShown = [&](const Image& image) { return ShowsAt(image, picture, x, y); };
    return isShown(server.WaitFor(isShown, window));
}

inline bool ShowsProbes(const Image& image, const std::vector<Probe>& probes) {
    for (const Probe& p : probes) {
        if (p.x >= image.width || p.y >= image.height || image.At(p.x, p.y) != p.rgb) {
            return false;
        }
    }
    return true;
}

inline bool WaitForProbes(Xvfb& server, const std::vector<Probe>& probes, xcb_window_t window = 0) {
    const auto isShown = [&](const Image& image) { return ShowsProbes(image, probes); };
    return isShown(server.WaitFor(isShown, window));
}

} // namespace kqtest
