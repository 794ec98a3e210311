#include "x11/Painter.h"

#include "NearestScale.h"

#include <algorithm>
#include <cmath>

namespace {

xcb_rectangle_t toX(const Rect& r) {
    return {static_cast<std::int16_t>(r.x), static_cast<std::int16_t>(r.y),
            static_cast<std::uint16_t>(r.width), static_cast<std::uint16_t>(r.height)};
}

/// RENDER's 16.16 fixed point.
xcb_render_fixed_t toFixed(double value) {
    return static_cast<xcb_render_fixed_t>(std::lround(value * 65536));
}

/// Maps a pixel of the target, counted from its corner, to a pixel of the picture.
xcb_render_transform_t targetToSource(const PictureLayout& layout) {
    xcb_render_transform_t t = {};
    t.matrix11 = std::max(1, toFixed(static_cast<double>(layout.source.width) / layout.target.width));
    t.matrix13 = toFixed(layout.source.x);
    t.matrix22 = std::max(1, toFixed(static_cast<double>(layout.source.height) / layout.target.height));
    t.matrix23 = toFixed(layout.source.y);
    t.matrix33 = toFixed(1);
    return t;
}

} // namespace

xcb_render_picture_t makeCanvasPicture(const XConnection& connection, xcb_drawable_t drawable) {
    if (!connection.features().render) {
        return 0;
    }
    const xcb_render_picture_t picture = connection.newId();
    xcb_render_create_picture(connection.get(), picture, drawable, connection.pictureFormat(), 0, nullptr);
    return picture;
}

Painter::Painter(const XConnection& connection, xcb_drawable_t window)
    : m_connection(connection), m_black(connection.newId()), m_copy(connection.newId()) {
    constexpr std::uint32_t Black[] = {0, 0};
    constexpr std::uint32_t NoExposures[] = {0};
    xcb_create_gc(connection.get(), m_black, window, XCB_GC_FOREGROUND | XCB_GC_GRAPHICS_EXPOSURES, Black);
    xcb_create_gc(connection.get(), m_copy, window, XCB_GC_GRAPHICS_EXPOSURES, NoExposures);
}

Painter::~Painter() {
    freeUpload();
    xcb_free_gc(m_connection.get(), m_copy);
    xcb_free_gc(m_connection.get(), m_black);
}

void Painter::paintBlack(const Canvas& canvas) {
    const Rect whole = {0, 0, canvas.size.width, canvas.size.height};
    fill(&whole, 1, canvas);
}

void Painter::paintBars(const PictureLayout& layout, const Canvas& canvas) {
    const Bars bars = barsAround(layout.visible, canvas.size);
    fill(bars.rects, bars.count, canvas);
}

void Painter::fill(const Rect* rects, int count, const Canvas& canvas) {
    for (int i = 0; i < count; ++i) {
        const xcb_rectangle_t rect = toX(rects[i]);
        xcb_poly_fill_rectangle(m_connection.get(), canvas.drawable, m_black, 1, &rect);
    }
}

void Painter::paintPicture(ShmPicture& picture, const PictureLayout& layout, const Canvas& canvas) {
    const Rect& visible = layout.visible;
    if (layout.isScaled()) {
        m_connection.features().render ? composite(picture, layout, canvas)
                                       : putScaled(picture, layout, canvas);
        return;
    }
    const Rect part = {layout.source.x + visible.x - layout.target.x,
                       layout.source.y + visible.y - layout.target.y, visible.width, visible.height};
    put(picture, part, visible.x, visible.y, canvas.drawable);
}

void Painter::put(ShmPicture& picture, const Rect& part, int toX, int toY, xcb_drawable_t drawable) {
    if (picture.segment() != 0) {
        putShared(picture, part, toX, toY, drawable);
        return;
    }
    putThroughSocket(picture, part, toX, toY, drawable);
}

void Painter::putShared(ShmPicture& picture, const Rect& part, int toX, int toY, xcb_drawable_t drawable) {
    const Size size = picture.PixelSize();
    xcb_shm_put_image(m_connection.get(), drawable, m_copy, size.width, size.height, part.x, part.y,
                      part.width, part.height, toX, toY, XConnection::Depth, XCB_IMAGE_FORMAT_Z_PIXMAP, 0,
                      picture.segment(), 0);
    picture.markInUse();
}

/// Whole rows are sent, in requests as long as the server takes; a clip rectangle cuts them to the part.
void Painter::putThroughSocket(const ShmPicture& picture, const Rect& part, int toX, int toY,
                               xcb_drawable_t drawable) {
    constexpr std::size_t HeaderBytes = 32;
    xcb_connection_t* xcb = m_connection.get();
    const Size size = picture.PixelSize();
    const std::size_t rowBytes = std::size_t{4} * size.width;
    const auto rowsAtOnce = static_cast<int>((m_connection.maxRequestBytes() - HeaderBytes) / rowBytes);
    const xcb_rectangle_t clip = ::toX({toX, toY, part.width, part.height});
    xcb_set_clip_rectangles(xcb, XCB_CLIP_ORDERING_YX_BANDED, m_copy, 0, 0, 1, &clip);
    for (int y = 0; y < part.height;) {
        const int rows = std::min(std::max(1, rowsAtOnce), part.height - y);
        xcb_put_image(xcb, XCB_IMAGE_FORMAT_Z_PIXMAP, drawable, m_copy, size.width, rows, toX - part.x,
                      toY + y, 0, XConnection::Depth, rows * rowBytes,
                      picture.pixels() + (part.y + y) * rowBytes);
        y += rows;
    }
}

void Painter::composite(ShmPicture& picture, const PictureLayout& layout, const Canvas& canvas) {
    xcb_connection_t* xcb = m_connection.get();
    const xcb_render_picture_t source = picture.source() != 0 ? picture.source() : upload(picture);
    const Rect& visible = layout.visible;
    xcb_render_set_picture_transform(xcb, source, targetToSource(layout));
    xcb_render_composite(xcb, XCB_RENDER_PICT_OP_SRC, source, XCB_RENDER_PICTURE_NONE, canvas.picture,
                         visible.x - layout.target.x, visible.y - layout.target.y, 0, 0, visible.x, visible.y,
                         visible.width, visible.height);
    picture.markInUse();
}

xcb_render_picture_t Painter::upload(ShmPicture& picture) {
    const Size size = picture.PixelSize();
    if (!(m_upload.size == size)) {
        freeUpload();
        m_upload.size = size;
        m_upload.pixmap = m_connection.newId();
        xcb_create_pixmap(m_connection.get(), XConnection::Depth, m_upload.pixmap, m_connection.root(),
                          size.width, size.height);
        m_upload.source = makeScalingSource(m_connection, m_upload.pixmap);
    }
    put(picture, {0, 0, size.width, size.height}, 0, 0, m_upload.pixmap);
    return m_upload.source;
}

void Painter::freeUpload() {
    if (m_upload.pixmap != 0) {
        xcb_render_free_picture(m_connection.get(), m_upload.source);
        xcb_free_pixmap(m_connection.get(), m_upload.pixmap);
    }
    m_upload = {};
}

void Painter::putScaled(ShmPicture& picture, const PictureLayout& layout, const Canvas& canvas) {
    const Size size = {layout.visible.width, layout.visible.height};
    if (!m_scaled || !(m_scaled->PixelSize() == size)) {
        m_scaled = ShmPicture::create(m_connection, size);
    }
    if (!m_scaled) {
        return;
    }
    m_scaled->waitUntilUnused();
    scaleNearest(picture.pixels(), picture.PixelSize().width, layout, m_scaled->pixels());
    put(*m_scaled, {0, 0, size.width, size.height}, layout.visible.x, layout.visible.y, canvas.drawable);
}
