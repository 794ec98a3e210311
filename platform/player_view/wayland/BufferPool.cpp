#include "wayland/BufferPool.h"

#include "SharedMemory.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <limits>

namespace kq::playerview {

namespace {

/// One that is filled, two that wait, one on the screen, one that is about to be given back, and one to
/// spare.
constexpr std::size_t mostBuffers = 6;

} // namespace

std::shared_ptr<WaylandBuffer> WaylandBuffer::Create(const WaylandConnection& connection, Size size) {
    std::shared_ptr<WaylandBuffer> buffer(new WaylandBuffer(size));
    return buffer->Map(connection) ? buffer : nullptr;
}

WaylandBuffer::~WaylandBuffer() {
    m_buffer.reset();
    if (m_pixels != nullptr) {
        munmap(m_pixels, Bytes());
    }
}

bool WaylandBuffer::Map(const WaylandConnection& connection) {
    static constexpr wl_buffer_listener listener = {
        [](void* self, wl_buffer* /*buffer*/) { static_cast<WaylandBuffer*>(self)->m_inUse = false; }};
    int fd = -1;
    const bool fits = Bytes() <= std::numeric_limits<std::int32_t>::max(); // what the protocol can say
    m_pixels = fits ? MapSharedMemory(Bytes(), fd) : nullptr;
    if (m_pixels == nullptr) {
        return false;
    }
    const Proxy<wl_shm_pool> pool(
        wl_shm_create_pool(connection.Shm(), fd, static_cast<std::int32_t>(Bytes())));
    close(fd);
    m_buffer.reset(wl_shm_pool_create_buffer(pool.get(), 0, m_size.width, m_size.height, 4 * m_size.width,
                                             WL_SHM_FORMAT_XRGB8888));
    wl_buffer_add_listener(m_buffer.get(), &listener, this);
    return true;
}

std::shared_ptr<WaylandBuffer> BufferPool::Acquire(Size size) {
    const auto isFree = [](const std::shared_ptr<WaylandBuffer>& buffer) {
        return buffer.use_count() == 1 && !buffer->IsInUse();
    };
    m_buffers.erase(std::remove_if(m_buffers.begin(), m_buffers.end(),
                                   [&](const std::shared_ptr<WaylandBuffer>& buffer) {
                                       return isFree(buffer) && !(buffer->PixelSize() == size);
                                   }),
                    m_buffers.end());
    const auto found = std::find_if(m_buffers.begin(), m_buffers.end(), isFree);
    if (found != m_buffers.end()) {
        return *found;
    }
    if (m_buffers.size() >= mostBuffers) {
        return nullptr;
    }
    std::shared_ptr<WaylandBuffer> made = WaylandBuffer::Create(m_connection, size);
    if (made) {
        m_buffers.push_back(made);
    }
    return made;
}

} // namespace kq::playerview
