/// @file
#pragma once

#include <xcb/render.h>
#include <xcb/xcb.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>

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
    static std::unique_ptr<XConnection> open(const XFeatures& allowed = {});
    ~XConnection();
    XConnection(const XConnection&) = delete;
    XConnection& operator=(const XConnection&) = delete;

    xcb_connection_t* get() const { return m_connection; }
    const XFeatures& features() const { return m_features; }
    xcb_window_t root() const { return m_screen->root; }
    xcb_visualid_t visual() const { return m_visual; }
    xcb_colormap_t colormap() const { return m_colormap; }
    xcb_render_pictformat_t pictureFormat() const { return m_pictureFormat; } ///< 24 bits, with RENDER only
    std::size_t maxRequestBytes() const { return m_maxRequestBytes; }
    std::uint32_t newId() const { return xcb_generate_id(m_connection); }

    /// Waits until the server has carried out all requests so far, or the connection is lost.
    void sync() const;
    /// Cuts the connection: every thread that waits in an XCB call returns. The object stays valid.
    void shutDown() const;

    static constexpr int Depth = 24;

private:
    explicit XConnection(xcb_connection_t* connection) : m_connection(connection) {}
    bool findVisual();
    void findFeatures(const XFeatures& allowed);
    void findShm(const XFeatures& allowed);
    bool findRender();
    bool findPresent(bool imitatedToo) const;
    bool has(xcb_extension_t* extension) const;
    bool isLocal() const;

    xcb_connection_t* m_connection;
    const xcb_screen_t* m_screen = nullptr;
    xcb_visualid_t m_visual = 0;
    xcb_colormap_t m_colormap = 0;
    xcb_render_pictformat_t m_pictureFormat = 0;
    std::size_t m_maxRequestBytes = 0;
    XFeatures m_features;
};
