/// @file
#pragma once

#include "PictureLayout.h"
#include "x11/XConnection.h"

#include <xcb/shm.h>

#include <cstdint>
#include <memory>

namespace kq::playerview {

/// The pixels of one picture (B, G, R, x, top-down, rows of 4 * width bytes) in memory that the server reads
/// itself, or, where that cannot be had, in memory of the process.
class ShmPicture {
public:
    /// @return null without memory
    static std::unique_ptr<ShmPicture> Create(const XConnection& connection, Size size);
    ~ShmPicture();
    ShmPicture(const ShmPicture&) = delete;
    ShmPicture& operator=(const ShmPicture&) = delete;

    Size PixelSize() const { return m_size; }
    std::uint8_t* Pixels() const { return m_pixels; }
    std::size_t Bytes() const { return std::size_t{4} * m_size.width * m_size.height; }
    xcb_shm_seg_t Segment() const { return m_segment; }      ///< 0: not shared with the server
    xcb_render_picture_t Source() const { return m_source; } ///< the segment as a RENDER source, or 0

    /// To be called behind the requests that read the pixels.
    void MarkInUse();
    /// Waits until the server has carried out the requests that read the pixels. With two pictures in turn
    /// the answer has usually arrived long before.
    void WaitUntilUnused();

private:
    ShmPicture(const XConnection& connection, Size size) : m_connection(connection), m_size(size) {}
    bool Map();
    bool IsPixmapToo() const;
    bool MapShared();
    void MakeSource();

    const XConnection& m_connection;
    Size m_size;
    std::uint8_t* m_pixels = nullptr;
    xcb_shm_seg_t m_segment = 0;
    xcb_pixmap_t m_pixmap = 0;
    xcb_render_picture_t m_source = 0;
    bool m_inUse = false;
    xcb_get_input_focus_cookie_t m_done = {}; ///< the server answers it when it is done with the pixels
};

/// Makes a RENDER picture that is read with bilinear scaling, its edge pixels extended outwards.
xcb_render_picture_t MakeScalingSource(const XConnection& connection, xcb_pixmap_t pixmap);

} // namespace kq::playerview
