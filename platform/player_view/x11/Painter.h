/// @file
#pragma once

#include "PictureLayout.h"
#include "PictureScaler.h"
#include "x11/ShmPicture.h"
#include "x11/XConnection.h"

#include <memory>

namespace kq::playerview {

/// Something to draw on: a window or a pixmap of a window's size.
struct Canvas {
    xcb_drawable_t drawable = 0;
    xcb_render_picture_t picture = 0; ///< with RENDER only
    Size size;
};

/// Makes the RENDER picture of a canvas, or 0 without RENDER.
xcb_render_picture_t MakeCanvasPicture(const XConnection& connection, xcb_drawable_t drawable);

/// Draws pictures and the black around them. Its requests are sent with the next flush.
class Painter {
public:
    /// @param window a window or pixmap of the depth that will be drawn on
    Painter(const XConnection& connection, xcb_drawable_t window);
    ~Painter();
    Painter(const Painter&) = delete;
    Painter& operator=(const Painter&) = delete;

    void PaintBlack(const Canvas& canvas);
    void PaintBars(const PictureLayout& layout, const Canvas& canvas);
    /// Draws the picture and marks it in use until the server has read it.
    /// @param scaling one of KQ_SCALING_…
    void PaintPicture(ShmPicture& picture, const PictureLayout& layout, std::int32_t scaling,
                      const Canvas& canvas);

private:
    /// A picture that the server scales from, where it cannot read the shared memory as a pixmap.
    struct UploadedPicture {
        Size size;
        xcb_pixmap_t pixmap = 0;
        xcb_render_picture_t source = 0;
    };

    void Fill(const Rect* rects, int count, const Canvas& canvas);
    /// Copies a part of a picture, not scaled, to @p to on the drawable.
    void Put(ShmPicture& picture, const Rect& part, int toX, int toY, xcb_drawable_t drawable);
    void PutShared(ShmPicture& picture, const Rect& part, int toX, int toY, xcb_drawable_t drawable);
    void PutThroughSocket(const ShmPicture& picture, const Rect& part, int toX, int toY,
                          xcb_drawable_t drawable);
    void Composite(ShmPicture& picture, const PictureLayout& layout, const Canvas& canvas);
    void PutScaled(ShmPicture& picture, const PictureLayout& layout, bool smooth, const Canvas& canvas);
    xcb_render_picture_t Upload(ShmPicture& picture);
    void FreeUpload();

    const XConnection& m_connection;
    xcb_gcontext_t m_black;
    xcb_gcontext_t m_copy;
    UploadedPicture m_upload;
    PictureScaler m_scaler;
    std::unique_ptr<ShmPicture> m_scaled; ///< what was scaled here
};

} // namespace kq::playerview
