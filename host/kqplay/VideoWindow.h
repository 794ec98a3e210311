/// @file
/// The window.
#pragma once

#include "Command.h"

#include <memory>
#include <string>
#include <vector>

struct SDL_Window;
using Display = struct _XDisplay;

namespace kqplay {

/// A window that can be resized, for one player view. Used from the main thread only.
class VideoWindow {
public:
    /// Opens a window on the X server.
    /// @param width,height size of the picture; the window is made smaller where the screen is
    /// @param error receives the reason for null
    static std::unique_ptr<VideoWindow> Open(const std::string& title, int width, int height,
                                             std::string& error);
    ~VideoWindow();
    VideoWindow(const VideoWindow&) = delete;
    VideoWindow& operator=(const VideoWindow&) = delete;

    int Width() const { return m_width; }
    int Height() const { return m_height; }
    /// @return the X11 window, as the parent of a player view
    void* Handle() const;
    /// Names the view's window, which is to follow the size of this one from now on.
    void Adopt(void* viewWindow);

    /// @return descriptor that becomes readable when something happened to the window
    int Fd() const;
    /// @return the commands that were given since the last call; closing the window is Command::Quit
    std::vector<Command> Take();

private:
    VideoWindow() = default;
    void FitView();

    SDL_Window* m_window = nullptr;
    Display* m_display = nullptr;
    unsigned long m_id = 0;
    unsigned long m_view = 0;
    int m_width = 0;
    int m_height = 0;
};

} // namespace kqplay
