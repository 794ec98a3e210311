/// @file
/// The order of the colours of 24-bit pixels.
#pragma once

#include <cstddef>
#include <cstdint>

namespace kq::python {

/// Copies pixels with their first and third byte exchanged: B, G, R to R, G, B.
/// @param pixels how many
void SwapColours(const std::uint8_t* from, std::uint8_t* to, std::size_t pixels);

} // namespace kq::python
