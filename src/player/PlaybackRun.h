/// @file
/// One run of the player, from its start to the end of play.
#pragma once

#include "player/MediaClock.h"
#include "player/RunHost.h"
#include "player/SeekMailbox.h"
#include "player/TransportState.h"
#include "thread/TimeSource.h"

#include <kqplayer/convenience.h>
#include <kqplayer/streams.h>

#include <cstdint>
#include <memory>

class SoundOutput;

/// Plays one run on the playback thread: paces the frames of the reference stream against the audio clock, or
/// against the wall clock when there is no audio, and carries out what hosts request meanwhile.
///
/// Frames are never dropped: a late one is shown at once, one an iteration. Waiting is by polling.
///
/// Positions count from the begin of the range, or in the stream's own time when no begin was ever set. They
/// come from the frames' time stamps, so that stepping and playing tell the same.
class PlaybackRun {
public:
    PlaybackRun(RunHost& host, TransportState& state, SeekMailbox& mailbox);
    PlaybackRun(const PlaybackRun&) = delete;
    PlaybackRun& operator=(const PlaybackRun&) = delete;
    ~PlaybackRun();

    /// The whole run. When it returns the player can be started again.
    void Perform();

private:
    using SeekRequest = SeekMailbox::Request;

    /// How a pause ended.
    enum class PauseEnd { Resumed, Stopped, SteppedPastEnd };

    // Start-up, in the order in which it happens.
    void StartUp();
    void TakeStreams();
    void ReadVideoFormat();
    void GoToBegin();
    void OpenSound();
    void TakeFirstFrame();
    void SeekBeforeStart();
    void StartClock();
    void AlignSound();

    // An iteration. Each returns whether the run goes on.
    bool Iterate();
    bool FollowPause(SeekMailbox::Hold& hold);
    PauseEnd StayPaused();
    void EnterPause();
    /// @return false when a frame step ran past the end
    bool ServePausedRequests();
    void Resume(SeekMailbox::Hold& hold);
    void KeepSoundRunning();
    void SeekWhilePlaying();
    void WatchSound();
    bool IsAtEndOfRange() const;
    /// @return the position at which the run ends, in seconds from the begin; infinite without a limit
    double RangeEnd() const;
    /// @return the position that the clock tells, in seconds from the begin
    double HeardPosition() const;
    bool FetchFrame();
    bool IsFrameDue();
    void PlayAudioOnly();
    void Present();
    void UpdatePosition();
    void Redraw();

    void LeaveRun();

    // The places of a seek, and one frame step.
    void SeekWhilePaused(const SeekRequest& request);
    void SeekOnResume(const SeekRequest& request);
    /// @return false when there was no further frame
    bool StepWhilePaused();
    void StepBackWhilePaused();

    // The sound.
    void PlaySound(bool bFollowed = true);
    /// @return whether the time stamp of what the sound pulls next is known
    bool FindNextSound(std::int64_t& llStamp);
    bool IsSoundEarly();
    void SkipPassedSound(std::int64_t llMedia);
    /// Stops the sound and moves its stream. @return the time reached, or -1.0
    double MoveSound(double dStreamTime);
    void BringSoundBack();
    void GiveSoundUp();

    // Shared steps.
    double BeginTime() const;
    double MoveVideo(const SeekRequest& request);
    /// Takes the position from the frame on which a move of the video stream has landed.
    void Land();
    void SetPosition(double dPlayed);
    void NoteOrigin(const MEDIA_FRAME& frame);
    double PlayedTimeOf(const MEDIA_FRAME& frame) const;
    void StorePausedPosition();
    std::int64_t MediaOf(double dPlayed) const;
    /// @return the position of the video stream, in stream seconds; 0 without a frame rate
    double GetStreamPosition() const;
    bool IsVideoLive() const;

    RunHost& m_host;
    TransportState& m_state;
    SeekMailbox& m_mailbox;
    TimeSource& m_time;
    MediaClock m_clock;
    kq::ComPtr<IMediaStream>
        m_pVideo; ///< the reference stream as found at start-up, kept to the end of the run
    kq::ComPtr<IMediaStream> m_pAudio;
    kq::ComPtr<IStreamInfo> m_pVideoInfo;
    kq::ComPtr<IStreamInfo> m_pAudioInfo;
    std::unique_ptr<SoundOutput> m_pSound;
    int m_nReference = 1;
    double m_dFrameRate = 0.0;
    bool m_bBeginSet = false;
    bool m_bVideoEnd = false;              ///< the reference stream has no more frames
    const MEDIA_FRAME* m_pFrame = nullptr; ///< the next frame to show, borrowed from the video stream
    bool m_bOriginKnown = false;
    double m_dOrigin = 0.0;      ///< time stamp in seconds that stands for position 0
    double m_dStampOffset = 0.0; ///< time stamp less stream position, in seconds
    double m_dFrameTime = 0.0;   ///< position of the frame to show or shown last
    bool m_bPaused = false;      ///< a pause was entered and not left
    bool m_bResync = false;      ///< the position moved during the pause
    bool m_bSteppedPastEnd = false;
    std::uint32_t m_dwBroughtBack = 0; ///< wall clock when the sound was brought back last
    int m_nBroughtBack = 0;            ///< how often in a row
};
