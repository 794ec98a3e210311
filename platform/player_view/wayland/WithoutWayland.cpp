// In place of everything else in this folder, where Wayland's client library is missing.
#include "wayland/WaylandHost.h"

#include <kqplayer/wayland.h>

namespace kq::playerview {

bool IsWaylandParent(std::uintptr_t /*parent*/) {
    return false;
}

std::unique_ptr<Surface> MakeWaylandSurface(std::uintptr_t /*parent*/, const VRECT& /*rect*/) {
    return nullptr;
}

} // namespace kq::playerview

void* PVAddWaylandParent(const KQWaylandParent* /*parent*/) {
    return nullptr;
}

int PVRemoveWaylandParent(void* /*value*/) {
    return 0;
}

int PVPlaceWaylandView(void* /*window*/, const VRECT* /*place*/, const VRECT* /*seen*/) {
    return 0;
}

int PVGetPresentation(void* /*window*/, KQPresentation* /*presentation*/) {
    return 0;
}
