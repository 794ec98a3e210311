#include "VideoWindow.h"

#include <SDL.h>
#include <SDL_syswm.h>
#include <X11/Xlib.h>

#include <algorithm>
#include <cstdlib>

namespace kqplay {
namespace {

constexpr int smallestSide = 120;

/// SDL is to take no signals, and only X11: the view library needs an X11 window as its parent.
bool StartSdl() {
    SDL_SetHint(SDL_HINT_NO_SIGNAL_HANDLERS, "1");
    SDL_SetHint(SDL_HINT_VIDEODRIVER, "x11");
    SDL_SetHint(SDL_HINT_VIDEO_X11_NET_WM_BYPASS_COMPOSITOR, "0");
    return SDL_Init(SDL_INIT_VIDEO) == 0;
}

/// Scales a size down, ratio kept, until it fits on the screen.
void FitToScreen(int& width, int& height) {
    SDL_Rect screen;
    if (SDL_GetDisplayUsableBounds(0, &screen) != 0)
        return;
    const double factor = std::min({1.0, screen.w * 1.0 / width, screen.h * 1.0 / height});
    width = std::max(smallestSide, static_cast<int>(width * factor));
    height = std::max(smallestSide, static_cast<int>(height * factor));
}

} // namespace

std::unique_ptr<VideoWindow> VideoWindow::Open(const std::string& title, int width, int height,
                                               std::string& error) {
    std::unique_ptr<VideoWindow> window(new VideoWindow);
    const auto refused = [&](const char* reason) {
        error = reason;
        return nullptr;
    };
    if (!std::getenv("DISPLAY"))
        return refused("DISPLAY is not set");
    if (!StartSdl())
        return refused(SDL_GetError());
    FitToScreen(width, height);
    window->m_window = SDL_CreateWindow(title.c_str(), SDL_WINDOWPOS_UNDEFINED, SDL_WINDOWPOS_UNDEFINED,
                                        width, height, SDL_WINDOW_RESIZABLE);
    if (!window->m_window)
        return refused(SDL_GetError());
    SDL_SysWMinfo info;
    SDL_VERSION(&info.version);
    if (SDL_GetWindowWMInfo(window->m_window, &info) != SDL_TRUE || info.subsystem != SDL_SYSWM_X11)
        return refused("not an X11 window");
    window->m_display = info.info.x11.display;
    window->m_id = info.info.x11.window;
    SDL_GetWindowSize(window->m_window, &window->m_width, &window->m_height);
    XFlush(window->m_display); // the window must exist before another connection makes a child of it
    return window;
}

VideoWindow::~VideoWindow() {
    if (m_window)
        SDL_DestroyWindow(m_window);
    SDL_Quit();
}

void* VideoWindow::Handle() const {
    return reinterpret_cast<void*>(static_cast<std::uintptr_t>(m_id));
}

void VideoWindow::Adopt(void* viewWindow) {
    m_view = static_cast<unsigned long>(reinterpret_cast<std::uintptr_t>(viewWindow));
    FitView();
}

int VideoWindow::Fd() const {
    return ConnectionNumber(m_display);
}

std::vector<Command> VideoWindow::Take() {
    std::vector<Command> commands;
    SDL_Event event;
    while (SDL_PollEvent(&event) != 0) {
        if (event.type == SDL_QUIT)
            commands.push_back(Command::Quit);
        if (event.type == SDL_KEYDOWN)
            commands.push_back(CommandOfKey(event.key.keysym.sym));
        if (event.type == SDL_WINDOWEVENT && event.window.event == SDL_WINDOWEVENT_SIZE_CHANGED) {
            m_width = event.window.data1;
            m_height = event.window.data2;
            FitView();
        }
    }
    return commands;
}

void VideoWindow::FitView() {
    if (m_view == 0)
        return;
    XMoveResizeWindow(m_display, m_view, 0, 0, static_cast<unsigned>(m_width),
                      static_cast<unsigned>(m_height));
    XFlush(m_display);
}

} // namespace kqplay
