// The window: its keys, its size, and what it shows, on an X server of the test's own.
#include "Kqplay.h"

#include <gtest/gtest.h>

#include <csignal>
#include <functional>

// clang-format off: after GoogleTest, whose names the X headers' macros would change.
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/keysym.h>
// clang-format on

using namespace kqtest;

namespace {

bool WaitFor(const std::function<bool()>& condition) {
    for (int i = 0; i < 1000; ++i) {
        if (condition())
            return true;
        usleep(20000);
    }
    return false;
}

constexpr int timelineHeight = 8;

class InWindow : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(m_server.WaitForOutput("\n"));
        m_name = ":" + Lines(m_server.Output())[0];
        m_display = XOpenDisplay(m_name.c_str());
        ASSERT_NE(m_display, nullptr);
    }

    void TearDown() override {
        if (m_display)
            XCloseDisplay(m_display);
    }

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
        WaitFor([&] {
            for (Window window : Children(DefaultRootWindow(m_display))) {
                XWindowAttributes attributes;
                if (XGetWindowAttributes(m_display, window, &attributes) != 0 &&
                    attributes.map_state == IsViewable && !Children(window).empty())
                    found = window;
            }
            return found != 0;
        });
        return found;
    }

    /// A capital letter is typed with Shift.
    void PressKey(Window window, KeySym key) {
        const bool shift = key >= XK_A && key <= XK_Z;
        if (shift)
            SendKey(window, XK_Shift_L, KeyPress);
        SendKey(window, key, KeyPress);
        SendKey(window, key, KeyRelease);
        if (shift)
            SendKey(window, XK_Shift_L, KeyRelease);
        XFlush(m_display);
    }

    void SendKey(Window window, KeySym key, int type) {
        XKeyEvent event = {};
        event.display = m_display;
        event.window = window;
        event.root = DefaultRootWindow(m_display);
        event.same_screen = True;
        event.keycode = XKeysymToKeycode(m_display, key);
        event.type = type;
        XSendEvent(m_display, window, True, type == KeyPress ? KeyPressMask : KeyReleaseMask,
                   reinterpret_cast<XEvent*>(&event));
    }

    /// Presses, moves or releases the left button, with coordinates inside the window.
    void Mouse(Window window, int type, int x, int y) {
        XEvent event = {};
        event.type = type;
        XButtonEvent& button = event.xbutton; // the same layout as a motion event's, but for the button
        button.display = m_display;
        button.window = window;
        button.root = DefaultRootWindow(m_display);
        button.same_screen = True;
        button.x = x;
        button.y = y;
        if (type != MotionNotify)
            button.button = Button1;
        XSendEvent(m_display, window, True, ButtonPressMask | ButtonReleaseMask | PointerMotionMask, &event);
        XFlush(m_display);
    }

    void CloseButton(Window window) {
        XClientMessageEvent event = {};
        event.type = ClientMessage;
        event.window = window;
        event.message_type = XInternAtom(m_display, "WM_PROTOCOLS", False);
        event.format = 32;
        event.data.l[0] = static_cast<long>(XInternAtom(m_display, "WM_DELETE_WINDOW", False));
        XSendEvent(m_display, window, False, NoEventMask, reinterpret_cast<XEvent*>(&event));
        XFlush(m_display);
    }

    /// @return true when the view fills its window and shows more than one colour
    bool ViewFills(Window window, unsigned width, unsigned height) {
        XWindowAttributes view;
        const Window child = Children(window).at(0);
        if (XGetWindowAttributes(m_display, child, &view) == 0 || view.x != 0 || view.y != 0 ||
            static_cast<unsigned>(view.width) != width || static_cast<unsigned>(view.height) != height)
            return false;
        XImage* image = XGetImage(m_display, child, 0, 0, width, height, AllPlanes, ZPixmap);
        bool coloured = false;
        for (unsigned x = 0; image && x < width; ++x)
            coloured = coloured || XGetPixel(image, static_cast<int>(x), static_cast<int>(height / 2)) !=
                                       XGetPixel(image, 0, static_cast<int>(height / 2));
        if (image)
            XDestroyImage(image);
        return coloured;
    }

    TemporaryFolder m_folder;
    Process m_server{{"Xvfb", "-displayfd", "1", "-screen", "0", "1024x768x24", "-nolisten", "tcp"}};
    std::string m_name;
    Display* m_display = nullptr;
};

TEST_F(InWindow, ShowsThePictureFollowsTheSizeAndTakesKeys) {
    Process kqplay({KqplayPath(), "--audio", "null", "--trace", m_folder / "trace", Clip("long.mp4")},
                   {{"DISPLAY", m_name}, {"TERM", "xterm"}}, Process::Streams::PseudoTerminal);
    const Window window = FindWindow();
    ASSERT_NE(window, 0u);
    char* title = nullptr;
    XFetchName(m_display, window, &title);
    EXPECT_STREQ(title, "long.mp4 - kqplay");
    XFree(title);

    XResizeWindow(m_display, window, 401, 303);
    XFlush(m_display);
    EXPECT_TRUE(WaitFor([&] { return ViewFills(window, 401, 303 - timelineHeight); }));

    PressKey(window, XK_space);
    EXPECT_TRUE(kqplay.WaitForOutput("paused  0:"));
    PressKey(window, XK_space);
    PressKey(window, XK_S);
    EXPECT_TRUE(kqplay.WaitForOutput("stopped  0:"));
    PressKey(window, XK_q);
    const Outcome outcome = kqplay.Finish();
    EXPECT_EQ(outcome.status, 0) << outcome.out;
    EXPECT_EQ(States(ReadTrace(m_folder / "trace")), (std::vector<int>{1, 2, 1, 3, 0}));
}

TEST_F(InWindow, AClickOrDragOnTheTimelineGoesThere) {
    Process kqplay({KqplayPath(), "--no-audio", Clip("long.mp4")}, {{"DISPLAY", m_name}, {"TERM", "xterm"}},
                   Process::Streams::PseudoTerminal);
    const Window window = FindWindow();
    ASSERT_NE(window, 0u);
    XWindowAttributes size;
    XGetWindowAttributes(m_display, window, &size);
    PressKey(window, XK_space);
    ASSERT_TRUE(kqplay.WaitForOutput("paused  0:"));
    const int bar = size.height - timelineHeight / 2;
    Mouse(window, ButtonPress, size.width / 2, size.height / 4); // the picture is no timeline
    Mouse(window, ButtonRelease, size.width / 2, size.height / 4);
    Mouse(window, ButtonPress, (size.width - 1) / 2, bar);
    EXPECT_TRUE(kqplay.WaitForOutput("paused  0:29.") || kqplay.WaitForOutput("paused  0:30.", 1));
    Mouse(window, MotionNotify, 0, bar);
    EXPECT_TRUE(kqplay.WaitForOutput("paused  0:00.00"));
    Mouse(window, ButtonRelease, 0, bar);
    PressKey(window, XK_q);
    EXPECT_EQ(kqplay.Finish().status, 0);
}

TEST_F(InWindow, ClosingItQuits) {
    Process kqplay({KqplayPath(), "--no-audio", Clip("long.mp4")}, {{"DISPLAY", m_name}});
    const Window window = FindWindow();
    ASSERT_NE(window, 0u);
    CloseButton(window);
    const Outcome outcome = kqplay.Finish();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(outcome.out.rfind("quit  0:", 0), 0u) << outcome.out;
}

TEST_F(InWindow, FitsOnTheScreen) {
    const std::string big = m_folder / "big.mkv";
    ASSERT_EQ(RunProcess({"ffmpeg", "-v", "error", "-f", "lavfi", "-i", "color=red:size=3000x1000:rate=1",
                          "-t", "20", "-c:v", "ffv1", big})
                  .status,
              0);
    Process kqplay({KqplayPath(), big}, {{"DISPLAY", m_name}});
    const Window window = FindWindow();
    ASSERT_NE(window, 0u);
    XWindowAttributes attributes;
    XGetWindowAttributes(m_display, window, &attributes);
    EXPECT_EQ(attributes.width, 1024);
    EXPECT_EQ(attributes.height, 341 + timelineHeight);
    kill(kqplay.Id(), SIGTERM);
    const Outcome outcome = kqplay.Finish();
    EXPECT_EQ(outcome.status, 0) << outcome.out;
}

TEST(WithoutDisplay, PlaysOffScreenAndSaysSo) {
    for (const Process::Environment& environment :
         {Process::Environment{}, Process::Environment{{"DISPLAY", ":987"}},
          Process::Environment{{"SDL_VIDEODRIVER", "dummy"}}}) {
        const Outcome outcome = RunProcess({KqplayPath(), "--no-audio", Clip("silent.mp4")}, environment);
        EXPECT_EQ(outcome.status, 0);
        ASSERT_EQ(Lines(outcome.err).size(), 1u) << outcome.err;
        EXPECT_EQ(outcome.err.rfind("kqplay: no window (", 0), 0u) << outcome.err;
        EXPECT_GE(outcome.seconds, 0.9);
    }
}

} // namespace
