#include "wayland/WaylandHost.h"

#include "ParentRegistry.h"
#include "wayland/WaylandSurface.h"

#include <kqplayer/log.h>

#include <exception>

namespace kq::playerview {
namespace {

/// The surfaces of hosts.
using WaylandParents = ParentRegistry<KQWaylandParent, 0xE0000001>;

} // namespace

bool IsWaylandParent(std::uintptr_t parent) {
    return WaylandParents::Instance().Find(parent).has_value();
}

std::unique_ptr<Surface> MakeWaylandSurface(std::uintptr_t parent, const VRECT& rect) {
    const auto registered = WaylandParents::Instance().Find(parent);
    if (!registered) {
        return nullptr;
    }
    std::string error;
    std::unique_ptr<Surface> surface = WaylandSurface::Create(*registered, rect, error);
    if (!surface) {
        KQLogEx(L"PlayerView: no view: %s", error.c_str());
    }
    return surface;
}

} // namespace kq::playerview

using namespace kq::playerview;

void* PVAddWaylandParent(const KQWaylandParent* parent) {
    if (parent == nullptr || parent->cbSize < sizeof(KQWaylandParent) || parent->pDisplay == nullptr ||
        parent->pSurface == nullptr) {
        return nullptr;
    }
    try {
        return WaylandParents::Instance().Add(*parent);
    } catch (const std::exception& e) { // no memory
        KQLogEx(L"PlayerView: a surface cannot be registered: %s", e.what());
        return nullptr;
    }
}

int PVRemoveWaylandParent(void* value) {
    return WaylandParents::Instance().Remove(value) ? 1 : 0;
}

int PVPlaceWaylandView(void* window, const VRECT* place, const VRECT* seen) {
    std::unique_lock<std::mutex> lock;
    WaylandSurface* const surface = WaylandSurface::Find(window, lock);
    if (surface == nullptr || place == nullptr) {
        return 0;
    }
    const auto rectOf = [](const VRECT& r) { return Rect{r.x, r.y, r.width, r.height}; };
    surface->Place(rectOf(*place), rectOf(seen != nullptr ? *seen : *place));
    return 1;
}

int PVGetPresentation(void* window, KQPresentation* presentation) {
    std::unique_lock<std::mutex> lock;
    WaylandSurface* const surface = WaylandSurface::Find(window, lock);
    if (surface == nullptr || presentation == nullptr) {
        return 0;
    }
    *presentation = surface->Presentation();
    return 1;
}
