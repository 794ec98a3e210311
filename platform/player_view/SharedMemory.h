/// @file
#pragma once

#include <cstddef>
#include <cstdint>

namespace kq::playerview {

/// Maps memory that another process can be given.
/// @param fd receives its descriptor, which the caller closes
/// @return zeros; null without memory
std::uint8_t* MapSharedMemory(std::size_t bytes, int& fd);

} // namespace kq::playerview
