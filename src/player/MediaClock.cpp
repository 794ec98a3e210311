#include "player/MediaClock.h"

#include "audio/SoundOutput.h"
#include "thread/BaseThread.h"

#include <kqplayer/streams.h>

#include <algorithm>
#include <cmath>

namespace {

/// A sound that stands still for so long, with a filled queue, is given up.
constexpr std::uint32_t kFrozenMs = 300;
/// One that stands still for so long does not lead, whatever its queue holds.
constexpr std::uint32_t kStillMs = 1000;
/// What passes between two looks counts as standing still up to here: more means that nobody could look,
/// because a callback took long or the process was stopped.
constexpr std::uint32_t kMostBetweenLooksMs = 50;
constexpr std::uint32_t kLongBetweenLooksMs = 200;
/// A sound that leads is compared with the wall clock over this stretch.
constexpr std::uint32_t kStretchMs = 2000;
constexpr std::int64_t kMostAheadMs = 80;
constexpr std::int64_t kMostBehindMs = 300;
/// A sound that has just been started leads from so far ahead of the pictures, or so far behind.
constexpr std::int64_t kMostAheadAtStartMs = 60;
constexpr std::int64_t kMostBehindAtStartMs = 1500;
/// One that was not followed leads again when it is so close after so long.
constexpr std::int64_t kCloseMs = 60;
constexpr std::uint32_t kDistrustMs = 500;
/// The 32-bit wall clock is anchored anew before it wraps.
constexpr std::uint32_t kLongPlayTimeMs = 1u << 30;

} // namespace

// --- What changes the clock

void MediaClock::Attach(SoundOutput* pSound) {
    HandOver();
    m_pSound = pSound;
    m_bStarted = false;
    m_bAstray = false;
    m_bAudioDone = pSound == nullptr;
}

void MediaClock::AnchorAt(std::int64_t llMedia) {
    m_llAnchor = llMedia;
    m_dwClockStart = m_time.NowMs();
    m_dwPausedTime = 0;
    m_dwPauseStart = m_dwClockStart;
}

void MediaClock::MoveTo(std::int64_t llMedia) {
    m_bLeads = false;
    m_llShown = llMedia;
    AnchorAt(llMedia);
    Forget();
}

void MediaClock::HandOver() {
    if (m_bLeads) {
        m_bLeads = false;
        AnchorAt(std::max(m_llShown, m_llHeard));
    }
}

void MediaClock::Pause() {
    m_dwPauseStart = m_time.NowMs();
    m_bPaused = true;
}

void MediaClock::Resume() {
    if (m_bPaused) {
        const std::uint32_t dwPaused = m_time.NowMs() - m_dwPauseStart;
        m_dwPausedTime += dwPaused;
        m_bPaused = false;
        // What the sound is compared with has waited, too.
        m_last.dwWhen += dwPaused;
        m_reference.dwWhen += dwPaused;
        m_dwMoved += dwPaused;
    }
}

void MediaClock::SoundStarted(bool bFollowed) {
    if (m_bStarted) {
        return; // resumed
    }
    m_llSoundAnchor = WallMedia();
    m_llCheckPos = 0;
    m_bFresh = bFollowed;
    m_dwDistrusted = m_time.NowMs();
    m_bStarted = true;
    Forget();
}

void MediaClock::SoundStopped() {
    HandOver();
    m_bStarted = false;
    m_bAstray = false;
}

// --- What the clock tells

std::uint32_t MediaClock::WallClockPlayTime() const {
    const std::uint32_t dwNow = m_bPaused ? m_dwPauseStart : m_time.NowMs();
    return dwNow - m_dwClockStart - m_dwPausedTime;
}

std::int64_t MediaClock::Now() const {
    return m_bLeads ? m_llHeard : WallMedia();
}

int MediaClock::IsAudioFinish() {
    if (m_pSound == nullptr || m_pSound->IsStreamEnd()) {
        return 1;
    }
    if (m_pSound->GetStream() == nullptr || !m_bStarted) {
        return 0;
    }
    const std::int64_t llPos = m_pSound->GetPlayPos();
    const std::int32_t nState = m_pSound->GetThreadState();
    if (nState == THREAD_RUNNING || nState == THREAD_SUSPENDED) {
        m_llCheckPos = llPos;
        return 0;
    }
    if (llPos < m_llCheckPos) {
        if (m_pSound->IsPlaying()) {
            m_pSound->Stop();
        }
        return 1;
    }
    if (nState == THREAD_FINISHED) {
        return 1;
    }
    m_llCheckPos = llPos;
    return 0;
}

std::int64_t MediaClock::GetAudioPlayTime() const {
    if (m_pSound == nullptr) {
        return WallClockPlayTime();
    }
    return std::llround(static_cast<double>(m_pSound->GetTotalBytes()) * 1000.0 / m_pSound->GetBytesPerSec());
}

std::int64_t MediaClock::GetAudioPlayPTS() const {
    if (m_pSound == nullptr) {
        return WallClockPlayTime();
    }
    return m_pSound->GetStream() != nullptr ? HeardAt(m_pSound->GetPlayPos()) : 0;
}

std::int64_t MediaClock::HeardAt(std::int64_t llPos) const {
    std::int64_t llPTS = KQ_NO_PTS;
    std::int64_t llChunkPos = 0;
    m_pSound->SearchPTS(llPos, llPTS, llChunkPos);
    const std::int64_t llSince =
        (llPos - llChunkPos) * 1000 / static_cast<std::int64_t>(m_pSound->GetBytesPerSec());
    return llSince + (llPTS == KQ_NO_PTS ? m_llSoundAnchor : llPTS / 10000);
}

// --- Whether the sound can be followed

bool MediaClock::Observe() {
    if (WallClockPlayTime() > kLongPlayTimeMs) {
        AnchorAt(WallMedia());
    }
    if (m_pSound == nullptr) {
        return true;
    }
    if (m_pSound->HasFailed()) {
        HandOver();
        return false;
    }
    m_bAudioDone = IsAudioFinish() != 0;
    if (m_bAudioDone || !m_bStarted) {
        HandOver();
        m_bAstray = false;
        Forget();
        return true;
    }
    const std::int64_t llPos = m_pSound->GetPlayPos();
    const Look look{m_time.NowMs(), llPos, HeardAt(llPos)};
    MeasureStillness(look);
    if (m_dwFrozen >= kFrozenMs) {
        HandOver();
        return false;
    }
    ChooseLeader(look);
    m_last = look;
    m_bLooked = true;
    return true;
}

void MediaClock::MeasureStillness(const Look& look) {
    if (!m_bLooked || look.llPos != m_last.llPos) {
        m_dwFrozen = 0;
        m_dwStill = 0;
        m_dwSinceMove = look.dwWhen - m_dwMoved;
        m_dwMoved = look.dwWhen;
        return;
    }
    const std::uint32_t dwStep = std::min(look.dwWhen - m_last.dwWhen, kMostBetweenLooksMs);
    m_dwStill += dwStep;
    m_dwFrozen = m_pSound->IsQueueFilled() ? m_dwFrozen + dwStep : 0;
}

bool MediaClock::HasKeptPace(const Look& look) {
    const bool bCompare = m_bLooked && look.dwWhen - m_last.dwWhen <= kLongBetweenLooksMs &&
                          look.dwWhen - m_reference.dwWhen < kStretchMs;
    if (!bCompare) {
        // What came since the last look still counts, but it may be less when nobody could look in between.
        // In a pause nothing may have come.
        const std::int64_t llStep = look.llHeard - (m_bLooked ? m_last.llHeard : m_llHeard);
        const std::int64_t llPassed = m_bLooked ? look.dwWhen - m_last.dwWhen : 0;
        const bool bKnown = m_bLooked || m_bLeads;
        m_reference = look;
        return !bKnown || (llStep >= -kMostBehindMs && llStep <= kMostAheadMs + llPassed);
    }
    // Stamps that leap ahead are a fault also where they make up for what was missed slowly before.
    if (look.llHeard - m_last.llHeard > kMostAheadMs + std::int64_t{m_dwSinceMove}) {
        return false;
    }
    const std::int64_t llAhead =
        (look.llHeard - m_reference.llHeard) - std::int64_t{look.dwWhen - m_reference.dwWhen};
    if (llAhead < 0 && !m_pSound->IsQueueFilled()) {
        m_reference = look; // behind because it was fed late: the pictures wait for it
        return true;
    }
    return llAhead <= kMostAheadMs && llAhead >= -kMostBehindMs;
}

void MediaClock::ChooseLeader(const Look& look) {
    const bool bKeptPace = HasKeptPace(look) && m_dwStill < kStillMs;
    const std::int64_t llAhead = look.llHeard - WallMedia();
    if (m_bFresh) {
        m_bFresh = false;
        m_bLeads = llAhead <= kMostAheadAtStartMs && llAhead >= -kMostBehindAtStartMs;
        m_dwDistrusted = look.dwWhen;
    } else if (m_bLeads && !bKeptPace) {
        HandOver();
        m_dwDistrusted = look.dwWhen;
        m_reference = look;
    } else if (!m_bLeads && look.dwWhen - m_dwDistrusted >= kDistrustMs && m_dwStill == 0 &&
               std::abs(llAhead) <= kCloseMs) {
        m_bLeads = true;
        m_reference = look;
    }
    if (m_bLeads) {
        m_llHeard = look.llHeard;
    }
    m_llAhead = look.llHeard - WallMedia();
    m_bAstray = !m_bLeads && m_dwStill == 0 && std::abs(m_llAhead) > kCloseMs;
}
