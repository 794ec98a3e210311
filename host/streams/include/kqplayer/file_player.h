/// @file
/// A media file in one view, and what the controls of a player's window do with it.
///
/// Header only: a host that needs more than this takes it for a beginning.
#pragma once

#include "media_file.h"

#include <kqplayer/convenience.h>

#include <algorithm>
#include <chrono>
#include <string>
#include <thread>

namespace kq::streams {

/// Plays a file. To be used from one thread, say the toolkit's own; none of the calls takes long, and no
/// callback is needed: a timer asks for the position. Without an open file the controls do nothing.
class FilePlayer {
public:
    /// Opens a file, before there is a window.
    /// @param path  as OpenMediaFile() has it
    /// @param error receives one line that names the file and the reason
    /// @return false when it cannot be played
    bool Open(const std::string& path, std::string& error) {
        Close();
        if (!OpenMediaFile(path, {}, m_file, error)) {
            return false;
        }
        m_video = ComPtr<IMediaStream>::Adopt(m_file.video);
        m_audio = ComPtr<IMediaStream>::Adopt(m_file.audio);
        ComPtr<IMediaPlayer> player;
        const std::int32_t result = CreatePlayer(player);
        m_player = player.As<IMediaPlayer2>();
        if (!m_player) {
            error = std::string("no player: ") + ResultText(result);
        }
        return static_cast<bool>(m_player);
    }
    /// Makes the view, and begins to play. To be called once, with an open file.
    /// @param parent       X11 window, kq::WaylandParent, kq::PictureReceiver or kq::OffScreenParent()
    /// @param width,height of the view, in pixels or units of the parent
    /// @param error        receives the reason
    /// @return false without a view
    bool Show(void* parent, int width, int height, std::string& error) {
        m_player->GetPlayerViewMgr(m_views.Out());
        m_view = ComPtr<IPlayerView>::Adopt(m_views->CreatePlayView(parent, tagRECT{0, 0, width, height}));
        if (!m_view) {
            error = "no view: PlayerView.so is missing or refuses the window";
            return false;
        }
        constexpr int referenceMode = 1; // of a single view
        if (m_video) {
            m_view->SetVideoInput(referenceMode, m_video.Get());
        }
        if (m_audio) {
            m_player.As<IAudioInput>()->SetAudioInput(m_audio.Get());
        }
        m_player->SetPlayTime(0, 0);
        m_player->Play();
        return true;
    }
    /// Lets go of view and file. When it returns, no more pictures are made: windows, surfaces and receivers
    /// may go then.
    void Close() {
        m_view.Reset();
        m_views.Reset();
        m_player.Reset(); // the last reference: waits for the end of the run
        m_video.Reset();
        m_audio.Reset();
    }
    FilePlayer() = default;
    ~FilePlayer() { Close(); }
    FilePlayer(const FilePlayer&) = delete;
    FilePlayer& operator=(const FilePlayer&) = delete;

    /// Pauses, or plays on; after the end, from the begin or from where it was moved to.
    void TogglePlay() {
        if (IsPlaying()) {
            m_player->Pause();
        } else if (m_player) {
            m_player->Play();
        }
    }
    /// Steps one picture, and pauses for that. Does nothing without pictures, nor beyond the first and last.
    void Step(bool ahead) {
        if (!m_video) {
            return;
        }
        if (IsPlaying()) {
            m_player->Pause();
        } else if (m_player->IsActivate() != KQ_ACTIVATE_PAUSED) { // a step needs a run that is paused
            m_player->SyncSeek(m_player->GetPosition(), ExactSeek);
            m_player->Load();
        }
        if (WaitForPause()) {
            ahead ? m_player->Forward() : m_player->Backward();
        }
    }
    /// Moves to a place, exactly. May be called for every motion of a slider: the latest one counts.
    /// @param seconds from 0 to Length()
    void Seek(double seconds) {
        m_sought = std::clamp(seconds, 0.0, Length());
        if (m_player) {
            m_player->Seek(m_sought, ExactSeek);
        }
    }

    /// @return false also before Show(), and without an open file
    bool IsPlaying() const { return m_player && m_player->IsActivate() == KQ_ACTIVATE_PLAYING; }
    /// @return seconds from the file's start; while a place is being sought, that place. What a slider shows.
    double Position() const {
        return !m_player ? 0 : m_player->IsSeeking() ? m_sought : m_player->GetPosition();
    }
    /// @return seconds
    double Length() const { return m_file.facts.duration; }
    /// @return width of the pictures as they are to be shown, for a height of 1; 0 without pictures
    double AspectRatio() const {
        ComPtr<IStreamInfo> info;
        if (!m_video || m_video->GetStreamInfo(info.Out()) != Ok) {
            return 0;
        }
        const VIDEO_STREAM_INFO& format = *info->GetVideoFormat();
        return format.nAspectX > 0 && format.nAspectY > 0 ? 1.0 * format.nAspectX / format.nAspectY
                                                          : 1.0 * format.nWidth / format.nHeight;
    }
    /// @return what the file holds
    const MediaFacts& Facts() const { return m_file.facts; }
    /// @return IPlayerView::GetWND() of the view: its window, for a host that moves it
    void* Window() const { return m_view ? m_view->GetWND() : nullptr; }
    /// @return the player, for whatever else a host wants of it; borrowed, null before Open()
    IMediaPlayer2* Player() const { return m_player.Get(); }

private:
    /// A run notices within about a millisecond that it is to pause.
    /// @return false when it has ended meanwhile
    bool WaitForPause() const {
        while (!m_player->IsPaused() && m_player->IsActivate() == KQ_ACTIVATE_PAUSED) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        return m_player->IsPaused();
    }

    MediaFile m_file; ///< for what it tells; its streams are held below
    ComPtr<IMediaStream> m_video;
    ComPtr<IMediaStream> m_audio;
    ComPtr<IMediaPlayer2> m_player;
    ComPtr<IPlayerViewMgr> m_views;
    ComPtr<IPlayerView> m_view;
    double m_sought = 0; ///< seconds
};

} // namespace kq::streams
