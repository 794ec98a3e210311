/// @file
/// One run of the player, from its start to the end of play.
#pragma once

#include "player/MediaPlayer.h"

#include <kqplayer/convenience.h>
#include <kqplayer/streams.h>

#include <cstdint>
#include <memory>

class SoundPlayer;

/// Plays one run on the playback thread: paces the frames of the reference stream against the audio clock, or
/// against the wall clock when there is no audio, and carries out what hosts request meanwhile.
///
/// Frames are never dropped: a late one is shown at once, one an iteration. Waiting is by polling.
class PlaybackRun {
public:
    explicit PlaybackRun(CMediaPlayer& player);
    PlaybackRun(const PlaybackRun&) = delete;
    PlaybackRun& operator=(const PlaybackRun&) = delete;
    ~PlaybackRun();

    /// The whole run. When it returns the player can be started again.
    void Perform();

private:
    /// How an iteration goes on after one of its steps.
    enum class Next { Continue, EndIteration, LeaveLoop };

    /// A seek request as taken from the player.
    struct SeekRequest {
        double dTime = -1.0;
        unsigned int nMode = 0;
        bool IsSet() const { return dTime > -0.001; }
    };

    /// Keeps m_csSeek locked to the end of an iteration while a SyncSeek() caller waits.
    class SeekHold {
    public:
        explicit SeekHold(CMediaPlayer& player) : m_player(player) {}
        SeekHold(const SeekHold&) = delete;
        SeekHold& operator=(const SeekHold&) = delete;
        ~SeekHold() { End(); }
        void Begin();
        void End();

    private:
        CMediaPlayer& m_player;
        bool m_bHeld = false;
    };

    // Start-up, in the order in which it happens.
    void StartUp();
    void TakeStreams();
    void ReadVideoFormat();
    void ReadAudioFormat();
    void GoToBegin();
    void OpenSound();
    void TakeFirstFrame();
    void SeekBeforeStart();
    void StartSound();

    // An iteration. Each returns whether the run goes on.
    bool Iterate();
    Next FollowPause(SeekHold& hold);
    Next StayPaused();
    void EnterPause();
    bool ServePausedRequests();
    void Resume(SeekHold& hold);
    void KeepSoundRunning();
    void SeekWhilePlaying();
    bool IsAtEndOfRange() const;
    bool HasSteppedPastEnd() const;
    bool FetchFrame();
    bool IsFrameDue(bool bAudioDone, std::int64_t llPlayTime);
    void PlayAudioOnly();
    void Present();
    void UpdatePosition();
    void Redraw();

    void LeaveRun();

    // The places of a seek, and one frame step.
    void SeekWhilePaused(const SeekRequest& request);
    void SeekOnResume(const SeekRequest& request);
    bool StepWhilePaused();

    // Shared steps.
    SeekRequest TakeSeekRequest();
    double SeekVideo(const SeekRequest& request);
    double SeekSound();
    double ResyncSound();
    void RestartClock();
    void StorePausedPosition();
    /// @return the position of the video stream, in stream seconds
    double GetPosition();
    bool IsStopRequested() const;
    bool IsSuspended() const;
    bool IsVideoLive() const;

    CMediaPlayer& m_player;
    kq::ComPtr<IMediaStream>
        m_pVideo; ///< the reference stream as found at start-up, kept to the end of the run
    kq::ComPtr<IMediaStream> m_pAudio;
    kq::ComPtr<IStreamInfo> m_pVideoInfo;
    kq::ComPtr<IStreamInfo> m_pAudioInfo;
    std::unique_ptr<SoundPlayer> m_pSound;
    bool m_bHasAudioFormat = false;
    int m_nReference = 1;
    double m_dFrameRate = 0.0;
    const MEDIA_FRAME* m_pFrame = nullptr; ///< the next frame to show, borrowed from the video stream
    double m_dOrigin = -1.0;               ///< time stamp of the first frame in seconds; -1.0 while unknown
    double m_dFrameTime = 0.0;             ///< of the frame to show or shown last, seconds from the origin
    std::uint32_t m_nPauseStart = 0;       ///< wall clock at which the pause was entered
    bool m_bResync = false;                ///< the position moved during the pause
};
