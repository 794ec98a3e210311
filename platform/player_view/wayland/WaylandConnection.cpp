#include "wayland/WaylandConnection.h"

#include "SignalsBlocked.h"

#include <kqplayer/log.h>

#include <fractional-scale-v1-client-protocol.h>
#include <poll.h>
#include <presentation-time-client-protocol.h>
#include <sys/eventfd.h>
#include <unistd.h>
#include <viewporter-client-protocol.h>

#include <algorithm>
#include <cerrno>
#include <new>

namespace kq::playerview {

namespace {

/// wl_surface.damage_buffer, which counts in the buffer's pixels, came with version 4.
constexpr std::uint32_t compositorVersion = 4;
/// Tells the scale (2), and can be given back: a compositor that took it for still there would go on naming
/// it in events of the host's surfaces, and hosts do not expect an output that is none.
constexpr std::uint32_t outputVersion = 3;

/// The connections that are in use, so that views share them.
struct Shared {
    std::mutex lock;
    std::map<wl_display*, std::weak_ptr<WaylandConnection>> byDisplay;
};

Shared& SharedConnections() {
    static auto& shared = *new Shared; // never destroyed: views may outlive static objects
    return shared;
}

} // namespace

std::shared_ptr<WaylandConnection> WaylandConnection::For(wl_display* display, std::string& error,
                                                          const Extensions& allowed) {
    Shared& shared = SharedConnections();
    const std::lock_guard<std::mutex> guard(shared.lock);
    std::weak_ptr<WaylandConnection>& known = shared.byDisplay[display];
    if (std::shared_ptr<WaylandConnection> inUse = known.lock()) {
        return inUse;
    }
    std::shared_ptr<WaylandConnection> made(new WaylandConnection(display));
    made->m_allowed = allowed;
    if (!made->Start(error)) {
        return nullptr;
    }
    known = made;
    return made;
}

WaylandConnection::~WaylandConnection() {
    if (m_thread.joinable()) {
        eventfd_write(m_wake, 1);
        m_thread.join();
    }
    if (m_wake >= 0) {
        close(m_wake);
    }
    for (const auto& [name, output] : m_outputs) {
        wl_output_release(output->proxy);
    }
    if (m_viewporter != nullptr) {
        wp_viewporter_destroy(m_viewporter);
    }
    if (m_presentation != nullptr) {
        wp_presentation_destroy(m_presentation);
    }
    if (m_fractionalScales != nullptr) {
        wp_fractional_scale_manager_v1_destroy(m_fractionalScales);
    }
    m_shm.reset();
    m_subcompositor.reset();
    m_compositor.reset();
    m_registry.reset();
    Flush();
    if (m_queue != nullptr) {
        wl_event_queue_destroy(m_queue);
    }
}

bool WaylandConnection::Start(std::string& error) {
    static constexpr wl_registry_listener listener = {
        [](void* self, wl_registry* registry, std::uint32_t name, const char* interface,
           std::uint32_t version) {
            static_cast<WaylandConnection*>(self)->Bind(registry, name, interface, version);
        },
        [](void* self, wl_registry* /*registry*/, std::uint32_t name) {
            auto& outputs = static_cast<WaylandConnection*>(self)->m_outputs;
            if (const auto gone = outputs.find(name); gone != outputs.end()) {
                wl_output_release(gone->second->proxy);
                outputs.erase(gone);
            }
        }};
    m_wake = eventfd(0, EFD_CLOEXEC);
    m_queue = wl_display_create_queue(m_display);
    // What is made through the wrapper is on the queue from its first event on.
    auto* const wrapper = static_cast<wl_display*>(wl_proxy_create_wrapper(m_display));
    if (m_wake < 0 || m_queue == nullptr || wrapper == nullptr) {
        if (wrapper != nullptr) {
            wl_proxy_wrapper_destroy(wrapper);
        }
        throw std::bad_alloc();
    }
    wl_proxy_set_queue(reinterpret_cast<wl_proxy*>(wrapper), m_queue);
    m_registry.reset(wl_display_get_registry(wrapper));
    wl_proxy_wrapper_destroy(wrapper);
    wl_registry_add_listener(m_registry.get(), &listener, this);
    // The second time for what the objects of the first have to tell.
    if (wl_display_roundtrip_queue(m_display, m_queue) < 0 ||
        wl_display_roundtrip_queue(m_display, m_queue) < 0) {
        error = "the Wayland compositor does not answer";
        return false;
    }
    if (const std::string lacking = Lacking(); !lacking.empty()) {
        error = "the Wayland compositor has no " + lacking +
                ": let the program use X11 there (with Xwayland), or show the view off-screen";
        return false;
    }
    const SignalsBlocked blocked;
    m_thread = std::thread([this] { Run(); });
    pthread_setname_np(m_thread.native_handle(), "kq-wayland");
    return true;
}

std::string WaylandConnection::Lacking() const {
    if (!m_compositor) {
        return "wl_compositor of version 4";
    }
    return !m_subcompositor ? "wl_subcompositor" : !m_shm ? "wl_shm" : "";
}

void WaylandConnection::Bind(wl_registry* registry, std::uint32_t name, const std::string& interface,
                             std::uint32_t version) {
    const auto bind = [&](const wl_interface& wanted, std::uint32_t wantedVersion = 1) {
        return wl_registry_bind(registry, name, &wanted, wantedVersion);
    };
    if (interface == wl_compositor_interface.name && version >= compositorVersion && !m_compositor) {
        m_compositor.reset(static_cast<wl_compositor*>(bind(wl_compositor_interface, compositorVersion)));
    } else if (interface == wl_subcompositor_interface.name && !m_subcompositor) {
        m_subcompositor.reset(static_cast<wl_subcompositor*>(bind(wl_subcompositor_interface)));
    } else if (interface == wl_shm_interface.name && !m_shm) {
        m_shm.reset(static_cast<wl_shm*>(bind(wl_shm_interface)));
    } else if (interface == wp_viewporter_interface.name && m_allowed.viewporter && m_viewporter == nullptr) {
        m_viewporter = static_cast<wp_viewporter*>(bind(wp_viewporter_interface));
    } else if (interface == wp_presentation_interface.name && m_allowed.presentation &&
               m_presentation == nullptr) {
        static constexpr wp_presentation_listener listener = {
            [](void* self, wp_presentation* /*presentation*/, std::uint32_t clock) {
                static_cast<WaylandConnection*>(self)->m_clock = static_cast<clockid_t>(clock);
            }};
        m_presentation = static_cast<wp_presentation*>(bind(wp_presentation_interface));
        wp_presentation_add_listener(m_presentation, &listener, this);
    } else if (interface == wp_fractional_scale_manager_v1_interface.name && m_fractionalScales == nullptr) {
        m_fractionalScales =
            static_cast<wp_fractional_scale_manager_v1*>(bind(wp_fractional_scale_manager_v1_interface));
    } else if (interface == wl_output_interface.name && version >= outputVersion) {
        BindOutput(registry, name, outputVersion);
    }
}

void WaylandConnection::BindOutput(wl_registry* registry, std::uint32_t name, std::uint32_t version) {
    static constexpr wl_output_listener listener = {
        [](void*, wl_output*, int, int, int, int, int, const char*, const char*, int) {},
        [](void*, wl_output*, std::uint32_t, int, int, int) {},
        [](void* output, wl_output*) {
            static_cast<Output*>(output)->scale = static_cast<Output*>(output)->nextScale;
        },
        [](void* output, wl_output*, int scale) {
            static_cast<Output*>(output)->nextScale = std::max(1, scale);
        },
#ifdef WL_OUTPUT_NAME_SINCE_VERSION
        nullptr,
        nullptr,
#endif
    };
    auto* const proxy =
        static_cast<wl_output*>(wl_registry_bind(registry, name, &wl_output_interface, version));
    const auto& output = m_outputs[name] = std::make_unique<Output>(Output{proxy});
    wl_output_add_listener(proxy, &listener, output.get());
}

int WaylandConnection::ScaleOf(wl_output* output) const {
    for (const auto& [name, known] : m_outputs) {
        if (known->proxy == output) {
            return known->scale;
        }
    }
    return 1;
}

void WaylandConnection::Flush() {
    if (wl_display_flush(m_display) < 0 && errno != EAGAIN) {
        Lose();
    }
}

void WaylandConnection::Run() {
    while (!m_isLost) {
        if (wl_display_prepare_read_queue(m_display, m_queue) == 0) {
            pollfd sources[] = {{wl_display_get_fd(m_display), POLLIN, 0}, {m_wake, POLLIN, 0}};
            // What the socket had no room for goes out as soon as it has.
            if (wl_display_flush(m_display) < 0 && errno == EAGAIN) {
                sources[0].events |= POLLOUT;
            }
            const bool isReady = poll(sources, std::size(sources), -1) > 0;
            if (isReady && sources[1].revents != 0) {
                wl_display_cancel_read(m_display); // reading would wait for all others that are about to read
                return;
            }
            if (isReady && (sources[0].revents & ~POLLOUT) != 0) {
                wl_display_read_events(m_display);
            } else {
                wl_display_cancel_read(m_display);
            }
        }
        const std::lock_guard<std::mutex> guard(m_lock);
        if (wl_display_dispatch_queue_pending(m_display, m_queue) < 0 ||
            wl_display_get_error(m_display) != 0) {
            Lose();
        }
    }
}

/// The connection never comes back: libwayland refuses everything from now on.
void WaylandConnection::Lose() {
    if (!m_isLost.exchange(true)) {
        KQLogEx(L"PlayerView: the Wayland compositor has gone, or has refused a request");
    }
}

} // namespace kq::playerview
