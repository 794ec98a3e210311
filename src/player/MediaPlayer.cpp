#include "player/MediaPlayer.h"

#include "com/KeptTexts.h"
#include "com/QueryInfo.h"
#include "com/UuidOf.h"
#include "player/LowMemory.h"
#include "player/PlaybackRun.h"
#include "player/StepBack.h"
#include "thread/TimeSource.h"
#include "view/PlayerView.h"

#include <kqplayer/identifiers.h>
#include <kqplayer/log.h>

#include <algorithm>
#include <new>

namespace {

constexpr std::uint32_t kSeekPollMicroseconds = 1'000;

} // namespace

scombase::CUnknown* CMediaPlayer::CreateInstance(IUnknown* /*pUnkOuter*/, long* phr) {
    CMediaPlayer* pPlayer = nullptr;
    try {
        pPlayer = new CMediaPlayer;
    } catch (const std::bad_alloc&) {
        pPlayer = nullptr;
    }
    *phr = pPlayer != nullptr ? kq::Ok : kq::OutOfMemory;
    if (pPlayer != nullptr) {
        pPlayer->NonDelegatingAddRef();
    }
    return pPlayer;
}

void* CMediaPlayer::operator new(std::size_t nBytes) noexcept {
    return AllocateLow(nBytes);
}

void CMediaPlayer::operator delete(void* pMemory, std::size_t nBytes) noexcept {
    FreeLow(pMemory, nBytes);
}

CMediaPlayer::CMediaPlayer()
    : CUnknown(nullptr), m_pViewMgr(kq::ComPtr<CPlayerViewMgr>::Share(new CPlayerViewMgr)) {}

CMediaPlayer::~CMediaPlayer() {
    // Released from inside the end-of-play callback that run is over already, but a newer one may be active.
    if (!IsOwnThread() || IsActive()) {
        StopRun();
    }
    AwaitLastSteps();
}

std::int32_t CMediaPlayer::NonDelegatingQueryInterface(const _GUID& riid, void** ppv) {
    if (riid == uuidof_class<IMediaPlayer>::get_guid()) {
        return scombase::GetInterface(static_cast<IMediaPlayer*>(this), ppv);
    }
    if (riid == uuidof_class<IMediaPlayer2>::get_guid()) {
        return scombase::GetInterface(static_cast<IMediaPlayer2*>(this), ppv);
    }
    if (riid == uuidof_class<IAudioInput>::get_guid()) {
        return scombase::GetInterface(static_cast<IAudioInput*>(this), ppv);
    }
    return CUnknown::NonDelegatingQueryInterface(riid, ppv);
}

// --- Transport

std::int32_t CMediaPlayer::Play() {
    m_state.m_nActivate = KQ_ACTIVATE_PLAYING;
    m_state.m_bPlayAudio = 1;
    if (!HasAnyStream()) {
        return kq::Refused;
    }
    if (IsSuspendedRun()) {
        KQLogEx(PlayerTexts::kPlayResumes);
        return Resume();
    }
    Invoke(COMMAND_PLAY);
    CSingleLock lock(&m_csLock);
    return StartRun(THREAD_RUNNING);
}

std::int32_t CMediaPlayer::PlayForLoad() {
    CSingleLock lock(&m_csLock);
    if (!HasAnyStream()) {
        return kq::Refused;
    }
    return StartRun(THREAD_SUSPENDED);
}

bool CMediaPlayer::HasAnyStream() {
    CSingleLock lock(&m_csLock);
    if (m_pAudioStream || AcquireReferenceStream()) {
        return true;
    }
    KQLogEx(PlayerTexts::kNoStream);
    return false;
}

bool CMediaPlayer::IsSuspendedRun() {
    CSingleLock lock(&ControlLock());
    return IsRunning() && GetState() == THREAD_SUSPENDED;
}

std::int32_t CMediaPlayer::StartRun(std::int32_t nState) {
    // A run that ends just now sets the activity to ended; under the lock that is before this or not at all.
    CSingleLock lock(&ControlLock());
    if (!IsActive()) {
        return StartRunAs(nState) ? kq::Ok : kq::OutOfMemory;
    }
    if (m_bLeaving) {
        m_nNextState = nState;
    } else if (nState == THREAD_SUSPENDED && GetState() == THREAD_RUNNING) {
        m_state.m_nActivate = KQ_ACTIVATE_PAUSED;
        Suspend(); // once, as one Resume() undoes it
    } else if (nState == THREAD_RUNNING && GetState() == THREAD_SUSPENDED) {
        // Another thread's Load() has started it since Play() looked.
        m_state.m_nActivate = KQ_ACTIVATE_PLAYING;
        m_state.m_bPlayAudio = 1;
        BaseThread::Resume();
    }
    return kq::Ok;
}

bool CMediaPlayer::StartRunAs(std::int32_t nState) {
    const bool bPlaying = nState == THREAD_RUNNING;
    m_bLeaving = false;
    m_nNextState = THREAD_IDLE;
    m_state.m_nActivate = bPlaying ? KQ_ACTIVATE_PLAYING : KQ_ACTIVATE_PAUSED;
    m_state.m_bPlayAudio = bPlaying ? 1 : 0;
    if (StartAs(nState) == 0) {
        m_state.m_nActivate = KQ_ACTIVATE_STOPPED;
        return false;
    }
    return true;
}

void CMediaPlayer::ReplaceNextState(std::int32_t nFrom, std::int32_t nTo, std::int32_t nActivate) {
    if (m_nNextState == nFrom) {
        m_nNextState = nTo;
        m_state.m_nActivate = nActivate;
    }
}

std::int32_t CMediaPlayer::Pause() {
    CSingleLock lock(&m_csLock);
    CSingleLock controlLock(&ControlLock());
    if (!IsActive()) {
        return kq::Ok;
    }
    if (m_bLeaving) {
        // Nothing is left to pause but the run that comes after this one.
        ReplaceNextState(THREAD_RUNNING, THREAD_SUSPENDED, KQ_ACTIVATE_PAUSED);
        return kq::Ok;
    }
    m_state.m_nActivate = KQ_ACTIVATE_PAUSED;
    if (GetState() != THREAD_RUNNING) {
        return kq::Ok;
    }
    Suspend();
    controlLock.Unlock();
    Invoke(COMMAND_PAUSE);
    return kq::Ok;
}

std::int32_t CMediaPlayer::Resume() {
    CSingleLock lock(&m_csLock);
    CSingleLock controlLock(&ControlLock());
    if (!IsActive()) {
        return kq::Ok;
    }
    if (m_bLeaving) {
        ReplaceNextState(THREAD_SUSPENDED, THREAD_RUNNING, KQ_ACTIVATE_PLAYING);
        return kq::Ok;
    }
    m_state.m_nActivate = KQ_ACTIVATE_PLAYING;
    if (GetState() != THREAD_SUSPENDED) {
        return kq::Ok;
    }
    m_state.m_bPlayAudio = 1;
    m_state.m_nBackwardCount = 0;
    controlLock.Unlock();
    Invoke(COMMAND_RESUME);
    BaseThread::Resume();
    return kq::Ok;
}

bool CMediaPlayer::RefusedOnOwnThread(const wchar_t* pOperation) {
    if (!IsOwnThread()) {
        return false;
    }
    KQLogEx(L"CMediaPlayer::%ls refused: called on the playback thread, from inside the callback \n",
            pOperation);
    return true;
}

void CMediaPlayer::StopRun() {
    CSingleLock abortLock(&ControlLock());
    m_nNextState = THREAD_IDLE;
    const RunPtr pRun = AbortRun();
    abortLock.Unlock();
    if (pRun) {
        WaitForRun(pRun, WAIT_FOREVER);
    }
    if (m_pViewMgr) {
        m_pViewMgr->ShowUserFrame();
    }
    CSingleLock lock(&ControlLock());
    if (!IsActive()) {
        m_state.m_bPauseEntered = 0;
        m_state.m_bPlayAudio = 1;
        m_state.m_nActivate = KQ_ACTIVATE_STOPPED;
    }
    lock.Unlock();
    KQLogEx(PlayerTexts::kStop);
    Invoke(COMMAND_STOP);
}

std::int32_t CMediaPlayer::Stop() {
    if (RefusedOnOwnThread(L"Stop")) {
        return kq::Refused;
    }
    StopRun();
    return kq::Ok;
}

std::int32_t CMediaPlayer::Load() {
    if (RefusedOnOwnThread(L"Load")) {
        return kq::Refused;
    }
    StopRun();
    m_state.m_bPlayAudio = 0;
    Invoke(COMMAND_PAUSE);
    m_state.m_nActivate = KQ_ACTIVATE_PAUSED;
    PlayForLoad();
    KQLogEx(PlayerTexts::kLoad);
    return kq::Ok;
}

int CMediaPlayer::svc() {
    {
        PlaybackRun run(*this, m_state, m_mailbox);
        run.Perform();
    }
    CarryOutLeftSeek();
    // The last act: a host may start the next run in here, or release the player.
    Notify(KQ_NOTIFY_END, 0);
    return 0;
}

// --- What a run asks for

bool CMediaPlayer::IsStopRequested() const {
    return m_pStopEvent->Wait(0) == WAIT_SET;
}

bool CMediaPlayer::IsSuspended() const {
    return GetState() == THREAD_SUSPENDED;
}

bool CMediaPlayer::BeginLeaving(bool bDespitePause) {
    const bool bStop = IsStopRequested();
    if (!bStop && m_mailbox.IsPending()) {
        return false;
    }
    CSingleLock lock(&ControlLock());
    if (!bStop && !bDespitePause && IsSuspended()) {
        return false;
    }
    m_bLeaving = true;
    return true;
}

void CMediaPlayer::FinishRun() {
    CSingleLock lock(&ControlLock());
    m_state.m_bPlayAudio = 0;
    m_state.m_bPauseEntered = 0;
    m_state.m_nActivate = KQ_ACTIVATE_ENDED;
    MarkFinished();
    const std::int32_t nNext = m_nNextState;
    m_bLeaving = false;
    if (nNext != THREAD_IDLE) {
        StartRunAs(nNext); // Play() fell into the last steps of this one
    }
}

// --- Seeking and frame stepping

std::int32_t CMediaPlayer::Seek(double dTime, int nMode) {
    const auto nSeekMode = static_cast<unsigned int>(nMode);
    if (!MoveWithoutRun(dTime, nSeekMode, m_mailbox.GetNewest())) {
        m_mailbox.Post(dTime, nSeekMode);
        CarryOutLeftSeek(); // the run may have ended meanwhile
    }
    return kq::Ok;
}

std::int32_t CMediaPlayer::SyncSeek(double dTime, int nMode) {
    if (RefusedOnOwnThread(L"SyncSeek")) {
        return kq::Refused;
    }
    const auto nSeekMode = static_cast<unsigned int>(nMode);
    if (MoveWithoutRun(dTime, nSeekMode, m_mailbox.GetNewest())) {
        return kq::Ok;
    }
    const std::uint64_t nRequest = m_mailbox.Post(dTime, nSeekMode, SeekMailbox::Waiter::Yes);
    while (!m_mailbox.IsSettled(nRequest)) {
        CarryOutLeftSeek();
        TimeSource::Current().Sleep(kSeekPollMicroseconds);
    }
    m_mailbox.EndWait();
    return kq::Ok;
}

bool CMediaPlayer::MoveWithoutRun(double dTime, unsigned int nMode, std::uint64_t nSeen) {
    CSingleLock lock(&m_csLock); // no run starts meanwhile
    if (IsActive()) {
        return false;
    }
    MoveStream(dTime, nMode);
    lock.Unlock();
    // The next run starts there.
    m_mailbox.PostCarriedOut(dTime, nMode, nSeen);
    return true;
}

void CMediaPlayer::MoveStream(double dTime, unsigned int nMode) {
    const double dBegin = std::max(0.0, m_state.m_dBeginTime.load());
    double dPlayed = dTime;
    if (const auto pStream = AcquireReferenceStream()) {
        dPlayed = pStream->Seek(dBegin + dTime, static_cast<int>(nMode)) - dBegin;
        m_pViewMgr->ShowCurrentImage(nullptr, 0);
    }
    m_state.m_dPlayedTime = dPlayed;
    m_state.m_dClockAnchor = dPlayed + dBegin;
}

void CMediaPlayer::CarryOutLeftSeek() {
    if (IsActive()) {
        return; // a run takes it
    }
    const SeekMailbox::Request request = m_mailbox.TakeUncarried();
    if (request.IsSet() && !MoveWithoutRun(request.dTime, request.nMode, request.nNumber)) {
        m_mailbox.PutBack(request); // a run has started since
    }
}

void CMediaPlayer::SetSeek(double dTime, unsigned int nMode) {
    m_mailbox.Post(dTime, nMode);
}

void CMediaPlayer::GetSeek(double& dTime, unsigned int& nMode) {
    const SeekMailbox::Request request = m_mailbox.Take();
    dTime = request.dTime;
    nMode = request.nMode;
}

bool CMediaPlayer::IsSeeking() {
    return m_mailbox.IsPending();
}

std::int32_t CMediaPlayer::Forward() {
    if (IsPaused() && AcquireReferenceStream()) {
        AddForwad(1);
    }
    return kq::Ok;
}

std::int32_t CMediaPlayer::SyncForward() {
    return Forward();
}

int CMediaPlayer::AddForwad(int n) {
    return m_state.AddForwad(n);
}

int CMediaPlayer::GetForwad() {
    return m_state.m_nForwardCount;
}

std::int32_t CMediaPlayer::Backward() {
    if (IsPaused()) {
        ++m_state.m_nBackwardCount;
    } else {
        StepBackWithoutRun();
    }
    return kq::Ok;
}

void CMediaPlayer::StepBackWithoutRun() {
    CSingleLock lock(&m_csLock); // no run starts meanwhile
    const auto pStream = IsActive() ? kq::ComPtr<IMediaStream>() : AcquireReferenceStream();
    if (!pStream) {
        return;
    }
    const std::uint64_t nSeen = m_mailbox.GetNewest();
    const double dBegin = std::max(0.0, m_state.m_dBeginTime.load());
    const double dReached = std::max(0.0, StepStreamBack(*pStream.Get(), dBegin) - dBegin);
    m_pViewMgr->ShowCurrentImage(nullptr, 0);
    m_state.m_dPlayedTime = dReached;
    m_state.m_dClockAnchor = dReached + dBegin;
    lock.Unlock();
    m_mailbox.PostCarriedOut(dReached, kq::ExactSeek, nSeen); // the next run starts there
}

// --- Play range, queries, notification

std::int32_t CMediaPlayer::SetPlayTime(double dBegin, double dLength) {
    CSingleLock lock(&m_csLock);
    KQLogEx(PlayerTexts::kSetPlayTime, dBegin, dLength);
    if (!IsActive()) {
        // The stream stays where it is; the position counts from the new begin.
        const double dMoved = std::max(0.0, m_state.m_dBeginTime.load()) - std::max(0.0, dBegin);
        m_state.m_dPlayedTime = std::max(0.0, m_state.m_dPlayedTime + dMoved);
    }
    m_state.m_dBeginTime = dBegin;
    if (dLength > 0) {
        m_state.m_dPlayLength = dLength;
        return kq::Ok;
    }
    const auto pStream = AcquireReferenceStream();
    if (!pStream) {
        return kq::Ok;
    }
    const auto pInfo = QueryInfo(*pStream.Get());
    const VIDEO_STREAM_INFO* const pFormat = pInfo ? pInfo->GetVideoFormat() : nullptr;
    if (pFormat == nullptr) {
        return kq::Refused;
    }
    // Without a frame rate the stream's length is unknown: no limit.
    m_state.m_dPlayLength =
        pFormat->dFrameRate > 0 ? pFormat->nFrameCount / pFormat->dFrameRate - dBegin : 0.0;
    return kq::Ok;
}

double CMediaPlayer::GetMovieLength() {
    CSingleLock lock(&m_csLock);
    double dLength = 0;
    if (const auto pStream = AcquireReferenceStream()) {
        const auto pInfo = QueryInfo(*pStream.Get());
        const VIDEO_STREAM_INFO* const pFormat = pInfo ? pInfo->GetVideoFormat() : nullptr;
        if (pFormat == nullptr) {
            return 0;
        }
        dLength = pFormat->dFrameRate > 0 ? pFormat->nFrameCount / pFormat->dFrameRate : 0.0;
    }
    if (m_pAudioStream) {
        const auto pInfo = QueryInfo(*m_pAudioStream.Get());
        const AUDIO_STREAM_INFO* const pFormat = pInfo ? pInfo->GetAudioFormat() : nullptr;
        if (pFormat != nullptr) {
            dLength = std::max(dLength, pFormat->dDuration);
        }
    }
    return dLength;
}

std::int32_t CMediaPlayer::SetCallBack(KQPlayerCallback pfnCallBack, void* pUserData) {
    CSingleLock lock(&m_csCallBack);
    m_pfnCallBack = pfnCallBack;
    m_pUserData = pUserData;
    return kq::Ok;
}

void CMediaPlayer::Notify(unsigned int nWhat, unsigned int nArgument) {
    CSingleLock lock(&m_csCallBack);
    const KQPlayerCallback pfnCallBack = m_pfnCallBack;
    void* const pUserData = m_pUserData;
    lock.Unlock();
    if (pfnCallBack != nullptr) {
        pfnCallBack(pUserData, PLAYER_NOTIFY, nWhat, nArgument);
    }
}

void CMediaPlayer::NotifyPosition() {
    m_dToldTime = m_state.m_dPlayedTime;
    Notify(KQ_NOTIFY_POSITION, static_cast<unsigned int>(reinterpret_cast<std::uintptr_t>(&m_dToldTime)));
}

std::int32_t CMediaPlayer::GetPlayerViewMgr(IPlayerViewMgr** ppMgr) {
    if (ppMgr == nullptr) {
        return kq::NullPointer;
    }
    *ppMgr = m_pViewMgr.Get();
    if (!m_pViewMgr) {
        return kq::Failed;
    }
    m_pViewMgr->AddRef();
    return kq::Ok;
}

double CMediaPlayer::GetPosition() {
    return std::max(0.0, m_state.m_dPlayedTime.load());
}

std::int32_t CMediaPlayer::SetVolume(double dVolume) {
    if (!(dVolume >= 0.0 && dVolume <= 1.0)) {
        return kq::Refused;
    }
    CSingleLock lock(&m_csVolume);
    m_dVolume = dVolume;
    TellGain();
    return kq::Ok;
}

void CMediaPlayer::TellGain() {
    m_state.m_fGain = m_bMuted ? 0.0F : static_cast<float>(m_dVolume);
}

double CMediaPlayer::GetVolume() {
    CSingleLock lock(&m_csVolume);
    return m_dVolume;
}

std::int32_t CMediaPlayer::SetMute(int bMute) {
    CSingleLock lock(&m_csVolume);
    m_bMuted = bMute != 0;
    TellGain();
    return kq::Ok;
}

bool CMediaPlayer::IsMuted() {
    CSingleLock lock(&m_csVolume);
    return m_bMuted;
}

int CMediaPlayer::IsActivate() {
    return m_state.m_nActivate;
}

bool CMediaPlayer::IsPaused() {
    return m_state.m_bPauseEntered != 0;
}

std::int32_t CMediaPlayer::Update(int nImmediate) {
    if (!AcquireReferenceStream()) {
        return kq::Failed;
    }
    const std::int32_t nState = GetState();
    if (nState == THREAD_RUNNING) {
        return kq::Refused;
    }
    if (nState != THREAD_SUSPENDED) {
        return kq::Ok;
    }
    if (nImmediate != 0) {
        m_pViewMgr->ShowCurrentImage(nullptr, 0);
    } else {
        m_state.m_bRedraw = 1;
    }
    return kq::Ok;
}

// --- Streams

int CMediaPlayer::GetSeekNum() {
    return m_pViewMgr && m_pViewMgr->GetCount() == 2 ? 0 : 1;
}

kq::ComPtr<IMediaStream> CMediaPlayer::AcquireAudioStream() {
    CSingleLock lock(&m_csLock);
    return kq::ComPtr<IMediaStream>::Share(m_pAudioStream.Get());
}

kq::ComPtr<IMediaStream> CMediaPlayer::AcquireReferenceStream() {
    return m_pViewMgr ? m_pViewMgr->AcquireViewDecoder(GetSeekNum()) : kq::ComPtr<IMediaStream>();
}

IMediaStream* CMediaPlayer::GetStreamInReferenceView() {
    return m_pViewMgr ? m_pViewMgr->GetViewDecoder(GetSeekNum()) : nullptr;
}

CPlayerView* CMediaPlayer::GetReferenceView() {
    return m_pViewMgr ? m_pViewMgr->GetView(GetSeekNum()) : nullptr;
}

void CMediaPlayer::ShowImage(const MEDIA_FRAME* pFrame, int nMode) {
    if (m_pViewMgr) {
        m_pViewMgr->ShowCurrentImage(pFrame, nMode);
    }
}

void CMediaPlayer::Invoke(int nCommand) {
    if (!m_pViewMgr) {
        return;
    }
    const int nMode = m_pViewMgr->GetCount() >= 2 ? 0 : GetSeekNum();
    const auto pStream = m_pViewMgr->AcquireViewDecoder(nMode);
    void* pRaw = nullptr;
    if (!pStream || pStream->QueryInterface(IID_IQLXDispatch, &pRaw) < 0 || pRaw == nullptr) {
        return;
    }
    const auto pDispatch = kq::ComPtr<IQLXDispatch>::Adopt(static_cast<IQLXDispatch*>(pRaw));
    pDispatch->Invoke(0, nCommand, 0);
}

CMediaPlayer::AudioFormat CMediaPlayer::CopyAudioFormat(const AUDIO_STREAM_INFO& info) {
    AudioFormat format;
    format.m_nSampleRate = info.nSampleRate;
    format.m_nChannels = info.nChannels;
    format.m_nBitsPerSample = 16;
    // Unsigned: a host may hand in any numbers, and whether they can be played shows when the sound is
    // opened.
    format.m_nBytesPerSec = static_cast<std::int32_t>(static_cast<std::uint32_t>(info.nSampleRate) *
                                                      static_cast<std::uint32_t>(info.nChannels) * 2U);
    format.m_dDuration = info.dDuration;
    format.m_nReserved = info.nReserved;
    return format;
}

std::int32_t CMediaPlayer::SetAudioInput(IMediaStream* pStream) {
    CSingleLock lock(&m_csLock);
    m_pAudioStream.Reset();
    if (pStream == nullptr) {
        m_state.m_dPlayedTime = 0.0;
        m_state.m_dBeginTime = -1.0;
        m_state.m_dPlayLength = -1.0;
        m_state.m_dClockAnchor = 0.0;
        return kq::Ok;
    }
    const auto pInfo = QueryInfo(*pStream);
    if (const AUDIO_STREAM_INFO* const pFormat = pInfo ? pInfo->GetAudioFormat() : nullptr) {
        m_audioFormat = CopyAudioFormat(*pFormat);
        m_pAudioStream = kq::ComPtr<IMediaStream>::Share(pStream);
    }
    KQLogEx(PlayerTexts::kSetAudioInput);
    return kq::Ok;
}

// --- Capture

std::int32_t CMediaPlayer::CaptureCurrentImage(const CaptureImageInfo* pInfo, const wchar_t* pPath) {
    if (pInfo == nullptr || pPath == nullptr) {
        KQLogEx(CaptureTexts::kFailed, CaptureTexts::kNullParam);
        return kq::Failed;
    }
    return m_capture.CaptureToFile(AcquireReferenceStream().Get(), *pInfo, pPath);
}

MEDIA_FRAME* CMediaPlayer::CaptureCurrentImageEx() {
    return m_capture.CaptureCopy(AcquireReferenceStream().Get());
}

kq::ComPtr<IMediaStream> CMediaPlayer::AcquireStreamOf(const IPlayerView* pView) {
    if (pView == nullptr) {
        return AcquireReferenceStream();
    }
    const auto pFound = m_pViewMgr->Find(pView);
    return pFound ? pFound->AcquireVideoStream() : kq::ComPtr<IMediaStream>();
}

std::int32_t CMediaPlayer::CaptureViewToFile(IPlayerView* pView, std::int32_t nFormat, const char* pPath) {
    return m_capture.SaveCurrent(AcquireStreamOf(pView).Get(), nFormat, pPath);
}

std::int32_t CMediaPlayer::CaptureView(IPlayerView* pView, std::int32_t nLayout, KQPicture* pPicture) {
    if (pPicture == nullptr) {
        return kq::NullPointer;
    }
    *pPicture = {};
    return m_capture.CopyPixels(AcquireStreamOf(pView).Get(), nLayout, *pPicture);
}

std::int32_t CMediaPlayer::SetResize(IPlayerView* pView, std::int32_t nResize) {
    return m_pViewMgr->SetResize(pView, nResize);
}
