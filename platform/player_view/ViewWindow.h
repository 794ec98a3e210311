/// @file
#pragma once

#include "BackPixmaps.h"
#include "Painter.h"
#include "PictureLayout.h"
#include "ShmPicture.h"
#include "XConnection.h"

#include <cstdint>
#include <memory>
#include <mutex>
#include <thread>

/// The window of a view: keeps the last picture and draws it again, on its own event thread, whenever the
/// window is uncovered or resized. Functions may be called from any thread.
///
/// When somebody else destroys the window, usually along with its parent, or the connection is lost, the
/// object stays and draws no more.
class ViewWindow {
public:
    /// Makes and maps the window.
    /// @param parent a window, or 0 for a top-level window
    /// @param rect   placement in pixels, inside the parent or on the screen
    /// @return null when the parent is not a window
    static std::unique_ptr<ViewWindow> create(std::unique_ptr<XConnection> pConnection, xcb_window_t parent,
                                              const VRECT& rect);
    /// Destroys the window and ends the event thread.
    ~ViewWindow();
    ViewWindow(const ViewWindow&) = delete;
    ViewWindow& operator=(const ViewWindow&) = delete;

    /// Lends the memory that the next picture will be drawn from. It stays valid until the next call of
    /// lend() or show(), also when the window goes meanwhile.
    /// @param size of 1 to MaxSide
    /// @return null when there is no window or no memory
    std::uint8_t* lend(Size size);
    /// @param size of 1 to MaxSide
    /// @param pPixels copied, unless it is what lend() gave for this size
    void show(Size size, const std::uint8_t* pPixels);
    /// Takes over the settings and draws the last picture with them.
    void apply(const DisplaySettings& settings);
    void redraw();
    /// @return the window, or 0 when it is gone
    xcb_window_t window();

private:
    using Event = XReply<xcb_generic_event_t>;

    ViewWindow(std::unique_ptr<XConnection> pConnection, Size size);
    bool makeWindow(xcb_window_t parent, const VRECT& rect);
    void makeTopLevel(const VRECT& rect);
    void startEventThread();

    void run();
    void handle(const xcb_generic_event_t& event);
    void withdraw();
    void leave();

    bool preparePictures(Size size);
    /// @param bars draw the black around the picture as well
    void draw(bool bars);

    const std::unique_ptr<XConnection> m_pConnection;
    xcb_atom_t m_deleteWindow = 0;
    bool m_isTopLevel = false;
    std::thread m_thread;

    std::mutex m_lock; ///< guards everything below
    xcb_window_t m_window = 0;
    Canvas m_canvas; ///< the window
    std::unique_ptr<Painter> m_pPainter;
    std::unique_ptr<BackPixmaps> m_pBackPixmaps; ///< null: drawn on the window itself
    std::unique_ptr<ShmPicture> m_pPictures[2];
    int m_current = 0; ///< the picture shown last
    bool m_hasPicture = false;
    bool m_isLent = false; ///< somebody may be writing the picture that comes next
    bool m_needsRedraw = false;
    DisplaySettings m_settings;
};
