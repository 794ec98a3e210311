#include "x11/Painter.h"

#include <kqplayer/log.h>

#include <algorithm>
#include <cmath>
#include <new>

namespace kq::playerview {

namespace {

xcb_rectangle_t ToX(const Rect& r) {
    return {static_cast<std::int16_t>(r.x), static_cast<std::int16_t>(r.y),
            static_cast<std::uint16_t>(r.width), static_cast<std::uint16_t>(r.height)};
}

/// RENDER's 16.16 fixed point.
xcb_render_fixed_t ToFixed(double value) {
    constexpr double largest = 32767;
    return static_cast<xcb_render_fixed_t>(std::lround(std::clamp(value, -largest, largest) * 65536));
}

/// Maps a pixel of what is visible, counted from its corner, to a pixel of the picture.
xcb_render_transform_t VisibleToSource(const PictureLayout& layout) {
    const RectF& source = layout.source;
    const double across = source.width / layout.target.width;
    const double down = source.height / layout.target.height;
    xcb_render_transform_t t = {};
    t.matrix11 = std::max(1, ToFixed(across));
    t.matrix13 = ToFixed(source.x + across * (layout.visible.x - layout.target.x));
    t.matrix22 = std::max(1, ToFixed(down));
    t.matrix23 = ToFixed(source.y + down * (layout.visible.y - layout.target.y));
    t.matrix33 = ToFixed(1);
    return t;
}

} // namespace

xcb_render_picture_t MakeCanvasPicture(const XConnection& connection, xcb_drawable_t drawable) {
    if (!connection.Features().render) {
        return 0;
    }
    const xcb_render_picture_t picture = connection.NewId();
    xcb_render_create_picture(connection.Get(), picture, drawable, connection.PictureFormat(), 0, nullptr);
    return picture;
}

Painter::Painter(const XConnection& connection, xcb_drawable_t window)
    : m_connection(connection), m_black(connection.NewId()), m_copy(connection.NewId()) {
    constexpr std::uint32_t black[] = {0, 0};
    constexpr std::uint32_t noExposures[] = {0};
    xcb_create_gc(connection.Get(), m_black, window, XCB_GC_FOREGROUND | XCB_GC_GRAPHICS_EXPOSURES, black);
    xcb_create_gc(connection.Get(), m_copy, window, XCB_GC_GRAPHICS_EXPOSURES, noExposures);
}

Painter::~Painter() {
    FreeUpload();
    xcb_free_gc(m_connection.Get(), m_copy);
    xcb_free_gc(m_connection.Get(), m_black);
}

void Painter::PaintBlack(const Canvas& canvas) {
    const Rect whole = {0, 0, canvas.size.width, canvas.size.height};
    Fill(&whole, 1, canvas);
}

void Painter::PaintBars(const PictureLayout& layout, const Canvas& canvas) {
    const Bars bars = BarsAround(layout.visible, canvas.size);
    Fill(bars.rects, bars.count, canvas);
}

void Painter::Fill(const Rect* rects, int count, const Canvas& canvas) {
    for (int i = 0; i < count; ++i) {
        const xcb_rectangle_t rect = ToX(rects[i]);
        xcb_poly_fill_rectangle(m_connection.Get(), canvas.drawable, m_black, 1, &rect);
    }
}

void Painter::PaintPicture(ShmPicture& picture, const PictureLayout& layout, std::int32_t scaling,
                           const Canvas& canvas) {
    const Rect& visible = layout.visible;
    if (visible.IsEmpty()) {
        return;
    }
    if (layout.IsCopy()) {
        const Rect part = {static_cast<int>(layout.source.x) + visible.x - layout.target.x,
                           static_cast<int>(layout.source.y) + visible.y - layout.target.y, visible.width,
                           visible.height};
        Put(picture, part, visible.x, visible.y, canvas.drawable);
    } else if (scaling == KQ_SCALING_DEFAULT && m_connection.Features().render) {
        Composite(picture, layout, canvas);
    } else {
        PutScaled(picture, layout, scaling == KQ_SCALING_BILINEAR, canvas);
    }
}

void Painter::Put(ShmPicture& picture, const Rect& part, int toX, int toY, xcb_drawable_t drawable) {
    if (picture.Segment() != 0) {
        PutShared(picture, part, toX, toY, drawable);
        return;
    }
    PutThroughSocket(picture, part, toX, toY, drawable);
}

void Painter::PutShared(ShmPicture& picture, const Rect& part, int toX, int toY, xcb_drawable_t drawable) {
    const Size size = picture.PixelSize();
    xcb_shm_put_image(m_connection.Get(), drawable, m_copy, size.width, size.height, part.x, part.y,
                      part.width, part.height, toX, toY, XConnection::depth, XCB_IMAGE_FORMAT_Z_PIXMAP, 0,
                      picture.Segment(), 0);
    picture.MarkInUse();
}

/// Whole rows are sent, in requests as long as the server takes; a clip rectangle cuts them to the part.
void Painter::PutThroughSocket(const ShmPicture& picture, const Rect& part, int toX, int toY,
                               xcb_drawable_t drawable) {
    constexpr std::size_t headerBytes = 32;
    xcb_connection_t* xcb = m_connection.Get();
    const Size size = picture.PixelSize();
    const std::size_t rowBytes = std::size_t{4} * size.width;
    const auto rowsAtOnce = static_cast<int>((m_connection.MaxRequestBytes() - headerBytes) / rowBytes);
    const xcb_rectangle_t clip = ToX({toX, toY, part.width, part.height});
    xcb_set_clip_rectangles(xcb, XCB_CLIP_ORDERING_YX_BANDED, m_copy, 0, 0, 1, &clip);
    for (int y = 0; y < part.height;) {
        const int rows = std::min(std::max(1, rowsAtOnce), part.height - y);
        xcb_put_image(xcb, XCB_IMAGE_FORMAT_Z_PIXMAP, drawable, m_copy, size.width, rows, toX - part.x,
                      toY + y, 0, XConnection::depth, rows * rowBytes,
                      picture.Pixels() + (part.y + y) * rowBytes);
        y += rows;
    }
}

void Painter::Composite(ShmPicture& picture, const PictureLayout& layout, const Canvas& canvas) {
    xcb_connection_t* xcb = m_connection.Get();
    const xcb_render_picture_t source = picture.Source() != 0 ? picture.Source() : Upload(picture);
    const Rect& visible = layout.visible;
    xcb_render_set_picture_transform(xcb, source, VisibleToSource(layout));
    xcb_render_composite(xcb, XCB_RENDER_PICT_OP_SRC, source, XCB_RENDER_PICTURE_NONE, canvas.picture, 0, 0,
                         0, 0, visible.x, visible.y, visible.width, visible.height);
    picture.MarkInUse();
}

xcb_render_picture_t Painter::Upload(ShmPicture& picture) {
    const Size size = picture.PixelSize();
    if (!(m_upload.size == size)) {
        FreeUpload();
        m_upload.size = size;
        m_upload.pixmap = m_connection.NewId();
        xcb_create_pixmap(m_connection.Get(), XConnection::depth, m_upload.pixmap, m_connection.Root(),
                          size.width, size.height);
        m_upload.source = MakeScalingSource(m_connection, m_upload.pixmap);
    }
    Put(picture, {0, 0, size.width, size.height}, 0, 0, m_upload.pixmap);
    return m_upload.source;
}

void Painter::FreeUpload() {
    if (m_upload.pixmap != 0) {
        xcb_render_free_picture(m_connection.Get(), m_upload.source);
        xcb_free_pixmap(m_connection.Get(), m_upload.pixmap);
    }
    m_upload = {};
}

void Painter::PutScaled(ShmPicture& picture, const PictureLayout& layout, bool smooth, const Canvas& canvas) {
    const Size size = {layout.visible.width, layout.visible.height};
    if (!m_scaled || !(m_scaled->PixelSize() == size)) {
        m_scaled = ShmPicture::Create(m_connection, size);
    }
    if (!m_scaled) {
        return;
    }
    m_scaled->WaitUntilUnused();
    try {
        m_scaler.Scale(picture.Pixels(), picture.PixelSize(), layout, smooth, m_scaled->Pixels());
    } catch (const std::bad_alloc&) {
        KQLogEx(L"PlayerView: no memory to scale a picture");
        return;
    }
    Put(*m_scaled, {0, 0, size.width, size.height}, layout.visible.x, layout.visible.y, canvas.drawable);
}

} // namespace kq::playerview
