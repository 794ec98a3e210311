#include "x11/ShmPicture.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <new>

namespace {

std::uint8_t* asPixels(void* mapping) {
    return mapping == MAP_FAILED ? nullptr : static_cast<std::uint8_t*>(mapping);
}

} // namespace

std::unique_ptr<ShmPicture> ShmPicture::create(const XConnection& connection, Size size) {
    std::unique_ptr<ShmPicture> picture(new (std::nothrow) ShmPicture(connection, size));
    if (!picture || !picture->map()) {
        return nullptr;
    }
    return picture;
}

ShmPicture::~ShmPicture() {
    xcb_connection_t* xcb = m_connection.get();
    if (m_inUse) {
        xcb_discard_reply(xcb, m_done.sequence);
    }
    if (m_source != 0) {
        xcb_render_free_picture(xcb, m_source);
        xcb_free_pixmap(xcb, m_pixmap);
    }
    if (m_segment != 0) {
        xcb_shm_detach(xcb, m_segment);
    }
    if (m_pixels != nullptr) {
        munmap(m_pixels, bytes());
    }
}

bool ShmPicture::map() {
    if (m_connection.features().shm && mapShared()) {
        makeSource();
        return true;
    }
    m_pixels = asPixels(mmap(nullptr, bytes(), PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    return m_pixels != nullptr;
}

bool ShmPicture::mapShared() {
    const int fd = memfd_create("kqplayer-picture", MFD_CLOEXEC);
    if (fd < 0) {
        return false;
    }
    // Claimed now, because a write to memory that cannot be had later would be a SIGBUS.
    const bool claimed = posix_fallocate(fd, 0, static_cast<off_t>(bytes())) == 0;
    std::uint8_t* pixels =
        claimed ? asPixels(mmap(nullptr, bytes(), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0)) : nullptr;
    if (pixels == nullptr) {
        close(fd);
        return false;
    }
    xcb_connection_t* xcb = m_connection.get();
    const xcb_shm_seg_t segment = m_connection.newId();
    const std::uint8_t readOnly = isPixmapToo() ? 0 : 1; // a server makes no pixmap of what it may only read
    const auto cookie = xcb_shm_attach_fd_checked(xcb, segment, fd, readOnly); // closes fd
    const XReply<xcb_generic_error_t> error(xcb_request_check(xcb, cookie));
    if (error || xcb_connection_has_error(xcb) != 0) {
        munmap(pixels, bytes());
        return false;
    }
    m_pixels = pixels;
    m_segment = segment;
    return true;
}

bool ShmPicture::isPixmapToo() const {
    return m_connection.features().sharedPixmaps && m_connection.features().render;
}

void ShmPicture::makeSource() {
    if (!isPixmapToo()) {
        return;
    }
    m_pixmap = m_connection.newId();
    xcb_shm_create_pixmap(m_connection.get(), m_pixmap, m_connection.root(), m_size.width, m_size.height,
                          XConnection::Depth, m_segment, 0);
    m_source = makeScalingSource(m_connection, m_pixmap);
}

void ShmPicture::markInUse() {
    if (m_segment == 0) {
        return;
    }
    if (m_inUse) {
        xcb_discard_reply(m_connection.get(), m_done.sequence);
    }
    m_done = xcb_get_input_focus(m_connection.get());
    m_inUse = true;
}

void ShmPicture::waitUntilUnused() {
    if (!m_inUse) {
        return;
    }
    m_inUse = false;
    const XReply<xcb_get_input_focus_reply_t> reply(
        xcb_get_input_focus_reply(m_connection.get(), m_done, nullptr));
}

xcb_render_picture_t makeScalingSource(const XConnection& connection, xcb_pixmap_t pixmap) {
    constexpr char Bilinear[] = "bilinear";
    constexpr std::uint32_t Repeat[] = {XCB_RENDER_REPEAT_PAD};
    const xcb_render_picture_t picture = connection.newId();
    xcb_render_create_picture(connection.get(), picture, pixmap, connection.pictureFormat(),
                              XCB_RENDER_CP_REPEAT, Repeat);
    xcb_render_set_picture_filter(connection.get(), picture, sizeof(Bilinear) - 1, Bilinear, 0, nullptr);
    return picture;
}
