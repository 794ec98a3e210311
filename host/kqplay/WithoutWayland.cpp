// In place of WaylandWindow.cpp, where Wayland's client library is missing.
#include "NativeWindow.h"

namespace kqplay {

bool PrepareWayland() {
    return false;
}

bool CheckWayland(std::string& error) {
    error = "built without Wayland";
    return false;
}

std::unique_ptr<NativeWindow> AdoptWaylandWindow(SDL_Window* /*window*/, const ViewLibrary& /*views*/,
                                                 std::string& error) {
    error = "built without Wayland";
    return nullptr;
}

} // namespace kqplay
