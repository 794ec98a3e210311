/// @file
/// kqplay in a window, on an X server of the test's own.
#pragma once

#include "Kqplay.h"
#include "tests/support/WaitUntil.h"
#include "tests/support/Xvfb.h"

#include <algorithm>
#include <vector>

// clang-format off: after GoogleTest, whose names the X headers' macros would change.
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/keysym.h>
// clang-format on

namespace kqtest {

constexpr int timelineHeight = 8;

class InWindow : public testing::Test {
protected:
    ~InWindow() override { XCloseDisplay(m_display); }

    std::vector<Window> Children(Window parent) {
        Window root = 0;
        Window grandparent = 0;
        Window* list = nullptr;
        unsigned count = 0;
        std::vector<Window> children;
        if (XQueryTree(m_display, parent, &root, &grandparent, &list, &count) != 0 && list) {
            children.assign(list, list + count);
            XFree(list);
        }
        return children;
    }

    /// The program's window, once it is on the screen with the view in it.
    Window FindWindow() {
        Window found = 0;
        kq::test::WaitUntil([&] {
            for (Window window : Children(DefaultRootWindow(m_display))) {
                if (m_server.IsShown(static_cast<xcb_window_t>(window)) && !Children(window).empty()) {
                    found = window;
                }
            }
            return found != 0;
        });
        EXPECT_NE(found, 0u);
        return found;
    }

    XWindowAttributes Attributes(Window window) {
        XWindowAttributes attributes = {};
        XGetWindowAttributes(m_display, window, &attributes);
        return attributes;
    }

    /// Puts a window into the screen's corner, where there is room for it.
    void Fit(Window window, unsigned width, unsigned height) {
        XMoveResizeWindow(m_display, window, 0, 0, width, height);
        XFlush(m_display);
    }

    /// A capital letter is typed with Shift.
    void PressKey(Window window, KeySym key) {
        TypeKey(window, XKeysymToKeycode(m_display, key), key >= XK_A && key <= XK_Z ? ShiftMask : 0);
    }

    /// @param key       its number
    /// @param modifiers that are held down
    void TypeKey(Window window, unsigned key, unsigned modifiers) {
        Send(window, KeyPress, key, 0, 0, modifiers);
        Send(window, KeyRelease, key, 0, 0, modifiers);
    }

    /// Sends what a key or a mouse does.
    /// @param detail the key's or the button's number
    void Send(Window window, int type, unsigned detail, int x = 0, int y = 0, unsigned modifiers = 0) {
        XEvent event = {};
        event.type = type;
        XButtonEvent& button = event.xbutton; // the layout of a key's and a motion event too
        button.display = m_display;
        button.window = window;
        button.root = DefaultRootWindow(m_display);
        button.same_screen = True;
        button.x = x;
        button.y = y;
        button.state = modifiers;
        button.button = detail;
        // A press at the very time of a release is taken for the key's repeat.
        button.time = m_time += 10;
        XSendEvent(m_display, window, True, KeyPressMask | ButtonPressMask | PointerMotionMask, &event);
        XFlush(m_display);
    }

    /// @return true when the view fills its window and shows more than one colour
    bool ViewFills(Window window, int width, int height) {
        const Window child = Children(window).at(0);
        const XWindowAttributes view = Attributes(child);
        const Image image = m_server.Screenshot(static_cast<xcb_window_t>(child));
        const auto row = image.pixels.begin() + image.width * (image.height / 2);
        return view.x == 0 && view.y == 0 && image.width == width && image.height == height &&
               std::any_of(row, row + width, [&](std::uint32_t pixel) { return pixel != *row; });
    }

    Xvfb m_server{{"-screen", "0", "1024x768x24"}};
    Process::Environment m_environment = {{"DISPLAY", m_server.Display()}};
    Time m_time = 0; ///< of the event sent last, milliseconds
    Display* m_display = XOpenDisplay(m_server.Display().c_str());
};

} // namespace kqtest
