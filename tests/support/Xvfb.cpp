#include "Xvfb.h"

#include "WaitUntil.h"

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <utility>

namespace kqtest {
namespace {

struct FreeDeleter {
    void operator()(void* p) const { std::free(p); }
};
template <typename T>
using Reply = std::unique_ptr<T, FreeDeleter>;

} // namespace

Xvfb::Xvfb(const std::vector<std::string>& extraArguments) {
    // The shell becomes the server, which dies with the test and writes its display when it is ready.
    std::string command = "echo $$; exec setpriv --pdeathsig KILL Xvfb -displayfd 1 -screen 0 1280x1024x24 "
                          "-nolisten tcp -noreset </dev/null 2>/dev/null";
    for (const std::string& argument : extraArguments) {
        command += " " + argument;
    }
    m_server = popen(command.c_str(), "re");
    int display = 0;
    if (m_server == nullptr || std::fscanf(m_server, "%d %d", &m_pid, &display) != 2) {
        throw std::runtime_error("Xvfb does not start");
    }
    m_display = ":" + std::to_string(display);
    setenv("DISPLAY", m_display.c_str(), 1);
    m_connection = xcb_connect(m_display.c_str(), nullptr);
    if (xcb_connection_has_error(m_connection) != 0) {
        throw std::runtime_error("Xvfb cannot be reached");
    }
    m_root = xcb_setup_roots_iterator(xcb_get_setup(m_connection)).data->root;
}

Xvfb::~Xvfb() {
    xcb_disconnect(m_connection);
    Stop();
    unsetenv("DISPLAY");
}

void Xvfb::Stop() {
    if (m_server != nullptr) {
        kill(m_pid, SIGTERM);
        pclose(std::exchange(m_server, nullptr));
    }
}

Xvfb::Paused::Paused(const Xvfb& server) : m_pid(server.m_pid) {
    kill(m_pid, SIGSTOP);
}

Xvfb::Paused::~Paused() {
    kill(m_pid, SIGCONT);
}

xcb_window_t Xvfb::MakeWindow(int x, int y, int width, int height, std::uint32_t rgb) {
    const xcb_window_t window = xcb_generate_id(m_connection);
    const std::uint32_t values[] = {rgb, 1};
    xcb_create_window(m_connection, XCB_COPY_FROM_PARENT, window, m_root, static_cast<std::int16_t>(x),
                      static_cast<std::int16_t>(y), static_cast<std::uint16_t>(width),
                      static_cast<std::uint16_t>(height), 0, XCB_WINDOW_CLASS_INPUT_OUTPUT,
                      XCB_COPY_FROM_PARENT, XCB_CW_BACK_PIXEL | XCB_CW_OVERRIDE_REDIRECT, values);
    xcb_map_window(m_connection, window);
    Sync();
    return window;
}

void Xvfb::DestroyWindow(xcb_window_t window) {
    xcb_destroy_window(m_connection, window);
    Sync();
}

void Xvfb::ResizeWindow(xcb_window_t window, int width, int height) {
    const std::uint32_t values[] = {static_cast<std::uint32_t>(width), static_cast<std::uint32_t>(height)};
    xcb_configure_window(m_connection, window, XCB_CONFIG_WINDOW_WIDTH | XCB_CONFIG_WINDOW_HEIGHT, values);
    Sync();
}

bool Xvfb::IsShown(xcb_window_t window) {
    const Reply<xcb_get_window_attributes_reply_t> reply(xcb_get_window_attributes_reply(
        m_connection, xcb_get_window_attributes(m_connection, window), nullptr));
    return reply && reply->map_state == XCB_MAP_STATE_VIEWABLE;
}

bool Xvfb::Exists(xcb_window_t window) {
    const Reply<xcb_get_geometry_reply_t> reply(
        xcb_get_geometry_reply(m_connection, xcb_get_geometry(m_connection, window), nullptr));
    return reply != nullptr;
}

xcb_atom_t Xvfb::Atom(const std::string& name) {
    const auto cookie =
        xcb_intern_atom(m_connection, 0, static_cast<std::uint16_t>(name.size()), name.c_str());
    const Reply<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(m_connection, cookie, nullptr));
    return reply ? reply->atom : xcb_atom_t{XCB_ATOM_NONE};
}

void Xvfb::Fill(xcb_window_t window, std::uint32_t rgb) {
    const xcb_gcontext_t context = xcb_generate_id(m_connection);
    xcb_create_gc(m_connection, context, window, XCB_GC_FOREGROUND, &rgb);
    const xcb_rectangle_t everything = {0, 0, UINT16_MAX, UINT16_MAX};
    xcb_poly_fill_rectangle(m_connection, window, context, 1, &everything);
    xcb_free_gc(m_connection, context);
    Sync();
}

void Xvfb::SendExposeAndConfigure(xcb_window_t window, int width, int height) {
    xcb_expose_event_t expose = {};
    expose.response_type = XCB_EXPOSE;
    expose.window = window;
    expose.width = static_cast<std::uint16_t>(width);
    expose.height = static_cast<std::uint16_t>(height);
    xcb_configure_notify_event_t configure = {};
    configure.response_type = XCB_CONFIGURE_NOTIFY;
    configure.event = configure.window = window;
    configure.width = expose.width;
    configure.height = expose.height;
    // Without an event mask the owner gets it.
    char event[32] = {};
    std::memcpy(event, &expose, sizeof(expose));
    xcb_send_event(m_connection, 0, window, XCB_EVENT_MASK_NO_EVENT, event);
    std::memcpy(event, &configure, sizeof(configure));
    xcb_send_event(m_connection, 0, window, XCB_EVENT_MASK_NO_EVENT, event);
    Sync();
}

void Xvfb::RequestClose(xcb_window_t window) {
    xcb_client_message_event_t event = {};
    event.response_type = XCB_CLIENT_MESSAGE;
    event.format = 32;
    event.window = window;
    event.type = Atom("WM_PROTOCOLS");
    event.data.data32[0] = Atom("WM_DELETE_WINDOW");
    xcb_send_event(m_connection, 0, window, XCB_EVENT_MASK_NO_EVENT, reinterpret_cast<const char*>(&event));
    Sync();
}

std::vector<xcb_window_t> Xvfb::Children(xcb_window_t window) {
    const Reply<xcb_query_tree_reply_t> reply(xcb_query_tree_reply(
        m_connection, xcb_query_tree(m_connection, window != 0 ? window : m_root), nullptr));
    if (!reply) {
        return {};
    }
    const xcb_window_t* const first = xcb_query_tree_children(reply.get());
    return {first, first + xcb_query_tree_children_length(reply.get())};
}

Image Xvfb::SizeOf(xcb_window_t window) {
    const Reply<xcb_get_geometry_reply_t> geometry(
        xcb_get_geometry_reply(m_connection, xcb_get_geometry(m_connection, window), nullptr));
    return geometry ? Image{geometry->width, geometry->height, {}} : Image{};
}

Image Xvfb::Screenshot(xcb_window_t window) {
    const xcb_window_t shown = window != 0 ? window : m_root;
    const Image size = SizeOf(shown);
    return Part(shown, 0, 0, size.width, size.height);
}

Image Xvfb::Part(xcb_window_t window, int x, int y, int width, int height) {
    const auto cookie =
        xcb_get_image(m_connection, XCB_IMAGE_FORMAT_Z_PIXMAP, window, static_cast<std::int16_t>(x),
                      static_cast<std::int16_t>(y), static_cast<std::uint16_t>(width),
                      static_cast<std::uint16_t>(height), ~0u);
    const Reply<xcb_get_image_reply_t> reply(xcb_get_image_reply(m_connection, cookie, nullptr));
    if (!reply || reply->depth != 24) {
        return {};
    }
    Image image{width, height, {}};
    image.pixels.resize(static_cast<std::size_t>(image.width) * image.height);
    std::memcpy(image.pixels.data(), xcb_get_image_data(reply.get()), image.pixels.size() * 4);
    for (std::uint32_t& pixel : image.pixels) {
        pixel &= 0xFFFFFF;
    }
    return image;
}

Image Xvfb::WaitFor(const std::function<bool(const Image&)>& isWanted, xcb_window_t window) {
    Image image;
    kq::test::WaitUntil([&] {
        image = Screenshot(window);
        return isWanted(image);
    });
    return image;
}

void Xvfb::Sync() {
    const Reply<xcb_get_input_focus_reply_t> reply(
        xcb_get_input_focus_reply(m_connection, xcb_get_input_focus(m_connection), nullptr));
}

} // namespace kqtest
