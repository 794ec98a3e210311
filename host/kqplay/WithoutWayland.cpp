// In place of WaylandWindow.cpp, where Wayland's client library is missing.
#include "NativeWindow.h"

namespace kqplay {

bool CheckWayland(std::string& error) {
    error = "this kqplay was built without Wayland";
    return false;
}

bool PrepareWayland(std::string& error) {
    return CheckWayland(error);
}

std::unique_ptr<NativeWindow> AdoptWaylandWindow(SDL_Window* /*window*/, const ViewLibrary& /*views*/,
                                                 std::string& error) {
    error = "this kqplay was built without Wayland";
    return nullptr;
}

} // namespace kqplay
