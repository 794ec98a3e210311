/// @file
#pragma once

#include "PictureLayout.h"
#include "Surface.h"
#include "x11/BackPixmaps.h"
#include "x11/Painter.h"
#include "x11/ShmPicture.h"
#include "x11/XConnection.h"

#include <cstdint>
#include <memory>
#include <mutex>
#include <thread>

namespace kq::playerview {

/// An X11 window, with a connection and an event thread of its own.
class X11Surface final : public Surface {
public:
    /// Makes and maps the window.
    /// @param parent a window, or 0 for a top-level window
    /// @param rect   placement in pixels, inside the parent or on the screen
    /// @return null when the parent is not a window
    static std::unique_ptr<X11Surface> Create(std::unique_ptr<XConnection> connection, std::uintptr_t parent,
                                              const VRECT& rect);
    /// Destroys the window and ends the event thread.
    ~X11Surface() override;
    X11Surface(const X11Surface&) = delete;
    X11Surface& operator=(const X11Surface&) = delete;

    void Expect(Size size) override;
    std::uint8_t* Lend(Size size) override;
    void Show(Size size, const std::uint8_t* pixels, const Rect& made) override;
    bool Apply(const DisplaySettings& settings) override;
    void Redraw() override;
    std::uintptr_t Handle() override; ///< the window's id
    bool FindMapping(KQViewMapping& mapping) override;
    bool ReadPixel(int x, int y, std::uint32_t& rgb) override;

private:
    using Event = XReply<xcb_generic_event_t>;

    X11Surface(std::unique_ptr<XConnection> connection, Size size);
    bool MakeWindow(xcb_window_t parent, const VRECT& rect);
    void MakeTopLevel(const VRECT& rect);
    void StartEventThread();

    void Run();
    void Handle(const xcb_generic_event_t& event);
    void Withdraw();
    void Leave();

    bool Prepare(int number, Size size);
    /// @param bars draw the black around the picture as well
    void Draw(bool bars);

    const std::unique_ptr<XConnection> m_connection;
    xcb_atom_t m_deleteWindow = 0;
    bool m_isTopLevel = false;
    std::thread m_thread;

    std::mutex m_lock; ///< guards everything below
    xcb_window_t m_window = 0;
    Canvas m_canvas; ///< the window
    std::unique_ptr<Painter> m_painter;
    std::unique_ptr<BackPixmaps> m_backPixmaps; ///< null: drawn on the window itself
    std::unique_ptr<ShmPicture> m_pictures[2];
    Rect m_made[2];    ///< the parts of them that may be shown
    int m_current = 0; ///< the picture shown last
    bool m_hasPicture = false;
    bool m_isLent = false; ///< somebody may be writing the picture that comes next
    bool m_needsRedraw = false;
    bool m_isBehind = false;    ///< the picture on show lacks what the settings would show of it
    DisplaySettings m_settings; ///< as they were set last
    DisplaySettings m_shown;    ///< those that the picture is shown with
};

} // namespace kq::playerview
