/// @file
/// A small host: a player made through the factory, with views and a recording callback.
#pragma once

#include <kqplayer/convenience.h>
#include <kqplayer/kqplayer.h>

#include <atomic>
#include <functional>
#include <mutex>
#include <vector>

namespace kq::test {

class PlayerHost {
public:
    /// @param video attached to a first view, the reference, unless it is null
    explicit PlayerHost(IMediaStream* video = nullptr, IMediaStream* audio = nullptr);
    PlayerHost(const PlayerHost&) = delete;
    PlayerHost& operator=(const PlayerHost&) = delete;
    ~PlayerHost();

    IMediaPlayer* operator->() const { return m_player.Get(); }
    IMediaPlayer* Get() const { return m_player.Get(); }
    /// Gives every reference back now, the player's first.
    void ReleasePlayer();

    /// Makes an off-screen view and attaches a stream to it. @return its index
    int AddView(int sourceMode, IMediaStream* stream);
    IPlayerView* GetView(int index) const;
    IPlayerViewMgr* GetManager() const { return m_manager.Get(); }
    void SetAudio(IMediaStream* stream);

    /// The positions reported so far, and how many runs have ended.
    std::vector<double> GetPositions() const;
    double GetLastPosition() const;
    int GetEnds() const { return m_ends; }
    bool WaitForEnd(int ends = 1) const;
    bool WaitForPause() const;

    /// Called inside the callback, after it has been recorded. Set before playing.
    std::function<void(unsigned int what)> onNotify;

private:
    static long OnNotify(void* userData, unsigned int message, unsigned int what, unsigned int argument);

    ComPtr<IMediaPlayer> m_player;
    ComPtr<IPlayerViewMgr> m_manager;
    std::vector<ComPtr<IPlayerView>> m_views;
    mutable std::mutex m_lock;
    std::vector<double> m_positions;
    std::atomic<int> m_ends{0};
};

} // namespace kq::test
