/// @file
/// Which part of a picture goes where in a window.
#pragma once

#include <kqplayer/records.h>
#include <kqplayer/view.h>

namespace kq::playerview {

struct Size {
    int width = 0;
    int height = 0;
};
inline bool operator==(Size a, Size b) {
    return a.width == b.width && a.height == b.height;
}

struct Rect {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;

    bool IsEmpty() const { return width <= 0 || height <= 0; }
};
Rect Intersect(const Rect& a, const Rect& b);
inline bool Contains(const Rect& outer, const Rect& inner) {
    return inner.IsEmpty() ||
           (outer.x <= inner.x && outer.y <= inner.y && outer.x + outer.width >= inner.x + inner.width &&
            outer.y + outer.height >= inner.y + inner.height);
}

/// A part of a picture, which may begin and end within pixels.
struct RectF {
    double x = 0;
    double y = 0;
    double width = 0;
    double height = 0;
};

/// What a host set for one view.
struct DisplaySettings {
    IMAGE_RESIZE_METHOD method = IMAGE_RESIZE_FIT;
    int aspectX = 0; ///< display aspect ratio of the whole picture; a part of 0 or less: square pixels
    int aspectY = 0;
    bool cropOn = false;
    tagRECT crop =
        {}; ///< source pixels; an empty one, or one outside the picture, stands for the whole picture

    bool displayOn = false; ///< the display stands above method and crop
    KQViewDisplay display = {};
    Size displayFor; ///< pictures in whose pixels the display counts; empty: the size of the next picture

    std::int32_t Scaling() const { return displayOn ? display.nScaling : KQ_SCALING_DEFAULT; }
    /// To be called with every picture's size.
    void Bind(Size picture) {
        if (displayFor.width == 0) {
            displayFor = picture;
        }
    }
};

/// @return whether a display can be used
bool IsDisplay(const KQViewDisplay& display);
/// @return what was set, in pixels of a picture
KQViewDisplay DisplayFor(Size picture, const DisplaySettings& settings);
/// @return the pixels of a picture that settings may bring on show, whatever the window; empty for none
Rect NeededPart(Size picture, const DisplaySettings& settings);

/// The longest side of a picture or window, so that every coordinate fits the 16 bits of the X protocol.
inline constexpr int maxSide = 16384;

struct PictureLayout {
    RectF source; ///< the part of the picture that is shown, in source pixels; may reach beyond the picture
    Rect target;  ///< where it goes in the window; may reach beyond it
    Rect visible; ///< the part of target that is within the window, and within the picture; may be empty

    /// @return whether pixels are shown as they are, one a window pixel
    bool IsCopy() const;
};

/// @param picture,window sizes of 1 to MaxSide
PictureLayout LayOut(Size picture, const DisplaySettings& settings, Size window);

/// The parts of the window that the picture leaves free.
struct Bars {
    Rect rects[4];
    int count = 0;
};
Bars BarsAround(const Rect& visible, Size window);

} // namespace kq::playerview
