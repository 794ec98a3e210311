/// @file
/// Constants that vector code takes from memory.
#pragma once

#include <cstdint>

namespace kq::image {

/// A pattern of 32 bits, as often as the widest vector has room for it.
///
/// Not const: a compiler that sees the value, and runs out of registers, builds it anew in every pass of a
/// loop, with instructions that compete with the loop's own. Loading it costs nothing there.
template <std::uint32_t pattern>
struct Repeated {
    alignas(64) static std::uint32_t parts[16];
};

template <std::uint32_t k>
alignas(64) std::uint32_t Repeated<k>::parts[16] = {k, k, k, k, k, k, k, k, k, k, k, k, k, k, k, k};

} // namespace kq::image
