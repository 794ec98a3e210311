/// @file
/// The player component, wrapped for one reference stream in any number of views.
#pragma once

#include <kqplayer/convenience.h>
#include <kqplayer/kqplayer.h>

#include <cstddef>
#include <string>
#include <vector>

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

/// A player, its views and its streams. One object a run of the program.
class Player {
public:
    ~Player() { Close(); }

    /// @param listener outlives the player
    /// @return false with the reason in @p error
    bool Create(PlayerListener& listener, std::string& error);
    /// Ends the run and gives everything back, the player too.
    void Close();
    /// Makes one more view.
    /// @param parent X11 window, value of a Wayland surface, or kq::OffScreenParent()
    /// @return false when the view library makes no view
    bool CreateView(void* parent, int width, int height);
    /// Gives every view its stream; to be called when all of them are there.
    /// @param video reference stream, which all views show
    /// @param other what the last view shows instead, or null
    /// @return false when a stream does not tell its format
    bool SetVideo(IMediaStream* video, IMediaStream* other);
    /// @param audio stream for the next run, or null for none, which also forgets the play range
    void SetAudio(IMediaStream* audio);
    /// @param length seconds; 0: up to the end of the streams, whatever their length
    void SetRange(double begin, double length);
    /// @return the length of the range; 0 for none
    double Length() const { return m_length; }

    /// @return false when there is nothing to play
    bool Play();
    void Pause() { m_player->Pause(); }
    /// Opens a run that is paused, at the begin of the range or where Seek() has moved to.
    void Load() { m_player->Load(); }
    /// Has a paused run show again what its streams have, soon; one that plays does so anyway.
    void Redraw() { m_player->Update(0); }
    /// Posts an exact seek; without a run the views show the picture at once.
    void Seek(double seconds) { m_player->Seek(seconds, kq::ExactSeek); }
    /// @return true while a seek has not been taken
    bool IsSeeking() const { return m_player->IsSeeking(); }
    /// @return true once the run has entered its pause: only then it steps
    bool IsPaused() const { return m_player->IsPaused(); }
    /// Posts a step of one frame.
    void Forward() { m_player->Forward(); }
    /// @return a copy of the reference stream's current picture, valid until the next call; null for none
    const MEDIA_FRAME* CopyPicture() { return m_player->CaptureCurrentImageEx(); }
    /// Writes the reference stream's current picture to a file.
    /// @param format its number in CaptureImageInfo
    /// @return false without a picture; a file that cannot be written is logged
    bool Capture(int format, const std::wstring& path);
    /// Ends the run. When it returns, the views are black.
    void Stop() { m_player->Stop(); }
    /// @return KQ_ACTIVATE_STOPPED and so on
    int Activity() const { return m_player->IsActivate(); }
    /// @return seconds in the file, from its very beginning; 0 for unknown
    double MovieLength() const { return m_player->GetMovieLength(); }
    /// @return a view, for looking closely; null when there is none of that index
    kq::ComPtr<IPlayerView2> View(std::size_t index) const {
        return index < m_shown.size() ? m_shown[index].As<IPlayerView2>() : nullptr;
    }
    /// @return the windows that show the views; null for one that is off-screen
    std::vector<void*> ViewWindows() const;

private:
    static long OnNotify(void* userData, unsigned int message, unsigned int what, unsigned int argument);

    kq::ComPtr<IMediaPlayer> m_player;
    kq::ComPtr<IAudioInput> m_audioInput;
    kq::ComPtr<IPlayerViewMgr> m_views;
    std::vector<kq::ComPtr<IPlayerView>> m_shown;
    double m_length = 0;
};

} // namespace kqplay
