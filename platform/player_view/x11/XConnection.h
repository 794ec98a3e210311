/// @file
#pragma once

#include <xcb/render.h>
#include <xcb/xcb.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>

namespace kq::playerview {

/// What XCB hands out is freed with free().
struct FreeDeleter {
    void operator()(void* p) const { std::free(p); }
};
template <typename T>
using XReply = std::unique_ptr<T, FreeDeleter>;

/// The server's extensions that a view draws with.
struct XFeatures {
    bool shm = true;           ///< segments handed over as file descriptors (MIT-SHM 1.2, same machine)
    bool sharedPixmaps = true; ///< the server can read a segment as a pixmap
    bool render = true;
    bool present = true;          ///< the server synchronises with a real screen
    bool imitatedPresent = false; ///< PRESENT is used even if the server only imitates a screen's refreshes
};

/// A connection of its own to the X server of the DISPLAY variable, and what is known about that server.
/// XCB allows calls from any thread.
class XConnection {
public:
    /// @param allowed what may be used if the server has it
    /// @return null without a server, or with one that has no 24-bit true colour of 4 bytes B, G, R, x a
    /// pixel
    static std::unique_ptr<XConnection> Open(const XFeatures& allowed = {});
    ~XConnection();
    XConnection(const XConnection&) = delete;
    XConnection& operator=(const XConnection&) = delete;

    xcb_connection_t* Get() const { return m_connection; }
    const XFeatures& Features() const { return m_features; }
    xcb_window_t Root() const { return m_screen->root; }
    xcb_visualid_t Visual() const { return m_visual; }
    xcb_colormap_t Colormap() const { return m_colormap; }
    xcb_render_pictformat_t PictureFormat() const { return m_pictureFormat; } ///< 24 bits, with RENDER only
    std::size_t MaxRequestBytes() const { return m_maxRequestBytes; }
    std::uint32_t NewId() const { return xcb_generate_id(m_connection); }

    /// Waits until the server has carried out all requests so far, or the connection is lost.
    void Sync() const;
    /// Cuts the connection: every thread that waits in an XCB call returns. The object stays valid.
    void ShutDown() const;

    static constexpr int depth = 24;

private:
    explicit XConnection(xcb_connection_t* connection) : m_connection(connection) {}
    bool FindVisual();
    void FindFeatures(const XFeatures& allowed);
    void FindShm(const XFeatures& allowed);
    bool FindRender();
    bool FindPresent(bool imitatedToo) const;
    bool Has(xcb_extension_t* extension) const;
    bool IsLocal() const;

    xcb_connection_t* m_connection;
    const xcb_screen_t* m_screen = nullptr;
    xcb_visualid_t m_visual = 0;
    xcb_colormap_t m_colormap = 0;
    xcb_render_pictformat_t m_pictureFormat = 0;
    std::size_t m_maxRequestBytes = 0;
    XFeatures m_features;
};

} // namespace kq::playerview
