/// @file
/// The clock of one run.
#pragma once

#include "thread/TimeSource.h"

#include <cstdint>

class SoundOutput;

/// Tells whether a picture is due and which media time is heard. The only place that knows the anchor, the
/// wall clock, the paused time and the heard sound, and the only one that changes them.
///
/// Media time is in milliseconds of the streams' own time stamps. Pictures follow the sound while it leads,
/// and the wall clock otherwise: without sound, before a sound that starts later, after its end, and when the
/// sound cannot be trusted. Whenever pacing passes from the sound to the wall clock, the wall clock goes on
/// from the position then shown.
///
/// Used on the playback thread only.
class MediaClock {
public:
    explicit MediaClock(TimeSource& time) : m_time(time) {}

    /// The sound whose clock this is from now on, or null. Borrowed.
    void Attach(SoundOutput* pSound);
    /// The clock starts anew at a media time: at a run's start, and after every move.
    void MoveTo(std::int64_t llMedia);
    void Pause();
    void Resume();
    /// The sound was started: it is meant to be heard.
    /// @param bFollowed false: it has to keep pace for a while before pictures follow it
    void SoundStarted(bool bFollowed = true);
    /// The sound was stopped: the wall clock leads until it starts again.
    void SoundStopped();

    /// Looks at the sound, once an iteration. @return false when the sound has to be given up: it has failed,
    /// or it stands still for 300 ms although its queue is filled
    bool Observe();
    /// @return whether the sound was done at the last look, or there is none
    bool IsAudioDone() const { return m_bAudioDone; }
    /// @return whether pictures followed the sound at the last look
    bool DoesSoundLead() const { return m_bLeads; }
    /// @return whether the sound is being heard too far from the pictures for them to follow it
    bool IsSoundAstray() const { return m_bAstray; }
    /// @return milliseconds by which a sound that is astray is ahead of the pictures; negative: behind
    std::int64_t SoundAhead() const { return m_llAhead; }
    /// @return the media time of the clock that leads
    std::int64_t Now() const;
    /// @return whether a picture with that time stamp is due
    bool IsDue(std::int64_t llStamp) const { return llStamp <= Now(); }
    /// A picture with that time stamp is on show.
    void Shown(std::int64_t llStamp) { m_llShown = llStamp; }

    /// @return 1 when the sound is done (or there is none), 0 while it goes on
    int IsAudioFinish();
    /// @return milliseconds handed to the device, or of the wall clock without a sound
    std::int64_t GetAudioPlayTime() const;
    /// @return media time being heard, or the wall clock's play time without a sound. A sound without time
    /// stamps is taken to have begun at the media time at which it was started.
    std::int64_t GetAudioPlayPTS() const;

private:
    /// The sound at one look.
    struct Look {
        std::uint32_t dwWhen;
        std::int64_t llPos;
        std::int64_t llHeard;
    };

    std::uint32_t WallClockPlayTime() const;
    std::int64_t WallMedia() const { return m_llAnchor + WallClockPlayTime(); }
    std::int64_t HeardAt(std::int64_t llPos) const;
    void AnchorAt(std::int64_t llMedia);
    /// From here on the wall clock leads.
    void HandOver();
    /// Begins to compare the sound with the wall clock anew.
    void Forget() { m_bLooked = false; }
    void MeasureStillness(const Look& look);
    bool HasKeptPace(const Look& look);
    void ChooseLeader(const Look& look);

    TimeSource& m_time;
    SoundOutput* m_pSound = nullptr;
    bool m_bStarted = false; ///< the sound is meant to be heard
    bool m_bFresh = false;   ///< it was started, and not looked at since
    bool m_bAudioDone = true;
    bool m_bLeads = false;
    bool m_bAstray = false;
    std::int64_t m_llAhead = 0;
    bool m_bPaused = false;
    std::int64_t m_llAnchor = 0;      ///< media time at the last start, move or hand-over
    std::uint32_t m_dwClockStart = 0; ///< wall clock at that moment
    std::uint32_t m_dwPausedTime = 0; ///< since then
    std::uint32_t m_dwPauseStart = 0;
    std::int64_t m_llSoundAnchor = 0; ///< media time at which the sound was started
    std::int64_t m_llShown = 0;       ///< time stamp of the picture on show
    std::int64_t m_llHeard = 0;       ///< heard at the last look at which the sound led
    std::int64_t m_llCheckPos = 0;    ///< position at the last check of the sound's end

    bool m_bLooked = false; ///< there is a last look, and a reference
    Look m_last{};
    std::uint32_t m_dwDistrusted = 0; ///< wall clock when the sound was found not to be followed
    Look m_reference{};               ///< an earlier look, which later ones are compared with
    std::uint32_t m_dwFrozen = 0;     ///< for so long the sound has stood still with a filled queue
    std::uint32_t m_dwStill = 0;      ///< likewise, whatever the queue holds
    std::uint32_t m_dwMoved = 0;      ///< when the sound's position moved last
    std::uint32_t m_dwSinceMove = 0;  ///< how long it had stood still then
};
