/// @file
/// How much of the pictures is shown, and which part: arithmetic only.
#pragma once

#include <kqplayer/records.h>

namespace kqplay {

/// Fits the picture to its view, or shows a part of it magnified. Positions are those of the first file's
/// picture, in its pixels; a view's are pixels from its corner.
class Zoom {
public:
    /// A view, and the picture in it.
    struct Screen {
        double width = 0; ///< of the view, pixels
        double height = 0;
        double pictureWidth = 0; ///< pixels
        double pictureHeight = 0;
        double pixelShape = 1; ///< width of a picture pixel by its height
    };

    static constexpr double largest = 64;
    /// From here on pixels keep their edges.
    static constexpr double sharpFrom = 2;

    bool IsFit() const { return m_factor == 0; }
    /// @return window rows a picture row
    double Factor(const Screen& screen) const;

    void Fit() { m_factor = 0; }
    /// Magnifies, or the other way round; what is in the middle stays there.
    void SetFactor(double factor, const Screen& screen);
    /// Goes on by a third of a doubling each; what lies under a position stays there. A step that crosses the
    /// fitted picture ends with it, and none makes it smaller than that or 100 %, whatever is less.
    /// @param steps above 0 magnify
    void Step(int steps, KQPointF position, const Screen& screen);
    /// Moves the picture in its view, as far as it has parts that cannot be seen.
    void Move(double right, double down, const Screen& screen);

    /// @return what a view is to show, in the pixels of the picture that it has
    /// @param first  the view with the first file's picture
    /// @param screen the view that is meant: the same place of its picture lies at the same place
    KQViewDisplay Display(const Screen& first, const Screen& screen) const;

private:
    void Keep(KQPointF position, KQPointF at, const Screen& screen);

    double m_factor = 0;    ///< 0: fitted
    KQPointF m_corner = {}; ///< position in the view's corner
};

} // namespace kqplay
