/// @file
/// Looking closely: zoom and pan of all views together, and the pixel under the pointer.
#pragma once

#include "PlaybackParts.h"
#include "Zoom.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace kqplay {

/// Turns keys and the mouse into what the views show. The main thread's.
class Magnifier {
public:
    /// @param parts opened; they stay the caller's
    explicit Magnifier(PlaybackParts& parts) : m_parts(parts) {}

    /// @param factor 1 for 100 %; 0 fits the picture to its view
    /// @return what has become of it, for people
    std::string SetFactor(double factor);
    /// Does what the mouse did. @return what has become of it, for people; empty for nothing
    std::string Follow(const PictureMouse& mouse);
    /// @return the values of the pixel under the pointer, in all files; empty where there is none
    std::string DescribePixel() const;

private:
    /// A picture's place among the views.
    struct Pointed {
        std::size_t view;
        KQPointF position; ///< pixels from the view's corner
    };

    std::optional<Pointed> FindView(int x, int y) const;
    std::optional<Zoom::Screen> ScreenOf(std::size_t view) const;
    std::optional<Zoom::Screen> FrontScreen() const {
        return ScreenOf(static_cast<std::size_t>(m_parts.FrontView()));
    }
    std::optional<std::uint32_t> ShownPixel(bool isOther, int x, int y) const;
    void Apply();
    std::string Describe() const;

    PlaybackParts& m_parts;
    Zoom m_zoom;
    std::vector<ViewPlace> m_places; ///< of the views, when they were told last what to show
    int m_x = -1;                    ///< of the pointer; -1 outside
    int m_y = -1;
};

} // namespace kqplay
