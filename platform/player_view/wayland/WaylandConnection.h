/// @file
#pragma once

#include <wayland-client.h>

#include <atomic>
#include <ctime>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

struct wp_viewporter;
struct wp_presentation;
struct wp_fractional_scale_manager_v1;

namespace kq::playerview {

/// Gives the protocol's objects back.
struct ProxyDeleter {
    void operator()(wl_registry* proxy) const { wl_registry_destroy(proxy); }
    void operator()(wl_compositor* proxy) const { wl_compositor_destroy(proxy); }
    void operator()(wl_subcompositor* proxy) const { wl_subcompositor_destroy(proxy); }
    void operator()(wl_shm* proxy) const { wl_shm_destroy(proxy); }
    void operator()(wl_shm_pool* proxy) const { wl_shm_pool_destroy(proxy); }
    void operator()(wl_buffer* proxy) const { wl_buffer_destroy(proxy); }
    void operator()(wl_surface* proxy) const { wl_surface_destroy(proxy); }
    void operator()(wl_subsurface* proxy) const { wl_subsurface_destroy(proxy); }
};
template <typename T>
using Proxy = std::unique_ptr<T, ProxyDeleter>;

/// The view library's part of a host's connection: an event queue of its own, a thread that dispatches it,
/// and what the compositor offers. Views on the same connection share it.
class WaylandConnection {
public:
    /// @param display  the host's connection, which outlives the object
    /// @param allowed  extensions that may be used if the compositor has them
    struct Extensions {
        bool viewporter = true;
        bool presentation = true;
    };
    /// @param error receives what to do when the compositor lacks what views need
    static std::shared_ptr<WaylandConnection> For(wl_display* display, std::string& error,
                                                  const Extensions& allowed);
    ~WaylandConnection();
    WaylandConnection(const WaylandConnection&) = delete;
    WaylandConnection& operator=(const WaylandConnection&) = delete;

    /// Held while events are dispatched, and by whoever uses what their listeners use.
    std::mutex& Lock() { return m_lock; }
    /// @return true when the compositor has gone or has refused to go on
    bool IsLost() const { return m_isLost; }
    /// Sends what was requested.
    void Flush();

    // New objects of these come with the queue.
    wl_compositor* Compositor() const { return m_compositor.get(); }
    wl_subcompositor* Subcompositor() const { return m_subcompositor.get(); }
    wl_shm* Shm() const { return m_shm.get(); }
    wp_viewporter* Viewporter() const { return m_viewporter; }                              ///< or null
    wp_presentation* Presentation() const { return m_presentation; }                        ///< or null
    wp_fractional_scale_manager_v1* FractionalScales() const { return m_fractionalScales; } ///< or null
    clockid_t Clock() const { return m_clock; } ///< of the presentation's times
    /// @return pixels per unit on an output, 1 for one that is not known; under the lock
    int ScaleOf(wl_output* output) const;

private:
    struct Output {
        wl_output* proxy;
        int scale = 1;
        int nextScale = 1;
    };

    explicit WaylandConnection(wl_display* display) : m_display(display) {}
    bool Start(std::string& error);
    std::string Lacking() const;
    void Bind(wl_registry* registry, std::uint32_t name, const std::string& interface, std::uint32_t version);
    void BindOutput(wl_registry* registry, std::uint32_t name, std::uint32_t version);
    void Run();
    void Lose();

    wl_display* const m_display;
    Extensions m_allowed;
    wl_event_queue* m_queue = nullptr;
    Proxy<wl_registry> m_registry;
    Proxy<wl_compositor> m_compositor;
    Proxy<wl_subcompositor> m_subcompositor;
    Proxy<wl_shm> m_shm;
    wp_viewporter* m_viewporter = nullptr;
    wp_presentation* m_presentation = nullptr;
    wp_fractional_scale_manager_v1* m_fractionalScales = nullptr;
    clockid_t m_clock = CLOCK_MONOTONIC;
    std::map<std::uint32_t, std::unique_ptr<Output>> m_outputs; ///< by their names
    int m_wake = -1;                                            ///< readable when the thread is to end
    std::thread m_thread;
    std::mutex m_lock;
    std::atomic<bool> m_isLost{false};
};

} // namespace kq::playerview
