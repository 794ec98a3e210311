#include "PictureLayout.h"

#include <algorithm>
#include <cmath>

namespace kq::playerview {

namespace {

/// A side of a scaled picture. Only a part of a longer one could be seen, and it must fit an int.
constexpr double maxTargetSide = 1 << 20;

int RoundSide(double side) {
    return static_cast<int>(std::lround(std::clamp(side, 1.0, maxTargetSide)));
}

Rect SourceOf(Size picture, const DisplaySettings& settings) {
    const Rect whole = {0, 0, picture.width, picture.height};
    if (!settings.cropOn) {
        return whole;
    }
    const int left = std::clamp(settings.crop.left, 0, picture.width);
    const int top = std::clamp(settings.crop.top, 0, picture.height);
    const int right = std::clamp(settings.crop.right, 0, picture.width);
    const int bottom = std::clamp(settings.crop.bottom, 0, picture.height);
    const Rect cropped = {left, top, right - left, bottom - top};
    return cropped.IsEmpty() ? whole : cropped;
}

/// Width by height of the source as the viewer is to see it.
double ShapeOf(const Rect& source, Size picture, const DisplaySettings& settings) {
    const double samples = static_cast<double>(source.width) / source.height;
    if (settings.aspectX <= 0 || settings.aspectY <= 0) {
        return samples;
    }
    // Samples are not square: the whole picture has the display aspect ratio.
    const double pixelWidth = static_cast<double>(settings.aspectX) * picture.height;
    const double pixelHeight = static_cast<double>(settings.aspectY) * picture.width;
    return samples * pixelWidth / pixelHeight;
}

Size SizeWithShape(double shape, Size window, bool cutEdges) {
    const bool fullHeight = (static_cast<double>(window.width) / window.height > shape) != cutEdges;
    if (fullHeight) {
        return {RoundSide(window.height * shape), window.height};
    }
    return {window.width, RoundSide(window.width / shape)};
}

Size TargetSize(const Rect& source, Size picture, const DisplaySettings& settings, Size window) {
    switch (settings.method) {
    case IMAGE_RESIZE_STRETCH:
        return window;
    case IMAGE_RESIZE_ORIGINAL:
        return {source.width, source.height};
    case IMAGE_RESIZE_FILL:
        return SizeWithShape(ShapeOf(source, picture, settings), window, true);
    case IMAGE_RESIZE_FIT:
        break;
    }
    return SizeWithShape(ShapeOf(source, picture, settings), window, false);
}

} // namespace

Rect Intersect(const Rect& a, const Rect& b) {
    const int left = std::max(a.x, b.x);
    const int top = std::max(a.y, b.y);
    return {left, top, std::min(a.x + a.width, b.x + b.width) - left,
            std::min(a.y + a.height, b.y + b.height) - top};
}

PictureLayout LayOut(Size picture, const DisplaySettings& settings, Size window) {
    PictureLayout layout;
    layout.source = SourceOf(picture, settings);
    const Size target = TargetSize(layout.source, picture, settings, window);
    layout.target = {(window.width - target.width) / 2, (window.height - target.height) / 2, target.width,
                     target.height};
    layout.visible = Intersect(layout.target, {0, 0, window.width, window.height});
    return layout;
}

Bars BarsAround(const Rect& visible, Size window) {
    const int right = visible.x + visible.width;
    const int bottom = visible.y + visible.height;
    const Rect candidates[] = {
        {0, 0, window.width, visible.y},
        {0, bottom, window.width, window.height - bottom},
        {0, visible.y, visible.x, visible.height},
        {right, visible.y, window.width - right, visible.height},
    };
    Bars bars;
    for (const Rect& bar : candidates) {
        if (!bar.IsEmpty()) {
            bars.rects[bars.count++] = bar;
        }
    }
    return bars;
}

} // namespace kq::playerview
