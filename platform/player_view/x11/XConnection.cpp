#include "x11/XConnection.h"

#include <sys/socket.h>
#include <xcb/present.h>
#include <xcb/shm.h>

#include <cstring>
#include <mutex>

namespace kq::playerview {

namespace {

const xcb_screen_t* ScreenNumber(xcb_connection_t* connection, int number) {
    auto it = xcb_setup_roots_iterator(xcb_get_setup(connection));
    for (; it.rem > 0 && number > 0; --number) {
        xcb_screen_next(&it);
    }
    return it.rem > 0 ? it.data : nullptr;
}

/// Pixels of 4 bytes in the order B, G, R, x.
bool HasPixelLayout(const xcb_setup_t* setup) {
    if (setup->image_byte_order != XCB_IMAGE_ORDER_LSB_FIRST) {
        return false;
    }
    for (auto it = xcb_setup_pixmap_formats_iterator(setup); it.rem > 0; xcb_format_next(&it)) {
        if (it.data->depth == XConnection::depth) {
            return it.data->bits_per_pixel == 32;
        }
    }
    return false;
}

bool IsTrueColor(const xcb_visualtype_t& visual) {
    return visual._class == XCB_VISUAL_CLASS_TRUE_COLOR && visual.red_mask == 0xFF0000 &&
           visual.green_mask == 0xFF00 && visual.blue_mask == 0xFF;
}

/// @return the root window's visual if it suits, else the first one that does, else 0
xcb_visualid_t TrueColorVisual(const xcb_screen_t* screen) {
    xcb_visualid_t found = 0;
    for (auto depth = xcb_screen_allowed_depths_iterator(screen); depth.rem > 0; xcb_depth_next(&depth)) {
        if (depth.data->depth != XConnection::depth) {
            continue;
        }
        for (auto it = xcb_depth_visuals_iterator(depth.data); it.rem > 0; xcb_visualtype_next(&it)) {
            if (!IsTrueColor(*it.data)) {
                continue;
            }
            if (it.data->visual_id == screen->root_visual) {
                return it.data->visual_id;
            }
            found = found != 0 ? found : it.data->visual_id;
        }
    }
    return found;
}

bool IsOpaqueTrueColor(const xcb_render_pictforminfo_t& format) {
    const xcb_render_directformat_t& d = format.direct;
    return format.type == XCB_RENDER_PICT_TYPE_DIRECT && format.depth == XConnection::depth &&
           d.red_shift == 16 && d.red_mask == 0xFF && d.green_shift == 8 && d.green_mask == 0xFF &&
           d.blue_shift == 0 && d.blue_mask == 0xFF;
}

/// One thread at a time: libXau, which reads the authority file, keeps its path in a static buffer.
xcb_connection_t* Connect(int* screen) {
    static std::mutex lock;
    const std::lock_guard<std::mutex> guard(lock);
    return xcb_connect(nullptr, screen);
}

} // namespace

std::unique_ptr<XConnection> XConnection::Open(const XFeatures& allowed) {
    int screen = 0;
    std::unique_ptr<XConnection> connection(new XConnection(Connect(&screen)));
    xcb_connection_t* xcb = connection->Get();
    if (xcb_connection_has_error(xcb) != 0) {
        return nullptr;
    }
    connection->m_screen = ScreenNumber(xcb, screen);
    if (connection->m_screen == nullptr || !connection->FindVisual()) {
        return nullptr;
    }
    connection->FindFeatures(allowed);
    return connection;
}

XConnection::~XConnection() {
    xcb_disconnect(m_connection);
}

bool XConnection::FindVisual() {
    m_visual = HasPixelLayout(xcb_get_setup(m_connection)) ? TrueColorVisual(m_screen) : 0;
    if (m_visual == 0) {
        return false;
    }
    if (m_visual == m_screen->root_visual) {
        m_colormap = m_screen->default_colormap;
        return true;
    }
    m_colormap = NewId();
    xcb_create_colormap(m_connection, XCB_COLORMAP_ALLOC_NONE, m_colormap, Root(), m_visual);
    return true;
}

void XConnection::FindFeatures(const XFeatures& allowed) {
    xcb_prefetch_extension_data(m_connection, &xcb_shm_id);
    xcb_prefetch_extension_data(m_connection, &xcb_render_id);
    xcb_prefetch_extension_data(m_connection, &xcb_present_id);
    m_maxRequestBytes = std::size_t{xcb_get_maximum_request_length(m_connection)} * 4;
    FindShm(allowed);
    m_features.render = allowed.render && Has(&xcb_render_id) && FindRender();
    m_features.present = allowed.present && Has(&xcb_present_id) && FindPresent(allowed.imitatedPresent);
}

void XConnection::FindShm(const XFeatures& allowed) {
    m_features.shm = false;
    m_features.sharedPixmaps = false;
    if (!allowed.shm || !Has(&xcb_shm_id) || !IsLocal()) {
        return;
    }
    const auto cookie = xcb_shm_query_version(m_connection);
    const XReply<xcb_shm_query_version_reply_t> reply(
        xcb_shm_query_version_reply(m_connection, cookie, nullptr));
    if (!reply) {
        return;
    }
    m_features.shm = reply->major_version > 1 || reply->minor_version >= 2;
    m_features.sharedPixmaps = m_features.shm && allowed.sharedPixmaps && reply->shared_pixmaps != 0 &&
                               reply->pixmap_format == XCB_IMAGE_FORMAT_Z_PIXMAP;
}

bool XConnection::FindRender() {
    const auto askedVersion = xcb_render_query_version(m_connection, 0, 11);
    const auto askedFormats = xcb_render_query_pict_formats(m_connection);
    const XReply<xcb_render_query_version_reply_t> version(
        xcb_render_query_version_reply(m_connection, askedVersion, nullptr));
    const XReply<xcb_render_query_pict_formats_reply_t> formats(
        xcb_render_query_pict_formats_reply(m_connection, askedFormats, nullptr));
    // Filters are part of RENDER since 0.6, padding since 0.10.
    if (!version || !formats || (version->major_version == 0 && version->minor_version < 10)) {
        return false;
    }
    auto it = xcb_render_query_pict_formats_formats_iterator(formats.get());
    for (; it.rem > 0; xcb_render_pictforminfo_next(&it)) {
        if (IsOpaqueTrueColor(*it.data)) {
            m_pictureFormat = it.data->id;
            return true;
        }
    }
    return false;
}

/// A server without a real screen has the extension as well and delays every picture to a tick of its own.
/// Servers that drive one either report an ability of their screens, or hand out its buffers (DRI3).
bool XConnection::FindPresent(bool imitatedToo) const {
    constexpr char dri3Name[] = "DRI3";
    const auto askedVersion = xcb_present_query_version(m_connection, 1, 0);
    const auto askedAbilities = xcb_present_query_capabilities(m_connection, Root());
    const auto askedDri3 = xcb_query_extension(m_connection, sizeof(dri3Name) - 1, dri3Name);
    const XReply<xcb_present_query_version_reply_t> version(
        xcb_present_query_version_reply(m_connection, askedVersion, nullptr));
    const XReply<xcb_present_query_capabilities_reply_t> abilities(
        xcb_present_query_capabilities_reply(m_connection, askedAbilities, nullptr));
    const XReply<xcb_query_extension_reply_t> dri3(
        xcb_query_extension_reply(m_connection, askedDri3, nullptr));
    if (!version) {
        return false;
    }
    return imitatedToo || (abilities && abilities->capabilities != 0) || (dri3 && dri3->present != 0);
}

bool XConnection::Has(xcb_extension_t* extension) const {
    const auto* data = xcb_get_extension_data(m_connection, extension);
    return data != nullptr && data->present != 0;
}

bool XConnection::IsLocal() const {
    sockaddr_storage address = {};
    socklen_t length = sizeof(address);
    const int fd = xcb_get_file_descriptor(m_connection);
    return getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length) == 0 &&
           address.ss_family == AF_UNIX;
}

void XConnection::Sync() const {
    const auto cookie = xcb_get_input_focus(m_connection);
    const XReply<xcb_get_input_focus_reply_t> reply(xcb_get_input_focus_reply(m_connection, cookie, nullptr));
}

void XConnection::ShutDown() const {
    shutdown(xcb_get_file_descriptor(m_connection), SHUT_RDWR);
}

} // namespace kq::playerview
