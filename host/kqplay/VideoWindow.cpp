#include "VideoWindow.h"

#include "Keys.h"
#include "Options.h"

#include <SDL.h>
#include <SDL_syswm.h>
#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <text/Utf8.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace kqplay {
namespace {

constexpr int smallestSide = 120;

constexpr int scopePercent = 30; ///< of the window's width

constexpr int timelineHeight = 8;
constexpr unsigned long playedColour = 0xD0D0D0;
constexpr unsigned long timelineColour = 0x404040;
constexpr int markHeight = 2; ///< of what lies along the timeline's edges
constexpr unsigned long keptColour = 0x5090D0;
constexpr unsigned long repeatedColour = 0xF0A030;
constexpr unsigned long differingColour = 0xD04040;

constexpr int dividerWidth = 2;
constexpr unsigned long dividerColour = 0xF0F0F0;

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

/// SDL is to take no signals, and only X11: the view library needs an X11 window as its parent.
bool StartSdl() {
    XSetIOErrorHandler(OnLostConnection);
    SDL_SetHint(SDL_HINT_NO_SIGNAL_HANDLERS, "1");
    SDL_SetHint(SDL_HINT_VIDEODRIVER, "x11");
    SDL_SetHint(SDL_HINT_VIDEO_X11_NET_WM_BYPASS_COMPOSITOR, "0");
    if (SDL_Init(SDL_INIT_VIDEO) != 0) {
        return false;
    }
    SDL_EventState(SDL_SYSWMEVENT, SDL_ENABLE);
    return true;
}

/// Xlib leaks a title that it cannot convert, and file names need not be UTF-8.
/// @return the text with U+FFFD for what is none
std::string AsUtf8(const std::string& text) {
    std::string valid;
    for (const char* at = text.c_str(); *at != '\0';) {
        char bytes[kq::text::maxUtf8Length];
        const int count = kq::text::EncodeUtf8(kq::text::DecodeUtf8(at), bytes);
        valid.append(bytes, static_cast<std::size_t>(count));
    }
    return valid;
}

struct NamedKey {
    SDL_Keycode symbol;
    int key;
};

constexpr NamedKey namedKeys[] = {
    {SDLK_LEFT, KeyLeft},           {SDLK_RIGHT, KeyRight},  {SDLK_UP, KeyUp},
    {SDLK_DOWN, KeyDown},           {SDLK_HOME, KeyHome},    {SDLK_END, KeyEnd},
    {SDLK_ESCAPE, KeyEscape},       {SDLK_RETURN, KeyEnter}, {SDLK_KP_ENTER, KeyEnter},
    {SDLK_BACKSPACE, KeyBackspace},
};

/// @return true while keys are meant as commands and not as the characters that they type
bool IsCommandKey(int modifiers) {
    return (modifiers & (KMOD_CTRL | KMOD_LALT)) != 0;
}

/// @return the code of a key that is pressed together with Alt or Ctrl, 0 for none
int CodeOfCommand(const SDL_Keysym& pressed) {
    const bool isAlt = (pressed.mod & KMOD_LALT) != 0;
    if (isAlt && pressed.sym >= SDLK_1 && pressed.sym <= SDLK_9) {
        return KeyFile1 + pressed.sym - SDLK_1;
    }
    switch ((pressed.mod & KMOD_CTRL) != 0 ? pressed.sym : SDLK_UNKNOWN) {
    case SDLK_PLUS:
    case SDLK_EQUALS: // below the plus of many keyboards
    case SDLK_KP_PLUS:
        return KeyControlPlus;
    case SDLK_MINUS:
    case SDLK_KP_MINUS:
        return KeyControlMinus;
    default:
        return 0;
    }
}

/// @return the code of a key that types no character, 0 for any other: those come as text, whatever the
///         keyboard's layout
int CodeOf(const SDL_Keysym& pressed) {
    if (pressed.sym >= SDLK_F1 && pressed.sym <= SDLK_F9) {
        return KeyFile1 + pressed.sym - SDLK_F1;
    }
    if (IsCommandKey(pressed.mod)) {
        return CodeOfCommand(pressed);
    }
    const auto* named = std::find_if(std::begin(namedKeys), std::end(namedKeys),
                                     [&](const NamedKey& row) { return row.symbol == pressed.sym; });
    return named == std::end(namedKeys) ? 0 : named->key;
}

/// @return true when there is a window manager that can make windows fill the screen
bool HasFullScreen(Display* display) {
    const Atom supported = XInternAtom(display, "_NET_SUPPORTED", False);
    const Atom fullScreen = XInternAtom(display, "_NET_WM_STATE_FULLSCREEN", False);
    constexpr long most = 4096; // in 32-bit units
    Atom type = None;
    int format = 0;
    unsigned long count = 0;
    unsigned long left = 0;
    unsigned char* data = nullptr;
    if (XGetWindowProperty(display, DefaultRootWindow(display), supported, 0, most, False, XA_ATOM, &type,
                           &format, &count, &left, &data) != Success ||
        !data) {
        return false;
    }
    const auto* atoms = reinterpret_cast<const Atom*>(data);
    const bool has = type == XA_ATOM && std::find(atoms, atoms + count, fullScreen) != atoms + count;
    XFree(data);
    return has;
}

/// Scales a size down, ratio kept, until it fits on the screen together with the timeline.
void FitToScreen(int& width, int& height) {
    SDL_Rect screen;
    if (SDL_GetDisplayUsableBounds(0, &screen) != 0) {
        return;
    }
    const double factor = std::min({1.0, screen.w * 1.0 / width, (screen.h - timelineHeight) * 1.0 / height});
    width = std::max(smallestSide, static_cast<int>(width * factor));
    height = std::max(smallestSide, static_cast<int>(height * factor));
}

} // namespace

std::unique_ptr<VideoWindow> VideoWindow::Open(const std::string& title, Size picture,
                                               const Arrangement& arrangement, std::string& error) {
    std::unique_ptr<VideoWindow> window(new VideoWindow);
    const auto refused = [&](const char* reason) {
        error = reason;
        return nullptr;
    };
    if (!std::getenv("DISPLAY")) {
        return refused("DISPLAY is not set");
    }
    if (!StartSdl()) {
        return refused(SDL_GetError());
    }
    window->m_arrangement = arrangement;
    auto [width, height] = NeededSize(arrangement, picture);
    FitToScreen(width, height);
    window->m_window =
        SDL_CreateWindow(AsUtf8(title).c_str(), SDL_WINDOWPOS_UNDEFINED, SDL_WINDOWPOS_UNDEFINED, width,
                         height + timelineHeight, SDL_WINDOW_RESIZABLE);
    if (!window->m_window) {
        return refused(SDL_GetError());
    }
    SDL_SysWMinfo info;
    SDL_VERSION(&info.version);
    if (SDL_GetWindowWMInfo(window->m_window, &info) != SDL_TRUE || info.subsystem != SDL_SYSWM_X11) {
        return refused("not an X11 window");
    }
    window->m_display = info.info.x11.display;
    window->m_id = info.info.x11.window;
    SurviveLostConnection(window->m_display);
    SDL_GetWindowSize(window->m_window, &window->m_width, &window->m_height);
    SDL_StartTextInput();
    XFlush(window->m_display); // the window must exist before another connection makes a child of it
    return window;
}

VideoWindow::~VideoWindow() {
    if (serverIsGone) { // every connection of SDL's would end the process when it is closed
        return;
    }
    if (m_window) {
        SDL_DestroyWindow(m_window);
    }
    SDL_Quit();
}

void* VideoWindow::Handle() const {
    return reinterpret_cast<void*>(static_cast<std::uintptr_t>(m_id));
}

void VideoWindow::Renew(const std::string& title) {
    SDL_SetWindowTitle(m_window, AsUtf8(title).c_str());
    m_views.clear();
    m_texts.clear(); // new ones lie above the new views
    m_scope = 0;
    m_bar = {};
    m_clicked.reset();
}

void* VideoWindow::SecondHandle() {
    if (m_second == 0) {
        m_second = XCreateSimpleWindow(m_display, m_id, 0, 0, 1, 1, 0, 0, 0);
        XFlush(m_display);
    }
    return reinterpret_cast<void*>(static_cast<std::uintptr_t>(m_second));
}

void VideoWindow::SetLayout(Layout layout) {
    m_arrangement.layout = layout;
    FitViews();
}

void VideoWindow::Adopt(const std::vector<void*>& viewWindows) {
    for (void* view : viewWindows) {
        m_views.push_back(static_cast<unsigned long>(reinterpret_cast<std::uintptr_t>(view)));
    }
    if (m_second != 0) { // above the views
        m_divider = XCreateSimpleWindow(m_display, m_id, 0, 0, dividerWidth, 1, 0, 0, dividerColour);
    }
    FitViews();
    DrawTimeline();
}

void VideoWindow::SetScope(void* viewWindow) {
    m_scope = static_cast<unsigned long>(reinterpret_cast<std::uintptr_t>(viewWindow));
    FitViews();
}

void VideoWindow::ShowText(std::size_t view, const std::vector<TextLine>& lines, TextRenderer& text) {
    if (serverIsGone) {
        return;
    }
    const std::vector<ViewPlace> places = ViewPlaces();
    while (m_texts.size() < places.size()) {
        m_texts.emplace_back(m_display, m_id);
    }
    if (view < places.size()) {
        const bool isShown = places[view].IsShown();
        m_texts[view].Show(isShown ? lines : std::vector<TextLine>(), places[view].visible, text);
    }
}

void VideoWindow::ToggleFullScreen() {
    if (m_before || !HasFullScreen(m_display)) {
        return FillScreen();
    }
    const bool full = (SDL_GetWindowFlags(m_window) & SDL_WINDOW_FULLSCREEN_DESKTOP) != 0;
    SDL_SetWindowFullscreen(m_window, full ? 0 : SDL_WINDOW_FULLSCREEN_DESKTOP);
}

/// Without a window manager SDL would put the window into another one of the screen's size, as it is.
void VideoWindow::FillScreen() {
    Place place = m_before.value_or(Place{});
    if (m_before) {
        m_before.reset();
    } else {
        SDL_Rect screen;
        if (SDL_GetDisplayBounds(std::max(0, SDL_GetWindowDisplayIndex(m_window)), &screen) != 0) {
            return;
        }
        SDL_GetWindowPosition(m_window, &place.x, &place.y);
        SDL_GetWindowSize(m_window, &place.width, &place.height);
        m_before = place;
        place = {screen.x, screen.y, screen.w, screen.h};
    }
    SDL_SetWindowPosition(m_window, place.x, place.y);
    SDL_SetWindowSize(m_window, place.width, place.height);
}

void VideoWindow::ShowTimeline(const TimelineBar& bar) {
    m_bar = bar;
    if (!(Stripes() == m_drawn)) {
        DrawTimeline();
    }
}

bool VideoWindow::Stripe::operator==(const Stripe& other) const {
    return colour == other.colour && left == other.left && right == other.right && top == other.top &&
           bottom == other.bottom;
}

bool VideoWindow::IsLost() const {
    return serverIsGone;
}

int VideoWindow::Fd() const {
    return ConnectionNumber(m_display);
}

std::vector<int> VideoWindow::Take() {
    std::vector<int> keys;
    SDL_Event event;
    while (SDL_PollEvent(&event) != 0) {
        switch (event.type) {
        case SDL_QUIT:
            m_closed = true;
            break;
        case SDL_KEYDOWN:
            m_pressed = event.key.keysym.scancode;
            m_repeats = event.key.repeat != 0;
            keys.push_back(OnKey(event.key.keysym));
            break;
        case SDL_KEYUP:
            m_flipped = m_flipped && event.key.keysym.sym != SDLK_TAB;
            m_held = event.key.keysym.scancode == m_heldCode ? 0 : m_held;
            break;
        case SDL_TEXTINPUT:
            OnText(event.text.text, keys);
            break;
        case SDL_SYSWMEVENT:
            OnMouse(event.syswm.msg->msg.x11.event);
            break;
        case SDL_WINDOWEVENT:
            OnWindowEvent(event.window.event, event.window.data1, event.window.data2);
            break;
        default:
            break;
        }
    }
    return keys;
}

/// @return the key's code; 0 for one that is a command only while it is pressed
int VideoWindow::OnKey(const SDL_Keysym& pressed) {
    m_flipped = m_flipped || pressed.sym == SDLK_TAB;
    return CodeOf(pressed);
}

void VideoWindow::OnText(const char* text, std::vector<int>& keys) {
    if (IsCommandKey(SDL_GetModState())) {
        return;
    }
    for (const char* at = text; *at != '\0'; ++at) {
        const int key = static_cast<unsigned char>(*at);
        const Command command = CommandOfKey(key);
        const bool isStep = command == Command::StepForward || command == Command::StepBackward;
        if (m_repeats && isStep) {
            m_held = key;
            m_heldCode = m_pressed;
        } else {
            keys.push_back(key);
        }
    }
}

/// Takes the X server's own events: SDL gives a press the place where it last saw the pointer, which is an
/// old one when the pointer has come from elsewhere since.
void VideoWindow::OnMouse(const XEvent& event) {
    switch (event.type) {
    case ButtonPress:
        OnButton(event);
        break;
    case MotionNotify:
        MovePointer(event.xmotion.x, event.xmotion.y);
        Drag(event.xmotion.x);
        MoveDivider(event.xmotion.x, event.xmotion.y);
        break;
    case ButtonRelease:
        m_dragging = m_dragging && event.xbutton.button != Button1;
        m_panning = m_panning && event.xbutton.button != Button3;
        break;
    default:
        break;
    }
}

void VideoWindow::OnButton(const XEvent& event) {
    const XButtonEvent& button = event.xbutton;
    MovePointer(button.x, button.y);
    switch (button.button) {
    case Button1:
        m_dragging = button.y >= m_height - timelineHeight;
        Drag(button.x);
        break;
    case Button3:
        m_panning = button.y < m_height - timelineHeight;
        break;
    case Button4: // the wheel
        ++m_mouse.wheel;
        break;
    case Button5:
        --m_mouse.wheel;
        break;
    default:
        break;
    }
}

void VideoWindow::MovePointer(int x, int y) {
    if (m_panning) {
        m_mouse.draggedX += x - m_mouse.x;
        m_mouse.draggedY += y - m_mouse.y;
    }
    m_mouse.x = x;
    m_mouse.y = y;
}

PictureMouse VideoWindow::TakeMouse() {
    const PictureMouse taken = m_mouse;
    m_mouse.wheel = m_mouse.draggedX = m_mouse.draggedY = 0;
    return taken;
}

void VideoWindow::OnWindowEvent(int event, int width, int height) {
    if (event == SDL_WINDOWEVENT_LEAVE && !m_panning) {
        m_mouse.x = m_mouse.y = -1;
    }
    if (event == SDL_WINDOWEVENT_SIZE_CHANGED) {
        m_width = width;
        m_height = height;
        FitViews();
    }
    if (event == SDL_WINDOWEVENT_SIZE_CHANGED || event == SDL_WINDOWEVENT_EXPOSED) {
        DrawTimeline();
    }
}

void VideoWindow::Drag(int x) {
    if (m_dragging) {
        m_clicked = std::clamp(static_cast<double>(x) / std::max(1, m_width - 1), 0.0, 1.0);
    }
}

void VideoWindow::MoveDivider(int x, int y) {
    const Size free = FreeSize();
    if (!m_arrangement.HasDivider() || m_dragging || y >= free.height) {
        return;
    }
    m_arrangement.divider = std::clamp(static_cast<double>(x) / std::max(1, free.width), 0.0, 1.0);
    FitViews();
}

/// The views share what the timeline and the scope leave. A window too low for both has no timeline.
Size VideoWindow::FreeSize() const {
    return {m_scope != 0 ? m_width - m_width * scopePercent / 100 : m_width,
            m_height > 2 * timelineHeight ? m_height - timelineHeight : m_height};
}

void VideoWindow::FitViews() {
    if (m_views.empty() || serverIsGone) {
        return;
    }
    const auto place = [this](unsigned long window, const Area& area) {
        XMoveResizeWindow(m_display, window, area.left, area.top,
                          static_cast<unsigned>(std::max(1, area.width)),
                          static_cast<unsigned>(std::max(1, area.height)));
    };
    const auto show = [this](unsigned long window, bool isShown) {
        isShown ? XMapWindow(m_display, window) : XUnmapWindow(m_display, window);
    };
    const Size free = FreeSize();
    const std::vector<ViewPlace> places = ViewPlaces();
    for (std::size_t i = 0; i < m_views.size(); ++i) {
        const auto& [visible, whole] = places.at(i);
        const bool isCut = i == 1 && m_second != 0;
        const unsigned long outer = isCut ? m_second : m_views[i];
        if (places[i].IsShown()) {
            place(outer, visible);
        }
        if (isCut) {
            place(m_views[i],
                  {whole.left - visible.left, whole.top - visible.top, whole.width, whole.height});
        }
        show(outer, places[i].IsShown());
    }
    if (m_divider != 0) {
        const int at = static_cast<int>(std::lround(m_arrangement.divider * free.width));
        place(m_divider, {at - dividerWidth / 2, 0, dividerWidth, free.height});
        show(m_divider, m_arrangement.HasDivider());
    }
    if (m_scope != 0) {
        place(m_scope, {free.width, 0, m_width - free.width, free.height});
    }
    XFlush(m_display);
}

/// @return what the timeline is made of, in the order in which it is drawn
std::vector<VideoWindow::Stripe> VideoWindow::Stripes() const {
    const auto pixel = [this](double part) { return static_cast<int>(std::clamp(part, 0.0, 1.0) * m_width); };
    const int played = pixel(m_bar.played);
    std::vector<Stripe> stripes = {{playedColour, 0, played, 0, timelineHeight},
                                   {timelineColour, played, m_width, 0, timelineHeight}};
    for (const TimelineBar::Part& part : m_bar.kept) {
        stripes.push_back({keptColour, pixel(part.begin), std::max(pixel(part.begin) + 1, pixel(part.end)),
                           timelineHeight - markHeight, timelineHeight});
    }
    for (const TimelineBar::Part& part : m_bar.differing) {
        const Stripe stripe = {differingColour, pixel(part.begin),
                               std::max(pixel(part.begin) + 1, pixel(part.end)), markHeight,
                               timelineHeight - markHeight};
        if (stripes.back().colour == differingColour && stripes.back().right >= stripe.left) {
            stripes.back().right = std::max(stripes.back().right, stripe.right); // there may be thousands
        } else {
            stripes.push_back(stripe);
        }
    }
    if (m_bar.repeated.end > m_bar.repeated.begin) {
        const int left = pixel(m_bar.repeated.begin);
        stripes.push_back(
            {repeatedColour, left, std::max(left + 1, pixel(m_bar.repeated.end)), 0, markHeight});
    }
    return stripes;
}

void VideoWindow::DrawTimeline() {
    m_drawn = Stripes();
    const GC context = XCreateGC(m_display, m_id, 0, nullptr);
    for (const Stripe& stripe : m_drawn) {
        XSetForeground(m_display, context, stripe.colour);
        XFillRectangle(m_display, m_id, context, stripe.left, m_height - timelineHeight + stripe.top,
                       static_cast<unsigned>(std::max(0, stripe.right - stripe.left)),
                       static_cast<unsigned>(stripe.bottom - stripe.top));
    }
    XFreeGC(m_display, context);
    XFlush(m_display);
}

} // namespace kqplay
