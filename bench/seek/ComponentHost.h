/// @file
/// The component with streams of media files, as a host without windows sees it.
#pragma once

#include <kqplayer/convenience.h>
#include <kqplayer/kqplayer.h>
#include <kqplayer/player_view.h>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <vector>

namespace bench {

using kq::ComPtr;

using Clock = std::chrono::steady_clock;

/// A player made through the factory, with off-screen views whose pictures are noted. One at a time.
class ComponentHost {
public:
    /// A picture as it was handed to a view.
    struct Picture {
        int view; ///< counted from 0 in the order of AddView()
        std::size_t mark;
        Clock::time_point when;
    };
    /// Makes a picture's mark from its B, G, R, 255 pixels; 0 for the black of a stopped player.
    using Marker = std::function<std::size_t(const unsigned char* pixels, std::size_t bytes)>;

    explicit ComponentHost(Marker marker);
    ~ComponentHost();
    ComponentHost(const ComponentHost&) = delete;
    ComponentHost& operator=(const ComponentHost&) = delete;

    IMediaPlayer* operator->() const { return m_player.Get(); }
    void AddView(int sourceMode, IMediaStream& video);
    void SetAudio(IMediaStream& audio);

    /// Opens a paused run and waits until its first picture has been shown.
    void LoadAndWait();
    /// @return the pictures since the last Forget()
    std::vector<Picture> Pictures();
    void Forget();
    /// Waits for a picture that satisfies, counted from the last Forget(). @return false when none came in a
    /// long time
    bool WaitForPicture(const std::function<bool(const std::vector<Picture>&)>& satisfied);
    /// Waits until the run has ended by itself. @return false when it has not in a long time
    bool WaitForEnd();

private:
    static void OnPicture(void* handle, int view, int width, int height, const unsigned char* pixels,
                          void* self);

    const Marker m_marker;
    void* m_viewLibrary;
    int m_firstView = 0; ///< number of this host's first view within the process
    ComPtr<IMediaPlayer> m_player;
    ComPtr<IPlayerViewMgr> m_views;
    std::mutex m_lock;
    std::condition_variable m_shown;
    std::vector<Picture> m_pictures;
};

} // namespace bench
