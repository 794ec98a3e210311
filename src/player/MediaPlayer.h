/// @file
/// The player: its interfaces, its transport state, and the requests that the playback loop takes.
#pragma once

#include "com/Unknown.h"
#include "thread/BaseThread.h"
#include "thread/Critical.h"
#include "view/CaptureStore.h"
#include "view/PlayerViewMgr.h"

#include <kqplayer/convenience.h>
#include <kqplayer/player.h>

#include <atomic>
#include <cstdint>

class SoundPlayer;
class CPlayerView;

/// What IQLXDispatch::Invoke() tells a decoder.
enum : int {
    COMMAND_PLAY = 0,
    COMMAND_STOP = 1,
    COMMAND_PAUSE = 3,
    COMMAND_RESUME = 4,
};

/// The player is its own worker thread: svc() plays one run (see PlaybackRun).
///
/// Locks, in the order in which they may nest: m_csSeek, m_csLock, the view manager's, a view's, the sound
/// player's. m_csForward, m_csCallBack, m_csCapture and the thread's control lock are leaves, the last one
/// below m_csLock. During a run nobody waits for m_csSeek while holding m_csLock: the loop may hold m_csSeek
/// across a callback, and the callback may need m_csLock.
class CMediaPlayer final : public scombase::CUnknown,
                           public IMediaPlayer,
                           public BaseThread,
                           public IAudioInput {
public:
    /// Makes a player with one reference; the outer unknown is ignored.
    /// @param phr receives 0, or 0x80000002 when no memory (in the low 4 GiB) could be had
    static scombase::CUnknown* CreateInstance(IUnknown* pUnkOuter, long* phr);
    ~CMediaPlayer() override;

    static void* operator new(std::size_t nBytes) noexcept;
    static void operator delete(void* pMemory, std::size_t nBytes) noexcept;

    KQ_FORWARD_IUNKNOWN
    std::int32_t NonDelegatingQueryInterface(const _GUID& riid, void** ppv) override;

    double GetMovieLength() override;
    std::int32_t SetPlayTime(double dBegin, double dLength) override;
    std::int32_t SetCallBack(KQPlayerCallback pfnCallBack, void* pUserData) override;
    std::int32_t GetPlayerViewMgr(IPlayerViewMgr** ppMgr) override;
    int IsActivate() override;
    std::int32_t Stop() override;
    std::int32_t Play() override;
    std::int32_t Pause() override;
    std::int32_t Resume() override;
    std::int32_t Seek(double dTime, int nMode) override;
    std::int32_t SyncSeek(double dTime, int nMode) override;
    std::int32_t Forward() override;
    std::int32_t SyncForward() override;
    std::int32_t Update(int nImmediate) override;
    std::int32_t CaptureCurrentImage(const CaptureImageInfo* pInfo, const wchar_t* pPath) override;
    MEDIA_FRAME* CaptureCurrentImageEx() override;
    std::int32_t Load() override;
    bool IsSeeking() override;
    bool IsPaused() override;
    std::int32_t SetAudioInput(IMediaStream* pStream) override;

    /// Starts a run paused on its first frame, without sound. @return 0, or 1 without any stream
    virtual std::int32_t PlayForLoad();
    int svc() override;

    // Requests, also taken by the loop.

    /// Posts a seek request; it takes the place of one that the loop has not taken yet.
    void SetSeek(double dTime, unsigned int nMode);
    /// Takes the request: time -1.0 when there is none.
    void GetSeek(double& dTime, unsigned int& nMode);
    /// Adds to the pending frame steps, not below 0. @return the new count
    int AddForwad(int n);
    int GetForwad();

    // The audio clock, read by the loop.

    /// @return 1 when the audio is done (or there is none), 0 while it goes on
    int IsAudioFinish(SoundPlayer* pSound);
    /// @return milliseconds handed to OpenAL, or of the wall clock without a sound player
    std::int64_t GetAudioPlayTime(SoundPlayer* pSound);
    /// @return media time being heard in milliseconds, or wall-clock play time without a sound player
    std::int64_t GetAudioPlayPTS(SoundPlayer* pSound);

    // The reference view.

    /// @return the reference number: 0 with exactly two views, otherwise 1
    int GetSeekNum();
    IMediaStream* GetStreamInReferenceView();
    CPlayerView* GetReferenceView();
    void ShowImage(const MEDIA_FRAME* pFrame, int nMode);

private:
    friend class PlaybackRun;

    /// The stream's audio format with 16 bits a sample, whatever the record says.
    struct AudioFormat {
        std::int32_t m_nSampleRate = 0;
        std::int32_t m_nChannels = 0;
        std::int32_t m_nBitsPerSample = 0;
        std::int32_t m_nBytesPerSec = 0;
        double m_dDuration = 0;
        std::int32_t m_nReserved = 0;
    };

    CMediaPlayer();

    static AudioFormat CopyAudioFormat(const AUDIO_STREAM_INFO& info);
    kq::ComPtr<IMediaStream> AcquireReferenceStream();
    bool HasAnyStream();
    void Invoke(int nCommand);
    bool RefusedOnOwnThread(const wchar_t* pOperation);
    void StopRun();
    void StartRun(std::int32_t nState, int nActivate);
    /// Without a run: moves the stream at once, and leaves the time for the next run's start.
    /// @return false during a run, with nothing done
    bool MoveWithoutRun(double dTime, int nMode);
    std::uint64_t PostSeek(double dTime, unsigned int nMode);
    /// Tells SyncSeek() callers that every request up to the one taken last is settled.
    void SettleSeek();
    std::uint32_t WallClockPlayTime() const;
    void NotifyPosition();
    void Notify(unsigned int nWhat, unsigned int nArgument);

    kq::ComPtr<CPlayerViewMgr> m_pViewMgr;
    CCritical m_csLock;
    std::atomic<std::int32_t> m_bPauseEntered{0};
    std::atomic<std::int32_t> m_bSeekPending{0};
    std::atomic<std::int32_t> m_bPlayAudio{0};
    AudioFormat m_audioFormat;               ///< guarded by m_csLock
    kq::ComPtr<IMediaStream> m_pAudioStream; ///< guarded by m_csLock
    std::uint32_t m_dwClockStart = 0;        ///< wall clock; the loop's own
    std::uint32_t m_dwPausedTime = 0;        ///< milliseconds; the loop's own
    std::atomic<double> m_dPlayedTime{0.0};
    std::atomic<double> m_dBeginTime{-1.0}; ///< -1.0: not set
    std::atomic<double> m_dPlayLength{0.0}; ///< 0.001 or less: no limit
    std::atomic<double> m_dClockAnchor{0.0};
    double m_dSeekTime = -1.0; ///< -1.0: no request; with the next four guarded by m_csSeek
    std::uint32_t m_nSeekMode = 0;
    std::uint64_t m_nSeekPosted = 0;              ///< number of the request posted last
    std::uint64_t m_nSeekTaken = 0;               ///< number of the request taken last
    std::atomic<std::uint64_t> m_nSeekSettled{0}; ///< every request up to this number is done with
    CCritical m_csSeek;
    KQPlayerCallback m_pfnCallBack = nullptr; ///< with the next guarded by m_csCallBack
    void* m_pUserData = nullptr;
    CCritical m_csCallBack;
    std::int32_t m_bVideoEnd = 0; ///< the loop's own
    std::int32_t m_nForwardCount = 0;
    CCritical m_csForward;
    std::atomic<std::int32_t> m_bRedraw{0};
    std::atomic<std::int32_t> m_bSyncSeekWait{0}; ///< SyncSeek() callers that wait
    CCaptureStore m_capture;
    std::atomic<std::int32_t> m_nActivate{KQ_ACTIVATE_STOPPED};
};
