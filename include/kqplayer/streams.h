/// @file
/// What a host implements so that the player can play its media.
///
/// A video stream is attached to a view with IPlayerView::SetVideoInput(), the audio stream to the player
/// with IAudioInput::SetAudioInput(). The player keeps a reference while it holds a stream. It does not
/// serialise its calls into one stream: a video stream is called from the playback thread and from the host's
/// own threads (seek while stopped, play length, capture, refresh of a view); an audio stream is read by the
/// sound thread and sought by the playback thread while the sound thread is not running.
#pragma once

#include "com.h"
#include "records.h"

/// Describes a stream. The records stay valid while the object is held.
struct IStreamInfo : IUnknown {
    virtual std::int32_t Reserved0() = 0; ///< eight slots that the player never calls
    virtual std::int32_t Reserved1() = 0; ///< never called
    virtual std::int32_t Reserved2() = 0; ///< never called
    virtual std::int32_t Reserved3() = 0; ///< never called
    virtual std::int32_t Reserved4() = 0; ///< never called
    virtual std::int32_t Reserved5() = 0; ///< never called
    virtual std::int32_t Reserved6() = 0; ///< never called
    virtual std::int32_t Reserved7() = 0; ///< never called
    /// @return the audio format, or null when this is not an audio stream
    virtual const AUDIO_STREAM_INFO* GetAudioFormat() = 0;
    /// @return the video format, or null when this is not a video stream
    virtual const VIDEO_STREAM_INFO* GetVideoFormat() = 0;

protected:
    ~IStreamInfo() = default;
};

/// One decoded stream with a position.
struct IMediaStream : IUnknown {
    /// @param ppInfo receives the stream's description with one reference, which the caller releases
    /// @return 0, or non-zero when there is none
    virtual std::int32_t GetStreamInfo(IStreamInfo** ppInfo) = 0;
    virtual std::int32_t Reserved() = 0; ///< a slot that the player never calls
    /// Moves the position.
    /// @param dSeconds absolute time in the stream, in seconds
    /// @param nMode    1: exactly the frame that is on show at that time; 0: the key frame at or before it
    /// @return the time actually reached, in seconds
    virtual double Seek(double dSeconds, int nMode) = 0;
    /// @return the frame at the position, or null when there is none. The stream keeps ownership. The same
    ///         frame comes again until NextFrame() or Seek() moves the position, and stays valid until then.
    virtual MEDIA_FRAME* GetCurrentFrame() = 0;
    /// Drops the current frame. @return above 0: a further frame follows; otherwise the stream has ended
    virtual int NextFrame() = 0;
    /// @return index of the current frame; divided by the frame rate it gives seconds
    virtual double GetFramePosition() = 0;

protected:
    ~IMediaStream() = default;
};

/// What IQLXDispatch::Invoke() tells.
enum : std::int64_t {
    KQ_COMMAND_PLAY = 0,
    KQ_COMMAND_STOP = 1,
    KQ_COMMAND_PAUSE = 3, ///< or a load
    KQ_COMMAND_RESUME = 4,
};

/// Optional interface of a video stream (IID_IQLXDispatch): it is told what the transport does.
struct IQLXDispatch : IUnknown {
    /// @param nReserved0 0
    /// @param llCommand one of KQ_COMMAND_…
    /// @param nReserved1 0
    /// @return not looked at
    virtual std::int32_t Invoke(std::int32_t nReserved0, std::int64_t llCommand, std::int32_t nReserved1) = 0;

protected:
    ~IQLXDispatch() = default;
};
