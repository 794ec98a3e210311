/// @file
#pragma once

#include "PictureLayout.h"
#include "PictureSinks.h"
#include "ViewWindow.h"

#include <memory>
#include <mutex>

/// One view: what a host set for it, its sinks, and its window unless it is off-screen.
class View {
public:
    /// @param pWindow null for an off-screen view
    explicit View(std::unique_ptr<ViewWindow> pWindow);
    ~View();
    View(const View&) = delete;
    View& operator=(const View&) = delete;

    PictureSinks& sinks() { return m_sinks; }
    /// @return the window, or 0
    xcb_window_t window();
    /// @return memory for the next picture, see ViewWindow::lend(), or null
    unsigned char* lend(int nWidth, int nHeight);
    /// Ignores a picture without pixels or of a size that cannot be shown.
    void show(int nWidth, int nHeight, const unsigned char* pPixels);
    void update();
    tagRECT cropRect();

    /// Changes the settings and draws the last picture with them.
    template <typename Change>
    void change(Change change) {
        const std::lock_guard<std::mutex> guard(m_lock);
        change(m_settings);
        if (m_pWindow) {
            m_pWindow->apply(m_settings);
        }
    }

private:
    const std::unique_ptr<ViewWindow> m_pWindow;
    PictureSinks m_sinks;
    std::mutex m_lock; ///< guards the settings
    DisplaySettings m_settings;
    const int m_number;
};
