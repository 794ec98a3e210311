// The media time that is being heard, as the playback loop reads it.
#include "audio/SoundPlayer.h"
#include "player/MediaPlayer.h"
#include "thread/TickClock.h"

#include <cmath>

int CMediaPlayer::IsAudioFinish(SoundPlayer* pSound) {
    if (pSound == nullptr || pSound->IsStreamEnd()) {
        return 1;
    }
    if (pSound->GetStream() == nullptr) {
        return 0;
    }
    const std::int64_t llPos = pSound->GetPlayPos();
    if (pSound->IsActive()) {
        pSound->m_llCheckPos = llPos;
        return 0;
    }
    if (llPos < pSound->m_llCheckPos) {
        if (pSound->IsPlaying()) {
            pSound->Stop();
        }
        return 1;
    }
    if (pSound->GetState() == THREAD_FINISHED) {
        return 1;
    }
    pSound->m_llCheckPos = llPos;
    return 0;
}

std::uint32_t CMediaPlayer::WallClockPlayTime() const {
    return TickClockMs() - m_dwClockStart - m_dwPausedTime;
}

std::int64_t CMediaPlayer::GetAudioPlayTime(SoundPlayer* pSound) {
    if (pSound == nullptr) {
        return WallClockPlayTime();
    }
    const double dMilliseconds =
        static_cast<double>(pSound->GetTotalBytes()) * 1000.0 / pSound->GetBytesPerSec();
    return std::llround(dMilliseconds);
}

std::int64_t CMediaPlayer::GetAudioPlayPTS(SoundPlayer* pSound) {
    if (pSound == nullptr) {
        return WallClockPlayTime();
    }
    if (pSound->GetStream() == nullptr) {
        return 0;
    }
    const std::int64_t llPos = pSound->GetPlayPos();
    std::int64_t llPTS = KQ_NO_PTS;
    std::int64_t llChunkPos = 0;
    pSound->m_TimeCodeMgr.SearchPTSReverse(llPos, llPTS, llChunkPos);
    return (llPos - llChunkPos) * 1000 / static_cast<std::int64_t>(pSound->GetBytesPerSec()) + llPTS / 10000;
}
