/// @file
#pragma once

#include <sys/types.h>
#include <xcb/xcb.h>

#include <cstdint>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

namespace kqtest {

/// A screenshot: rows from top to bottom, a pixel 0xRRGGBB. Empty when there was nothing to take it of.
struct Image {
    int width = 0;
    int height = 0;
    std::vector<std::uint32_t> pixels;

    std::uint32_t At(int x, int y) const { return pixels.at(static_cast<std::size_t>(y) * width + x); }
};

/// An X server of the test's own, on a display number that is free, and a connection to it for what a host, a
/// window manager or a user would do. While it lives DISPLAY names it. To be used from one thread.
class Xvfb {
public:
    /// Starts the server and waits until it can be used.
    /// @param extraArguments for the server, for instance {"-extension", "MIT-SHM"}
    /// @throw std::runtime_error when it does not start
    explicit Xvfb(const std::vector<std::string>& extraArguments = {});
    ~Xvfb();
    Xvfb(const Xvfb&) = delete;
    Xvfb& operator=(const Xvfb&) = delete;

    /// The server reads and answers nothing while the object lives, as a busy one does for a moment.
    class Paused {
    public:
        explicit Paused(const Xvfb& server);
        ~Paused();
        Paused(const Paused&) = delete;
        Paused& operator=(const Paused&) = delete;

    private:
        const pid_t m_pid;
    };

    /// Ends the server, as if the display were lost. DISPLAY keeps naming it until the destructor.
    void Stop();

    const std::string& Display() const { return m_display; }
    pid_t Id() const { return m_pid; } ///< of the server

    /// Makes and maps a window filled with a colour.
    xcb_window_t MakeWindow(int x, int y, int width, int height, std::uint32_t rgb = 0x808080);
    void DestroyWindow(xcb_window_t window);
    void ResizeWindow(xcb_window_t window, int width, int height);
    /// @return whether the window and all its ancestors are mapped; false for a window that does not exist
    bool IsShown(xcb_window_t window);
    bool Exists(xcb_window_t window);
    /// Fills a window with a colour, over what its owner has drawn.
    void Fill(xcb_window_t window, std::uint32_t rgb);
    /// Sends the owner of a window word that a part of it was uncovered and, in the same breath, that it has
    /// the place and size that it has.
    void SendExposeAndConfigure(xcb_window_t window, int width, int height);
    /// Sends what a window manager sends when the user closes a top-level window.
    void RequestClose(xcb_window_t window);

    /// @return the children of a window, the topmost last
    /// @param window 0: the root window
    std::vector<xcb_window_t> Children(xcb_window_t window = 0);

    /// @param window 0: the root window
    Image Screenshot(xcb_window_t window = 0);
    /// A screenshot of a part of a window, which has to lie within it.
    Image Part(xcb_window_t window, int x, int y, int width, int height);
    /// @return the size of a window, as a screenshot without pixels
    Image SizeOf(xcb_window_t window);
    /// Takes screenshots until one is as wanted, for a long time. @return the last one
    Image WaitFor(const std::function<bool(const Image&)>& isWanted, xcb_window_t window = 0);

private:
    xcb_atom_t Atom(const std::string& name);
    void Sync();

    std::FILE* m_server = nullptr; ///< what it writes
    pid_t m_pid = -1;
    std::string m_display;
    xcb_connection_t* m_connection = nullptr;
    xcb_window_t m_root = 0;
};

} // namespace kqtest
