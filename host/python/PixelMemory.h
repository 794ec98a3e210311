/// @file
/// Memory of pictures that are made for Python.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

namespace kq::python {

/// A block that goes back to a small stock when nobody holds it any more: fresh memory would cost a page
/// fault for every 4 KiB of every picture.
using PixelBlock = std::shared_ptr<std::uint8_t>;

/// @return a block from a 64-byte boundary on, its content undefined. Any thread. @throw std::bad_alloc
PixelBlock TakePixels(std::size_t bytes);

} // namespace kq::python
