// The window on X11: views are child windows.
#include "NativeWindow.h"
#include "Options.h"

#include <SDL.h>
#include <SDL_syswm.h>
#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <unistd.h>

#include <algorithm>

namespace kqplay {
namespace {

bool serverIsGone = false;
Display* survivedDisplay = nullptr; ///< the one that a lost connection is survived on

/// Xlib's own handler, and the step after any handler, end the process, with the sound device open and files
/// unfinished.
int OnLostConnection(Display* display) {
    serverIsGone = true;
    if (display == survivedDisplay) {
        return 0;
    }
    // Not yet ours, while SDL starts: nothing stops Xlib from exit(), under which sound libraries abort.
    constexpr char line[] = "kqplay: the X server has gone\n";
    [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, line, sizeof line - 1);
    _exit(ExitFailed);
}

void SurviveLostConnection(Display* display) {
    survivedDisplay = display;
    XSetIOErrorExitHandler(
        display, [](Display*, void*) {}, nullptr);
}

Window AsWindow(void* view) {
    return static_cast<Window>(reinterpret_cast<std::uintptr_t>(view));
}

void* AsParent(Window window) {
    return reinterpret_cast<void*>(static_cast<std::uintptr_t>(window));
}

/// A child window whose background the pixels are: the server itself draws them wherever it is uncovered.
class X11Overlay final : public Overlay {
public:
    X11Overlay(Display* display, Window parent) : m_display(display), m_parent(parent) {}
    ~X11Overlay() override {
        if (m_window != 0 && !serverIsGone) {
            XDestroyWindow(m_display, m_window);
        }
    }
    X11Overlay(const X11Overlay&) = delete;
    X11Overlay& operator=(const X11Overlay&) = delete;

    void Show(const Area& area, const std::vector<std::uint32_t>& pixels) override {
        const auto width = static_cast<unsigned>(area.width);
        const auto height = static_cast<unsigned>(area.height);
        if (m_window == 0) {
            XWindowAttributes parent = {};
            XGetWindowAttributes(m_display, m_parent, &parent);
            m_depth = static_cast<unsigned>(parent.depth);
            m_window = XCreateSimpleWindow(m_display, m_parent, area.left, area.top, width, height, 0, 0, 0);
        }
        auto* const data = reinterpret_cast<char*>(const_cast<std::uint32_t*>(pixels.data()));
        constexpr int bits = 32; // a pixel; the view library shows nothing on servers that have others
        XImage* const image =
            XCreateImage(m_display, nullptr, m_depth, ZPixmap, 0, data, width, height, bits, 0);
        if (!image) {
            return;
        }
        image->byte_order = LSBFirst;
        const Pixmap pixmap = XCreatePixmap(m_display, m_window, width, height, m_depth);
        const GC context = XCreateGC(m_display, pixmap, 0, nullptr);
        XPutImage(m_display, pixmap, context, image, 0, 0, 0, 0, width, height);
        XFreeGC(m_display, context);
        image->data = nullptr; // the caller's
        XDestroyImage(image);
        XSetWindowBackgroundPixmap(m_display, m_window, pixmap);
        XFreePixmap(m_display, pixmap);
        XMoveResizeWindow(m_display, m_window, area.left, area.top, width, height);
        XMapRaised(m_display, m_window);
        XClearWindow(m_display, m_window);
        XFlush(m_display);
    }

    void Hide() override {
        if (m_window != 0) {
            XUnmapWindow(m_display, m_window);
            XFlush(m_display);
        }
    }

private:
    Display* m_display;
    Window m_parent;
    Window m_window = 0; ///< made when there is something to show
    unsigned m_depth = 0;
};

class X11Window final : public NativeWindow {
public:
    X11Window(Display* display, Window id) : m_display(display), m_id(id) {
        SurviveLostConnection(m_display);
        SDL_EventState(SDL_SYSWMEVENT, SDL_ENABLE);
        XFlush(m_display); // the window must exist before another connection makes a child of it
    }

    void* ViewParent() override { return AsParent(m_id); }

    void* SecondViewParent() override {
        if (m_second == 0) {
            m_second = XCreateSimpleWindow(m_display, m_id, 0, 0, 1, 1, 0, 0, 0);
            XFlush(m_display);
        }
        return AsParent(m_second);
    }

    void PlaceView(void* view, const ViewPlace& place, bool isSecond) override {
        const bool isCut = isSecond && m_second != 0;
        const Window outer = isCut ? m_second : AsWindow(view);
        const auto& [visible, whole] = place;
        if (place.IsShown()) {
            Place(outer, visible);
        }
        if (isCut) {
            Place(AsWindow(view),
                  {whole.left - visible.left, whole.top - visible.top, whole.width, whole.height});
        }
        Show(outer, place.IsShown());
    }

    void PlaceDivider(const Area& area, std::uint32_t colour) override {
        const bool isShown = area.width > 0 && area.height > 0;
        if (m_divider == 0) {
            m_divider = XCreateSimpleWindow(m_display, m_id, 0, 0, 1, 1, 0, 0, colour);
        }
        if (isShown) {
            Place(m_divider, area);
        }
        Show(m_divider, isShown);
    }

    void DrawTimeline(const std::vector<Stripe>& stripes, const Area& area) override {
        const GC context = XCreateGC(m_display, m_id, 0, nullptr);
        for (const Stripe& stripe : stripes) {
            XSetForeground(m_display, context, stripe.colour);
            XFillRectangle(m_display, m_id, context, stripe.left, area.top + stripe.top,
                           static_cast<unsigned>(std::max(0, stripe.right - stripe.left)),
                           static_cast<unsigned>(stripe.bottom - stripe.top));
        }
        XFreeGC(m_display, context);
        XFlush(m_display);
    }

    std::unique_ptr<Overlay> MakeOverlay() override { return std::make_unique<X11Overlay>(m_display, m_id); }
    void Resize(Size /*size*/) override {}
    void Flush() override { XFlush(m_display); }

    /// @return true when there is a window manager that can make windows fill the screen
    bool HasFullScreen() override {
        const Atom supported = XInternAtom(m_display, "_NET_SUPPORTED", False);
        const Atom fullScreen = XInternAtom(m_display, "_NET_WM_STATE_FULLSCREEN", False);
        constexpr long most = 4096; // in 32-bit units
        Atom type = None;
        int format = 0;
        unsigned long count = 0;
        unsigned long left = 0;
        unsigned char* data = nullptr;
        if (XGetWindowProperty(m_display, DefaultRootWindow(m_display), supported, 0, most, False, XA_ATOM,
                               &type, &format, &count, &left, &data) != Success ||
            !data) {
            return false;
        }
        const auto* atoms = reinterpret_cast<const Atom*>(data);
        const bool has = type == XA_ATOM && std::find(atoms, atoms + count, fullScreen) != atoms + count;
        XFree(data);
        return has;
    }

    /// Takes the X server's own events: SDL gives a press the place where it last saw the pointer, which is
    /// an old one when the pointer has come from elsewhere since.
    std::optional<MouseEvent> MouseOf(const SDL_Event& event) override {
        if (event.type != SDL_SYSWMEVENT) {
            return std::nullopt;
        }
        const XEvent& x11 = event.syswm.msg->msg.x11.event;
        const XButtonEvent& button = x11.xbutton;
        switch (x11.type) {
        case MotionNotify:
            return MouseEvent{MouseEvent::Kind::Move, x11.xmotion.x, x11.xmotion.y};
        case ButtonPress:
            if (button.button == Button4 || button.button == Button5) { // the wheel
                return MouseEvent{MouseEvent::Kind::Wheel, button.x, button.y, 0,
                                  button.button == Button4 ? 1 : -1};
            }
            return MouseEvent{MouseEvent::Kind::Press, button.x, button.y, static_cast<int>(button.button)};
        case ButtonRelease:
            return MouseEvent{MouseEvent::Kind::Release, button.x, button.y, static_cast<int>(button.button)};
        default:
            return std::nullopt;
        }
    }

    int Fd() const override { return ConnectionNumber(m_display); }
    int Poll(pollfd* sources, nfds_t count, int milliseconds) override {
        return poll(sources, count, milliseconds);
    }
    void AfterEvents() override {}
    bool IsLost() const override { return serverIsGone; }
    const char* LostText() const override { return "the X server has gone"; }

private:
    void Place(Window window, const Area& area) {
        XMoveResizeWindow(m_display, window, area.left, area.top,
                          static_cast<unsigned>(std::max(1, area.width)),
                          static_cast<unsigned>(std::max(1, area.height)));
    }
    void Show(Window window, bool isShown) {
        isShown ? XMapWindow(m_display, window) : XUnmapWindow(m_display, window);
    }

    Display* m_display;
    Window m_id;
    Window m_second = 0;  ///< what the second view of a comparison lies in, and is cut off by
    Window m_divider = 0; ///< the line between the two
};

} // namespace

void PrepareX11() {
    XSetIOErrorHandler(OnLostConnection);
    SDL_SetHint(SDL_HINT_VIDEODRIVER, "x11");
    SDL_SetHint(SDL_HINT_VIDEO_X11_NET_WM_BYPASS_COMPOSITOR, "0");
}

std::unique_ptr<NativeWindow> AdoptX11Window(SDL_Window* window, std::string& error) {
    SDL_SysWMinfo info;
    SDL_VERSION(&info.version);
    if (SDL_GetWindowWMInfo(window, &info) != SDL_TRUE || info.subsystem != SDL_SYSWM_X11) {
        error = "not an X11 window";
        return nullptr;
    }
    return std::make_unique<X11Window>(info.info.x11.display, info.info.x11.window);
}

} // namespace kqplay
