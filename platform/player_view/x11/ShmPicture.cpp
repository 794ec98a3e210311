#include "x11/ShmPicture.h"

#include "SharedMemory.h"

#include <sys/mman.h>

#include <new>

namespace kq::playerview {

namespace {

std::uint8_t* AsPixels(void* mapping) {
    return mapping == MAP_FAILED ? nullptr : static_cast<std::uint8_t*>(mapping);
}

} // namespace

std::unique_ptr<ShmPicture> ShmPicture::Create(const XConnection& connection, Size size) {
    std::unique_ptr<ShmPicture> picture(new (std::nothrow) ShmPicture(connection, size));
    if (!picture || !picture->Map()) {
        return nullptr;
    }
    return picture;
}

ShmPicture::~ShmPicture() {
    xcb_connection_t* xcb = m_connection.Get();
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
        munmap(m_pixels, Bytes());
    }
}

bool ShmPicture::Map() {
    if (m_connection.Features().shm && MapShared()) {
        MakeSource();
        return true;
    }
    m_pixels = AsPixels(mmap(nullptr, Bytes(), PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    return m_pixels != nullptr;
}

bool ShmPicture::MapShared() {
    int fd = -1;
    std::uint8_t* const pixels = MapSharedMemory(Bytes(), fd);
    if (pixels == nullptr) {
        return false;
    }
    xcb_connection_t* xcb = m_connection.Get();
    const xcb_shm_seg_t segment = m_connection.NewId();
    const std::uint8_t readOnly = IsPixmapToo() ? 0 : 1; // a server makes no pixmap of what it may only read
    const auto cookie = xcb_shm_attach_fd_checked(xcb, segment, fd, readOnly); // closes fd
    const XReply<xcb_generic_error_t> error(xcb_request_check(xcb, cookie));
    if (error || xcb_connection_has_error(xcb) != 0) {
        munmap(pixels, Bytes());
        return false;
    }
    m_pixels = pixels;
    m_segment = segment;
    return true;
}

bool ShmPicture::IsPixmapToo() const {
    return m_connection.Features().sharedPixmaps && m_connection.Features().render;
}

void ShmPicture::MakeSource() {
    if (!IsPixmapToo()) {
        return;
    }
    m_pixmap = m_connection.NewId();
    xcb_shm_create_pixmap(m_connection.Get(), m_pixmap, m_connection.Root(), m_size.width, m_size.height,
                          XConnection::depth, m_segment, 0);
    m_source = MakeScalingSource(m_connection, m_pixmap);
}

void ShmPicture::MarkInUse() {
    if (m_segment == 0) {
        return;
    }
    if (m_inUse) {
        xcb_discard_reply(m_connection.Get(), m_done.sequence);
    }
    m_done = xcb_get_input_focus(m_connection.Get());
    m_inUse = true;
}

void ShmPicture::WaitUntilUnused() {
    if (!m_inUse) {
        return;
    }
    m_inUse = false;
    const XReply<xcb_get_input_focus_reply_t> reply(
        xcb_get_input_focus_reply(m_connection.Get(), m_done, nullptr));
}

xcb_render_picture_t MakeScalingSource(const XConnection& connection, xcb_pixmap_t pixmap) {
    constexpr char bilinear[] = "bilinear";
    constexpr std::uint32_t repeat[] = {XCB_RENDER_REPEAT_PAD};
    const xcb_render_picture_t picture = connection.NewId();
    xcb_render_create_picture(connection.Get(), picture, pixmap, connection.PictureFormat(),
                              XCB_RENDER_CP_REPEAT, repeat);
    xcb_render_set_picture_filter(connection.Get(), picture, sizeof(bilinear) - 1, bilinear, 0, nullptr);
    return picture;
}

} // namespace kq::playerview
