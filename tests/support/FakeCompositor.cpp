#include "FakeCompositor.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <cctype>
#include <cstdlib>
#include <stdexcept>
#include <utility>

namespace kqtest {

FakeCompositor::FakeCompositor(const std::vector<const wl_interface*>& offered, OnRequest onRequest)
    : m_onRequest(std::move(onRequest)), m_display(wl_display_create()), m_end(eventfd(0, EFD_CLOEXEC)) {
    setenv("XDG_RUNTIME_DIR", RuntimeFolder().c_str(), 1);
    setenv("WAYLAND_DISPLAY", socket, 1);
    if (wl_display_add_socket(m_display, socket) != 0) {
        throw std::runtime_error("no socket for the compositor");
    }
    for (const wl_interface* interface : offered) {
        m_globals.push_back({this, interface});
    }
    for (Global& global : m_globals) {
        wl_global_create(m_display, global.interface, global.interface->version, &global,
                         [](wl_client* client, void* data, std::uint32_t version, std::uint32_t id) {
                             const Global& wanted = *static_cast<Global*>(data);
                             wanted.compositor->Adopt(
                                 wl_resource_create(client, wanted.interface, static_cast<int>(version), id));
                         });
    }
    const auto end = [](int, std::uint32_t, void* display) {
        wl_display_terminate(static_cast<wl_display*>(display));
        return 0;
    };
    m_ending =
        wl_event_loop_add_fd(wl_display_get_event_loop(m_display), m_end, WL_EVENT_READABLE, end, m_display);
    m_thread = std::thread([this] { wl_display_run(m_display); });
}

FakeCompositor::~FakeCompositor() {
    eventfd_write(m_end, 1);
    m_thread.join();
    wl_event_source_remove(m_ending);
    wl_display_destroy_clients(m_display);
    wl_display_destroy(m_display);
    close(m_end);
    unsetenv("XDG_RUNTIME_DIR");
    unsetenv("WAYLAND_DISPLAY");
}

void FakeCompositor::Adopt(wl_resource* resource) {
    wl_resource_set_dispatcher(resource, Dispatch, this, nullptr, nullptr);
}

/// Any request of any interface: makes the objects that it asks for.
int FakeCompositor::Dispatch(const void* self, void* target, std::uint32_t /*opcode*/,
                             const wl_message* message, wl_argument* arguments) {
    auto& compositor = *static_cast<FakeCompositor*>(const_cast<void*>(self));
    auto* const resource = static_cast<wl_resource*>(target);
    wl_resource* made = nullptr;
    int i = 0;
    for (const char* type = message->signature; *type != '\0'; ++type) {
        if (*type == 'n') {
            made = wl_resource_create(wl_resource_get_client(resource), message->types[i],
                                      wl_resource_get_version(resource), arguments[i].n);
            compositor.Adopt(made);
        } else if (*type == 'h') {
            close(arguments[i].h);
        }
        i += std::isalpha(static_cast<unsigned char>(*type)) != 0 ? 1 : 0; // not versions and question marks
    }
    const std::string request = message->name;
    if (compositor.m_onRequest) {
        compositor.m_onRequest(request, made);
    }
    if (request == "destroy" || request == "release") {
        wl_resource_destroy(resource);
    }
    return 0;
}

} // namespace kqtest
