/// @file
/// What hosts set and a run follows, and what a run tells: the state that the player and its run share.
#pragma once

#include <kqplayer/player.h>

#include <atomic>
#include <cstdint>

/// Every field may be read and written by any thread.
struct TransportState {
    std::atomic<std::int32_t> m_bPauseEntered{0}; ///< the loop is paused
    std::atomic<std::int32_t> m_bPlayAudio{0};    ///< the loop starts the sound when it starts
    std::atomic<std::int32_t> m_bRedraw{0};       ///< a redraw asked for while paused
    std::atomic<double> m_dPlayedTime{0.0};       ///< seconds from the begin of the range
    std::atomic<double> m_dBeginTime{-1.0};       ///< stream seconds; -1.0: not set
    std::atomic<double> m_dPlayLength{0.0};       ///< seconds; 0.001 or less: no limit
    std::atomic<double> m_dClockAnchor{0.0};      ///< stream seconds at the last start, seek or step
    std::atomic<std::int32_t> m_nForwardCount{0}; ///< frame steps to be made, never negative
    std::atomic<std::int32_t> m_nActivate{KQ_ACTIVATE_STOPPED};

    std::atomic<std::int32_t> m_nBackwardCount{0}; ///< the same, back; a Resume() forgets what is left
    std::atomic<float> m_fGain{1.0F};              ///< of the sound, 0 to 1: the volume, or 0 while muted

    /// Adds to the pending frame steps, not below 0. @return the new count
    int AddForwad(int n) {
        std::int32_t nCount = m_nForwardCount;
        std::int32_t nNew = 0;
        do {
            nNew = nCount + n > 0 ? nCount + n : 0;
        } while (!m_nForwardCount.compare_exchange_weak(nCount, nNew));
        return nNew;
    }
};
