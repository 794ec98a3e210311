/// @file
/// What the dynamic loader has loaded into this process.
#pragma once

#include <string>

namespace kqplay {

/// @param name how the library's file name begins, "libKQPlayer.so"
/// @return the path of the loaded library, links followed; empty when no such library is loaded
std::string PathOfLoaded(const std::string& name);

} // namespace kqplay
