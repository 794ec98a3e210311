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

/// What a host set for one view.
struct DisplaySettings {
    IMAGE_RESIZE_METHOD method = IMAGE_RESIZE_FIT;
    int aspectX = 0; ///< display aspect ratio of the whole picture; a part of 0 or less: square pixels
    int aspectY = 0;
    bool cropOn = false;
    tagRECT crop =
        {}; ///< source pixels; an empty one, or one outside the picture, stands for the whole picture
};

/// The longest side of a picture or window, so that every coordinate fits the 16 bits of the X protocol.
inline constexpr int maxSide = 16384;

struct PictureLayout {
    Rect source;  ///< the part of the picture that is shown, in source pixels
    Rect target;  ///< where it goes in the window; may reach beyond it
    Rect visible; ///< the part of target within the window

    bool IsScaled() const { return source.width != target.width || source.height != target.height; }
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
