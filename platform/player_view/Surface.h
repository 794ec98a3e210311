/// @file
#pragma once

#include "PictureLayout.h"

#include <cstdint>
#include <memory>

namespace kq::playerview {

/// Where the pictures of one view go: a window of some window system, which keeps the last picture and draws
/// it again by itself whenever that is needed, or no window at all. Functions may be called from any thread.
///
/// When the window is lost, because somebody else destroys it or the display goes away, the surface stays and
/// draws no more.
class Surface {
public:
    virtual ~Surface() = default;

    /// Lends the memory that the next picture will be drawn from. It stays valid until the next call of
    /// Lend() or Show(), also when the window goes meanwhile.
    /// @param size of 1 to MaxSide
    /// @return room for 4 bytes a pixel; null when there is no window or no memory
    virtual std::uint8_t* Lend(Size size) = 0;
    /// Shows a picture (B, G, R, 255, top-down, rows of 4 * width bytes).
    /// @param size   of 1 to MaxSide
    /// @param pixels copied, unless it is what Lend() gave for this size
    virtual void Show(Size size, const std::uint8_t* pixels) = 0;
    /// Takes over the settings and draws the last picture with them.
    virtual void Apply(const DisplaySettings& settings) = 0;
    /// Draws the last picture again.
    virtual void Redraw() = 0;
    /// @return what a host knows the window by, in its window system; 0 without a window
    virtual std::uintptr_t Handle() = 0;
};

/// Makes the surface of a new view: off-screen where that is asked for or there is no display, otherwise a
/// window. This is the one place that knows which window systems there are.
/// @param parent as PVCreatePlayerView() has it
/// @param rect   placement in pixels, inside the parent or on the screen
/// @return null, with a log line, when the parent is not a window
/// @throw std::exception without memory or threads
std::unique_ptr<Surface> MakeSurface(std::uintptr_t parent, const VRECT& rect);

} // namespace kq::playerview
