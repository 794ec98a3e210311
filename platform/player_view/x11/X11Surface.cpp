#include "x11/X11Surface.h"

#include "SignalsBlocked.h"
#include "x11/SigpipeGuard.h"

#include <kqplayer/log.h>

#include <pthread.h>

#include <algorithm>
#include <cstring>
#include <utility>

namespace kq::playerview {

namespace {

constexpr char title[] = "KQPlayer";
constexpr char className[] = "kqplayer\0KQPlayer"; // instance and class, each with its zero byte

int ClampSide(int side) {
    return std::clamp(side, 1, maxSide);
}

std::int16_t ClampPosition(int position) {
    return static_cast<std::int16_t>(std::clamp(position, -maxSide, maxSide));
}

bool IsWindow(const XConnection& connection, xcb_window_t window) {
    const auto cookie = xcb_get_window_attributes(connection.Get(), window);
    const XReply<xcb_get_window_attributes_reply_t> reply(
        xcb_get_window_attributes_reply(connection.Get(), cookie, nullptr));
    return reply != nullptr;
}

xcb_atom_t Atom(const XConnection& connection, const char* name) {
    const auto cookie =
        xcb_intern_atom(connection.Get(), 0, static_cast<std::uint16_t>(std::strlen(name)), name);
    const XReply<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(connection.Get(), cookie, nullptr));
    return reply ? reply->atom : xcb_atom_t{XCB_ATOM_NONE};
}

/// WM_NORMAL_HINTS as a window manager reads them (ICCCM 4.1.2.3).
struct SizeHints {
    std::uint32_t flags = 1 | 2; ///< position and size were chosen by the user
    std::int32_t x = 0;
    std::int32_t y = 0;
    std::int32_t width = 0;
    std::int32_t height = 0;
    std::int32_t unused[13] = {};
};

} // namespace

std::unique_ptr<X11Surface> X11Surface::Create(std::unique_ptr<XConnection> connection, std::uintptr_t parent,
                                               const VRECT& rect) {
    const Size size = {ClampSide(rect.width), ClampSide(rect.height)};
    const auto parentWindow = static_cast<xcb_window_t>(parent);
    std::unique_ptr<X11Surface> surface(new X11Surface(std::move(connection), size));
    if (parentWindow != parent || !surface->MakeWindow(parentWindow, rect)) {
        return nullptr;
    }
    surface->StartEventThread();
    return surface;
}

X11Surface::X11Surface(std::unique_ptr<XConnection> connection, Size size)
    : m_connection(std::move(connection)) {
    m_canvas.size = size;
}

X11Surface::~X11Surface() {
    const SigpipeGuard noSigpipe;
    if (const auto ours = static_cast<xcb_window_t>(X11Surface::Handle()); ours != 0) {
        xcb_destroy_window(m_connection->Get(), ours);
        m_connection->Sync();
    }
    m_connection->ShutDown();
    if (m_thread.joinable()) {
        m_thread.join();
    }
}

bool X11Surface::MakeWindow(xcb_window_t parent, const VRECT& rect) {
    const XConnection& connection = *m_connection;
    xcb_connection_t* xcb = connection.Get();
    m_isTopLevel = parent == 0 || parent == connection.Root();
    const xcb_window_t actualParent = m_isTopLevel ? connection.Root() : parent;
    if (!IsWindow(connection, actualParent)) {
        return false;
    }
    // No background: what a resize uncovers keeps its pixels until the picture is drawn, which does not
    // flicker.
    constexpr std::uint32_t mask =
        XCB_CW_BACK_PIXMAP | XCB_CW_BORDER_PIXEL | XCB_CW_EVENT_MASK | XCB_CW_COLORMAP;
    const std::uint32_t values[] = {XCB_BACK_PIXMAP_NONE, 0,
                                    XCB_EVENT_MASK_EXPOSURE | XCB_EVENT_MASK_STRUCTURE_NOTIFY,
                                    connection.Colormap()};
    const xcb_window_t window = connection.NewId();
    const auto cookie =
        xcb_create_window_checked(xcb, XConnection::depth, window, actualParent, ClampPosition(rect.x),
                                  ClampPosition(rect.y), m_canvas.size.width, m_canvas.size.height, 0,
                                  XCB_WINDOW_CLASS_INPUT_OUTPUT, connection.Visual(), mask, values);
    const XReply<xcb_generic_error_t> error(xcb_request_check(xcb, cookie));
    if (error || xcb_connection_has_error(xcb) != 0) {
        return false;
    }
    m_window = window;
    m_canvas.drawable = window;
    m_canvas.picture = MakeCanvasPicture(connection, window);
    m_painter = std::make_unique<Painter>(connection, window);
    m_backPixmaps = BackPixmaps::Create(connection, window);
    if (m_isTopLevel) {
        MakeTopLevel(rect);
    }
    xcb_map_window(xcb, window);
    xcb_flush(xcb);
    return true;
}

void X11Surface::MakeTopLevel(const VRECT& rect) {
    xcb_connection_t* xcb = m_connection->Get();
    const xcb_atom_t protocols = Atom(*m_connection, "WM_PROTOCOLS");
    m_deleteWindow = Atom(*m_connection, "WM_DELETE_WINDOW");
    SizeHints hints;
    hints.x = rect.x;
    hints.y = rect.y;
    hints.width = m_canvas.size.width;
    hints.height = m_canvas.size.height;
    const auto set = [&](xcb_atom_t property, xcb_atom_t type, int bits, int count, const void* data) {
        xcb_change_property(xcb, XCB_PROP_MODE_REPLACE, m_window, property, type, bits, count, data);
    };
    set(protocols, XCB_ATOM_ATOM, 32, 1, &m_deleteWindow);
    set(XCB_ATOM_WM_NAME, XCB_ATOM_STRING, 8, sizeof(title) - 1, title);
    set(XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, 8, sizeof(className), className);
    set(XCB_ATOM_WM_NORMAL_HINTS, XCB_ATOM_WM_SIZE_HINTS, 32, sizeof(hints) / 4, &hints);
}

void X11Surface::StartEventThread() {
    const SignalsBlocked blocked;
    m_thread = std::thread([this] { Run(); });
    pthread_setname_np(m_thread.native_handle(), "kq-view");
}

void X11Surface::Run() {
    xcb_connection_t* xcb = m_connection->Get();
    while (const Event event{xcb_wait_for_event(xcb)}) {
        const std::lock_guard<std::mutex> guard(m_lock);
        Handle(*event);
        while (const Event more{xcb_poll_for_queued_event(xcb)}) {
            Handle(*more);
        }
        if (m_window == 0) {
            break;
        }
        if (m_needsRedraw) {
            Draw(true);
        }
    }
    Leave();
}

void X11Surface::Handle(const xcb_generic_event_t& event) {
    constexpr unsigned sentByClient = 0x80;
    switch (event.response_type & ~sentByClient) {
    case XCB_EXPOSE:
        m_needsRedraw = true;
        break;
    case XCB_CONFIGURE_NOTIFY: {
        const auto& configure = reinterpret_cast<const xcb_configure_notify_event_t&>(event);
        const Size size = {ClampSide(configure.width), ClampSide(configure.height)};
        m_needsRedraw = m_needsRedraw || !(size == m_canvas.size);
        m_canvas.size = size;
        break;
    }
    case XCB_CLIENT_MESSAGE:
        if (m_isTopLevel &&
            reinterpret_cast<const xcb_client_message_event_t&>(event).data.data32[0] == m_deleteWindow) {
            Withdraw();
        }
        break;
    case XCB_DESTROY_NOTIFY:
        m_window = 0;
        break;
    default: // errors too: requests may cross with the end of the window
        break;
    }
}

/// Takes the window off the screen as a window manager expects it (ICCCM 4.1.4). A host may map it again.
void X11Surface::Withdraw() {
    xcb_connection_t* xcb = m_connection->Get();
    xcb_unmap_notify_event_t event = {};
    event.response_type = XCB_UNMAP_NOTIFY;
    event.event = m_connection->Root();
    event.window = m_window;
    xcb_unmap_window(xcb, m_window);
    xcb_send_event(xcb, 0, m_connection->Root(),
                   XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT,
                   reinterpret_cast<const char*>(&event));
    xcb_flush(xcb);
}

/// The window is gone: gives back what drawing needed.
void X11Surface::Leave() {
    const std::lock_guard<std::mutex> guard(m_lock);
    m_window = 0;
    m_hasPicture = false;
    m_pictures[m_current].reset();
    if (!m_isLent) {
        m_pictures[1 - m_current].reset();
    }
    m_backPixmaps.reset();
    m_painter.reset();
}

void X11Surface::Expect(Size size) {
    const SigpipeGuard noSigpipe;
    const std::lock_guard<std::mutex> guard(m_lock);
    if (m_window == 0 || m_isLent) {
        return;
    }
    Prepare(1 - m_current, size);
    if (!m_hasPicture) {
        Prepare(m_current, size);
    }
}

std::uint8_t* X11Surface::Lend(Size size) {
    const SigpipeGuard noSigpipe;
    const std::lock_guard<std::mutex> guard(m_lock);
    m_isLent = m_window != 0 && Prepare(1 - m_current, size);
    if (!m_isLent) {
        return nullptr;
    }
    ShmPicture& picture = *m_pictures[1 - m_current];
    picture.WaitUntilUnused();
    return picture.Pixels();
}

void X11Surface::Show(Size size, const std::uint8_t* pixels, const Rect& made) {
    const SigpipeGuard noSigpipe;
    const std::lock_guard<std::mutex> guard(m_lock);
    m_isLent = false;
    const int next = 1 - m_current;
    if (m_window == 0 || !Prepare(next, size)) {
        return;
    }
    ShmPicture& picture = *m_pictures[next];
    if (picture.Pixels() != pixels) {
        picture.WaitUntilUnused();
        const std::size_t rowBytes = std::size_t{4} * size.width;
        const std::size_t begin = made.IsEmpty() ? 0 : made.y * rowBytes;
        std::memcpy(picture.Pixels() + begin, pixels + begin, made.IsEmpty() ? 0 : made.height * rowBytes);
    }
    m_settings.Bind(size);
    const bool isComplete = Contains(made, NeededPart(size, m_settings));
    if (!isComplete && !Contains(made, NeededPart(size, m_shown))) {
        return; // made for settings that have changed twice since
    }
    const bool sameLayout =
        m_hasPicture && m_pictures[m_current]->PixelSize() == size && (!isComplete || !m_isBehind);
    if (isComplete) {
        m_shown = m_settings;
        m_isBehind = false;
    }
    m_current = next;
    m_made[next] = made;
    m_hasPicture = true;
    Draw(!sameLayout);
}

bool X11Surface::Apply(const DisplaySettings& settings) {
    const SigpipeGuard noSigpipe;
    const std::lock_guard<std::mutex> guard(m_lock);
    m_settings = settings;
    m_isBehind = m_hasPicture &&
                 !Contains(m_made[m_current], NeededPart(m_pictures[m_current]->PixelSize(), m_settings));
    if (m_isBehind) {
        return false;
    }
    m_shown = m_settings;
    if (m_window != 0) {
        Draw(true);
    }
    return true;
}

bool X11Surface::FindMapping(KQViewMapping& mapping) {
    const std::lock_guard<std::mutex> guard(m_lock);
    if (!m_hasPicture) {
        return false;
    }
    mapping = MappingOf(m_pictures[m_current]->PixelSize(), m_shown, m_canvas.size);
    return true;
}

bool X11Surface::ReadPixel(int x, int y, std::uint32_t& rgb) {
    const std::lock_guard<std::mutex> guard(m_lock);
    if (!m_hasPicture || !Contains(m_made[m_current], {x, y, 1, 1})) {
        return false;
    }
    const ShmPicture& picture = *m_pictures[m_current];
    const std::uint8_t* pixel =
        picture.Pixels() + 4 * (static_cast<std::size_t>(y) * picture.PixelSize().width + x);
    rgb = static_cast<std::uint32_t>(pixel[2] << 16 | pixel[1] << 8 | pixel[0]);
    return true;
}

void X11Surface::Redraw() {
    const SigpipeGuard noSigpipe;
    const std::lock_guard<std::mutex> guard(m_lock);
    if (m_window != 0) {
        Draw(true);
    }
}

std::uintptr_t X11Surface::Handle() {
    const std::lock_guard<std::mutex> guard(m_lock);
    return m_window;
}

/// Sees to it that one of the two pictures, not the one on show, has the size.
bool X11Surface::Prepare(int number, Size size) {
    auto& picture = m_pictures[number];
    if (!picture || !(picture->PixelSize() == size)) {
        picture = ShmPicture::Create(*m_connection, size);
    }
    if (!picture) {
        KQLogEx(L"PlayerView: no memory for a picture of %dx%d", size.width, size.height);
    }
    return picture != nullptr;
}

void X11Surface::Draw(bool bars) {
    m_needsRedraw = false;
    Canvas& canvas = m_backPixmaps ? m_backPixmaps->Acquire(m_canvas.size) : m_canvas;
    if (!m_hasPicture) {
        m_painter->PaintBlack(canvas);
    } else {
        ShmPicture& picture = *m_pictures[m_current];
        const PictureLayout layout = LayOut(picture.PixelSize(), m_shown, canvas.size);
        if (bars || m_backPixmaps) {
            m_painter->PaintBars(layout, canvas);
        }
        m_painter->PaintPicture(picture, layout, m_shown.Scaling(), canvas);
    }
    if (m_backPixmaps) {
        m_backPixmaps->Present(canvas);
    }
    xcb_flush(m_connection->Get());
}

} // namespace kq::playerview
