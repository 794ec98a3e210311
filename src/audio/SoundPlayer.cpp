#include "audio/SoundPlayer.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <mutex>

namespace {

constexpr useconds_t kIdleMicroseconds = 10'000;
constexpr int kLeastRate = 100;
constexpr int kMostRate = 768'000;

void ReportAt(const char* pOperation, int nLine) {
    const ALenum eError = alGetError();
    if (eError != AL_NO_ERROR) {
        std::printf("\n [%s]: %d errnum = %xd ", pOperation, nLine, static_cast<unsigned int>(eError));
    }
}

/// The OpenAL format, or 0 when there is none.
ALenum FormatOf(int nChannels, int nBits) {
    if (nBits == 8 && nChannels <= 2) {
        return nChannels == 1 ? AL_FORMAT_MONO8 : nChannels == 2 ? AL_FORMAT_STEREO8 : 0;
    }
    if (nBits != 16) {
        return 0;
    }
    switch (nChannels) {
    case 1:
        return AL_FORMAT_MONO16;
    case 2:
        return AL_FORMAT_STEREO16;
    case 4:
        return alGetEnumValue("AL_FORMAT_QUAD16");
    case 6:
        return alGetEnumValue("AL_FORMAT_51CHN16");
    case 7:
        return alGetEnumValue("AL_FORMAT_61CHN16");
    case 8:
        return alGetEnumValue("AL_FORMAT_71CHN16");
    default:
        return 0;
    }
}

unsigned char* PcmOf(MEDIA_FRAME& frame) {
    return frame.image.pU;
}

int LengthOf(const MEDIA_FRAME& frame) {
    return frame.image.nAudioLength;
}

} // namespace

#define KQ_REPORT(operation) ReportAt(operation, __LINE__)

SoundPlayer::SoundPlayer(IMediaStream* pStream) : m_pStream(kq::ComPtr<IMediaStream>::Share(pStream)) {}

SoundPlayer::~SoundPlayer() {
    Close();
}

int SoundPlayer::Open(int nSampleRate, int nChannels, int nBits) {
    std::printf("SoundPlayer::Open : samplerate = %d ,nchannels = %d ,nbit = %d \n ", nSampleRate, nChannels,
                nBits);
    Close();
    if (!ALFWInitOpenAL()) {
        std::puts("SoundPlayer::Open refused : no audio device");
        return 1;
    }
    const ALenum eFormat = FormatOf(nChannels, nBits);
    if (eFormat <= 0 || nSampleRate < kLeastRate || nSampleRate > kMostRate) {
        std::printf("SoundPlayer::Open refused : samplerate = %d ,nchannels = %d ,nbit = %d \n", nSampleRate,
                    nChannels, nBits);
        return 1;
    }
    alGetError();
    alGenBuffers(kBufferCount, m_uiBuffers.data());
    KQ_REPORT("Open");
    alGenSources(1, &m_uiSource);
    KQ_REPORT("Open");
    m_eFormat = eFormat;
    m_nSampleRate = nSampleRate;
    m_nChannels = nChannels;
    m_nBits = nBits;
    m_nBytesPerSec = nBits / 8 * nSampleRate * nChannels;
    m_nBlockAlign = nBits * nChannels / 8;
    m_nBufferSize = m_nBytesPerSec / 10 - m_nBytesPerSec / 10 % m_nBlockAlign;
    m_pBuffer.assign(static_cast<std::size_t>(m_nBufferSize), 0);
    m_bOpened = 1;
    return 1;
}

bool SoundPlayer::ALFWInitOpenAL() {
    // Two players that start at the same time share one context instead of each making its own.
    static std::mutex s_lock;
    const std::lock_guard<std::mutex> lock(s_lock);

    ALCcontext* pContext = alcGetCurrentContext();
    ALCdevice* pDevice = pContext != nullptr ? alcGetContextsDevice(pContext) : nullptr;
    if (pDevice == nullptr) {
        pDevice = alcOpenDevice(nullptr);
    }
    if (pDevice == nullptr) {
        return false;
    }
    if (pContext == nullptr) {
        pContext = alcCreateContext(pDevice, nullptr);
        if (pContext == nullptr) {
            alcCloseDevice(pDevice);
            return false;
        }
    }
    if (alcMakeContextCurrent(pContext) == ALC_FALSE) {
        alcCloseDevice(pDevice);
        return false;
    }
    KQ_REPORT("ALFWInitOpenAL");
    m_pContext = pContext;
    return true;
}

bool SoundPlayer::IsDeviceLost() const {
    ALCdevice* const pDevice = alcGetContextsDevice(m_pContext);
    if (pDevice == nullptr || alcIsExtensionPresent(pDevice, "ALC_EXT_disconnect") == ALC_FALSE) {
        return false;
    }
    ALCint bConnected = ALC_TRUE;
    alcGetIntegerv(pDevice, ALC_CONNECTED, 1, &bConnected);
    return bConnected == ALC_FALSE;
}

void SoundPlayer::Play() {
    if (m_bOpened == 0) {
        return;
    }
    std::puts(" soundplayer:: player begin ");
    if (m_bPaused != 0) {
        if (GetState() == THREAD_FINISHED) {
            return;
        }
        alcMakeContextCurrent(m_pContext);
        KQ_REPORT("Play");
    } else if (!FillAfresh()) {
        Stop();
        m_nState = THREAD_FINISHED;
        return;
    }
    alcProcessContext(m_pContext);
    KQ_REPORT("Play");
    alSourcePlay(m_uiSource);
    KQ_REPORT("Play");
    m_bPlaying = 1;
    m_bPaused = 0;
    if (GetState() == THREAD_SUSPENDED) {
        std::puts("soundplayer:: player  resume ");
        Resume();
    } else {
        Start();
        std::puts("soundplayer:: player  start ");
    }
    std::puts(" soundplayer:: player end ");
}

bool SoundPlayer::FillAfresh() {
    alSourceStop(m_uiSource); // after the end of the audio the last silence may still be playing
    KQ_REPORT("Play");
    alSourcei(m_uiSource, AL_BUFFER, 0);
    KQ_REPORT("Play");
    alDeleteBuffers(kBufferCount, m_uiBuffers.data());
    KQ_REPORT("Play");
    alGenBuffers(kBufferCount, m_uiBuffers.data());
    KQ_REPORT("Play");
    std::fill(m_pBuffer.begin(), m_pBuffer.end(), static_cast<unsigned char>(0));
    m_nProcessed = 0;
    m_llLastPos = 0;
    int nDelivered = 0;
    for (const ALuint uiBuffer : m_uiBuffers) {
        nDelivered = SoundPlayCB(m_pBuffer.data(), m_nBufferSize);
        m_llTotalBytes += nDelivered;
        if (alIsBuffer(uiBuffer) == AL_FALSE) {
            std::printf("soundplayer:: player buffer isn't ready \n  ");
        }
        KQ_REPORT("Play");
        QueueBuffer(uiBuffer, "Play");
    }
    return nDelivered >= 1;
}

void SoundPlayer::QueueBuffer(ALuint uiBuffer, const char* pOperation) {
    alBufferData(uiBuffer, m_eFormat, m_pBuffer.data(), m_nBufferSize, m_nSampleRate);
    KQ_REPORT(pOperation);
    alSourceQueueBuffers(m_uiSource, 1, &uiBuffer);
    KQ_REPORT(pOperation);
}

void SoundPlayer::Pause() {
    std::puts(" soundplayer:: Pause begin ");
    if (GetState() != THREAD_RUNNING) {
        return;
    }
    CSingleLock lock(&m_Lock); // the sound thread must not restart the source between the two
    Suspend();
    m_bPlaying = 0;
    m_bPaused = 1;
    alSourcePause(m_uiSource);
    KQ_REPORT("Pause");
    lock.Unlock();
    std::puts(" soundplayer:: Pause end ");
}

int SoundPlayer::CopyLeftover(unsigned char* pBuf, int nLen) {
    if (m_nFrameRemain <= 0 || m_pFrame == nullptr) {
        return 0;
    }
    const int nCopy = std::min(m_nFrameRemain, nLen);
    std::memcpy(pBuf, PcmOf(*m_pFrame) + (LengthOf(*m_pFrame) - m_nFrameRemain),
                static_cast<std::size_t>(nCopy));
    m_nFrameRemain -= nCopy;
    if (m_nFrameRemain == 0) {
        m_pFrame = nullptr;
        m_pStream->NextFrame();
    }
    return nCopy;
}

int SoundPlayer::SoundPlayCB(unsigned char* pBuf, int nLen) {
    std::memset(pBuf, 0, static_cast<std::size_t>(nLen));
    int nCopied = CopyLeftover(pBuf, nLen);
    while (nCopied < nLen) {
        MEDIA_FRAME* const pFrame = m_pStream ? m_pStream->GetCurrentFrame() : nullptr;
        if (pFrame == nullptr || LengthOf(*pFrame) <= 0) {
            break;
        }
        const int nFrameLength = LengthOf(*pFrame);
        const int nCopy = std::min(nLen - nCopied, nFrameLength);
        std::memcpy(pBuf + nCopied, PcmOf(*pFrame), static_cast<std::size_t>(nCopy));
        m_pFrame = pFrame;
        m_nFrameRemain = nFrameLength - nCopy;
        m_TimeCodeMgr.PutPTS(nFrameLength, pFrame->llPTS);
        nCopied += nCopy;
        if (m_nFrameRemain == 0) {
            m_pFrame = nullptr;
            m_pStream->NextFrame();
        }
    }
    if (nCopied == nLen) {
        return nCopied;
    }
    if (m_nSilenceBytes >= GetBytesPerSec()) {
        m_bStreamEnd = 1;
        m_pFrame = nullptr;
        return nCopied;
    }
    m_nSilenceBytes += static_cast<std::uint32_t>(nLen - nCopied);
    return nLen;
}

int SoundPlayer::WriteAlBuffers() {
    if (IsDeviceLost()) {
        std::puts("SoundPlayer: the audio device is gone, the sound ends here");
        m_bStreamEnd = 1;
        m_bFinished = 1;
        return 0;
    }
    alcProcessContext(m_pContext);
    KQ_REPORT("WriteAlBuffers");
    ALint nProcessed = 0;
    alGetSourcei(m_uiSource, AL_BUFFERS_PROCESSED, &nProcessed);
    KQ_REPORT("WriteAlBuffers");
    const int nLast = nProcessed > 0 ? RefillProcessed(nProcessed) : 0;
    if (nProcessed < 1) {
        usleep(kIdleMicroseconds);
    }
    RestartIfDry();
    return nLast;
}

void SoundPlayer::RestartIfDry() {
    CSingleLock lock(&m_Lock);
    ALint eState = AL_PLAYING;
    alGetSourcei(m_uiSource, AL_SOURCE_STATE, &eState);
    KQ_REPORT("WriteAlBuffers");
    if (eState != AL_PLAYING && GetState() == THREAD_RUNNING) {
        alSourcePlay(m_uiSource);
        KQ_REPORT("WriteAlBuffers");
    }
}

int SoundPlayer::RefillProcessed(int nProcessed) {
    CSingleLock lock(&m_Lock);
    int nLast = 0;
    for (int i = 0; i < nProcessed; ++i) {
        ALuint uiBuffer = 0;
        alSourceUnqueueBuffers(m_uiSource, 1, &uiBuffer);
        KQ_REPORT("WriteAlBuffers");
        nLast = SoundPlayCB(m_pBuffer.data(), m_nBufferSize);
        if (nLast < 1) {
            m_bFinished = 1;
        }
        m_llTotalBytes += nLast;
        QueueBuffer(uiBuffer, "WriteAlBuffers");
    }
    m_nProcessed += nProcessed;
    return nLast;
}

int SoundPlayer::svc() {
    std::puts(" ================ svc sound begin thread ==================\n");
    while (true) {
        if (GetState() == THREAD_SUSPENDED) {
            usleep(kIdleMicroseconds);
            continue;
        }
        if (m_pStopEvent->Wait(0) == WAIT_SET) {
            break;
        }
        WriteAlBuffers();
        if (m_bFinished != 0) {
            break;
        }
    }
    m_pExitEvent->Set();
    std::puts(" ================ svc sound exit thread ==================\n");
    return 0;
}

std::int64_t SoundPlayer::GetPlayPos() {
    if (m_bOpened == 0) {
        return 0;
    }
    CSingleLock lock(&m_Lock);
    ALint nOffset = 0;
    alGetSourcei(m_uiSource, AL_BYTE_OFFSET, &nOffset);
    const std::int64_t llPosition = m_nProcessed * m_nBufferSize + nOffset;
    const auto nProcessed = static_cast<int>(m_nProcessed);
    lock.Unlock();
    if (llPosition < m_llLastPos) {
        std::printf(" less than last pos -----------------%d=   %d=     %d =  \n ", nProcessed,
                    static_cast<int>(llPosition), nOffset);
    }
    m_llLastPos = llPosition;
    return llPosition;
}

std::int64_t SoundPlayer::GetTotalBytes() {
    CSingleLock lock(&m_Lock);
    return m_llTotalBytes;
}

void SoundPlayer::ResetPullState() {
    m_TimeCodeMgr.Reset();
    m_pFrame = nullptr;
    m_nFrameRemain = 0;
    m_bStreamEnd = 0;
    m_nSilenceBytes = 0;
}

void SoundPlayer::Stop() {
    if (m_bOpened == 0) {
        return;
    }
    std::puts(" soundplayer:: Stop begin ");
    Abort();
    Wait(WAIT_FOREVER);
    m_bPaused = 0;
    m_bPlaying = 0;
    m_llTotalBytes = 0;
    m_nProcessed = 0;
    m_llLastPos = 0;
    m_bFinished = 0;
    alSourceStop(m_uiSource);
    KQ_REPORT("Stop");
    alSourceRewind(m_uiSource);
    KQ_REPORT("Stop");
    std::puts(" soundplayer:: Stop  end ");
}

void SoundPlayer::Close() {
    if (m_bOpened == 0) {
        return;
    }
    std::puts(" soundplayer:: Close begin ");
    Stop();
    alSourcei(m_uiSource, AL_BUFFER, 0);
    KQ_REPORT("Close");
    alDeleteSources(1, &m_uiSource);
    KQ_REPORT("Close");
    alDeleteBuffers(kBufferCount, m_uiBuffers.data());
    KQ_REPORT("Close");
    // The context and its device stay: another player, or the host itself, may be using them.
    m_pBuffer.clear();
    m_bOpened = 0;
    m_bFinished = 0;
    std::puts(" soundplayer:: Close end ");
}
