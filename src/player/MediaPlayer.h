/// @file
/// The player: its interfaces, its transport state, and the requests that the playback loop takes.
#pragma once

#include "com/Unknown.h"
#include "player/RunHost.h"
#include "player/SeekMailbox.h"
#include "player/TransportState.h"
#include "thread/BaseThread.h"
#include "thread/Critical.h"
#include "view/CaptureStore.h"
#include "view/PlayerViewMgr.h"

#include <kqplayer/convenience.h>
#include <kqplayer/player.h>

#include <cstdint>

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
/// Locks, in the order in which they may nest: the mailbox's, m_csLock, the view manager's, a view's, the
/// sound player's. m_csCallBack, m_csCapture and the thread's control lock are leaves, the last one below
/// m_csLock. During a run nobody waits for the mailbox's lock while holding m_csLock: the loop may hold it
/// across a callback, and the callback may need m_csLock.
class CMediaPlayer final : public scombase::CUnknown,
                           public IMediaPlayer2,
                           public BaseThread,
                           public IAudioInput,
                           private RunHost {
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
    double GetPosition() override;
    std::int32_t SetVolume(double dVolume) override;
    double GetVolume() override;
    std::int32_t SetMute(int bMute) override;
    bool IsMuted() override;
    std::int32_t Backward() override;
    std::int32_t SetResize(IPlayerView* pView, std::int32_t nResize) override;
    std::int32_t CaptureViewToFile(IPlayerView* pView, std::int32_t nFormat, const char* pPath) override;
    std::int32_t CaptureView(IPlayerView* pView, std::int32_t nLayout, KQPicture* pPicture) override;
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

    // The reference view.

    /// @return the reference number: 0 with exactly two views, otherwise 1
    int GetSeekNum() override;
    IMediaStream* GetStreamInReferenceView();
    CPlayerView* GetReferenceView();
    void ShowImage(const MEDIA_FRAME* pFrame, int nMode) override;

private:
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

    // What a run asks for.
    bool IsStopRequested() const override;
    bool IsSuspended() const override;
    kq::ComPtr<IMediaStream> AcquireReferenceStream() override;
    kq::ComPtr<IMediaStream> AcquireAudioStream() override;
    void NotifyPosition() override;
    bool BeginLeaving(bool bDespitePause) override;
    void FinishRun() override;

    static AudioFormat CopyAudioFormat(const AUDIO_STREAM_INFO& info);
    bool HasAnyStream();
    /// @return whether there is a run, it is paused, and it is not leaving
    bool IsSuspendedRun();
    void Invoke(int nCommand);
    bool RefusedOnOwnThread(const wchar_t* pOperation);
    void StopRun();
    /// Starts a run, or leaves word for the one that is leaving. The caller holds m_csLock.
    /// @return 0, or 0x80000002 without a thread
    std::int32_t StartRun(std::int32_t nState);
    /// As StartRun(), for callers that hold the control lock.
    bool StartRunAs(std::int32_t nState);
    /// For callers that hold the control lock, while a run leaves: the next one, if it was to start in one
    /// state, starts in the other.
    void ReplaceNextState(std::int32_t nFrom, std::int32_t nTo, std::int32_t nActivate);
    /// @return whether there is a run that still follows the transport
    bool IsRunning() const { return IsActive() && !m_bLeaving; }
    /// Without a run: moves the stream at once, and leaves the time for the next run's start.
    /// @return false during a run, with nothing done
    /// @param nSeen see SeekMailbox::PostCarriedOut()
    bool MoveWithoutRun(double dTime, unsigned int nMode, std::uint64_t nSeen);
    void StepBackWithoutRun();
    /// Under m_csVolume.
    void TellGain();
    /// @return the stream of a view, or the reference stream for null; null without one
    kq::ComPtr<IMediaStream> AcquireStreamOf(const IPlayerView* pView);
    void MoveStream(double dTime, unsigned int nMode);
    /// Carries out a request that came too late for the run, as one without a run.
    void CarryOutLeftSeek();
    void Notify(unsigned int nWhat, unsigned int nArgument);

    kq::ComPtr<CPlayerViewMgr> m_pViewMgr;
    CCritical m_csLock;
    TransportState m_state;
    double m_dToldTime = 0.0; ///< the position as hosts read it in the callback; only the playback thread's
    SeekMailbox m_mailbox;
    CCritical m_csVolume; ///< guards the next two; m_state has what comes of them
    double m_dVolume = 1.0;
    bool m_bMuted = false;
    bool m_bLeaving = false;                  ///< with the next guarded by the control lock
    std::int32_t m_nNextState = THREAD_IDLE;  ///< of the run that follows the one that is leaving
    AudioFormat m_audioFormat;                ///< guarded by m_csLock
    kq::ComPtr<IMediaStream> m_pAudioStream;  ///< guarded by m_csLock
    KQPlayerCallback m_pfnCallBack = nullptr; ///< with the next guarded by m_csCallBack
    void* m_pUserData = nullptr;
    CCritical m_csCallBack;
    CCaptureStore m_capture;
};
