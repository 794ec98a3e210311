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

std::int32_t FakeStream::GetStreamInfo(IStreamInfo** info) {
    if (infoFails) {
        *info = reinterpret_cast<IStreamInfo*>(8); // not given: whoever touches it crashes
        return kq::Failed;
    }
    return StreamInfo::Give(Format(), info);
}

double FakeStream::Seek(double seconds, int mode) {
    const std::lock_guard<std::mutex> lock(m_lock);
    m_seeks.push_back({seconds, mode});
    const int index = static_cast<int>(std::floor(seconds * m_rate + 1e-6));
    m_index = std::clamp(index, 0, std::max(0, static_cast<int>(m_frames.size()) - 1));
    return m_index / m_rate;
}

MEDIA_FRAME* FakeStream::GetCurrentFrame() {
    const std::lock_guard<std::mutex> lock(m_lock);
    return m_index < static_cast<int>(m_frames.size()) ? &m_frames[static_cast<std::size_t>(m_index)]
                                                       : nullptr;
}

int FakeStream::NextFrame() {
    const std::lock_guard<std::mutex> lock(m_lock);
    const int count = static_cast<int>(m_frames.size());
    m_index = std::min(m_index + 1, count);
    return m_index < count ? 1 : 0;
}

double FakeStream::GetFramePosition() {
    return GetIndex();
}

int FakeStream::GetIndex() const {
    const std::lock_guard<std::mutex> lock(m_lock);
    return m_index;
}

std::int32_t FakeStream::Invoke(std::int32_t, std::int64_t command, std::int32_t) {
    const std::lock_guard<std::mutex> lock(m_lock);
    m_commands.push_back(static_cast<int>(command));
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

FakeVideo::FakeVideo(int frames, double frameRate, int width, int height, double firstStamp)
    : FakeStream(frameRate) {
    format = {width, height, frameRate, frames, width, height};
    const std::size_t luma = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
    const int chromaWidth = (width + 1) / 2;
    const std::size_t chroma =
        static_cast<std::size_t>(chromaWidth) * static_cast<std::size_t>((height + 1) / 2);
    for (int n = 0; n < frames; ++n) {
        std::vector<std::uint8_t> planes(luma + 2 * chroma, 128);
        std::fill_n(planes.begin(), luma, static_cast<std::uint8_t>(LumaOf(n)));
        m_data.push_back(std::move(planes));
        MEDIA_FRAME& frame = m_frames.emplace_back();
        frame.nKind = KQ_PICTURE_PLANAR_YUV;
        frame.llPTS = std::llround((firstStamp + n / frameRate) * 1e7);
        tagYUVImage& image = frame.image;
        image.pY = m_data.back().data();
        image.pU = image.pY + luma;
        image.pV = image.pU + chroma;
        image.nWidth = image.nPitchY = width;
        image.nHeight = height;
        image.nPitchU = image.nPitchV = chromaWidth;
    }
}

StreamFormat FakeVideo::Format() const {
    return noFormat ? StreamFormat(AUDIO_STREAM_INFO{}) : format;
}

FakeAudio::FakeAudio(double seconds, int rate, int channels, int chunkFrames)
    : FakeStream(static_cast<double>(rate) / chunkFrames) {
    format = {rate, channels, 0, 0, seconds, 0};
    const auto total = static_cast<std::int64_t>(std::llround(seconds * rate));
    for (std::int64_t start = 0; start < total; start += chunkFrames) {
        const std::int64_t end = std::min<std::int64_t>(start + chunkFrames, total);
        std::vector<std::uint8_t> pcm(static_cast<std::size_t>((end - start) * channels * 2));
        auto* sample = reinterpret_cast<std::int16_t*>(pcm.data());
        for (std::int64_t k = start; k < end; ++k) {
            sample = std::fill_n(sample, channels, SampleOf(k));
        }
        m_data.push_back(std::move(pcm));
        MEDIA_FRAME& frame = m_frames.emplace_back();
        frame.image.pU = m_data.back().data();
        frame.image.nAudioLength = static_cast<std::int32_t>(m_data.back().size());
        frame.llPTS = start * 10'000'000 / rate;
    }
}

StreamFormat FakeAudio::Format() const {
    return noFormat ? StreamFormat(VIDEO_STREAM_INFO{}) : format;
}

} // namespace kq::test
