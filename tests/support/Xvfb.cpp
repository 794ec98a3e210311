#include "Xvfb.h"

#include "WaitUntil.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <stdexcept>

namespace kqtest {
namespace {

constexpr int StartTimeoutMs = 60000;

struct FreeDeleter {
    void operator()(void* p) const { std::free(p); }
};
template <typename T>
using Reply = std::unique_ptr<T, FreeDeleter>;

/// @return the line that the server writes when it is ready: its display number
std::string readLine(int fd) {
    std::string line;
    pollfd poller = {fd, POLLIN, 0};
    char c = 0;
    while (poll(&poller, 1, StartTimeoutMs) == 1 && read(fd, &c, 1) == 1 && c != '\n') {
        line += c;
    }
    return line;
}

/// In the child process: becomes the server, which dies with the test.
[[noreturn]] void becomeServer(std::vector<std::string>& arguments) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    const int null = open("/dev/null", O_RDWR);
    dup2(null, STDIN_FILENO);
    dup2(null, STDOUT_FILENO);
    dup2(null, STDERR_FILENO);
    std::vector<char*> argv;
    argv.reserve(arguments.size() + 1);
    for (std::string& argument : arguments) {
        argv.push_back(argument.data());
    }
    argv.push_back(nullptr);
    execvp(argv[0], argv.data());
    _exit(127);
}

} // namespace

Xvfb::Xvfb(const std::vector<std::string>& extraArguments) {
    start(extraArguments);
    setenv("DISPLAY", m_display.c_str(), 1);
    connect();
}

Xvfb::~Xvfb() {
    if (m_pConnection != nullptr) {
        xcb_disconnect(m_pConnection);
    }
    stop();
    unsetenv("DISPLAY");
}

void Xvfb::start(const std::vector<std::string>& extraArguments) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        throw std::runtime_error("no pipe for Xvfb");
    }
    std::vector<std::string> arguments = {"Xvfb",      "-displayfd", std::to_string(ends[1]),
                                          "-screen",   "0",          "1280x1024x24",
                                          "-nolisten", "tcp",        "-noreset"};
    arguments.insert(arguments.end(), extraArguments.begin(), extraArguments.end());
    m_pid = fork();
    if (m_pid == 0) {
        fcntl(ends[1], F_SETFD, 0);
        becomeServer(arguments);
    }
    close(ends[1]);
    const std::string number = readLine(ends[0]);
    close(ends[0]);
    if (m_pid < 0 || number.empty()) {
        throw std::runtime_error("Xvfb does not start");
    }
    m_display = ":" + number;
}

void Xvfb::connect() {
    m_pConnection = xcb_connect(m_display.c_str(), nullptr);
    if (xcb_connection_has_error(m_pConnection) != 0) {
        throw std::runtime_error("Xvfb cannot be reached");
    }
    m_root = xcb_setup_roots_iterator(xcb_get_setup(m_pConnection)).data->root;
}

void Xvfb::stop() {
    if (m_pid > 0) {
        kill(m_pid, SIGTERM);
        waitpid(m_pid, nullptr, 0);
        m_pid = -1;
    }
}

xcb_window_t Xvfb::makeWindow(int x, int y, int width, int height, std::uint32_t rgb) {
    const xcb_window_t window = xcb_generate_id(m_pConnection);
    const std::uint32_t values[] = {rgb, 1};
    xcb_create_window(m_pConnection, XCB_COPY_FROM_PARENT, window, m_root, static_cast<std::int16_t>(x),
                      static_cast<std::int16_t>(y), static_cast<std::uint16_t>(width),
                      static_cast<std::uint16_t>(height), 0, XCB_WINDOW_CLASS_INPUT_OUTPUT,
                      XCB_COPY_FROM_PARENT, XCB_CW_BACK_PIXEL | XCB_CW_OVERRIDE_REDIRECT, values);
    xcb_map_window(m_pConnection, window);
    sync();
    return window;
}

void Xvfb::destroyWindow(xcb_window_t window) {
    xcb_destroy_window(m_pConnection, window);
    sync();
}

void Xvfb::resizeWindow(xcb_window_t window, int width, int height) {
    const std::uint32_t values[] = {static_cast<std::uint32_t>(width), static_cast<std::uint32_t>(height)};
    xcb_configure_window(m_pConnection, window, XCB_CONFIG_WINDOW_WIDTH | XCB_CONFIG_WINDOW_HEIGHT, values);
    sync();
}

bool Xvfb::isViewable(xcb_window_t window) {
    const Reply<xcb_get_window_attributes_reply_t> pReply(xcb_get_window_attributes_reply(
        m_pConnection, xcb_get_window_attributes(m_pConnection, window), nullptr));
    return pReply && pReply->map_state == XCB_MAP_STATE_VIEWABLE;
}

bool Xvfb::exists(xcb_window_t window) {
    const Reply<xcb_get_geometry_reply_t> pReply(
        xcb_get_geometry_reply(m_pConnection, xcb_get_geometry(m_pConnection, window), nullptr));
    return pReply != nullptr;
}

xcb_atom_t Xvfb::atom(const std::string& name) {
    const auto cookie =
        xcb_intern_atom(m_pConnection, 0, static_cast<std::uint16_t>(name.size()), name.c_str());
    const Reply<xcb_intern_atom_reply_t> pReply(xcb_intern_atom_reply(m_pConnection, cookie, nullptr));
    return pReply ? pReply->atom : xcb_atom_t{XCB_ATOM_NONE};
}

void Xvfb::requestClose(xcb_window_t window) {
    xcb_client_message_event_t event = {};
    event.response_type = XCB_CLIENT_MESSAGE;
    event.format = 32;
    event.window = window;
    event.type = atom("WM_PROTOCOLS");
    event.data.data32[0] = atom("WM_DELETE_WINDOW");
    xcb_send_event(m_pConnection, 0, window, XCB_EVENT_MASK_NO_EVENT, reinterpret_cast<const char*>(&event));
    sync();
}

Image Xvfb::screenshot(xcb_window_t window) {
    const xcb_window_t shown = window != 0 ? window : m_root;
    const Reply<xcb_get_geometry_reply_t> pGeometry(
        xcb_get_geometry_reply(m_pConnection, xcb_get_geometry(m_pConnection, shown), nullptr));
    if (!pGeometry) {
        return {};
    }
    const auto cookie = xcb_get_image(m_pConnection, XCB_IMAGE_FORMAT_Z_PIXMAP, shown, 0, 0, pGeometry->width,
                                      pGeometry->height, ~0u);
    const Reply<xcb_get_image_reply_t> pImage(xcb_get_image_reply(m_pConnection, cookie, nullptr));
    if (!pImage || pImage->depth != 24) {
        return {};
    }
    Image image;
    image.width = pGeometry->width;
    image.height = pGeometry->height;
    image.pixels.resize(static_cast<std::size_t>(image.width) * image.height);
    std::memcpy(image.pixels.data(), xcb_get_image_data(pImage.get()), image.pixels.size() * 4);
    for (std::uint32_t& pixel : image.pixels) {
        pixel &= 0xFFFFFF;
    }
    return image;
}

Image Xvfb::waitFor(const std::function<bool(const Image&)>& isWanted, xcb_window_t window) {
    Image image;
    kq::test::WaitUntil([&] {
        image = screenshot(window);
        return isWanted(image);
    });
    return image;
}

void Xvfb::sync() {
    const Reply<xcb_get_input_focus_reply_t> pReply(
        xcb_get_input_focus_reply(m_pConnection, xcb_get_input_focus(m_pConnection), nullptr));
}

} // namespace kqtest
