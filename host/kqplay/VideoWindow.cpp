#include "VideoWindow.h"

#include "Keys.h"

#include <SDL.h>
#include <text/Utf8.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace kqplay {
namespace {

constexpr int smallestSide = 120;

constexpr int scopePercent = 30; ///< of the window's width

constexpr int timelineHeight = 8;
constexpr std::uint32_t playedColour = 0xD0D0D0;
constexpr std::uint32_t timelineColour = 0x404040;
constexpr int markHeight = 2; ///< of what lies along the timeline's edges
constexpr std::uint32_t keptColour = 0x5090D0;
constexpr std::uint32_t repeatedColour = 0xF0A030;
constexpr std::uint32_t differingColour = 0xD04040;

constexpr int dividerWidth = 2;
constexpr std::uint32_t dividerColour = 0xF0F0F0;

bool IsSet(const char* variable) {
    const char* const value = std::getenv(variable);
    return value && *value != '\0';
}

/// Xlib leaks a title that it cannot convert, compositors refuse it, and file names need not be UTF-8.
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
                                               const Arrangement& arrangement, bool wayland,
                                               const ViewLibrary& views, std::string& error) {
    std::unique_ptr<VideoWindow> window(new VideoWindow);
    window->m_arrangement = arrangement;
    const Size size = NeededSize(arrangement, picture);
    if (!wayland && IsSet("DISPLAY")) {
        if (window->Start(title, size, false, views, error)) {
            return window;
        }
        if (window->m_window || !IsSet("WAYLAND_DISPLAY")) {
            return nullptr;
        }
        error.clear();
    } else if (!wayland && !IsSet("WAYLAND_DISPLAY")) {
        error = "DISPLAY is not set, nor is WAYLAND_DISPLAY";
        return nullptr;
    }
    return window->Start(title, size, true, views, error) ? std::move(window) : nullptr;
}

/// SDL is to take no signals, and only the window system that is meant.
bool VideoWindow::Start(const std::string& title, Size size, bool wayland, const ViewLibrary& views,
                        std::string& error) {
    if (wayland && !PrepareWayland(error)) {
        return false;
    }
    if (!wayland) {
        PrepareX11();
    }
    SDL_SetHint(SDL_HINT_NO_SIGNAL_HANDLERS, "1");
    if (SDL_Init(SDL_INIT_VIDEO) != 0) {
        error = SDL_GetError();
        return false;
    }
    FitToScreen(size.width, size.height);
    m_window = SDL_CreateWindow(AsUtf8(title).c_str(), SDL_WINDOWPOS_UNDEFINED, SDL_WINDOWPOS_UNDEFINED,
                                size.width, size.height + timelineHeight, SDL_WINDOW_RESIZABLE);
    if (!m_window) {
        error = SDL_GetError();
        return false;
    }
    m_native = wayland ? AdoptWaylandWindow(m_window, views, error) : AdoptX11Window(m_window, error);
    if (!m_native) {
        return false;
    }
    SDL_GetWindowSize(m_window, &m_width, &m_height);
    m_native->Resize({m_width, m_height});
    SDL_StartTextInput();
    return true;
}

VideoWindow::~VideoWindow() {
    if (m_native && m_native->IsLost()) { // every connection of SDL's would end the process when it is closed
        return;
    }
    m_texts.clear();
    m_native.reset();
    if (m_window) {
        SDL_DestroyWindow(m_window);
    }
    SDL_Quit();
}

void VideoWindow::Renew(const std::string& title) {
    SDL_SetWindowTitle(m_window, AsUtf8(title).c_str());
    m_views.clear();
    m_texts.clear(); // new ones lie above the new views
    m_scope = nullptr;
    m_bar = {};
    m_clicked.reset();
}

void* VideoWindow::SecondHandle() {
    m_hasSecond = true;
    return m_native->SecondViewParent();
}

void VideoWindow::SetLayout(Layout layout) {
    m_arrangement.layout = layout;
    FitViews();
}

void VideoWindow::Adopt(const std::vector<void*>& viewWindows) {
    m_views = viewWindows;
    FitViews();
    DrawTimeline();
}

void VideoWindow::SetScope(void* viewWindow) {
    m_scope = viewWindow;
    FitViews();
}

void VideoWindow::ShowText(std::size_t view, const std::vector<TextLine>& lines, TextRenderer& text) {
    if (IsLost()) {
        return;
    }
    const std::vector<ViewPlace> places = ViewPlaces();
    while (m_texts.size() < places.size()) {
        m_texts.emplace_back(m_native->MakeOverlay());
    }
    if (view < places.size()) {
        const bool isShown = places[view].IsShown();
        m_texts[view].Show(isShown ? lines : std::vector<TextLine>(), places[view].visible, text);
    }
}

void VideoWindow::ToggleFullScreen() {
    if (m_before || !m_native->HasFullScreen()) {
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

std::vector<int> VideoWindow::Take() {
    std::vector<int> keys;
    SDL_Event event;
    while (SDL_PollEvent(&event) != 0) {
        if (const auto mouse = m_native->MouseOf(event)) {
            OnMouse(*mouse);
        }
        switch (event.type) {
        case SDL_QUIT:
            m_closed = true;
            break;
        case SDL_KEYDOWN:
            m_pressed = event.key.keysym.scancode;
            m_repeats = event.key.repeat != 0;
            OnKey(event.key.keysym, keys);
            break;
        case SDL_KEYUP:
            m_flipped = m_flipped && event.key.keysym.sym != SDLK_TAB;
            m_held = event.key.keysym.scancode == m_heldCode ? 0 : m_held;
            break;
        case SDL_TEXTINPUT:
            OnText(event.text.text, keys);
            break;
        case SDL_WINDOWEVENT:
            OnWindowEvent(event.window.event, event.window.data1, event.window.data2);
            break;
        default:
            break;
        }
    }
    m_native->AfterEvents();
    return keys;
}

void VideoWindow::OnKey(const SDL_Keysym& pressed, std::vector<int>& keys) {
    m_flipped = m_flipped || pressed.sym == SDLK_TAB;
    if (const int key = CodeOf(pressed); !m_repeats || IsRepeated(key)) {
        keys.push_back(key);
    }
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
        } else if (!m_repeats || IsRepeated(key)) {
            keys.push_back(key);
        }
    }
}

void VideoWindow::OnMouse(const MouseEvent& event) {
    switch (event.kind) {
    case MouseEvent::Kind::Move:
        MovePointer(event.x, event.y);
        Drag(event.x);
        MoveDivider(event.x, event.y);
        break;
    case MouseEvent::Kind::Press:
        OnPress(event);
        break;
    case MouseEvent::Kind::Release:
        m_dragging = m_dragging && event.button != SDL_BUTTON_LEFT;
        m_panning = m_panning && event.button != SDL_BUTTON_RIGHT;
        break;
    case MouseEvent::Kind::Wheel:
        MovePointer(event.x, event.y);
        m_mouse.wheel += event.wheel;
        break;
    }
}

void VideoWindow::OnPress(const MouseEvent& event) {
    MovePointer(event.x, event.y);
    if (event.button == SDL_BUTTON_LEFT) {
        m_dragging = event.y >= m_height - timelineHeight;
        Drag(event.x);
    } else if (event.button == SDL_BUTTON_RIGHT) {
        m_panning = event.y < m_height - timelineHeight;
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
        m_native->Resize({m_width, m_height});
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
    return {m_scope ? m_width - m_width * scopePercent / 100 : m_width,
            m_height > 2 * timelineHeight ? m_height - timelineHeight : m_height};
}

void VideoWindow::FitViews() {
    if (m_views.empty() || IsLost()) {
        return;
    }
    const Size free = FreeSize();
    const std::vector<ViewPlace> places = ViewPlaces();
    for (std::size_t i = 0; i < m_views.size(); ++i) {
        m_native->PlaceView(m_views[i], places.at(i), i == 1 && m_hasSecond);
    }
    if (m_hasSecond) {
        const int at = static_cast<int>(std::lround(m_arrangement.divider * free.width));
        const Area line = {at - dividerWidth / 2, 0, dividerWidth, free.height};
        m_native->PlaceDivider(m_arrangement.HasDivider() ? line : Area(), dividerColour);
    }
    if (m_scope) {
        const Area column = {free.width, 0, m_width - free.width, free.height};
        m_native->PlaceView(m_scope, {column, column}, false);
    }
    m_native->Flush();
}

/// @return what the timeline is made of, in the order in which it is drawn
std::vector<Stripe> VideoWindow::Stripes() const {
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
    if (m_views.empty() || IsLost()) {
        return;
    }
    m_drawn = Stripes();
    m_native->DrawTimeline(m_drawn, {0, m_height - timelineHeight, m_width, timelineHeight});
}

} // namespace kqplay
