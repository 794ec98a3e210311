/// @file
/// Where views lie in the window.
#pragma once

#include <string>
#include <vector>

namespace kqplay {

/// How two files are shown.
enum class Layout {
    Side,       ///< beside each other
    Stack,      ///< one above the other
    Wipe,       ///< in the same place, divided by a line
    Flip,       ///< in the same place, one at a time
    Difference, ///< what differs
};

/// @return the name by which the command line has it
const char* NameOf(Layout layout);
/// @return the one that comes next
Layout Next(Layout layout);

struct Size {
    int width = 0;
    int height = 0;
};

/// A rectangle in pixels.
struct Area {
    int left = 0;
    int top = 0;
    int width = 0;
    int height = 0;

    bool operator==(const Area& other) const;
};

/// Where a view lies.
struct ViewPlace {
    Area visible; ///< the part of the window that it is seen in; empty for a view that is not seen
    Area whole;   ///< the view, of which that is a part

    bool IsShown() const { return visible.width > 0 && visible.height > 0; }
    bool operator==(const ViewPlace& other) const { return visible == other.visible && whole == other.whole; }
};

/// What the window has to show, and how.
struct Arrangement {
    int views = 1;
    bool isComparison = false;    ///< two views in a layout; otherwise all views beside each other
    Layout layout = Layout::Side; ///< of a comparison
    double divider = 0.5;         ///< Layout::Wipe: the part of the width that the first file has, 0 to 1

    /// @return true when the mouse moves the divider
    bool HasDivider() const { return isComparison && layout == Layout::Wipe; }
};

/// @return the size that the window needs for pictures of a size
Size NeededSize(const Arrangement& arrangement, Size picture);

/// Divides what is free among the views: pictures of the same moment lie at the same place of their views,
/// and all views that are seen whole are of one size, but for a pixel.
/// @return the place of each view, within 0 and the free size; none is empty but those that are not seen
std::vector<ViewPlace> PlaceViews(const Arrangement& arrangement, Size free);

} // namespace kqplay
