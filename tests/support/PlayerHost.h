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
    /// @param pVideo attached to a first view, the reference, unless it is null
    explicit PlayerHost(IMediaStream* pVideo = nullptr, IMediaStream* pAudio = nullptr);
    PlayerHost(const PlayerHost&) = delete;
    PlayerHost& operator=(const PlayerHost&) = delete;
    ~PlayerHost();

    IMediaPlayer* operator->() const { return m_pPlayer.Get(); }
    IMediaPlayer* Get() const { return m_pPlayer.Get(); }
    /// Gives every reference back now, the player's first.
    void ReleasePlayer();

    /// Makes an off-screen view and attaches a stream to it. @return its index
    int AddView(int nSourceMode, IMediaStream* pStream);
    IPlayerView* GetView(int nIndex) const;
    IPlayerViewMgr* GetManager() const { return m_pManager.Get(); }
    void SetAudio(IMediaStream* pStream);

    /// The positions reported so far, and how many runs have ended.
    std::vector<double> GetPositions() const;
    double GetLastPosition() const;
    int GetEnds() const { return m_nEnds; }
    bool WaitForEnd(int nEnds = 1) const;
    bool WaitForPause() const;

    /// Called inside the callback, after it has been recorded. Set before playing.
    std::function<void(unsigned int nWhat)> onNotify;

private:
    static long OnNotify(void* pUserData, unsigned int nMessage, unsigned int nWhat, unsigned int nArgument);

    ComPtr<IMediaPlayer> m_pPlayer;
    ComPtr<IPlayerViewMgr> m_pManager;
    std::vector<ComPtr<IPlayerView>> m_views;
    mutable std::mutex m_lock;
    std::vector<double> m_positions;
    std::atomic<int> m_nEnds{0};
};

} // namespace kq::test
