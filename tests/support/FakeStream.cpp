#include "tests/support/FakeStream.h"

#include <kqplayer/identifiers.h>

#include <algorithm>
#include <cmath>

namespace kq::test {

class FakeStream::Info final : public IStreamInfo {
public:
    Info(const AUDIO_STREAM_INFO* pAudio, const VIDEO_STREAM_INFO* pVideo)
        : m_pAudio(pAudio), m_pVideo(pVideo) {}

    std::int32_t QueryInterface(const _GUID&, void**) override { return kq::NoInterface; }
    std::uint32_t AddRef() override { return ++m_nRefCount; }
    std::uint32_t Release() override {
        const int nCount = --m_nRefCount;
        if (nCount == 0) {
            delete this;
        }
        return static_cast<std::uint32_t>(nCount);
    }
    std::int32_t Reserved0() override { return 0; }
    std::int32_t Reserved1() override { return 0; }
    std::int32_t Reserved2() override { return 0; }
    std::int32_t Reserved3() override { return 0; }
    std::int32_t Reserved4() override { return 0; }
    std::int32_t Reserved5() override { return 0; }
    std::int32_t Reserved6() override { return 0; }
    std::int32_t Reserved7() override { return 0; }
    const AUDIO_STREAM_INFO* GetAudioFormat() override { return m_pAudio; }
    const VIDEO_STREAM_INFO* GetVideoFormat() override { return m_pVideo; }

private:
    ~Info() = default;

    const AUDIO_STREAM_INFO* m_pAudio;
    const VIDEO_STREAM_INFO* m_pVideo;
    std::atomic<int> m_nRefCount{1};
};

std::int32_t FakeStream::QueryInterface(const _GUID& riid, void** ppv) {
    if (riid != IID_IQLXDispatch || !m_bHasDispatch) {
        *ppv = nullptr;
        return kq::NoInterface;
    }
    *ppv = static_cast<IQLXDispatch*>(this);
    AddRef();
    return kq::Ok;
}

std::int32_t FakeStream::GetStreamInfo(IStreamInfo** ppInfo) {
    if (m_bInfoFails) {
        return kq::Failed;
    }
    *ppInfo = m_bNoFormat ? new Info(nullptr, nullptr) : new Info(AudioFormat(), VideoFormat());
    return kq::Ok;
}

double FakeStream::Seek(double dSeconds, int nMode) {
    const std::lock_guard<std::mutex> lock(m_lock);
    m_seeks.push_back({dSeconds, nMode});
    m_nIndex = std::clamp(IndexAt(dSeconds), 0, std::max(0, static_cast<int>(m_frames.size()) - 1));
    return TimeOf(m_nIndex);
}

MEDIA_FRAME* FakeStream::GetCurrentFrame() {
    const std::lock_guard<std::mutex> lock(m_lock);
    return m_nIndex < static_cast<int>(m_frames.size()) ? &m_frames[static_cast<std::size_t>(m_nIndex)]
                                                        : nullptr;
}

int FakeStream::NextFrame() {
    const std::lock_guard<std::mutex> lock(m_lock);
    const int nCount = static_cast<int>(m_frames.size());
    m_nIndex = std::min(m_nIndex + 1, nCount);
    return m_nIndex < nCount ? 1 : 0;
}

double FakeStream::GetFramePosition() {
    return GetIndex();
}

int FakeStream::GetIndex() const {
    const std::lock_guard<std::mutex> lock(m_lock);
    return m_nIndex;
}

std::int32_t FakeStream::Invoke(std::int32_t, std::int64_t llCommand, std::int32_t) {
    const std::lock_guard<std::mutex> lock(m_lock);
    m_commands.push_back(static_cast<int>(llCommand));
    return 0;
}

std::vector<FakeStream::SeekCall> FakeStream::GetSeeks() const {
    const std::lock_guard<std::mutex> lock(m_lock);
    return m_seeks;
}

std::vector<int> FakeStream::GetCommands() const {
    const std::lock_guard<std::mutex> lock(m_lock);
    return m_commands;
}

FakeVideo::FakeVideo(int nFrames, double dFrameRate, int nWidth, int nHeight, double dFirstStamp)
    : m_dRate(dFrameRate) {
    m_format = {nWidth, nHeight, dFrameRate, nFrames, nWidth, nHeight};
    const std::size_t nLuma = static_cast<std::size_t>(nWidth) * static_cast<std::size_t>(nHeight);
    const int nChromaWidth = (nWidth + 1) / 2;
    const std::size_t nChroma =
        static_cast<std::size_t>(nChromaWidth) * static_cast<std::size_t>((nHeight + 1) / 2);
    for (int n = 0; n < nFrames; ++n) {
        std::vector<std::uint8_t> planes(nLuma + 2 * nChroma, 128);
        std::fill_n(planes.begin(), nLuma, static_cast<std::uint8_t>(LumaOf(n)));
        m_data.push_back(std::move(planes));
        MEDIA_FRAME frame{};
        frame.nKind = KQ_PICTURE_PLANAR_YUV;
        frame.image.pY = m_data.back().data();
        frame.image.pU = frame.image.pY + nLuma;
        frame.image.pV = frame.image.pU + nChroma;
        frame.image.nWidth = nWidth;
        frame.image.nHeight = nHeight;
        frame.image.nPitchY = nWidth;
        frame.image.nPitchU = nChromaWidth;
        frame.image.nPitchV = nChromaWidth;
        frame.llPTS = std::llround((dFirstStamp + n / dFrameRate) * 1e7);
        m_frames.push_back(frame);
    }
}

int FakeVideo::IndexAt(double dSeconds) const {
    return static_cast<int>(std::floor(dSeconds * m_dRate + 1e-6));
}

double FakeVideo::TimeOf(int nIndex) const {
    return nIndex / m_dRate;
}

FakeAudio::FakeAudio(double dSeconds, int nRate, int nChannels, int nChunkFrames)
    : m_dChunkSeconds(static_cast<double>(nChunkFrames) / nRate) {
    m_format = {nRate, nChannels, 0, 0, dSeconds, 0};
    const auto nTotal = static_cast<std::int64_t>(std::llround(dSeconds * nRate));
    for (std::int64_t nStart = 0; nStart < nTotal; nStart += nChunkFrames) {
        const std::int64_t nEnd = std::min<std::int64_t>(nStart + nChunkFrames, nTotal);
        std::vector<std::uint8_t> pcm(static_cast<std::size_t>((nEnd - nStart) * nChannels * 2));
        auto* pSample = reinterpret_cast<std::int16_t*>(pcm.data());
        for (std::int64_t k = nStart; k < nEnd; ++k) {
            pSample = std::fill_n(pSample, nChannels, SampleOf(k));
        }
        m_data.push_back(std::move(pcm));
        MEDIA_FRAME frame{};
        frame.image.pU = m_data.back().data();
        frame.image.nAudioLength = static_cast<std::int32_t>(m_data.back().size());
        frame.llPTS = nStart * 10'000'000 / nRate;
        m_frames.push_back(frame);
    }
}

int FakeAudio::IndexAt(double dSeconds) const {
    return static_cast<int>(std::floor(dSeconds / m_dChunkSeconds + 1e-6));
}

double FakeAudio::TimeOf(int nIndex) const {
    return nIndex * m_dChunkSeconds;
}

} // namespace kq::test
