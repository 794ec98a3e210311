#include "audio/SoundPlayer.h"

#include "audio/OwnDevice.h"
#include "com/KeptTexts.h"
#include "com/Output.h"
#include "thread/TimeSource.h"

#include <algorithm>
#include <cstring>
#include <mutex>

namespace {

constexpr std::uint32_t kIdleMicroseconds = 10'000;
constexpr int kLeastRate = 100;
constexpr int kMostRate = 768'000;
constexpr std::int64_t kTicksPerSecond = 10'000'000; ///< of a time stamp

/// A context keeps one error for all its callers: the players of a process must not take each other's.
std::mutex s_csOpenAL;

/// Makes a call of OpenAL and prints its error. @return whether there was none
template <class Call>
bool IsAccepted(const char* pOperation, int nLine, const Call& call) {
    const std::lock_guard<std::mutex> lock(s_csOpenAL);
    alGetError(); // what the host left behind is not this call's
    call();
    const ALenum eError = alGetError();
    if (eError != AL_NO_ERROR) {
        Print(SoundTexts::kError, pOperation, nLine, static_cast<unsigned int>(eError));
    }
    return eError == AL_NO_ERROR;
}

/// @return a value of a source, or the preset one where OpenAL refuses
ALint ValueOf(ALuint uiSource, ALenum eParam, ALint nPreset) {
    const std::lock_guard<std::mutex> lock(s_csOpenAL);
    alGetError();
    ALint nValue = nPreset;
    alGetSourcei(uiSource, eParam, &nValue);
    return alGetError() == AL_NO_ERROR ? nValue : nPreset;
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

/// A frame without samples leaves the silence that is there.
void CopyPcm(unsigned char* pBuf, MEDIA_FRAME& frame, int nFrom, int nCount) {
    if (const unsigned char* const pPcm = PcmOf(frame)) {
        std::memcpy(pBuf, pPcm + nFrom, static_cast<std::size_t>(nCount));
    }
}

} // namespace

#define KQ_AL(operation, ...) IsAccepted(operation, __LINE__, [&] { __VA_ARGS__; })

SoundPlayer::SoundPlayer(IMediaStream* pStream) : m_pStream(kq::ComPtr<IMediaStream>::Share(pStream)) {}

SoundPlayer::~SoundPlayer() {
    Close();
}

int SoundPlayer::Open(int nSampleRate, int nChannels, int nBits) {
    Print(SoundTexts::kOpen, nSampleRate, nChannels, nBits);
    Close();
    m_bFailed = 0;
    m_bDeviceLost = 0;
    if (!ALFWInitOpenAL()) {
        PrintLine("SoundPlayer::Open refused : no audio device");
        return 1;
    }
    const ALenum eFormat = FormatOf(nChannels, nBits);
    if (eFormat <= 0 || nSampleRate < kLeastRate || nSampleRate > kMostRate) {
        Print("SoundPlayer::Open refused : samplerate = %d ,nchannels = %d ,nbit = %d \n", nSampleRate,
              nChannels, nBits);
        return 1;
    }
    if (!MakeObjects()) {
        PrintLine("SoundPlayer::Open refused : no source or no buffers");
        return 1;
    }
    m_eFormat = eFormat;
    m_nSampleRate = nSampleRate;
    m_nChannels = nChannels;
    m_nBits = nBits;
    m_nBytesPerSec = nBits / 8 * nSampleRate * nChannels;
    m_nBlockAlign = nBits * nChannels / 8;
    m_nBufferSize = m_nBytesPerSec / 10 - m_nBytesPerSec / 10 % m_nBlockAlign;
    m_pBuffer.assign(static_cast<std::size_t>(m_nBufferSize), 0);
    m_fGain = 1.0F;
    m_use.emplace();
    m_bOpened = 1;
    return 1;
}

bool SoundPlayer::MakeObjects() {
    m_uiBuffers = {};
    m_uiSource = 0;
    if (!KQ_AL("Open", alGenBuffers(kBufferCount, m_uiBuffers.data()))) {
        m_uiBuffers = {};
        return false;
    }
    if (!KQ_AL("Open", alGenSources(1, &m_uiSource))) {
        KQ_AL("Open", alDeleteBuffers(kBufferCount, m_uiBuffers.data()));
        m_uiBuffers = {};
        return false;
    }
    return true;
}

bool SoundPlayer::ALFWInitOpenAL() {
    m_pContext = AcquireContext(); // whoever made it closes it, whatever becomes of this
    return m_pContext != nullptr;
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
    PrintLine(SoundTexts::kPlayBegins);
    if (m_bDeviceLost != 0) {
        m_bStreamEnd = 1; // a seek has taken the end back
        return;
    }
    const bool bFresh = !IsActive();
    if (m_bPaused != 0 ? bFresh && !HasDataAgain() : !bFresh) {
        return;
    }
    if (!(bFresh ? FillAfresh() : MakeContextCurrent()) || !StartSource()) {
        EndStart();
        return;
    }
    if (bFresh) {
        m_bFailed = 0; // before the thread starts: it may fail at once
    }
    if (!StartThread()) {
        EndStart();
        return;
    }
    PrintLine(SoundTexts::kPlayEnds);
}

bool SoundPlayer::MakeContextCurrent() {
    if (alcMakeContextCurrent(m_pContext) != ALC_FALSE || alcGetCurrentContext() == m_pContext) {
        return true;
    }
    PrintLine("SoundPlayer: the OpenAL context cannot be made current, the sound ends here");
    Fail();
    return false;
}

bool SoundPlayer::StartSource() {
    CSingleLock lock(&m_Lock);
    ApplyGain();
    KQ_AL("Play", alcProcessContext(m_pContext));
    if (!KQ_AL("Play", alSourcePlay(m_uiSource))) {
        Fail();
        return false;
    }
    m_nPlayedIfDry = kBufferCount;
    m_bPlaying = 1;
    m_bPaused = 0;
    return true;
}

void SoundPlayer::ApplyGain() {
    const float fGain = m_pGain != nullptr ? m_pGain->load() : 1.0F;
    if (fGain != m_fGain && KQ_AL("Gain", alSourcef(m_uiSource, AL_GAIN, fGain))) {
        m_fGain = fGain;
    }
}

bool SoundPlayer::StartThread() {
    if (GetState() == THREAD_SUSPENDED) {
        PrintLine(SoundTexts::kPlayResumes);
        Resume();
        return true;
    }
    if (Start() == 0) {
        PrintLine("SoundPlayer: no thread can be made, the sound ends here");
        Fail();
        return false;
    }
    PrintLine(SoundTexts::kPlayStarts);
    return true;
}

void SoundPlayer::EndStart() {
    Stop();
    m_nState = THREAD_FINISHED;
}

void SoundPlayer::Fail() {
    m_bFailed = 1;
    m_bStreamEnd = 1;
    m_bFinished = 1;
}

bool SoundPlayer::FillAfresh() {
    if (!RenewBuffers()) {
        Fail();
        return false;
    }
    if (m_bStreamEnd != 0 && FrameWithData() != nullptr) {
        m_bStreamEnd = 0;
        m_nSilenceBytes = 0;
    }
    RestartMap();
    m_nProcessed = 0;
    m_llLastPos = 0;
    m_bFinished = 0;
    int nDelivered = 0;
    for (const ALuint uiBuffer : m_uiBuffers) {
        nDelivered = SoundPlayCB(m_pBuffer.data(), m_nBufferSize);
        m_llTotalBytes += nDelivered;
        if (alIsBuffer(uiBuffer) == AL_FALSE) {
            Print(SoundTexts::kNoBuffer);
        }
        if (!QueueBuffer(uiBuffer, "Play")) {
            Fail();
            return false;
        }
    }
    return nDelivered >= 1;
}

bool SoundPlayer::RenewBuffers() {
    KQ_AL("Play",
          alSourceStop(m_uiSource)); // after the end of the audio the last silence may still be playing
    if (!KQ_AL("Play", alSourcei(m_uiSource, AL_BUFFER, 0))) {
        return false; // what is still queued would be heard first
    }
    if (!KQ_AL("Play", alDeleteBuffers(kBufferCount, m_uiBuffers.data()))) {
        return true; // they are still there, so they serve once more
    }
    m_uiBuffers = {};
    if (!KQ_AL("Play", alGenBuffers(kBufferCount, m_uiBuffers.data()))) {
        m_uiBuffers = {};
        return false;
    }
    return true;
}

/// Positions start at 0, and so does the map; a frame of which a part is left starts in its middle.
void SoundPlayer::RestartMap() {
    m_TimeCodeMgr.Reset();
    if (m_nFrameRemain <= 0 || m_pFrame == nullptr) {
        return;
    }
    const std::int64_t llUsed = LengthOf(*m_pFrame) - m_nFrameRemain;
    const std::int64_t llPTS = m_pFrame->llPTS;
    m_TimeCodeMgr.PutPTS(m_nFrameRemain,
                         llPTS == KQ_NO_PTS ? llPTS : llPTS + llUsed * kTicksPerSecond / m_nBytesPerSec);
}

bool SoundPlayer::QueueBuffer(ALuint uiBuffer, const char* pOperation) {
    return KQ_AL(pOperation,
                 alBufferData(uiBuffer, m_eFormat, m_pBuffer.data(), m_nBufferSize, m_nSampleRate)) &&
           KQ_AL(pOperation, alSourceQueueBuffers(m_uiSource, 1, &uiBuffer));
}

void SoundPlayer::Pause() {
    PrintLine(SoundTexts::kPauseBegins);
    if (GetState() != THREAD_RUNNING) {
        return;
    }
    CSingleLock lock(&m_Lock); // the sound thread must not restart the source between the two
    Suspend();
    if (GetState() != THREAD_SUSPENDED) {
        return; // it has just come to its end
    }
    m_bPlaying = 0;
    m_bPaused = 1;
    KQ_AL("Pause", alSourcePause(m_uiSource));
    lock.Unlock();
    PrintLine(SoundTexts::kPauseEnds);
}

int SoundPlayer::CopyLeftover(unsigned char* pBuf, int nLen) {
    if (m_nFrameRemain <= 0 || m_pFrame == nullptr) {
        return 0;
    }
    const int nCopy = std::min(m_nFrameRemain, nLen);
    CopyPcm(pBuf, *m_pFrame, LengthOf(*m_pFrame) - m_nFrameRemain, nCopy);
    m_nFrameRemain -= nCopy;
    if (m_nFrameRemain == 0) {
        m_pFrame = nullptr;
        m_pStream->NextFrame();
    }
    return nCopy;
}

MEDIA_FRAME* SoundPlayer::FrameWithData() const {
    MEDIA_FRAME* const pFrame = m_pStream ? m_pStream->GetCurrentFrame() : nullptr;
    return pFrame != nullptr && LengthOf(*pFrame) > 0 ? pFrame : nullptr;
}

bool SoundPlayer::HasDataAgain() const {
    return m_bOpened != 0 && m_bStreamEnd != 0 && !IsActive() && m_bFailed == 0 && m_bDeviceLost == 0 &&
           FrameWithData() != nullptr;
}

int SoundPlayer::SoundPlayCB(unsigned char* pBuf, int nLen) {
    std::memset(pBuf, 0, static_cast<std::size_t>(nLen));
    int nCopied = CopyLeftover(pBuf, nLen);
    while (nCopied < nLen) {
        MEDIA_FRAME* const pFrame = FrameWithData();
        if (pFrame == nullptr) {
            break;
        }
        const int nFrameLength = LengthOf(*pFrame);
        const int nCopy = std::min(nLen - nCopied, nFrameLength);
        CopyPcm(pBuf + nCopied, *pFrame, 0, nCopy);
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
        m_bStreamEnd = 0; // it was declared too early, and the thread has not ended yet
        return nCopied;
    }
    // The rest of the buffer is played too: what the stream delivers next starts behind it.
    m_TimeCodeMgr.PutPTS(nLen - nCopied, KQ_NO_PTS);
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
        PrintLine("SoundPlayer: the audio device is gone, the sound ends here");
        m_bDeviceLost = 1;
        m_bStreamEnd = 1;
        m_bFinished = 1;
        return 0;
    }
    ApplyGain();
    KQ_AL("WriteAlBuffers", alcProcessContext(m_pContext));
    int nDelivered = 0;
    if (!RefillWhatIsDone(nDelivered)) {
        Fail();
    }
    return nDelivered;
}

bool SoundPlayer::RefillWhatIsDone(int& nDelivered) {
    ALint eState = AL_PLAYING;
    ALint nProcessed = 0;
    if (!KQ_AL("WriteAlBuffers", alGetSourcei(m_uiSource, AL_SOURCE_STATE, &eState)) ||
        !KQ_AL("WriteAlBuffers", alGetSourcei(m_uiSource, AL_BUFFERS_PROCESSED, &nProcessed))) {
        return false;
    }
    // One that has run dry is served below: it has played what is queued by then.
    nProcessed = eState == AL_STOPPED ? 0 : std::clamp(nProcessed, 0, kBufferCount);
    if (!Refill(nProcessed, nDelivered)) {
        return false;
    }
    if (nProcessed == 0 && eState != AL_STOPPED) {
        TimeSource::Current().Sleep(kIdleMicroseconds);
    }
    return RestartIfDry(nDelivered);
}

bool SoundPlayer::Refill(int nCount, int& nDelivered) {
    for (int i = 0; i < nCount; ++i) {
        // Without the lock: a stream that keeps the thread waiting must not keep those waiting who ask for
        // the position.
        nDelivered = SoundPlayCB(m_pBuffer.data(), m_nBufferSize);
        if (nDelivered < 1) {
            m_bFinished = 1;
        }
        CSingleLock lock(&m_Lock);
        ALuint uiBuffer = 0;
        if (!KQ_AL("WriteAlBuffers", alSourceUnqueueBuffers(m_uiSource, 1, &uiBuffer))) {
            return false;
        }
        ++m_nProcessed;
        --m_nPlayedIfDry;
        if (!QueueBuffer(uiBuffer, "WriteAlBuffers")) {
            return false;
        }
        m_llTotalBytes += nDelivered;
    }
    return true;
}

bool SoundPlayer::RestartIfDry(int& nDelivered) {
    ALint eState = AL_PLAYING;
    if (!KQ_AL("WriteAlBuffers", alGetSourcei(m_uiSource, AL_SOURCE_STATE, &eState))) {
        return false;
    }
    // Started again as it is, a dry source would repeat what was queued before this pass.
    if (eState == AL_STOPPED && !Refill(m_nPlayedIfDry, nDelivered)) {
        return false;
    }
    CSingleLock lock(&m_Lock);
    if (eState != AL_PLAYING) {
        if (GetState() != THREAD_RUNNING) {
            return true; // paused meanwhile: Play() starts it
        }
        if (!KQ_AL("WriteAlBuffers", alSourcePlay(m_uiSource))) {
            return false;
        }
    }
    m_nPlayedIfDry = kBufferCount;
    return true;
}

int SoundPlayer::svc() {
    PrintLine(SoundTexts::kThreadBegins);
    while (true) {
        if (GetState() == THREAD_SUSPENDED) {
            TimeSource::Current().Sleep(kIdleMicroseconds);
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
    PrintLine(SoundTexts::kThreadEnds);
    return 0;
}

std::int64_t SoundPlayer::GetPlayPos() {
    if (m_bOpened == 0 || (m_bPlaying == 0 && m_bPaused == 0)) {
        return 0;
    }
    CSingleLock lock(&m_Lock);
    const std::int64_t llOffset = PlayedOfQueue();
    const std::int64_t llPosition = m_nProcessed * m_nBufferSize + llOffset;
    const auto nProcessed = static_cast<int>(m_nProcessed);
    lock.Unlock();
    if (llPosition < m_llLastPos) {
        Print(SoundTexts::kPositionFell, nProcessed, static_cast<int>(llPosition),
              static_cast<int>(llOffset));
    }
    m_llLastPos = llPosition;
    return llPosition;
}

std::int64_t SoundPlayer::PlayedOfQueue() const {
    const std::int64_t llQueue = std::int64_t{kBufferCount} * m_nBufferSize;
    const std::int64_t llOffset = ValueOf(m_uiSource, AL_BYTE_OFFSET, 0);
    if (llOffset > 0) {
        return std::min(llOffset, llQueue);
    }
    // A source that has run dry has no offset any more.
    return ValueOf(m_uiSource, AL_SOURCE_STATE, AL_PLAYING) == AL_STOPPED
               ? std::int64_t{m_nPlayedIfDry} * m_nBufferSize
               : 0;
}

bool SoundPlayer::IsQueueFilled() {
    CSingleLock lock(&m_Lock);
    return m_bOpened != 0 &&
           ValueOf(m_uiSource, AL_BUFFERS_QUEUED, 0) > ValueOf(m_uiSource, AL_BUFFERS_PROCESSED, 0);
}

void SoundPlayer::SearchPTS(std::int64_t llBytePos, std::int64_t& llPTS, std::int64_t& llChunkPos) {
    m_TimeCodeMgr.SearchPTSReverse(llBytePos, llPTS, llChunkPos);
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
    PrintLine(SoundTexts::kStopBegins);
    Abort();
    Wait(WAIT_FOREVER);
    m_bPaused = 0;
    m_bPlaying = 0;
    m_llTotalBytes = 0;
    m_nProcessed = 0;
    m_llLastPos = 0;
    m_bFinished = 0;
    KQ_AL("Stop", alSourceStop(m_uiSource));
    KQ_AL("Stop", alSourceRewind(m_uiSource));
    PrintLine(SoundTexts::kStopEnds);
}

void SoundPlayer::Close() {
    if (m_bOpened == 0) {
        return;
    }
    PrintLine(SoundTexts::kCloseBegins);
    Stop();
    KQ_AL("Close", alSourcei(m_uiSource, AL_BUFFER, 0));
    KQ_AL("Close", alDeleteSources(1, &m_uiSource));
    KQ_AL("Close", alDeleteBuffers(kBufferCount, m_uiBuffers.data()));
    // The context and its device stay: another player, or the host itself, may be using them.
    m_use.reset();
    m_pBuffer.clear();
    m_bOpened = 0;
    m_bFinished = 0;
    PrintLine(SoundTexts::kCloseEnds);
}
