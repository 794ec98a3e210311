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

/// Displays lie within this many pixels on all sides.
constexpr double furthest = 1 << 20;

bool IsWithin(double value) {
    return value >= -furthest && value <= furthest; // and not for what is no number
}

bool IsZero(const KQRectF& rect) {
    return rect.left == 0 && rect.top == 0 && rect.right == 0 && rect.bottom == 0;
}

RectF DisplayedPart(Size picture, const DisplaySettings& settings) {
    const KQViewDisplay display = DisplayFor(picture, settings);
    if (IsZero(display.source)) {
        return {0, 0, static_cast<double>(picture.width), static_cast<double>(picture.height)};
    }
    const KQRectF& part = display.source;
    return {part.left, part.top, part.right - part.left, part.bottom - part.top};
}

RectF SourceOf(Size picture, const DisplaySettings& settings) {
    if (settings.displayOn) {
        return DisplayedPart(picture, settings);
    }
    const RectF whole = {0, 0, static_cast<double>(picture.width), static_cast<double>(picture.height)};
    if (!settings.cropOn) {
        return whole;
    }
    const int left = std::clamp(settings.crop.left, 0, picture.width);
    const int top = std::clamp(settings.crop.top, 0, picture.height);
    const int right = std::clamp(settings.crop.right, 0, picture.width);
    const int bottom = std::clamp(settings.crop.bottom, 0, picture.height);
    if (right <= left || bottom <= top) {
        return whole;
    }
    return {static_cast<double>(left), static_cast<double>(top), static_cast<double>(right - left),
            static_cast<double>(bottom - top)};
}

/// Width by height of the source as the viewer is to see it.
double ShapeOf(const RectF& source, Size picture, const DisplaySettings& settings) {
    const double samples = source.width / source.height;
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

Size TargetSize(const RectF& source, Size picture, const DisplaySettings& settings, Size window) {
    switch (settings.displayOn ? settings.display.nResize : static_cast<std::int32_t>(settings.method)) {
    case IMAGE_RESIZE_STRETCH:
        return window;
    case IMAGE_RESIZE_ORIGINAL:
        return {RoundSide(source.width), RoundSide(source.height)};
    case IMAGE_RESIZE_FILL:
        return SizeWithShape(ShapeOf(source, picture, settings), window, true);
    default:
        return SizeWithShape(ShapeOf(source, picture, settings), window, false);
    }
}

/// One side of what is visible: from the first pixel to the one behind the last.
struct Span {
    int begin;
    int end;
};

/// @return the pixels of the window, of which there are @p window, whose centres lie in the picture
Span InPicture(double begin, double length, int picture, int target, int targetLength, int window) {
    const auto pixelAt = [&](double position) {
        const double pixel = std::ceil(target + (position - begin) * targetLength / length - 0.5);
        return static_cast<int>(std::clamp(pixel, 0.0, static_cast<double>(window)));
    };
    return {pixelAt(0), pixelAt(picture)};
}

Rect VisibleOf(Size picture, const PictureLayout& layout, Size window) {
    const RectF& source = layout.source;
    const Rect& target = layout.target;
    const Span columns =
        InPicture(source.x, source.width, picture.width, target.x, target.width, window.width);
    const Span rows =
        InPicture(source.y, source.height, picture.height, target.y, target.height, window.height);
    const Rect inPicture = {columns.begin, rows.begin, columns.end - columns.begin, rows.end - rows.begin};
    const Rect visible = Intersect(inPicture, target);
    return visible.IsEmpty() ? Rect{} : visible;
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
    layout.visible = VisibleOf(picture, layout, window);
    return layout;
}

bool PictureLayout::IsCopy() const {
    return source.width == target.width && source.height == target.height &&
           source.x == std::floor(source.x) && source.y == std::floor(source.y);
}

bool IsDisplay(const KQViewDisplay& display) {
    const KQRectF& part = display.source;
    const bool isPart = IsWithin(part.left) && IsWithin(part.top) && IsWithin(part.right) &&
                        IsWithin(part.bottom) && part.left < part.right && part.top < part.bottom;
    return (isPart || IsZero(part)) && display.nScaling >= KQ_SCALING_DEFAULT &&
           display.nScaling <= KQ_SCALING_NEAREST && display.nResize >= IMAGE_RESIZE_FIT &&
           display.nResize <= IMAGE_RESIZE_ORIGINAL;
}

KQViewDisplay DisplayFor(Size picture, const DisplaySettings& settings) {
    KQViewDisplay display = settings.display;
    if (settings.displayFor.width == 0 || picture == settings.displayFor) {
        return display;
    }
    const double across = static_cast<double>(picture.width) / settings.displayFor.width;
    const double down = static_cast<double>(picture.height) / settings.displayFor.height;
    display.source.left *= across;
    display.source.right *= across;
    display.source.top *= down;
    display.source.bottom *= down;
    return display;
}

Rect NeededPart(Size picture, const DisplaySettings& settings) {
    const Rect whole = {0, 0, picture.width, picture.height};
    if (!settings.displayOn) {
        return whole;
    }
    const RectF part = DisplayedPart(picture, settings);
    // Pixels between others need their neighbours.
    const int left = static_cast<int>(std::floor(part.x)) - 1;
    const int top = static_cast<int>(std::floor(part.y)) - 1;
    const int right = static_cast<int>(std::ceil(part.x + part.width)) + 1;
    const int bottom = static_cast<int>(std::ceil(part.y + part.height)) + 1;
    const Rect needed = Intersect({left, top, right - left, bottom - top}, whole);
    return needed.IsEmpty() ? Rect{} : needed;
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
