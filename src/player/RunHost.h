/// @file
/// What a run asks of the player that it runs for.
#pragma once

#include <kqplayer/convenience.h>
#include <kqplayer/streams.h>

/// Called on the playback thread.
class RunHost {
public:
    virtual bool IsStopRequested() const = 0;
    virtual bool IsSuspended() const = 0;

    /// @return the reference stream with a reference, or null
    virtual kq::ComPtr<IMediaStream> AcquireReferenceStream() = 0;
    /// @return the audio stream with a reference, or null
    virtual kq::ComPtr<IMediaStream> AcquireAudioStream() = 0;
    virtual int GetSeekNum() = 0;
    virtual void ShowImage(const MEDIA_FRAME* pFrame, int nMode) = 0;
    virtual void NotifyPosition() = 0;

    /// The run wants to leave. @param bDespitePause whether a pause that has just come does not keep it
    /// @return false when a pause or a seek has come in time: the run goes on
    virtual bool BeginLeaving(bool bDespitePause) = 0;
    /// The run is over: the player may be started again.
    virtual void FinishRun() = 0;

protected:
    ~RunHost() = default;
};
