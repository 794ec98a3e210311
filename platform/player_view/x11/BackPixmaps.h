/// @file
#pragma once

#include "x11/Painter.h"
#include "x11/XConnection.h"

#include <xcb/present.h>

#include <array>
#include <cstdint>
#include <memory>

namespace kq::playerview {

/// Pixmaps of a window's size that are drawn on and then shown whole, between two refreshes of the screen.
/// With three of them one is on the screen, one waits for its refresh and one is free.
class BackPixmaps {
public:
    /// @return null where the server does not synchronise with a screen
    static std::unique_ptr<BackPixmaps> Create(const XConnection& connection, xcb_window_t window);
    ~BackPixmaps();
    BackPixmaps(const BackPixmaps&) = delete;
    BackPixmaps& operator=(const BackPixmaps&) = delete;

    /// @return a pixmap that the server no longer reads; when it reads all of them, the one presented first,
    ///         because a torn picture is better than a wait that may have no end
    Canvas& Acquire(Size size);
    /// Shows the pixmap at the next refresh.
    void Present(Canvas& canvas);

private:
    struct Pixmap {
        Canvas canvas;
        bool inUse = false;
        std::uint32_t serial = 0;
    };

    BackPixmaps(const XConnection& connection, xcb_window_t window);
    void CollectUnused();
    void Resize(Pixmap& pixmap, Size size);
    void FreePixmap(Pixmap& pixmap);

    const XConnection& m_connection;
    xcb_window_t m_window;
    xcb_present_event_t m_eventId;
    xcb_special_event_t* m_events;
    std::array<Pixmap, 3> m_pixmaps;
    std::uint32_t m_serial = 0;
};

} // namespace kq::playerview
