#include "tests/support/FakeStream.h"

#include <kqplayer/identifiers.h>

#include <algorithm>
#include <cmath>

namespace kq::test {

std::int32_t FakeStream::QueryInterface(const _GUID& riid, void** ppv) {
    if (riid != IID_IQLXDispatch || !hasDispatch) {
        *ppv = nullptr;
        return kq::NoInterface;
    }
    *ppv = static_cast<IQLXDispatch*>(this);
    AddRef();
    return kq::Ok;
}

std::int32_t FakeStream::GetStreamInfo(IStreamInfo** ppInfo) {
    if (infoFails) {
        *ppInfo = reinterpret_cast<IStreamInfo*>(8); // not given: whoever touches it crashes
        return kq::Failed;
    }
    return StreamInfo::Give(Format(), ppInfo);
}

double FakeStream::Seek(double dSeconds, int nMode) {
    const std::lock_guard<std::mutex> lock(m_lock);
    m_seeks.push_back({dSeconds, nMode});
    const int nIndex = static_cast<int>(std::floor(dSeconds * m_dRate + 1e-6));
    m_nIndex = std::clamp(nIndex, 0, std::max(0, static_cast<int>(m_frames.size()) - 1));
    return m_nIndex / m_dRate;
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
    : FakeStream(dFrameRate) {
    format = {nWidth, nHeight, dFrameRate, nFrames, nWidth, nHeight};
    const std::size_t nLuma = static_cast<std::size_t>(nWidth) * static_cast<std::size_t>(nHeight);
    const int nChromaWidth = (nWidth + 1) / 2;
    const std::size_t nChroma =
        static_cast<std::size_t>(nChromaWidth) * static_cast<std::size_t>((nHeight + 1) / 2);
    for (int n = 0; n < nFrames; ++n) {
        std::vector<std::uint8_t> planes(nLuma + 2 * nChroma, 128);
        std::fill_n(planes.begin(), nLuma, static_cast<std::uint8_t>(LumaOf(n)));
        m_data.push_back(std::move(planes));
        MEDIA_FRAME& frame = m_frames.emplace_back();
        frame.nKind = KQ_PICTURE_PLANAR_YUV;
        frame.llPTS = std::llround((dFirstStamp + n / dFrameRate) * 1e7);
        tagYUVImage& image = frame.image;
        image.pY = m_data.back().data();
        image.pU = image.pY + nLuma;
        image.pV = image.pU + nChroma;
        image.nWidth = image.nPitchY = nWidth;
        image.nHeight = nHeight;
        image.nPitchU = image.nPitchV = nChromaWidth;
    }
}

StreamFormat FakeVideo::Format() const {
    return noFormat ? StreamFormat(AUDIO_STREAM_INFO{}) : format;
}

FakeAudio::FakeAudio(double dSeconds, int nRate, int nChannels, int nChunkFrames)
    : FakeStream(static_cast<double>(nRate) / nChunkFrames) {
    format = {nRate, nChannels, 0, 0, dSeconds, 0};
    const auto nTotal = static_cast<std::int64_t>(std::llround(dSeconds * nRate));
    for (std::int64_t nStart = 0; nStart < nTotal; nStart += nChunkFrames) {
        const std::int64_t nEnd = std::min<std::int64_t>(nStart + nChunkFrames, nTotal);
        std::vector<std::uint8_t> pcm(static_cast<std::size_t>((nEnd - nStart) * nChannels * 2));
        auto* pSample = reinterpret_cast<std::int16_t*>(pcm.data());
        for (std::int64_t k = nStart; k < nEnd; ++k) {
            pSample = std::fill_n(pSample, nChannels, SampleOf(k));
        }
        m_data.push_back(std::move(pcm));
        MEDIA_FRAME& frame = m_frames.emplace_back();
        frame.image.pU = m_data.back().data();
        frame.image.nAudioLength = static_cast<std::int32_t>(m_data.back().size());
        frame.llPTS = nStart * 10'000'000 / nRate;
    }
}

StreamFormat FakeAudio::Format() const {
    return noFormat ? StreamFormat(VIDEO_STREAM_INFO{}) : format;
}

} // namespace kq::test
