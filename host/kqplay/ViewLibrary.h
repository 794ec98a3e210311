/// @file
/// The view library beside the program, seen by a host.
#pragma once

#include <kqplayer/player_view.h>

#include <string>

namespace kqplay {

/// PlayerView.so, the same instance that the component draws with.
class ViewLibrary {
public:
    ViewLibrary();
    ~ViewLibrary();
    ViewLibrary(const ViewLibrary&) = delete;
    ViewLibrary& operator=(const ViewLibrary&) = delete;

    /// Has every picture of every view handed to @p sink; null ends that.
    /// @return false when the library offers no such function
    bool SetPictureSink(PVPictureSink sink, void* userData);
    /// @return why the component could not make a view
    std::string WhyNoView() const;

private:
    std::string m_path;
    std::string m_loadError;
    void* m_library = nullptr;
};

} // namespace kqplay
