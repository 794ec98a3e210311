/// @file
#pragma once

#include "PictureLayout.h"

#include <cstdint>
#include <memory>

namespace kq::playerview {

/// @param picture,window sizes of 1 to MaxSide
KQViewMapping MappingOf(Size picture, const DisplaySettings& settings, Size window);

/// Where the pictures of one view go: a window of some window system, which keeps the last picture and draws
/// it again by itself whenever that is needed, or no window at all. Functions may be called from any thread.
///
/// When the window is lost, because somebody else destroys it or the display goes away, the surface stays and
/// draws no more.
class Surface {
public:
    virtual ~Surface() = default;

    /// Claims memory before the first picture needs it, where the surface has memory of its own.
    /// @param size of 1 to MaxSide, of the pictures that will come
    virtual void Expect(Size /*size*/) {}
    /// Lends the memory that the next picture will be drawn from. It stays valid until the next call of
    /// Lend() or Show(), also when the window goes meanwhile.
    /// @param size of 1 to MaxSide
    /// @return room for 4 bytes a pixel; null when there is no window or no memory
    virtual std::uint8_t* Lend(Size size) = 0;
    /// Shows a picture (B, G, R, 255, top-down, rows of 4 * width bytes).
    /// @param size   of 1 to MaxSide
    /// @param pixels copied, unless it is what Lend() gave for this size
    /// @param made   the part of the picture that may be shown
    virtual void Show(Size size, const std::uint8_t* pixels, const Rect& made) = 0;
    /// Takes over the settings and draws the last picture with them.
    /// @return false when that picture lacks a part that is shown now: it stays as it is until the next one
    virtual bool Apply(const DisplaySettings& settings) = 0;
    /// Tells how the last picture is shown. @return false without a picture
    virtual bool FindMapping(KQViewMapping& mapping) = 0;
    /// Reads a pixel of the last picture, 0x00RRGGBB. @return false for one that was not made, or not kept
    virtual bool ReadPixel(int x, int y, std::uint32_t& rgb) = 0;
    /// Draws the last picture again.
    virtual void Redraw() = 0;
    /// @return what a host knows the window by, in its window system; 0 without a window
    virtual std::uintptr_t Handle() = 0;
};

/// Makes the surface of a new view: off-screen where that is asked for or there is no display, otherwise a
/// window. This is the one place that knows which window systems there are.
/// @param parent as PVCreatePlayerView() has it
/// @param rect   placement in pixels, inside the parent or on the screen
/// @return null, with a log line, when the parent is not a window, or an X11 window where only Wayland is
/// @throw std::exception without memory or threads
std::unique_ptr<Surface> MakeSurface(std::uintptr_t parent, const VRECT& rect);

} // namespace kq::playerview
