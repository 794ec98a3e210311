// The window on Wayland: views, timeline and text are subsurfaces that the view library makes.
#include "NativeWindow.h"
#include "ViewLibrary.h"

#include <kqplayer/wayland.h>

#include <SDL.h>
#include <SDL_syswm.h>
#include <sys/mman.h>
#include <unistd.h>
#include <wayland-client.h>

#include <algorithm>
#include <chrono>
#include <utility>

namespace kqplay {
namespace {

using Clock = std::chrono::steady_clock;

VRECT RectOf(const Area& area) {
    return {area.left, area.top, area.width, area.height};
}

/// What a window needs of the compositor, on an event queue of its own: SDL's is not to see it.
class Globals {
public:
    explicit Globals(wl_display* display) : m_display(display), m_queue(wl_display_create_queue(display)) {
        static constexpr wl_registry_listener listener = {
            [](void* self, wl_registry* registry, std::uint32_t name, const char* interface, std::uint32_t) {
                auto& globals = *static_cast<Globals*>(self);
                if (interface == std::string(wl_shm_interface.name)) {
                    globals.m_shm =
                        static_cast<wl_shm*>(wl_registry_bind(registry, name, &wl_shm_interface, 1));
                }
                globals.m_hasSubsurfaces =
                    globals.m_hasSubsurfaces || interface == std::string(wl_subcompositor_interface.name);
                globals.m_hasSeat = globals.m_hasSeat || interface == std::string(wl_seat_interface.name);
                globals.m_hasShell = globals.m_hasShell || interface == std::string("xdg_wm_base");
            },
            [](void*, wl_registry*, std::uint32_t) {}};
        auto* const wrapper = static_cast<wl_display*>(wl_proxy_create_wrapper(display));
        wl_proxy_set_queue(reinterpret_cast<wl_proxy*>(wrapper), m_queue);
        wl_registry* const registry = wl_display_get_registry(wrapper);
        wl_proxy_wrapper_destroy(wrapper);
        wl_registry_add_listener(registry, &listener, this);
        wl_display_roundtrip_queue(m_display, m_queue);
        wl_registry_destroy(registry);
    }
    ~Globals() {
        if (m_shm) {
            wl_shm_destroy(m_shm);
        }
        wl_event_queue_destroy(m_queue);
    }
    Globals(const Globals&) = delete;
    Globals& operator=(const Globals&) = delete;

    /// @return the name of what is not there, or null
    const char* Lacking() const {
        return !m_shm              ? "wl_shm"
               : !m_hasSubsurfaces ? "wl_subcompositor"
               : !m_hasSeat        ? "wl_seat" // SDL 2.26 crashes without
               : !m_hasShell       ? "xdg_wm_base"
                                   : nullptr;
    }
    /// @return a black picture, null without memory
    wl_buffer* MakeBlack(Size size) const {
        const std::size_t bytes =
            std::size_t{4} * static_cast<std::size_t>(size.width) * static_cast<std::size_t>(size.height);
        const int fd = memfd_create("kqplay-window", MFD_CLOEXEC);
        if (fd < 0 || ftruncate(fd, static_cast<off_t>(bytes)) != 0) {
            return nullptr;
        }
        wl_shm_pool* const pool = wl_shm_create_pool(m_shm, fd, static_cast<std::int32_t>(bytes));
        wl_buffer* const black = wl_shm_pool_create_buffer(pool, 0, size.width, size.height, 4 * size.width,
                                                           WL_SHM_FORMAT_XRGB8888);
        wl_shm_pool_destroy(pool);
        close(fd);
        return black;
    }

private:
    wl_display* m_display;
    wl_event_queue* m_queue;
    wl_shm* m_shm = nullptr;
    bool m_hasSubsurfaces = false;
    bool m_hasSeat = false;
    bool m_hasShell = false;
};

class WaylandWindow;

/// A view of the library's above the player's.
class WaylandOverlay final : public Overlay {
public:
    explicit WaylandOverlay(WaylandWindow& window) : m_window(window) {}
    void Show(const Area& area, const std::vector<std::uint32_t>& pixels) override;
    void Hide() override;

private:
    WaylandWindow& m_window;
    std::unique_ptr<LibraryView> m_view; ///< made when there is something to show
    Area m_area;                         ///< empty while it is hidden
};

class WaylandWindow final : public NativeWindow {
public:
    WaylandWindow(wl_display* display, wl_surface* surface, const ViewLibrary& views)
        : m_display(display), m_surface(surface), m_views(views), m_globals(display),
          m_parent(display, surface) {}
    ~WaylandWindow() override {
        m_timeline.reset();
        m_divider.reset();
        if (m_black) {
            wl_buffer_destroy(m_black);
        }
    }
    WaylandWindow(const WaylandWindow&) = delete;
    WaylandWindow& operator=(const WaylandWindow&) = delete;

    bool CanBeUsed(std::string& error) const {
        if (!m_parent) {
            error = m_views.Path() + " shows nothing on Wayland";
        }
        return error.empty();
    }
    const ViewLibrary& Views() const { return m_views; }
    /// @param seen empty: nothing of it
    void Place(void* view, const Area& whole, const Area& seen) {
        const VRECT part = RectOf(seen);
        m_parent.Place(view, RectOf(whole), &part);
    }

    void* ViewParent() override { return m_parent.Get(); }
    void* SecondViewParent() override { return m_parent.Get(); }
    void PlaceView(void* view, const ViewPlace& place, bool /*isSecond*/) override {
        Place(view, place.whole, place.visible);
    }

    void PlaceDivider(const Area& area, std::uint32_t colour) override {
        if (!m_divider) {
            m_divider = MakeOverlay();
        }
        if (area.width <= 0 || area.height <= 0) {
            return m_divider->Hide();
        }
        m_divider->Show(area, std::vector<std::uint32_t>(static_cast<std::size_t>(area.width) *
                                                             static_cast<std::size_t>(area.height),
                                                         colour));
    }

    void DrawTimeline(const std::vector<Stripe>& stripes, const Area& area) override {
        if (area.width <= 0 || area.height <= 0) {
            return;
        }
        if (!m_timeline) {
            m_timeline = MakeOverlay();
        }
        m_pixels.resize(static_cast<std::size_t>(area.width) * static_cast<std::size_t>(area.height));
        for (const Stripe& stripe : stripes) {
            const int right = std::min(stripe.right, area.width);
            for (int y = stripe.top; y < std::min(stripe.bottom, area.height) && stripe.left < right; ++y) {
                const auto row = m_pixels.begin() + static_cast<std::ptrdiff_t>(y) * area.width;
                std::fill(row + stripe.left, row + right, stripe.colour);
            }
        }
        m_timeline->Show(area, m_pixels);
    }

    std::unique_ptr<Overlay> MakeOverlay() override { return std::make_unique<WaylandOverlay>(*this); }

    /// Without a picture of its own the window would not be shown, nor what lies in it.
    void Resize(Size size) override {
        wl_buffer* const black = m_globals.MakeBlack(size);
        if (!black) {
            return;
        }
        wl_surface_attach(m_surface, black, 0, 0);
        wl_surface_damage(m_surface, 0, 0, size.width, size.height);
        Flush();
        if (m_black) {
            wl_buffer_destroy(m_black);
        }
        m_black = black;
    }

    void Flush() override {
        m_committed = Clock::now();
        wl_surface_commit(m_surface);
        wl_display_flush(m_display);
    }

    bool HasFullScreen() override { return true; }

    std::optional<MouseEvent> MouseOf(const SDL_Event& event) override {
        const SDL_MouseButtonEvent& button = event.button;
        switch (event.type) {
        case SDL_MOUSEMOTION:
            return MouseEvent{MouseEvent::Kind::Move, event.motion.x, event.motion.y};
        case SDL_MOUSEBUTTONDOWN:
            return MouseEvent{MouseEvent::Kind::Press, button.x, button.y, button.button};
        case SDL_MOUSEBUTTONUP:
            return MouseEvent{MouseEvent::Kind::Release, button.x, button.y, button.button};
        case SDL_MOUSEWHEEL: {
            MouseEvent mouse{MouseEvent::Kind::Wheel};
            SDL_GetMouseState(&mouse.x, &mouse.y);
            mouse.wheel = event.wheel.y;
            return mouse;
        }
        default:
            return std::nullopt;
        }
    }

    int Fd() const override { return wl_display_get_fd(m_display); }

    /// The view library's thread reads the same connection: whoever waits has to say so, or it might take
    /// what the window is waiting for, unnoticed. What is the library's own ends no wait.
    int Poll(pollfd* sources, nfds_t count, int milliseconds) override {
        const auto own = std::find_if(sources, sources + count,
                                      [this](const pollfd& source) { return source.fd == Fd(); });
        const auto until = Clock::now() + std::chrono::milliseconds(milliseconds);
        while (own != sources + count && !IsLost()) {
            if (wl_display_prepare_read(m_display) != 0) { // there is something to be taken
                m_hasNews = true;
                const int ready = poll(sources, count, 0);
                own->revents = POLLIN;
                return std::max(ready, 1);
            }
            wl_display_flush(m_display);
            const auto left = std::chrono::ceil<std::chrono::milliseconds>(until - Clock::now()).count();
            const int ready = poll(sources, count, std::max(0, static_cast<int>(left)));
            if (ready <= 0 || own->revents == 0) {
                wl_display_cancel_read(m_display);
                return ready;
            }
            wl_display_read_events(m_display);
            if (ready > 1) {
                return ready;
            }
        }
        return poll(sources, count, milliseconds);
    }

    /// What SDL and libdecor have changed, such as decorations and where they take the pointer, takes effect
    /// with a commit of the surface only: they rely on programs that draw all the time. Nobody is told of
    /// events that SDL reads by itself, so there is a commit now and then in any case.
    void AfterEvents() override {
        constexpr auto commitPeriod = std::chrono::milliseconds(100);
        if (std::exchange(m_hasNews, false) || Clock::now() - m_committed >= commitPeriod) {
            Flush();
        }
    }

    bool IsLost() const override { return wl_display_get_error(m_display) != 0; }
    const char* LostText() const override { return "the Wayland compositor has gone"; }

private:
    wl_display* const m_display;
    wl_surface* const m_surface;
    const ViewLibrary& m_views;
    const Globals m_globals;
    const kq::WaylandParent m_parent;
    wl_buffer* m_black = nullptr;
    bool m_hasNews = true; ///< SDL has been told something
    Clock::time_point m_committed;
    std::unique_ptr<Overlay> m_timeline;
    std::unique_ptr<Overlay> m_divider;
    std::vector<std::uint32_t> m_pixels; ///< of the timeline
};

void WaylandOverlay::Show(const Area& area, const std::vector<std::uint32_t>& pixels) {
    if (!m_view) {
        m_view = LibraryView::Make(m_window.Views(), m_window.ViewParent());
    }
    if (!m_view) {
        return;
    }
    m_view->Show(area.width, area.height,
                 reinterpret_cast<unsigned char*>(const_cast<std::uint32_t*>(pixels.data())));
    if (!(area == std::exchange(m_area, area))) {
        m_window.Place(m_view->Window(), area, area);
        m_window.Flush();
    }
}

void WaylandOverlay::Hide() {
    if (m_view && !(m_area == Area{})) {
        m_window.Place(m_view->Window(), std::exchange(m_area, Area{}), {});
    }
}

} // namespace

bool CheckWayland(std::string& error) {
    wl_display* const display = wl_display_connect(nullptr);
    if (!display) {
        error = "the Wayland compositor cannot be reached";
        return false;
    }
    {
        const Globals globals(display);
        if (const char* const lacking = globals.Lacking()) {
            error = std::string("the Wayland compositor has no ") + lacking + ": for Xwayland, set DISPLAY";
        }
    }
    wl_display_disconnect(display);
    return error.empty();
}

bool PrepareWayland(std::string& error) {
    SDL_SetHint(SDL_HINT_VIDEODRIVER, "wayland");
    return CheckWayland(error);
}

std::unique_ptr<NativeWindow> AdoptWaylandWindow(SDL_Window* window, const ViewLibrary& views,
                                                 std::string& error) {
    SDL_SysWMinfo info;
    SDL_VERSION(&info.version);
    if (SDL_GetWindowWMInfo(window, &info) != SDL_TRUE || info.subsystem != SDL_SYSWM_WAYLAND) {
        error = "not a Wayland window";
        return nullptr;
    }
    auto native = std::make_unique<WaylandWindow>(info.info.wl.display, info.info.wl.surface, views);
    return native->CanBeUsed(error) ? std::move(native) : nullptr;
}

} // namespace kqplay
