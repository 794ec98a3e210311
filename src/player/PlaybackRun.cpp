#include "player/PlaybackRun.h"

#include "audio/SoundOutput.h"
#include "com/KeptTexts.h"
#include "com/Output.h"
#include "com/QueryInfo.h"
#include "player/StepBack.h"
#include "thread/BaseThread.h"

#include <kqplayer/log.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <new>

namespace {

constexpr std::uint32_t kPollMicroseconds = 1'000;
constexpr std::uint32_t kNoFrameMicroseconds = 30'000;
constexpr std::uint32_t kAudioOnlyMicroseconds = 100'000;
constexpr std::uint32_t kLeaveMicroseconds = 100'000;
constexpr double kTolerance = 0.001;
constexpr int kExactSeek = 1;
/// A sound whose first sample lies further ahead than this is started when its time has come.
constexpr std::int64_t kEarlyMs = 5;
/// Sound that begins no further from the pictures than this is left where it is.
constexpr std::int64_t kMostApartMs = 300;
/// The first sound lies no further before the first picture than this, or the clock does not wait for it.
constexpr std::int64_t kMostSoundBeforeMs = 60'000;
/// After the last picture a sound that creeps is not waited for once it is so far behind.
constexpr std::int64_t kMostBehindInTailMs = 1500;
/// A sound that is astray is brought back at most so often.
constexpr std::uint32_t kBringBackEveryMs = 2000;
constexpr std::uint32_t kSteadyMs = 10'000;
constexpr int kMostBroughtBack = 5;

std::int64_t StampMs(const MEDIA_FRAME& frame) {
    return frame.llPTS / 10000;
}

double StampSeconds(const MEDIA_FRAME& frame) {
    return static_cast<double>(StampMs(frame)) / 1000.0;
}

} // namespace

PlaybackRun::PlaybackRun(RunHost& host, TransportState& state, SeekMailbox& mailbox)
    : m_host(host), m_state(state), m_mailbox(mailbox), m_time(TimeSource::Current()), m_clock(m_time) {}

PlaybackRun::~PlaybackRun() = default;

void PlaybackRun::Perform() {
    StartUp();
    do {
        while (Iterate()) {
        }
    } while (!m_host.BeginLeaving(m_bSteppedPastEnd));
    LeaveRun();
}

// --- Start-up

void PlaybackRun::StartUp() {
    TakeStreams();
    ReadVideoFormat();
    GoToBegin();
    OpenSound();
    TakeFirstFrame();
    SeekBeforeStart();
    StartClock();
}

void PlaybackRun::TakeStreams() {
    m_pAudio = m_host.AcquireAudioStream();
    m_nReference = m_host.GetSeekNum();
    m_pVideo = m_host.AcquireReferenceStream();
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

void PlaybackRun::GoToBegin() {
    m_state.m_dPlayedTime = 0.0;
    m_state.m_dClockAnchor = 0.0;
    m_state.m_nBackwardCount = 0;
    m_bBeginSet = m_state.m_dBeginTime >= -kTolerance;
    if (!m_bBeginSet) {
        m_state.m_dBeginTime = 0.0;
        return;
    }
    double dReached = BeginTime();
    if (m_pVideo) {
        dReached = m_pVideo->Seek(dReached, kExactSeek);
        m_state.m_dClockAnchor = dReached;
    }
    if (m_pAudio) {
        m_pAudio->Seek(dReached, kExactSeek);
    }
}

void PlaybackRun::OpenSound() {
    m_pAudioInfo = m_pAudio ? QueryInfo(*m_pAudio.Get()) : kq::ComPtr<IStreamInfo>();
    const AUDIO_STREAM_INFO* const pFormat = m_pAudioInfo ? m_pAudioInfo->GetAudioFormat() : nullptr;
    if (pFormat == nullptr) {
        return;
    }
    try {
        m_pSound = CurrentSoundMaker()(m_pAudio.Get());
        if (m_pSound) {
            m_pSound->FollowGain(&m_state.m_fGain);
            m_pSound->Open(pFormat->nSampleRate, pFormat->nChannels, 16);
        }
    } catch (const std::bad_alloc&) {
        m_pSound.reset();
    }
    KQLogEx(PlayerTexts::kSoundMade);
    if (m_pSound && !m_pSound->IsOpen()) {
        m_pSound.reset(); // its clock would stand still: the run goes on without sound
    }
    m_clock.Attach(m_pSound.get());
}

void PlaybackRun::TakeFirstFrame() {
    m_pFrame = m_pVideo ? m_pVideo->GetCurrentFrame() : nullptr;
    if (m_pFrame == nullptr) {
        SetPosition(0.0);
        return;
    }
    NoteOrigin(*m_pFrame);
    SetPosition(PlayedTimeOf(*m_pFrame));
    m_state.m_dPlayedTime = m_dFrameTime;
}

void PlaybackRun::SeekBeforeStart() {
    const SeekRequest request = m_mailbox.Take();
    // A time of 0 that was carried out already has moved the picture, not the start.
    if (request.bCarriedOut ? request.dTime > 0.0 : request.IsSet()) {
        const double dTarget = BeginTime() + request.dTime;
        if (m_pVideo) {
            m_pVideo->Seek(dTarget, kExactSeek);
            Land();
        } else {
            SetPosition(request.dTime);
        }
        if (m_pSound) {
            m_pAudio->Seek(m_state.m_dClockAnchor, kExactSeek);
            SkipPassedSound(MediaOf(m_dFrameTime));
        }
        m_state.m_dPlayedTime = m_dFrameTime;
    }
    m_mailbox.Settle();
}

void PlaybackRun::StartClock() {
    AlignSound();
    std::int64_t llMedia = MediaOf(m_dFrameTime);
    std::int64_t llSound = 0;
    if (FindNextSound(llSound)) {
        if (!m_pVideo && !m_bBeginSet) {
            llMedia = llSound;
            SetPosition(static_cast<double>(llMedia) / 1000.0 - m_dOrigin);
            m_state.m_dPlayedTime = m_dFrameTime;
        } else if (llSound < llMedia && llMedia - llSound < kMostSoundBeforeMs) {
            llMedia = llSound; // it is heard before the first picture, which waits for its time
        }
    }
    m_clock.MoveTo(llMedia);
    if (m_state.m_bPlayAudio != 0) {
        PlaySound();
    }
}

void PlaybackRun::AlignSound() {
    // Without a begin nobody has moved the sound to where the pictures stand.
    const double dPosition = m_pVideo && !m_bBeginSet ? GetStreamPosition() : 0.0;
    std::int64_t llSound = 0;
    if (dPosition > kTolerance && FindNextSound(llSound) &&
        std::abs(llSound - MediaOf(m_dFrameTime)) > kMostApartMs) {
        m_pAudio->Seek(dPosition, kExactSeek);
    }
}

// --- An iteration

bool PlaybackRun::Iterate() {
    if (m_host.IsStopRequested()) {
        return false;
    }
    m_bResync = false;
    m_bSteppedPastEnd = false;
    SeekMailbox::Hold hold(m_mailbox);
    if (!FollowPause(hold)) {
        return false;
    }
    KeepSoundRunning();
    m_state.m_bPauseEntered = 0;
    hold.Begin();
    SeekWhilePlaying();
    if (IsAtEndOfRange()) {
        return false;
    }
    WatchSound();
    if (!IsVideoLive()) {
        if (m_clock.IsAudioDone()) {
            return false;
        }
        PlayAudioOnly();
        return true;
    }
    if (!FetchFrame()) {
        return true;
    }
    if (IsFrameDue()) {
        Present();
    } else {
        m_time.Sleep(kPollMicroseconds);
    }
    return true;
}

bool PlaybackRun::FollowPause(SeekMailbox::Hold& hold) {
    if (!m_host.IsSuspended()) {
        if (m_bPaused) {
            Resume(hold); // a step had run past the end, but a seek was there in time
        }
        return true;
    }
    const PauseEnd end = StayPaused();
    if (end == PauseEnd::Resumed && !m_host.IsStopRequested()) {
        Resume(hold);
        return true;
    }
    m_bSteppedPastEnd = end == PauseEnd::SteppedPastEnd;
    return false;
}

PlaybackRun::PauseEnd PlaybackRun::StayPaused() {
    while (m_host.IsSuspended()) {
        m_time.Sleep(kPollMicroseconds);
        if (m_host.IsStopRequested()) {
            return PauseEnd::Stopped;
        }
        if (m_state.m_bPauseEntered == 0) {
            EnterPause();
            continue;
        }
        const bool bGoesOn = ServePausedRequests();
        if (m_state.m_bRedraw.exchange(0) != 0) {
            Redraw();
        }
        if (!bGoesOn) {
            return PauseEnd::SteppedPastEnd;
        }
    }
    return PauseEnd::Resumed;
}

void PlaybackRun::EnterPause() {
    m_clock.Pause();
    m_bPaused = true;
    m_state.m_bPauseEntered = 1;
    if (m_pSound) {
        m_pSound->Pause();
    }
    if (!m_pVideo) {
        m_host.NotifyPosition();
        return;
    }
    if (const MEDIA_FRAME* const pFrame = m_pVideo->GetCurrentFrame()) {
        m_host.ShowImage(pFrame, m_nReference);
        if (IsVideoLive()) {
            StorePausedPosition();
        }
        m_host.NotifyPosition();
    }
}

bool PlaybackRun::ServePausedRequests() {
    const SeekRequest request = m_mailbox.Take();
    if (request.IsSet()) {
        SeekWhilePaused(request);
        return true;
    }
    if (m_state.m_nBackwardCount > 0) {
        StepBackWhilePaused();
        return true;
    }
    return m_state.m_nForwardCount <= 0 || StepWhilePaused();
}

void PlaybackRun::Resume(SeekMailbox::Hold& hold) {
    m_bPaused = false;
    hold.Begin();
    const SeekRequest request = m_mailbox.Take();
    if (request.IsSet()) {
        SeekOnResume(request);
    }
    m_clock.Resume();
    if (m_bResync) {
        if (m_pSound) {
            const double dReached = MoveSound(m_state.m_dClockAnchor);
            Print(PlayerTexts::kSoughtOnResume, m_state.m_dClockAnchor.load(), dReached,
                  BeginTime() + request.dTime);
        }
        m_clock.MoveTo(MediaOf(m_dFrameTime));
    }
    PlaySound();
    hold.End();
}

void PlaybackRun::KeepSoundRunning() {
    if (!m_pSound || m_pSound->GetThreadState() == THREAD_RUNNING || m_host.IsSuspended()) {
        return;
    }
    if (!m_pSound->IsStreamEnd()) {
        PlaySound();
    } else if (m_pSound->HasDataAgain()) {
        BringSoundBack(); // its stream had stalled
    }
}

void PlaybackRun::SeekWhilePlaying() {
    const SeekRequest request = m_mailbox.Take();
    if (!request.IsSet()) {
        return;
    }
    if (m_pSound) {
        m_clock.SoundStopped();
        m_pSound->Stop();
        m_pSound->ResetPullState();
    }
    if (m_pVideo) {
        MoveVideo(request);
        Land();
    } else {
        SetPosition(request.dTime);
    }
    m_state.m_dPlayedTime = m_dFrameTime;
    const std::int64_t llMedia = MediaOf(m_dFrameTime);
    if (m_pSound) {
        const double dReached = m_pAudio ? m_pAudio->Seek(m_state.m_dClockAnchor, kExactSeek) : -1.0;
        Print(PlayerTexts::kSoughtInPlay, dReached, m_state.m_dClockAnchor.load(),
              BeginTime() + request.dTime);
        SkipPassedSound(llMedia);
    }
    m_clock.MoveTo(llMedia);
    PlaySound();
    m_mailbox.Settle();
}

void PlaybackRun::WatchSound() {
    if (!m_clock.Observe()) {
        GiveSoundUp();
    } else if (m_clock.IsSoundAstray()) {
        if (IsVideoLive()) {
            BringSoundBack();
        } else if (m_clock.SoundAhead() < -kMostBehindInTailMs) {
            GiveSoundUp(); // nothing is left that it could be brought back to
        }
    }
}

bool PlaybackRun::IsAtEndOfRange() const {
    const double dPlayed = m_state.m_dPlayedTime;
    if (dPlayed + kTolerance < RangeEnd()) {
        return false;
    }
    Print(PlayerTexts::kEndOfRange, dPlayed, m_state.m_dPlayLength - BeginTime());
    return true;
}

double PlaybackRun::RangeEnd() const {
    const double dLength = m_state.m_dPlayLength;
    return dLength > kTolerance ? dLength : std::numeric_limits<double>::infinity();
}

double PlaybackRun::HeardPosition() const {
    return static_cast<double>(m_clock.Now()) / 1000.0 - m_dOrigin;
}

bool PlaybackRun::FetchFrame() {
    if (m_pFrame == nullptr) {
        m_pFrame = m_pVideo->GetCurrentFrame();
    }
    if (m_pFrame == nullptr) {
        m_bVideoEnd = true;
        m_time.Sleep(kNoFrameMicroseconds);
        return false;
    }
    NoteOrigin(*m_pFrame);
    m_dFrameTime = PlayedTimeOf(*m_pFrame);
    return true;
}

bool PlaybackRun::IsFrameDue() {
    if (m_clock.IsDue(StampMs(*m_pFrame))) {
        return true;
    }
    if (m_clock.DoesSoundLead()) {
        const double dHeard = HeardPosition();
        if (dHeard > m_state.m_dPlayedTime) {
            m_state.m_dPlayedTime = dHeard;
        }
    }
    return false;
}

void PlaybackRun::PlayAudioOnly() {
    // The end of the range does not wait for the next look.
    const double dLeft = (RangeEnd() - HeardPosition()) * 1e6;
    m_time.Sleep(dLeft < kAudioOnlyMicroseconds
                     ? std::max(static_cast<std::uint32_t>(std::max(dLeft, 0.0)), kPollMicroseconds)
                     : kAudioOnlyMicroseconds);
    UpdatePosition();
}

void PlaybackRun::Present() {
    m_host.ShowImage(m_pFrame, m_nReference);
    m_clock.Shown(StampMs(*m_pFrame));
    m_pFrame = nullptr;
    if (m_pVideo->NextFrame() <= 0) {
        m_bVideoEnd = true;
        return;
    }
    UpdatePosition();
}

void PlaybackRun::UpdatePosition() {
    if (!IsVideoLive()) {
        m_dFrameTime = std::max(std::min(HeardPosition(), RangeEnd()), m_dFrameTime);
    }
    m_state.m_dPlayedTime = m_dFrameTime;
    m_host.NotifyPosition();
}

void PlaybackRun::Redraw() {
    m_host.ShowImage(nullptr, 0);
}

void PlaybackRun::LeaveRun() {
    if (m_bVideoEnd && m_dFrameTime > m_state.m_dPlayedTime) {
        m_state.m_dPlayedTime = m_dFrameTime; // the last picture, which is not told of
    }
    if (m_pVideo) {
        Redraw();
    }
    m_clock.Attach(nullptr);
    m_pSound.reset(); // stops and closes it
    m_pAudio.Reset();
    m_time.Sleep(kLeaveMicroseconds);
    KQLogEx(PlayerTexts::kEndOfPlay);
    m_pVideoInfo.Reset();
    m_pAudioInfo.Reset();
    m_pFrame = nullptr;
    m_host.FinishRun();
    m_pVideo.Reset();
}

// --- The places of a seek, and frame steps

void PlaybackRun::SeekWhilePaused(const SeekRequest& request) {
    double dReached = BeginTime() + request.dTime;
    if (m_pVideo) {
        dReached = MoveVideo(request);
        Redraw();
        StorePausedPosition();
    } else {
        SetPosition(request.dTime);
        m_state.m_dPlayedTime = request.dTime;
    }
    if (m_pSound) {
        const double dSound = MoveSound(m_state.m_dClockAnchor);
        Print(PlayerTexts::kSoughtInPause, m_state.m_dClockAnchor.load(), dSound, dReached);
    }
    m_host.NotifyPosition();
    m_mailbox.Settle();
    m_bResync = true;
}

void PlaybackRun::SeekOnResume(const SeekRequest& request) {
    if (m_pVideo) {
        MoveVideo(request);
        Land();
    } else {
        SetPosition(request.dTime);
    }
    // Else a range that had been played to its end would end again.
    m_state.m_dPlayedTime = m_dFrameTime;
    m_bResync = true;
    m_mailbox.Settle();
}

bool PlaybackRun::StepWhilePaused() {
    if (!m_pVideo) {
        m_state.AddForwad(-1);
        return true;
    }
    const double dBefore = m_state.m_dPlayedTime;
    m_bVideoEnd = m_pVideo->NextFrame() <= 0;
    m_pFrame = nullptr;
    Redraw();
    StorePausedPosition();
    if (m_bVideoEnd) {
        // Past the last picture there is no position but the one that was reached, perhaps in the sound's
        // tail.
        SetPosition(std::max(dBefore, m_dFrameTime));
        m_state.m_dPlayedTime = m_dFrameTime;
    }
    m_host.NotifyPosition();
    m_bResync = true;
    m_state.AddForwad(-1);
    return !m_bVideoEnd;
}

void PlaybackRun::StepBackWhilePaused() {
    --m_state.m_nBackwardCount;
    if (!m_pVideo) {
        return;
    }
    StepStreamBack(*m_pVideo.Get(), BeginTime());
    m_bVideoEnd = false;
    m_pFrame = nullptr;
    Redraw();
    StorePausedPosition();
    if (m_pSound) {
        MoveSound(m_state.m_dClockAnchor);
    }
    m_host.NotifyPosition();
    m_bResync = true;
}

// --- The sound

void PlaybackRun::PlaySound(bool bFollowed) {
    if (!m_pSound || (m_pSound->GetThreadState() != THREAD_SUSPENDED && IsSoundEarly())) {
        return;
    }
    m_pSound->Play();
    m_clock.SoundStarted(bFollowed);
}

bool PlaybackRun::FindNextSound(std::int64_t& llStamp) {
    const MEDIA_FRAME* const pFrame = m_pSound ? m_pAudio->GetCurrentFrame() : nullptr;
    if (pFrame == nullptr || pFrame->llPTS == KQ_NO_PTS) {
        return false;
    }
    llStamp = StampMs(*pFrame);
    return true;
}

bool PlaybackRun::IsSoundEarly() {
    std::int64_t llStamp = 0;
    return FindNextSound(llStamp) && llStamp > m_clock.Now() + kEarlyMs;
}

void PlaybackRun::SkipPassedSound(std::int64_t llMedia) {
    // A stream that lands before its target gives what is over already; a chunk that reaches the target
    // stays.
    const auto llBytesPerSec = static_cast<std::int64_t>(m_pSound->GetBytesPerSec());
    for (const MEDIA_FRAME* pFrame = m_pAudio->GetCurrentFrame(); pFrame != nullptr;
         pFrame = m_pAudio->GetCurrentFrame()) {
        const std::int64_t llLength = std::int64_t{pFrame->image.nAudioLength} * 1000 / llBytesPerSec;
        if (pFrame->llPTS == KQ_NO_PTS || StampMs(*pFrame) + llLength > llMedia ||
            m_pAudio->NextFrame() <= 0) {
            return;
        }
    }
}

double PlaybackRun::MoveSound(double dStreamTime) {
    m_clock.SoundStopped();
    m_pSound->Stop();
    m_pSound->ResetPullState();
    const double dReached = m_pAudio ? m_pAudio->Seek(dStreamTime, kExactSeek) : -1.0;
    SkipPassedSound(MediaOf(m_dFrameTime));
    return dReached;
}

void PlaybackRun::BringSoundBack() {
    const std::uint32_t dwSince = m_time.NowMs() - m_dwBroughtBack;
    if (m_nBroughtBack > 0 && dwSince < kBringBackEveryMs) {
        return;
    }
    m_nBroughtBack = dwSince < kSteadyMs ? m_nBroughtBack + 1 : 1;
    m_dwBroughtBack = m_time.NowMs();
    if (m_nBroughtBack > kMostBroughtBack) {
        GiveSoundUp();
        return;
    }
    const std::int64_t llMedia = m_clock.Now();
    m_clock.SoundStopped();
    m_pSound->Stop();
    m_pSound->ResetPullState();
    m_pAudio->Seek(static_cast<double>(llMedia) / 1000.0 - m_dOrigin + BeginTime(), kExactSeek);
    SkipPassedSound(llMedia);
    PlaySound(false);
}

void PlaybackRun::GiveSoundUp() {
    PrintLine("the sound stands still, strays or has failed: the run goes on without it");
    m_clock.Attach(nullptr);
    m_pSound.reset();
}

// --- Shared steps

double PlaybackRun::BeginTime() const {
    return m_state.m_dBeginTime;
}

double PlaybackRun::MoveVideo(const SeekRequest& request) {
    const double dReached = m_pVideo->Seek(BeginTime() + request.dTime, static_cast<int>(request.nMode));
    m_bVideoEnd = false;
    m_pFrame = nullptr;
    return dReached;
}

void PlaybackRun::Land() {
    m_pFrame = nullptr;
    const MEDIA_FRAME* const pFrame = m_pVideo->GetCurrentFrame();
    if (pFrame == nullptr) {
        SetPosition(GetStreamPosition() + m_dStampOffset - m_dOrigin);
        return;
    }
    NoteOrigin(*pFrame);
    SetPosition(PlayedTimeOf(*pFrame));
}

void PlaybackRun::SetPosition(double dPlayed) {
    m_dFrameTime = dPlayed;
    m_state.m_dClockAnchor = dPlayed + BeginTime();
    if (!m_bOriginKnown) {
        m_dOrigin = BeginTime(); // without pictures, sound stamps are stream time
    }
}

void PlaybackRun::NoteOrigin(const MEDIA_FRAME& frame) {
    if (m_bOriginKnown) {
        return;
    }
    m_bOriginKnown = true;
    const double dStamp = StampSeconds(frame);
    m_dStampOffset = m_dFrameRate > 0 ? dStamp - GetStreamPosition() : 0.0;
    m_dOrigin = frame.llPTS < 0 ? 0.0 : m_bBeginSet ? dStamp : m_dStampOffset;
}

double PlaybackRun::PlayedTimeOf(const MEDIA_FRAME& frame) const {
    return StampSeconds(frame) - m_dOrigin;
}

void PlaybackRun::StorePausedPosition() {
    Land();
    SetPosition(std::max(0.0, m_dFrameTime));
    m_state.m_dPlayedTime = m_dFrameTime;
}

std::int64_t PlaybackRun::MediaOf(double dPlayed) const {
    // A stream may tell any rate and any position: also such that no clock ever reaches.
    constexpr double kFarthest = 1e15;
    const double dMedia = (dPlayed + m_dOrigin) * 1000.0;
    if (std::isnan(dMedia)) {
        return 0;
    }
    return static_cast<std::int64_t>(std::clamp(dMedia, -kFarthest, kFarthest) + (dMedia < 0 ? -0.5 : 0.5));
}

double PlaybackRun::GetStreamPosition() const {
    return m_dFrameRate > 0 ? m_pVideo->GetFramePosition() / m_dFrameRate : 0.0;
}

bool PlaybackRun::IsVideoLive() const {
    return m_pVideo && !m_bVideoEnd;
}
