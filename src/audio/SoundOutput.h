/// @file
/// What a run needs of the sound that it plays.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

struct IMediaStream;

/// Plays one audio stream on a thread of its own. The run that made it is its owner: every operation is
/// called on the playback thread. Positions count bytes of PCM since the last fresh start.
class SoundOutput {
public:
    SoundOutput() = default;
    SoundOutput(const SoundOutput&) = delete;
    SoundOutput& operator=(const SoundOutput&) = delete;
    /// Stops and closes it.
    virtual ~SoundOutput() = default;

    /// @return 1; IsOpen() tells whether it can be heard
    virtual int Open(int nSampleRate, int nChannels, int nBits) = 0;
    virtual bool IsOpen() const = 0;
    /// Has it played as loud as a number says from now on, 0 to 1, which others change meanwhile. Before the
    /// first Play().
    /// @param pGain borrowed: it outlives the sound
    virtual void FollowGain(const std::atomic<float>* pGain) = 0;
    /// Resumes after Pause(); otherwise a fresh start, with positions from 0.
    virtual void Play() = 0;
    virtual void Pause() = 0;
    virtual void Stop() = 0;
    /// Forgets what was pulled, after Stop() and before the stream is moved.
    virtual void ResetPullState() = 0;

    virtual IMediaStream* GetStream() const = 0;
    /// @return the THREAD_… state of its thread
    virtual std::int32_t GetThreadState() const = 0;
    virtual bool IsPlaying() const = 0;
    /// @return whether the end of the audio was declared
    virtual bool IsStreamEnd() const = 0;
    /// @return whether the stream has samples again after the end was declared
    virtual bool HasDataAgain() const = 0;
    /// @return whether a call that feeds the device has failed, so that the sound will not go on
    virtual bool HasFailed() const = 0;
    /// @return whether samples wait in the device's queue
    virtual bool IsQueueFilled() = 0;

    /// @return the position being heard
    virtual std::int64_t GetPlayPos() = 0;
    /// @return the bytes handed to the device since the last Stop()
    virtual std::int64_t GetTotalBytes() = 0;
    virtual std::uint32_t GetBytesPerSec() const = 0;
    /// Finds the chunk of a played position, as TimeCodeMgr::SearchPTSReverse() does.
    virtual void SearchPTS(std::int64_t llBytePos, std::int64_t& llPTS, std::int64_t& llChunkPos) = 0;
};

/// Makes a run's sound. @return a sound that is not open yet, or null without memory
using SoundMaker = std::unique_ptr<SoundOutput> (*)(IMediaStream* pStream);

/// @return the maker in use: that of SoundPlayer, unless a test has installed another one
SoundMaker CurrentSoundMaker();
/// Puts another maker in place for the whole process, while no run is active. @param pMaker null for
/// SoundPlayer's
void InstallSoundMaker(SoundMaker pMaker);
