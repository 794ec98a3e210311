#include "Surface.h"

#include "OffScreenSurface.h"
#include "x11/SigpipeGuard.h"
#include "x11/X11Surface.h"

#include <kqplayer/log.h>

#include <utility>

namespace kq::playerview {

namespace {
constexpr std::uintptr_t offScreenParent = 1;
} // namespace

std::unique_ptr<Surface> MakeSurface(std::uintptr_t parent, const VRECT& rect) {
    if (parent == offScreenParent) {
        return std::make_unique<OffScreenSurface>();
    }
    const SigpipeGuard noSigpipe;
    std::unique_ptr<XConnection> connection = XConnection::Open();
    if (!connection) {
        KQLogEx(L"PlayerView: no display that can be drawn on, the view is off-screen");
        return std::make_unique<OffScreenSurface>();
    }
    std::unique_ptr<Surface> surface = X11Surface::Create(std::move(connection), parent, rect);
    if (!surface) {
        KQLogEx(L"PlayerView: the parent 0x%zx is not a window", static_cast<std::size_t>(parent));
    }
    return surface;
}

} // namespace kq::playerview
