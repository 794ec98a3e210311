/// @file
#pragma once

#include "PictureLayout.h"
#include "wayland/WaylandConnection.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace kq::playerview {

/// The pixels of one picture (B, G, R, any, top-down, rows of 4 * width bytes) in memory that the compositor
/// reads. Used, and destroyed, under the connection's lock, but for the pixels.
class WaylandBuffer {
public:
    /// @return null without memory
    static std::shared_ptr<WaylandBuffer> Create(const WaylandConnection& connection, Size size);
    ~WaylandBuffer();
    WaylandBuffer(const WaylandBuffer&) = delete;
    WaylandBuffer& operator=(const WaylandBuffer&) = delete;

    Size PixelSize() const { return m_size; }
    std::size_t Bytes() const { return std::size_t{4} * m_size.width * m_size.height; }
    std::uint8_t* Pixels() const { return m_pixels; }
    wl_buffer* Get() const { return m_buffer.get(); }
    /// To be called when it is committed: the compositor reads it from then on.
    void MarkInUse() { m_inUse = true; }
    /// @return true until the compositor has given it back
    bool IsInUse() const { return m_inUse; }

    Rect made; ///< the part that may be shown

private:
    explicit WaylandBuffer(Size size) : m_size(size) {}
    bool Map(const WaylandConnection& connection);

    const Size m_size;
    std::uint8_t* m_pixels = nullptr;
    Proxy<wl_buffer> m_buffer;
    bool m_inUse = false;
};

/// Buffers of the size that is wanted now, used again as soon as neither the compositor nor the view has use
/// for them. Steady playback settles at three or four of them.
class BufferPool {
public:
    explicit BufferPool(const WaylandConnection& connection) : m_connection(connection) {}

    /// @return a buffer that nobody reads or keeps; null when there are too many already, or no memory
    std::shared_ptr<WaylandBuffer> Acquire(Size size);
    /// Keeps none of them any longer.
    void Clear() { m_buffers.clear(); }

private:
    const WaylandConnection& m_connection;
    std::vector<std::shared_ptr<WaylandBuffer>> m_buffers;
};

} // namespace kq::playerview
