/// @file
/// The player component, wrapped for one file in at most one view.
#pragma once

#include "ComPtr.h"

#include <kqplayer/kqplayer.h>

#include <optional>
#include <string>

namespace kqplay {

/// What the player tells its host, on the playback thread. Playback waits meanwhile.
class PlayerListener {
public:
    /// @param seconds position, counted from the begin of the play range
    virtual void OnPosition(double seconds) = 0;
    /// The run has ended: at its end, or because it was stopped. Player::Play() may be called here.
    virtual void OnEnd() = 0;

protected:
    ~PlayerListener() = default;
};

/// A player, its view and its streams. One object a run of the program.
class Player {
public:
    ~Player() { Close(); }

    /// @param listener outlives the player
    /// @return false with the reason in @p error
    bool Create(PlayerListener& listener, std::string& error);
    /// Ends the run and gives everything back, the player too.
    void Close();
    /// @param parent X11 window, or OffScreen()
    /// @return false when the view library makes no view
    bool CreateView(void* parent, int width, int height);
    /// @return false when the stream does not tell its format
    bool SetVideo(IMediaStream* video);
    /// @param audio stream for the next run, or null for none, which also forgets the play range
    void SetAudio(IMediaStream* audio);
    /// @param length seconds; none: up to the end of the file
    void SetRange(double begin, std::optional<double> length);

    /// @return false when there is nothing to play
    bool Play();
    void Pause() { m_player->Pause(); }
    /// Ends the run. When it returns, the views are black.
    void Stop() { m_player->Stop(); }
    /// @return KQ_ACTIVATE_STOPPED and so on
    int Activity() const { return m_player->IsActivate(); }
    /// @return seconds in the file, from its very beginning; 0 for unknown
    double MovieLength() const { return m_player->GetMovieLength(); }
    /// @return the window that shows the view, null off-screen or without a view
    void* ViewWindow() const { return m_view ? m_view->GetWND() : nullptr; }

    /// Parent of a view that has no window.
    static void* OffScreen();

private:
    static long OnNotify(void* userData, unsigned int message, unsigned int what, unsigned int argument);

    ComPtr<IMediaPlayer> m_player;
    ComPtr<IAudioInput> m_audioInput;
    ComPtr<IPlayerViewMgr> m_views;
    ComPtr<IPlayerView> m_view;
};

} // namespace kqplay
