/// @file
/// What of Wayland the rest of the library knows.
#pragma once

#include "Surface.h"

namespace kq::playerview {

/// @return true for a value that a host was given for a Wayland surface
bool IsWaylandParent(std::uintptr_t parent);
/// Makes the surface of a view in a host's Wayland surface.
/// @return null, with a log line, when it cannot be made
/// @throw std::exception without memory or threads
std::unique_ptr<Surface> MakeWaylandSurface(std::uintptr_t parent, const VRECT& rect);

} // namespace kq::playerview
