#include "player/PlaybackRun.h"

#include "audio/SoundPlayer.h"
#include "com/QueryInfo.h"
#include "thread/TickClock.h"

#include <kqplayer/log.h>

#include <unistd.h>

#include <algorithm>
#include <cstdio>

namespace {

constexpr useconds_t kPollMicroseconds = 1'000;
constexpr useconds_t kNoFrameMicroseconds = 30'000;
constexpr useconds_t kAudioOnlyMicroseconds = 100'000;
constexpr useconds_t kLeaveMicroseconds = 100'000;
constexpr double kTolerance = 0.001; ///< seconds
constexpr int kExactSeek = 1;

/// Whole milliseconds of a frame's time stamp.
std::int64_t StampMs(const MEDIA_FRAME& frame) {
    return frame.llPTS / 10000;
}

double StampSeconds(const MEDIA_FRAME& frame) {
    return static_cast<double>(StampMs(frame)) / 1000.0;
}

} // namespace

PlaybackRun::PlaybackRun(CMediaPlayer& player) : m_player(player) {}

PlaybackRun::~PlaybackRun() = default;

void PlaybackRun::Perform() {
    StartUp();
    while (Iterate()) {
    }
    LeaveRun();
}

// --- Start-up
// -----------------------------------------------------------------------------------------------------

void PlaybackRun::StartUp() {
    TakeStreams();
    ReadVideoFormat();
    ReadAudioFormat();
    GoToBegin();
    OpenSound();
    TakeFirstFrame();
    SeekBeforeStart();
    StartSound();
}

void PlaybackRun::TakeStreams() {
    CSingleLock lock(&m_player.m_csLock);
    m_pAudio = kq::ComPtr<IMediaStream>::Share(m_player.m_pAudioStream.Get());
    lock.Unlock();
    m_player.m_bVideoEnd = 0;
    m_nReference = m_player.GetSeekNum();
    m_pVideo = m_player.AcquireReferenceStream();
}

void PlaybackRun::ReadVideoFormat() {
    if (!m_pVideo) {
        m_dFrameRate = 25.0;
        return;
    }
    m_pVideoInfo = QueryInfo(*m_pVideo.Get());
    const VIDEO_STREAM_INFO* const pFormat = m_pVideoInfo ? m_pVideoInfo->GetVideoFormat() : nullptr;
    m_dFrameRate = pFormat != nullptr ? pFormat->dFrameRate : 0.0;
}

void PlaybackRun::ReadAudioFormat() {
    CSingleLock lock(&m_player.m_csLock);
    m_player.m_audioFormat = {};
    if (!m_pAudio) {
        return;
    }
    m_pAudioInfo = QueryInfo(*m_pAudio.Get());
    const AUDIO_STREAM_INFO* const pFormat = m_pAudioInfo ? m_pAudioInfo->GetAudioFormat() : nullptr;
    if (pFormat != nullptr) {
        m_player.m_audioFormat = CMediaPlayer::CopyAudioFormat(*pFormat);
        m_bHasAudioFormat = true;
    }
}

void PlaybackRun::GoToBegin() {
    m_player.m_dPlayedTime = 0.0;
    m_player.m_dClockAnchor = 0.0;
    const double dBegin = m_player.m_dBeginTime;
    if (dBegin < -kTolerance) {
        m_player.m_dBeginTime = 0.0;
        return;
    }
    double dReached = dBegin;
    if (m_pVideo) {
        dReached = m_pVideo->Seek(dBegin, kExactSeek);
        m_player.m_dClockAnchor = dReached;
    }
    if (m_pAudio) {
        m_pAudio->Seek(dReached, kExactSeek);
    }
}

void PlaybackRun::OpenSound() {
    if (m_bHasAudioFormat) {
        CSingleLock lock(&m_player.m_csLock);
        const CMediaPlayer::AudioFormat format = m_player.m_audioFormat;
        lock.Unlock();
        m_pSound = std::make_unique<SoundPlayer>(m_pAudio.Get());
        m_pSound->Open(format.m_nSampleRate, format.m_nChannels, 16);
        KQLogEx(L"KQPLAYER SVC ; Create SoundPlayer Successful \n");
        if (!m_pSound->IsOpen()) {
            m_pSound.reset(); // its clock would stand still: the run goes on without sound
        }
    }
    m_player.m_dwPausedTime = 0;
}

void PlaybackRun::TakeFirstFrame() {
    m_pFrame = m_pVideo ? m_pVideo->GetCurrentFrame() : nullptr;
    if (m_pFrame == nullptr) {
        return;
    }
    const double dSeconds = StampSeconds(*m_pFrame);
    m_dOrigin = m_pFrame->llPTS < 0 ? 0.0 : dSeconds;
    m_dFrameTime = dSeconds - m_dOrigin;
}

void PlaybackRun::SeekBeforeStart() {
    const SeekRequest request = TakeSeekRequest();
    if (request.dTime > 0.0) {
        const double dBegin = m_player.m_dBeginTime;
        double dReached = dBegin + request.dTime;
        if (m_pVideo) {
            m_pVideo->Seek(dReached, kExactSeek);
            dReached = GetPosition();
        }
        if (m_pSound) {
            m_pAudio->Seek(dReached, kExactSeek);
        }
        m_player.m_dClockAnchor = dReached;
        m_player.m_dPlayedTime = dReached - dBegin;
        m_pFrame = nullptr;
    }
    m_player.SettleSeek();
}

void PlaybackRun::StartSound() {
    if (m_pSound && m_player.m_bPlayAudio != 0) {
        m_pSound->Play();
    }
    m_player.m_dwClockStart = TickClockMs();
}

// --- An iteration
// -------------------------------------------------------------------------------------------------

bool PlaybackRun::Iterate() {
    if (IsStopRequested()) {
        return false;
    }
    m_bResync = false;
    SeekHold hold(m_player);
    if (FollowPause(hold) == Next::LeaveLoop) {
        return false;
    }
    KeepSoundRunning();
    m_player.m_bPauseEntered = 0;
    hold.Begin();
    SeekWhilePlaying();
    if (IsAtEndOfRange() || HasSteppedPastEnd()) {
        return false;
    }
    const bool bAudioDone = m_player.IsAudioFinish(m_pSound.get()) != 0;
    if (!IsVideoLive()) {
        if (!m_pSound || bAudioDone) {
            return false;
        }
        PlayAudioOnly();
        return true;
    }
    const std::int64_t llPlayTime = m_player.GetAudioPlayTime(m_pSound.get());
    if (!FetchFrame()) {
        return true;
    }
    if (IsFrameDue(bAudioDone, llPlayTime)) {
        Present();
    } else {
        usleep(kPollMicroseconds);
    }
    return true;
}

PlaybackRun::Next PlaybackRun::FollowPause(SeekHold& hold) {
    if (!IsSuspended()) {
        return Next::Continue;
    }
    if (StayPaused() == Next::LeaveLoop) {
        return Next::LeaveLoop;
    }
    if (IsSuspended()) {
        return Next::Continue; // a frame step has run past the end
    }
    if (IsStopRequested()) {
        return Next::LeaveLoop;
    }
    Resume(hold);
    return Next::Continue;
}

PlaybackRun::Next PlaybackRun::StayPaused() {
    while (IsSuspended()) {
        usleep(kPollMicroseconds);
        if (IsStopRequested()) {
            return Next::LeaveLoop;
        }
        if (m_player.m_bPauseEntered == 0) {
            EnterPause();
            continue;
        }
        const bool bGoesOn = ServePausedRequests();
        if (m_player.m_bRedraw.exchange(0) != 0) {
            Redraw();
        }
        if (!bGoesOn) {
            break;
        }
    }
    return Next::Continue;
}

void PlaybackRun::EnterPause() {
    m_nPauseStart = TickClockMs();
    m_player.m_bPauseEntered = 1;
    if (m_pSound) {
        m_pSound->Pause();
    }
    if (!m_pVideo) {
        m_player.NotifyPosition();
        return;
    }
    if (const MEDIA_FRAME* const pFrame = m_pVideo->GetCurrentFrame()) {
        m_player.ShowImage(pFrame, m_nReference);
        StorePausedPosition();
        m_player.NotifyPosition();
    }
}

bool PlaybackRun::ServePausedRequests() {
    const SeekRequest request = TakeSeekRequest();
    if (request.IsSet()) {
        SeekWhilePaused(request);
        return true;
    }
    return m_player.GetForwad() <= 0 || StepWhilePaused();
}

void PlaybackRun::Resume(SeekHold& hold) {
    hold.Begin();
    const SeekRequest request = TakeSeekRequest();
    if (request.IsSet()) {
        SeekOnResume(request);
    }
    m_player.m_dwPausedTime += TickClockMs() - m_nPauseStart;
    if (m_bResync) {
        if (m_pSound) {
            const double dReached = ResyncSound();
            std::printf("thead state change audio seek time = %.3f,dcurrtime = %.3f seektime = %.3f\n",
                        m_player.m_dClockAnchor.load(), dReached, m_player.m_dBeginTime + request.dTime);
            if (!m_pVideo) {
                m_player.m_dClockAnchor = dReached;
            }
        }
        RestartClock();
    }
    if (m_pSound) {
        m_pSound->Play();
    }
    hold.End();
}

void PlaybackRun::KeepSoundRunning() {
    // Past the end of the audio there is nothing to start, and a pause that ends the run stays silent.
    if (m_pSound && m_pSound->GetState() != THREAD_RUNNING && !m_pSound->IsStreamEnd() && !IsSuspended()) {
        m_pSound->Play();
    }
}

void PlaybackRun::SeekWhilePlaying() {
    const SeekRequest request = TakeSeekRequest();
    if (!request.IsSet()) {
        return;
    }
    if (m_pSound) {
        m_pSound->Stop();
        m_pSound->ResetPullState();
    }
    const double dBegin = m_player.m_dBeginTime;
    double dPlayed = request.dTime;
    if (m_pVideo) {
        SeekVideo(request);
        dPlayed = GetPosition() - dBegin;
    }
    m_player.m_dClockAnchor = dBegin + dPlayed;
    if (m_pSound) {
        const double dReached = SeekSound();
        std::printf("play stat audio seek time = %.3f,dcurrtime = %.3f seektime = %.3f\n", dReached,
                    dBegin + dPlayed, dBegin + request.dTime);
        m_pSound->Play();
    }
    m_player.m_dPlayedTime = dPlayed;
    RestartClock();
    m_player.SettleSeek();
}

bool PlaybackRun::IsAtEndOfRange() const {
    const double dLength = m_player.m_dPlayLength;
    const double dPlayed = m_player.m_dPlayedTime;
    if (dLength <= kTolerance || dPlayed + kTolerance < dLength) {
        return false;
    }
    std::printf("m_dPlayedTime >= m_dPlayLength  %f, %f Exit.\r\n", dPlayed, dLength - m_player.m_dBeginTime);
    return true;
}

bool PlaybackRun::HasSteppedPastEnd() const {
    return IsSuspended() && m_pVideo && m_player.m_bVideoEnd != 0;
}

bool PlaybackRun::FetchFrame() {
    if (m_pFrame == nullptr) {
        m_pFrame = m_pVideo->GetCurrentFrame();
    }
    if (m_pFrame == nullptr) {
        m_player.m_bVideoEnd = 1;
        usleep(kNoFrameMicroseconds);
        return false;
    }
    const double dSeconds = StampSeconds(*m_pFrame);
    if (m_dOrigin < 0) {
        m_dOrigin = dSeconds;
    }
    m_dFrameTime = dSeconds - m_dOrigin;
    return true;
}

bool PlaybackRun::IsFrameDue(bool bAudioDone, std::int64_t llPlayTime) {
    if (m_pSound && !bAudioDone) {
        const std::int64_t llHeard = m_player.GetAudioPlayPTS(m_pSound.get());
        if (StampMs(*m_pFrame) <= llHeard) {
            return true;
        }
        const double dHeard = static_cast<double>(llHeard) / 1000.0 - m_dOrigin;
        if (dHeard > m_player.m_dPlayedTime) {
            m_player.m_dPlayedTime = dHeard;
        }
        return false;
    }
    const std::int64_t llClock = m_pSound ? m_player.GetAudioPlayTime(nullptr) : llPlayTime;
    const double dDue = (m_dFrameTime - m_player.m_dClockAnchor + m_player.m_dBeginTime) * 1000.0 + 0.5;
    return static_cast<std::int64_t>(dDue) <= llClock;
}

void PlaybackRun::PlayAudioOnly() {
    usleep(kAudioOnlyMicroseconds);
    UpdatePosition();
}

void PlaybackRun::Present() {
    m_player.ShowImage(m_pFrame, m_nReference);
    m_pFrame = nullptr;
    if (m_pVideo->NextFrame() <= 0) {
        m_player.m_bVideoEnd = 1;
        return;
    }
    UpdatePosition();
}

void PlaybackRun::UpdatePosition() {
    if (!IsVideoLive()) {
        const double dHeard =
            static_cast<double>(m_player.GetAudioPlayPTS(m_pSound.get())) / 1000.0 - m_player.m_dBeginTime;
        m_dFrameTime = std::max(dHeard, m_dFrameTime);
    }
    m_player.m_dPlayedTime = m_dFrameTime;
    m_player.NotifyPosition();
}

void PlaybackRun::Redraw() {
    m_player.ShowImage(nullptr, 0);
}

void PlaybackRun::LeaveRun() {
    if (m_pVideo) {
        Redraw();
    }
    m_pSound.reset(); // stops and closes it
    m_pAudio.Reset();
    usleep(kLeaveMicroseconds);
    KQLogEx(L"PlayerControl::svc End of Play.\n");
    m_pVideoInfo.Reset();
    m_pAudioInfo.Reset();
    m_pFrame = nullptr;

    CSingleLock lock(&m_player.ControlLock());
    m_player.m_bPlayAudio = 0;
    m_player.m_bPauseEntered = 0;
    m_player.m_nActivate = KQ_ACTIVATE_ENDED;
    m_player.MarkFinished();
    lock.Unlock();
    m_pVideo.Reset();
}

// --- The places of a seek, and frame steps
// ------------------------------------------------------------------------

void PlaybackRun::SeekWhilePaused(const SeekRequest& request) {
    const double dBegin = m_player.m_dBeginTime;
    double dReached = dBegin + request.dTime;
    if (m_pVideo) {
        dReached = SeekVideo(request);
        Redraw();
        StorePausedPosition();
    } else {
        m_player.m_dPlayedTime = request.dTime;
    }
    m_player.m_dClockAnchor = m_player.m_dPlayedTime + dBegin;
    if (m_pSound) {
        const double dSound = ResyncSound();
        std::printf("thead PAUSE change audio seek time = %.3f,dcurrtime = %.3f seektime = %.3f\n",
                    m_player.m_dClockAnchor.load(), dSound, dReached);
        if (!m_pVideo) {
            m_player.m_dClockAnchor = dSound;
        }
    }
    m_player.NotifyPosition();
    m_player.SettleSeek();
    m_bResync = true;
}

void PlaybackRun::SeekOnResume(const SeekRequest& request) {
    if (m_pVideo) {
        SeekVideo(request);
        m_player.m_dClockAnchor = GetPosition();
    } else {
        m_player.m_dClockAnchor = m_player.m_dBeginTime + request.dTime;
    }
    m_bResync = true;
    m_player.SettleSeek();
}

bool PlaybackRun::StepWhilePaused() {
    if (m_pVideo) {
        const bool bMore = m_pVideo->NextFrame() > 0;
        m_pFrame = nullptr;
        Redraw();
        StorePausedPosition();
        m_player.m_dClockAnchor = m_player.m_dPlayedTime + m_player.m_dBeginTime;
        m_player.NotifyPosition();
        m_bResync = true;
        if (!bMore) {
            m_player.m_bVideoEnd = 1;
        }
    }
    m_player.AddForwad(-1);
    return IsVideoLive();
}

// --- Shared steps
// -------------------------------------------------------------------------------------------------

void PlaybackRun::SeekHold::Begin() {
    m_player.m_csSeek.Lock();
    if (m_player.m_bSyncSeekWait != 0 && !m_bHeld) {
        m_bHeld = true;
        return;
    }
    m_player.m_csSeek.Unlock();
}

void PlaybackRun::SeekHold::End() {
    if (m_bHeld) {
        m_bHeld = false;
        m_player.m_csSeek.Unlock();
    }
}

PlaybackRun::SeekRequest PlaybackRun::TakeSeekRequest() {
    SeekRequest request;
    m_player.GetSeek(request.dTime, request.nMode);
    return request;
}

double PlaybackRun::SeekVideo(const SeekRequest& request) {
    const double dReached =
        m_pVideo->Seek(m_player.m_dBeginTime + request.dTime, static_cast<int>(request.nMode));
    m_player.m_bVideoEnd = 0;
    m_pFrame = nullptr;
    return dReached;
}

double PlaybackRun::SeekSound() {
    return m_pAudio ? m_pAudio->Seek(m_player.m_dClockAnchor, kExactSeek) : -1.0;
}

double PlaybackRun::ResyncSound() {
    m_pSound->Stop();
    m_pSound->ResetPullState();
    return SeekSound();
}

void PlaybackRun::RestartClock() {
    m_player.m_dwClockStart = TickClockMs();
    m_player.m_dwPausedTime = 0;
    m_dFrameTime = m_player.m_dClockAnchor - m_player.m_dBeginTime;
}

void PlaybackRun::StorePausedPosition() {
    m_player.m_dPlayedTime = std::max(0.0, GetPosition() - std::max(0.0, m_dOrigin));
}

double PlaybackRun::GetPosition() {
    if (m_dFrameRate > 0) {
        return m_pVideo->GetFramePosition() / m_dFrameRate;
    }
    const MEDIA_FRAME* const pFrame = m_pVideo->GetCurrentFrame();
    return pFrame != nullptr ? std::max(0.0, StampSeconds(*pFrame)) : 0.0;
}

bool PlaybackRun::IsStopRequested() const {
    return m_player.m_pStopEvent->Wait(0) == WAIT_SET;
}

bool PlaybackRun::IsSuspended() const {
    return m_player.GetState() == THREAD_SUSPENDED;
}

bool PlaybackRun::IsVideoLive() const {
    return m_pVideo && m_player.m_bVideoEnd == 0;
}
