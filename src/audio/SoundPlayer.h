/// @file
/// Plays one audio stream through OpenAL.
#pragma once

#include "audio/OwnDevice.h"
#include "audio/SoundOutput.h"
#include "audio/TimeCodeMgr.h"
#include "thread/BaseThread.h"

#include <kqplayer/convenience.h>
#include <kqplayer/streams.h>

#include <AL/al.h>
#include <AL/alc.h>
#include <AL/alext.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <optional>
#include <vector>

/// Keeps two OpenAL buffers of 100 ms each in rotation on one source, refilled from the stream by a thread of
/// its own, and tells how many bytes have been heard. Without data it plays silence; after one second of
/// silence in total the audio counts as ended.
///
/// The public operations are called by one owner thread. Positions count bytes of PCM since the last fresh
/// start, silence included; the timecode map counts the same bytes.
///
/// An OpenAL call that fails prints its error, and is otherwise ignored unless it feeds the source: then the
/// sound ends (HasFailed()), and the object can still be stopped, started afresh, and closed.
class SoundPlayer final : public BaseThread, public SoundOutput {
public:
    /// @param pStream the stream to play, of which a reference is kept; may be null
    explicit SoundPlayer(IMediaStream* pStream);
    ~SoundPlayer() override;

    /// Makes the OpenAL source and its buffers in the current context, or in a new one on the default device.
    /// 1 or 2 channels at 8 or 16 bits; 4, 6, 7 or 8 channels at 16 bits where OpenAL has the format. Any
    /// other combination, and a machine without an audio device or one that gives no source, is refused with
    /// a printed line and opens nothing. A context that is current belongs to somebody else and is never
    /// closed.
    /// @return 1
    int Open(int nSampleRate, int nChannels, int nBits) override;
    /// Resumes after Pause(); otherwise a fresh start: both buffers are filled anew, positions start at 0 and
    /// the timecode map starts again. After the declared end of the audio a fresh start finds it going on
    /// where the stream has data again, with a new second of silence. Where nothing can be started the state
    /// is THREAD_FINISHED and nothing plays. Does nothing while it plays.
    void Play() override;
    void Pause() override;
    /// Ends the thread and stops the source. The stream and the pull state stay as they are.
    void Stop() override;
    void Close();
    /// @return the position being heard, in bytes since the last fresh start; never negative, and never more
    /// than what has been queued. Where OpenAL does not tell, the begin of the queue.
    std::int64_t GetPlayPos() override;
    /// Fills a buffer from the stream. @return the bytes that count as delivered, silence included; 0 at the
    /// end
    int SoundPlayCB(unsigned char* pBuf, int nLen);
    /// One pass of the thread: refills what OpenAL has finished. @return the last fill result
    int WriteAlBuffers();
    /// Makes an OpenAL context current: the one that is, or a new one on the default device. On failure
    /// whatever it has made itself is gone again.
    bool ALFWInitOpenAL();
    int svc() override;
    void FollowGain(const std::atomic<float>* pGain) override { m_pGain = pGain; }

    bool IsOpen() const override { return m_bOpened != 0; }
    IMediaStream* GetStream() const override { return m_pStream.Get(); }
    /// @return whether the end of the audio has been declared: no data for longer than the second of silence,
    /// the device gone, or a failure
    bool IsStreamEnd() const override { return m_bStreamEnd != 0; }
    /// @return whether a call that feeds the source (generate, fill, queue, unqueue, play, or a query of what
    /// is to be refilled), or the start of the thread, has failed: nothing more will be heard. Set before
    /// IsStreamEnd(); cleared by Open() and by a fresh start in which every call succeeds. Any thread may
    /// ask.
    bool HasFailed() const override { return m_bFailed != 0; }
    /// @return whether the stream delivers again after the end of the audio, so that a Play() would be heard:
    /// from the stream's present frame on, so the owner may move the stream first
    bool HasDataAgain() const override;
    bool IsPlaying() const override { return m_bPlaying != 0; }
    std::uint32_t GetBytesPerSec() const override { return static_cast<std::uint32_t>(m_nBytesPerSec); }
    std::int32_t GetThreadState() const override { return GetState(); }
    bool IsQueueFilled() override;
    void SearchPTS(std::int64_t llBytePos, std::int64_t& llPTS, std::int64_t& llChunkPos) override;
    int GetBufferSize() const { return m_nBufferSize; }
    /// @return the bytes handed to OpenAL since the last Stop()
    std::int64_t GetTotalBytes() override;
    /// Forgets what was pulled, after Stop() and before the stream is moved.
    void ResetPullState() override;

    TimeCodeMgr m_TimeCodeMgr;

private:
    static constexpr int kBufferCount = 2;

    // Each returns whether OpenAL took all of it.
    bool MakeObjects();
    bool RenewBuffers();
    bool QueueBuffer(ALuint uiBuffer, const char* pOperation);
    bool Refill(int nCount, int& nDelivered);
    bool RefillWhatIsDone(int& nDelivered);
    bool RestartIfDry(int& nDelivered);
    bool MakeContextCurrent();

    /// Renews and fills both buffers. @return whether there was anything to play, and OpenAL took it
    bool FillAfresh();
    bool StartSource();
    void ApplyGain();
    bool StartThread();
    /// Leaves a Play() that could not start anything.
    void EndStart();
    /// Notes a failure after which nothing more is heard.
    void Fail();
    int CopyLeftover(unsigned char* pBuf, int nLen);
    void RestartMap();
    MEDIA_FRAME* FrameWithData() const;
    bool IsDeviceLost() const;
    std::int64_t PlayedOfQueue() const;

    std::array<ALuint, kBufferCount> m_uiBuffers{};
    ALuint m_uiSource = 0;
    ALenum m_eFormat = 0;
    std::vector<unsigned char> m_pBuffer; ///< the transfer buffer
    int m_nBlockAlign = 0;
    int m_nSampleRate = 0;
    int m_nChannels = 0;
    int m_nBits = 0;
    std::int64_t m_nProcessed = 0; ///< buffers finished and unqueued since the last fresh start
    int m_nPlayedIfDry = 0;        ///< buffers of the queue that a source found dry has played
    std::int64_t m_llLastPos = 0;
    int m_nBufferSize = 0;
    MEDIA_FRAME* m_pFrame = nullptr; ///< the frame being copied, borrowed from the stream
    int m_nFrameRemain = 0;          ///< its bytes not yet copied
    std::atomic<std::int32_t> m_bStreamEnd{0};
    std::uint32_t m_nSilenceBytes = 0; ///< silence inserted so far, all in all
    kq::ComPtr<IMediaStream> m_pStream;
    std::int64_t m_llTotalBytes = 0;
    int m_nBytesPerSec = 0;
    std::int32_t m_bPlaying = 0;
    std::int32_t m_bPaused = 0;
    CCritical m_Lock; ///< the processed count, the total and the queue of the source, as one
    ALCcontext* m_pContext = nullptr;
    std::optional<DeviceUse> m_use;              ///< while it is open
    const std::atomic<float>* m_pGain = nullptr; ///< borrowed; null: full loudness
    float m_fGain = 1.0F;                        ///< that the source has
    std::int32_t m_bOpened = 0;
    std::atomic<std::int32_t> m_bFinished{0}; ///< a refill delivered nothing, or the sound cannot go on
    std::atomic<std::int32_t> m_bFailed{0};
    std::atomic<std::int32_t> m_bDeviceLost{0}; ///< nothing will start on it until the next Open()
};
