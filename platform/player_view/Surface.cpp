#include "Surface.h"

#include "OffScreenSurface.h"
#include "wayland/WaylandHost.h"
#include "x11/SigpipeGuard.h"
#include "x11/X11Surface.h"

#include <kqplayer/log.h>

#include <cstdlib>
#include <utility>

namespace kq::playerview {

namespace {
constexpr std::uintptr_t offScreenParent = 1;

/// @return true when a variable of the environment is set, and not to nothing
bool IsSet(const char* variable) {
    const char* const value = std::getenv(variable);
    return value != nullptr && *value != '\0';
}
} // namespace

KQViewMapping MappingOf(Size picture, const DisplaySettings& settings, Size window) {
    const PictureLayout layout = LayOut(picture, settings, window);
    const RectF& source = layout.source;
    const Rect& target = layout.target;
    KQViewMapping mapping = {};
    mapping.source = {source.x, source.y, source.x + source.width, source.y + source.height};
    mapping.target = {static_cast<double>(target.x), static_cast<double>(target.y),
                      static_cast<double>(target.x + target.width),
                      static_cast<double>(target.y + target.height)};
    mapping.nPictureWidth = picture.width;
    mapping.nPictureHeight = picture.height;
    mapping.nWindowWidth = window.width;
    mapping.nWindowHeight = window.height;
    return mapping;
}

std::unique_ptr<Surface> MakeSurface(std::uintptr_t parent, const VRECT& rect) {
    if (parent == offScreenParent) {
        return std::make_unique<OffScreenSurface>(rect);
    }
    if (IsWaylandParent(parent)) {
        return MakeWaylandSurface(parent, rect);
    }
    const SigpipeGuard noSigpipe;
    std::unique_ptr<XConnection> connection = XConnection::Open();
    if (!connection && parent != 0 && IsSet("WAYLAND_DISPLAY")) {
        KQLogEx(L"PlayerView: the parent 0x%zx stands for an X11 window, and there is no X server that could "
                L"have it: "
                L"hand over the wl_surface (kqplayer/wayland.h), or install Xwayland and set DISPLAY",
                static_cast<std::size_t>(parent));
        return nullptr;
    }
    if (!connection) {
        KQLogEx(L"PlayerView: no display that can be drawn on, the view is off-screen");
        return std::make_unique<OffScreenSurface>(rect);
    }
    std::unique_ptr<Surface> surface = X11Surface::Create(std::move(connection), parent, rect);
    if (!surface) {
        KQLogEx(L"PlayerView: the parent 0x%zx is not a window", static_cast<std::size_t>(parent));
    }
    return surface;
}

} // namespace kq::playerview
