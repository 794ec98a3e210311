#include "x11/BackPixmaps.h"

#include <algorithm>

namespace kq::playerview {

std::unique_ptr<BackPixmaps> BackPixmaps::Create(const XConnection& connection, xcb_window_t window) {
    if (!connection.Features().present) {
        return nullptr;
    }
    return std::unique_ptr<BackPixmaps>(new BackPixmaps(connection, window));
}

BackPixmaps::BackPixmaps(const XConnection& connection, xcb_window_t window)
    : m_connection(connection), m_window(window), m_eventId(connection.NewId()),
      m_events(xcb_register_for_special_xge(connection.Get(), &xcb_present_id, m_eventId, nullptr)) {
    xcb_present_select_input(connection.Get(), m_eventId, window, XCB_PRESENT_EVENT_MASK_IDLE_NOTIFY);
}

BackPixmaps::~BackPixmaps() {
    for (Pixmap& pixmap : m_pixmaps) {
        FreePixmap(pixmap);
    }
    xcb_unregister_for_special_event(m_connection.Get(), m_events);
}

Canvas& BackPixmaps::Acquire(Size size) {
    CollectUnused();
    const auto sooner = [](const Pixmap& a, const Pixmap& b) {
        return a.inUse != b.inUse ? !a.inUse : a.serial < b.serial;
    };
    Pixmap& pixmap = *std::min_element(m_pixmaps.begin(), m_pixmaps.end(), sooner);
    if (!(pixmap.canvas.size == size)) {
        Resize(pixmap, size);
    }
    return pixmap.canvas;
}

void BackPixmaps::Present(Canvas& canvas) {
    xcb_present_pixmap(m_connection.Get(), m_window, canvas.drawable, ++m_serial, XCB_NONE, XCB_NONE, 0, 0,
                       XCB_NONE, XCB_NONE, XCB_NONE, XCB_PRESENT_OPTION_NONE, 0, 0, 0, 0, nullptr);
    for (Pixmap& pixmap : m_pixmaps) {
        if (pixmap.canvas.drawable == canvas.drawable) {
            pixmap.inUse = true;
            pixmap.serial = m_serial;
        }
    }
}

void BackPixmaps::CollectUnused() {
    while (
        const XReply<xcb_generic_event_t> event{xcb_poll_for_special_event(m_connection.Get(), m_events)}) {
        const auto* idle = reinterpret_cast<const xcb_present_idle_notify_event_t*>(event.get());
        if (idle->event_type != XCB_PRESENT_EVENT_IDLE_NOTIFY) {
            continue;
        }
        for (Pixmap& pixmap : m_pixmaps) {
            const bool latest = pixmap.canvas.drawable == idle->pixmap && pixmap.serial == idle->serial;
            pixmap.inUse = pixmap.inUse && !latest;
        }
    }
}

void BackPixmaps::Resize(Pixmap& pixmap, Size size) {
    FreePixmap(pixmap);
    pixmap.canvas.size = size;
    pixmap.canvas.drawable = m_connection.NewId();
    xcb_create_pixmap(m_connection.Get(), XConnection::depth, pixmap.canvas.drawable, m_connection.Root(),
                      size.width, size.height);
    pixmap.canvas.picture = MakeCanvasPicture(m_connection, pixmap.canvas.drawable);
}

void BackPixmaps::FreePixmap(Pixmap& pixmap) {
    if (pixmap.canvas.picture != 0) {
        xcb_render_free_picture(m_connection.Get(), pixmap.canvas.picture);
    }
    if (pixmap.canvas.drawable != 0) {
        xcb_free_pixmap(m_connection.Get(), pixmap.canvas.drawable);
    }
    pixmap = {};
}

} // namespace kq::playerview
