/// @file
/// A player with its streams and views, for Python.
#pragma once

#include "Dispatcher.h"
#include "Interpreter.h"

#include <kqplayer/convenience.h>
#include <kqplayer/media_file.h>
#include <kqplayer/player.h>

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace kq::python {

/// What a player is made of. Beside that: any thread, without the interpreter's lock, also from callbacks.
///
/// Positions are seconds in the file. The component calls back on its playback thread, which only notes what
/// it is told; the host is told by a thread of its own (Dispatcher), so that pictures wait for no
/// interpreter.
class PlayerCore : public Owned {
public:
    /// Receive what happens, on the thread of callbacks, with the interpreter's lock.
    struct Listener {
        std::function<void(double position)> onPosition;
        std::function<void()> onEnd;
    };
    struct Setup {
        std::string path;
        bool sound = true;
        int soundTrack = 0;
        std::string filter;
        std::function<void(const std::string&)> log;
    };

    /// @throw Error
    static std::shared_ptr<PlayerCore> Open(const Setup& setup);
    ~PlayerCore() override { Close(); }
    void Close() override;
    bool IsClosed() const { return m_isClosed; }
    /// Begins to tell somebody what happens.
    void Listen(Listener listener);
    /// Ends that; what has happened is told before. Not with the interpreter's lock.
    void StopListening();

    /// Makes one more view, while nothing is played.
    /// @param parent X11 window, null for a window of its own, or OffScreenParent()
    /// @param path   of another file that it shows in step; empty: the player's pictures
    /// @param filter that these pass, if either is given
    ComPtr<IPlayerView> AddView(void* parent, const tagRECT& rect, const std::string& path,
                                const std::string& filter);

    /// @throw Error when there is nothing to play
    void Play();
    void Pause();
    void Stop();
    /// Shows the first picture, or the one that was sought, paused.
    void Load();
    /// @param isExact false: to the key frame before
    void Seek(double seconds, bool isExact);
    /// Pauses, and moves by so many pictures. @return the number of the picture on show
    std::int64_t Step(std::int64_t count);
    /// @throw Error for one that the file does not have
    void SeekPicture(std::int64_t number);
    double SetRate(double rate);
    double Rate() const { return m_timeline->Rate(); }
    /// @throw Error for a range without a picture
    void SetRange(double begin, double end, int rounds);

    /// @return the picture of a view's stream, as red, green and blue. @throw Error without
    std::unique_ptr<CapturedPicture> Capture(IPlayerView& view) const;
    /// @return one of KQ_ACTIVATE_...
    int Activity() const { return m_player->IsActivate(); }
    /// @return where it stands, also after the end
    double Position();
    /// @param volume from 0 to 1. @throw Error for another one
    void SetVolume(double volume);
    double Volume() const { return m_player->GetVolume(); }
    void SetMuted(bool isMuted) { m_player->SetMute(isMuted ? 1 : 0); }
    bool IsMuted() const { return m_player->IsMuted(); }
    double Length() const { return m_player->GetMovieLength(); }
    std::int64_t Count() { return m_timeline->FrameCount(); }
    /// @return the picture where the stream stands; null without
    streams::KeptPicture Picture();
    /// @return the number of the picture on show, -1 for unknown
    std::int64_t Number();
    const streams::MediaFacts& Facts() const { return m_file.facts; }
    /// Waits for the end of a run, at most so long. @return true without one
    bool WaitForEnd(int milliseconds);

private:
    explicit PlayerCore(const Setup& setup) : m_setup(setup) {}

    void OpenAll();
    void AttachStreams();
    void CheckOpen() const;
    bool IsRunning() const;
    void PauseAndWait();
    double PlayTime() const;
    void TakeRange();
    void KeepEnd();
    void OnPosition(double told);
    void OnRunEnd();
    void TellPosition(double playTime);
    static long OnNotify(void* userData, unsigned int message, unsigned int what, unsigned int argument);

    struct Shown {
        ComPtr<IPlayerView> view;
        ComPtr<IMediaStream> stream; ///< null: the player's own
    };

    const Setup m_setup;
    streams::MediaFile m_file;
    std::shared_ptr<streams::Timeline> m_timeline;
    ComPtr<IMediaStream> m_video;
    ComPtr<IMediaStream> m_audio;
    ComPtr<IMediaPlayer2> m_player;
    ComPtr<IPlayerViewMgr> m_views;
    std::vector<Shown> m_shown;
    std::atomic<bool> m_isClosed{false};
    std::atomic<bool> m_isStopping{false}; ///< the run ends because somebody wants that
    std::mutex m_transport;                ///< held by calls that change what is played

    std::mutex m_lock; ///< guards the rest
    std::condition_variable m_change;
    bool m_isRunning = false;
    double m_told = 0;  ///< play time that the host was told last
    double m_begin = 0; ///< of the range, seconds in the file
    double m_end = std::numeric_limits<double>::infinity();
    int m_rounds = 1;
    double m_runBegin = 0; ///< where the player's range begins: it counts positions from there
    double m_runEnd = 0;   ///< play time at which its range ends
    std::shared_ptr<Listener> m_listener;
    std::unique_ptr<Dispatcher> m_dispatcher;
};

} // namespace kq::python
