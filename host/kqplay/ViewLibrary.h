/// @file
/// The view library, seen by a host.
#pragma once

#include <kqplayer/player_view.h>

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

private:
    std::string m_path;
    std::string m_loadError;
    void* m_library = nullptr;
};

} // namespace kqplay
