/// @file
/// A host's window on Wayland, without a toolkit.
#pragma once

#include <sys/mman.h>
#include <unistd.h>
#include <wayland-client.h>
#include <xdg-shell-client-protocol.h>

#include <cstring>
#include <stdexcept>
#include <string>

namespace kqtest {

/// A grey window that fills the compositor's screen. Its events are read when Roundtrip() is called only.
class WaylandHost {
public:
    WaylandHost() : m_display(wl_display_connect(nullptr)) {
        static constexpr wl_registry_listener registryListener = {
            [](void* self, wl_registry* registry, std::uint32_t name, const char* interface, std::uint32_t) {
                static_cast<WaylandHost*>(self)->Bind(registry, name, interface);
            },
            [](void*, wl_registry*, std::uint32_t) {}};
        static constexpr xdg_surface_listener surfaceListener = {
            [](void* self, xdg_surface* surface, std::uint32_t serial) {
                xdg_surface_ack_configure(surface, serial);
                static_cast<WaylandHost*>(self)->m_isConfigured = true;
            }};
        static constexpr xdg_toplevel_listener toplevelListener = {
            [](void* self, xdg_toplevel*, int width, int height, wl_array*) {
                static_cast<WaylandHost*>(self)->m_width = width;
                static_cast<WaylandHost*>(self)->m_height = height;
            },
            [](void*, xdg_toplevel*) {}, [](void*, xdg_toplevel*, int, int) {},
            [](void*, xdg_toplevel*, wl_array*) {}};
        if (m_display == nullptr) {
            throw std::runtime_error("no Wayland compositor");
        }
        m_registry = wl_display_get_registry(m_display);
        wl_registry_add_listener(m_registry, &registryListener, this);
        Roundtrip();
        m_surface = wl_compositor_create_surface(m_compositor);
        m_shellSurface = xdg_wm_base_get_xdg_surface(m_shell, m_surface);
        xdg_surface_add_listener(m_shellSurface, &surfaceListener, this);
        m_toplevel = xdg_surface_get_toplevel(m_shellSurface);
        xdg_toplevel_add_listener(m_toplevel, &toplevelListener, this);
        xdg_toplevel_set_fullscreen(m_toplevel, nullptr);
        Commit();
        while (!m_isConfigured || m_width == 0) {
            Roundtrip();
        }
        AttachGrey();
        Commit();
    }
    ~WaylandHost() {
        xdg_toplevel_destroy(m_toplevel);
        xdg_surface_destroy(m_shellSurface);
        wl_surface_destroy(m_surface);
        wl_buffer_destroy(m_grey);
        xdg_wm_base_destroy(m_shell);
        wl_shm_destroy(m_shm);
        wl_compositor_destroy(m_compositor);
        wl_registry_destroy(m_registry);
        wl_display_disconnect(m_display);
    }
    WaylandHost(const WaylandHost&) = delete;
    WaylandHost& operator=(const WaylandHost&) = delete;

    wl_display* Display() const { return m_display; }
    wl_surface* Surface() const { return m_surface; }
    void Roundtrip() const { wl_display_roundtrip(m_display); }
    void Commit() const {
        wl_surface_commit(m_surface);
        Roundtrip();
    }

private:
    void Bind(wl_registry* registry, std::uint32_t name, const std::string& interface) {
        const auto bind = [&](const wl_interface& wanted, auto*& object) {
            if (interface == wanted.name) {
                object = static_cast<std::remove_reference_t<decltype(object)>>(
                    wl_registry_bind(registry, name, &wanted, 1));
            }
        };
        bind(wl_compositor_interface, m_compositor);
        bind(wl_shm_interface, m_shm);
        bind(xdg_wm_base_interface, m_shell);
    }
    void AttachGrey() {
        const std::size_t bytes = std::size_t{4} * static_cast<std::size_t>(m_width * m_height);
        const int fd = memfd_create("host", MFD_CLOEXEC);
        if (ftruncate(fd, static_cast<off_t>(bytes)) != 0) {
            throw std::runtime_error("no memory");
        }
        void* const pixels = mmap(nullptr, bytes, PROT_WRITE, MAP_SHARED, fd, 0);
        std::memset(pixels, 0x80, bytes);
        munmap(pixels, bytes);
        wl_shm_pool* const pool = wl_shm_create_pool(m_shm, fd, static_cast<int>(bytes));
        m_grey = wl_shm_pool_create_buffer(pool, 0, m_width, m_height, 4 * m_width, WL_SHM_FORMAT_XRGB8888);
        wl_surface_attach(m_surface, m_grey, 0, 0);
        wl_shm_pool_destroy(pool);
        close(fd);
    }

    wl_display* m_display;
    wl_registry* m_registry = nullptr;
    wl_compositor* m_compositor = nullptr;
    wl_shm* m_shm = nullptr;
    xdg_wm_base* m_shell = nullptr;
    wl_surface* m_surface = nullptr;
    wl_buffer* m_grey = nullptr;
    xdg_surface* m_shellSurface = nullptr;
    xdg_toplevel* m_toplevel = nullptr;
    int m_width = 0; ///< units
    int m_height = 0;
    bool m_isConfigured = false;
};

} // namespace kqtest
