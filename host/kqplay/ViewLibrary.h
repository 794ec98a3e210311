/// @file
/// The view library, seen by a host.
#pragma once

#include <kqplayer/player_view.h>
#include <kqplayer/view_library.h>

#include <memory>
#include <string>

namespace kqplay {

/// PlayerView.so, the same instance that the component draws with: like the component, it is looked for
/// beside the program, then beside libKQPlayer.so.
class ViewLibrary {
public:
    ViewLibrary();
    ~ViewLibrary();
    ViewLibrary(const ViewLibrary&) = delete;
    ViewLibrary& operator=(const ViewLibrary&) = delete;

    /// @return where it was found, or empty
    const std::string& Path() const { return m_path; }
    /// @return the name of a required function that the library does not have, or empty
    std::string LackingFunction() const;
    /// Has every picture of every view handed to @p sink; null ends that.
    /// @param readsPixels else the sink may be given null for them, which spares making what nobody sees
    /// @return false when the library offers no such function
    bool SetPictureSink(PVPictureSink sink, void* userData, bool readsPixels = true);
    /// @return why the component could not make a view
    std::string WhyNoView() const;
    /// @tparam F pointer to a function of that type
    /// @return one of the library's functions, null without
    template <typename F>
    F Function(const char* name) const {
        return m_library.Function<F>(name);
    }

private:
    explicit ViewLibrary(kq::OpenedViewLibrary opened);

    const kq::LoadedViewLibrary m_library;
    const std::string m_path;
    const std::string m_loadError;
};

/// How many views this process has made: the number that the next one has in picture sinks. Whoever makes one
/// counts it. The main thread's.
int& ViewsMade();

/// A view of the library's that no player shows pictures in. Any thread may call it.
class LibraryView {
public:
    /// @param library outlives the view
    /// @param parent as PVCreatePlayerView() has it
    /// @return null when the library makes no view
    static std::unique_ptr<LibraryView> Make(const ViewLibrary& library, void* parent);
    ~LibraryView();
    LibraryView(const LibraryView&) = delete;
    LibraryView& operator=(const LibraryView&) = delete;

    /// @return its native window
    void* Window() const { return m_window(m_view); }
    /// @param pixels B, G, R, any, top-down, rows of 4 * width bytes
    void Show(int width, int height, unsigned char* pixels) { m_show(m_view, width, height, pixels); }

private:
    LibraryView() = default;

    void* m_view = nullptr;
    decltype(&PVDestroyPlayerView) m_destroy = nullptr;
    decltype(&PVGetHwnd) m_window = nullptr;
    decltype(&PVShowRGB32Image) m_show = nullptr;
};

} // namespace kqplay
