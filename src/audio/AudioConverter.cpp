#include "AudioKernels.h"
#include "MixingTable.h"

#include <kqplayer/audio.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>

namespace {

constexpr int kDefaultSize = 0x40000;
constexpr int kMaxSize = 1 << 26;
constexpr int kMaxRate = 1 << 24;
/// Layouts of more channels give silence; nothing real comes near.
constexpr int kMaxChannels = 1 << 16;

bool IsRate(int rate) {
    return rate >= 1 && rate <= kMaxRate;
}

/// Zeroed samples, or null without memory. calloc() leaves pages that are never used untouched.
short* NewSamples(std::size_t count) {
    return static_cast<short*>(std::calloc(count, sizeof(short)));
}

std::size_t Bytes(int samples) {
    return static_cast<std::size_t>(samples) * sizeof(short);
}

} // namespace

CAudioConverter::CAudioConverter(int nInChannels, int nOutChannels, int nInSampleRate, int nOutSampleRate,
                                 int nBufferSize)
    : m_pOutBuf(nullptr), m_pWorkBuf(nullptr), m_nBufSize(0), m_nValidSize(0), m_nInChannels(nInChannels),
      m_nOutChannels(nOutChannels), m_nInSampleRate(nInSampleRate), m_nOutSampleRate(nOutSampleRate),
      m_dFraction(0) {
    Grow(nBufferSize > 0 ? std::min(nBufferSize, kMaxSize) : kDefaultSize);
}

CAudioConverter::~CAudioConverter() {
    std::free(m_pOutBuf);
    std::free(m_pWorkBuf);
}

/// Replaces both buffers by larger ones with the old contents at their start.
bool CAudioConverter::Grow(double capacity) {
    if (!(capacity <= kMaxSize)) {
        return false;
    }
    const int size = static_cast<int>(capacity);
    short* out = NewSamples(static_cast<std::size_t>(size));
    short* work = NewSamples(static_cast<std::size_t>(size));
    if (out == nullptr || work == nullptr) {
        std::free(out);
        std::free(work);
        return false;
    }
    if (m_nBufSize != 0) {
        std::memcpy(out, m_pOutBuf, Bytes(m_nBufSize));
        std::memcpy(work, m_pWorkBuf, Bytes(m_nBufSize));
    }
    std::free(m_pOutBuf);
    std::free(m_pWorkBuf);
    m_pOutBuf = out;
    m_pWorkBuf = work;
    m_nBufSize = size;
    return true;
}

bool CAudioConverter::MakeRoom(double workSamples, double outSamples) {
    const double needed = std::max(workSamples, m_nValidSize + outSamples);
    return needed <= m_nBufSize || Grow(needed);
}

/// The mixed block lies behind the history, which is long enough for one frame.
short* CAudioConverter::Block() const {
    return m_pWorkBuf + std::max(m_nOutSampleRate, std::min(m_nOutChannels, kMaxChannels));
}

/// Only the last frame before the block is ever read, so only that much of the mixed samples is kept.
void CAudioConverter::KeepHistory(const short* pMixed, int nLength) {
    const int frame = std::clamp(m_nOutChannels, 1, kMaxChannels);
    const int kept = std::max(frame - nLength, 0);
    short* history = Block() - frame;
    std::memmove(history, history + frame - kept, Bytes(kept));
    std::memmove(history + kept, pMixed + nLength - (frame - kept), Bytes(frame - kept));
}

int CAudioConverter::Put(const short* pData, int nSamples) {
    if (nSamples <= 0 || pData == nullptr || !IsRate(m_nInSampleRate) || !IsRate(m_nOutSampleRate)) {
        return m_nValidSize;
    }
    const double need =
        std::trunc(nSamples * (static_cast<double>(m_nOutSampleRate) / m_nInSampleRate) * 6.0);
    // Growing well ahead keeps it rare; where that is too much, what is needed decides below.
    if (m_nBufSize - m_nValidSize < need) {
        Grow(m_nBufSize + 2 * need + 4096);
    }
    if (m_nInChannels != m_nOutChannels || m_nInSampleRate != m_nOutSampleRate) {
        return m_nValidSize += ConvertData(pData, nSamples);
    }
    if (MakeRoom(0, nSamples)) {
        std::memcpy(m_pOutBuf + m_nValidSize, pData, Bytes(nSamples));
        m_nValidSize += nSamples;
    }
    return m_nValidSize;
}

int CAudioConverter::ConvertData(const short* pData, int nSamples) {
    if (nSamples <= 0 || pData == nullptr || !IsRate(m_nInSampleRate) || !IsRate(m_nOutSampleRate)) {
        return 0;
    }
    const bool copies = m_nInChannels == m_nOutChannels && m_nOutChannels <= kMaxChannels;
    const bool mixes = !copies && kq::audio::HasMixing(m_nInChannels, m_nOutChannels);
    const std::int64_t length =
        mixes ? std::int64_t{nSamples} * m_nOutChannels / m_nInChannels : std::int64_t{nSamples};
    const double ratio = static_cast<double>(m_nInSampleRate) / m_nOutSampleRate;
    const double converted =
        std::max(std::trunc((m_dFraction + static_cast<double>(length)) / ratio + 0.5), 0.0);
    const int frame = std::clamp(m_nOutChannels, 1, kMaxChannels);
    // One frame more than the block: interpolation at its very end looks at the frame behind it.
    const double history = std::max(m_nOutSampleRate, frame);
    if (!MakeRoom(history + static_cast<double>(length) + frame, std::max<double>(converted, length))) {
        return 0;
    }
    const int blockLength = static_cast<int>(length);
    short* out = m_pOutBuf + m_nValidSize;
    const bool sameRate = m_nInSampleRate == m_nOutSampleRate;
    short* block = sameRate ? out : Block();
    const auto& kernels = kq::audio::BestAudioKernels();

    int mixed = 0;
    if (copies) {
        std::memcpy(block, pData, Bytes(nSamples));
        mixed = nSamples;
    } else if (mixes) {
        const std::size_t frames = static_cast<std::size_t>(nSamples / m_nInChannels);
        kernels.mix(pData, m_nInChannels, m_nOutChannels, frames, block);
        mixed = static_cast<int>(frames) * m_nOutChannels;
    }
    std::memset(block + mixed, 0, Bytes(blockLength + (sameRate ? 0 : frame) - mixed));

    int count = static_cast<int>(converted);
    if (!sameRate) {
        count -= count % frame;
        if (count > 0) {
            kernels.resample({block, frame, blockLength, count}, out);
        }
    }
    m_dFraction += blockLength - count * ratio;
    KeepHistory(block, blockLength);
    return count;
}

int CAudioConverter::Get(short* pData, int nSamples) {
    const int count = std::max(std::min(m_nValidSize, nSamples), 0);
    if (count == 0) {
        return 0;
    }
    std::memcpy(pData, m_pOutBuf, Bytes(count));
    m_nValidSize -= count;
    std::memmove(m_pOutBuf, m_pOutBuf + count, Bytes(m_nValidSize));
    return count;
}

int CAudioConverter::GetFreeSize() const {
    return m_nBufSize - m_nValidSize;
}

int CAudioConverter::GetValidSize() const {
    return m_nValidSize;
}

void CAudioConverter::Reset() {
    m_nValidSize = 0;
}

int CAudioConverter::GetInputChannels() {
    return m_nInChannels;
}

int CAudioConverter::GetInputSampleRate() {
    return m_nInSampleRate;
}

namespace {

/// One sample at a gain below 1, or one that is limited.
short MixOne(short* const* inputs, int count, int index, double* gain) {
    std::int64_t sum = 0;
    for (int k = 0; k < count; ++k) {
        sum += inputs[k][index];
    }
    const auto value = static_cast<std::int64_t>(static_cast<double>(sum) * *gain);
    if (value > -32768 && value < 32768) {
        return static_cast<short>(value);
    }
    const short limit = value > 0 ? 32767 : -32767;
    *gain = limit / static_cast<double>(value);
    return limit;
}

} // namespace

void IntermixAudio(short** ppInputs, int nInputs, int nSamples, short* pOut) {
    const double step = nInputs * 2.2675736961451247e-6;
    const auto& kernels = kq::audio::BestAudioKernels();
    double gain = 1.0;
    int i = 0;
    while (i < nSamples) {
        if (gain >= 1.0) {
            i = kernels.sum(ppInputs, nInputs, gain, i, nSamples, pOut);
        }
        if (i == nSamples) {
            return;
        }
        if (gain < 1.0) {
            gain += step;
        }
        pOut[i] = MixOne(ppInputs, nInputs, i, &gain);
        ++i;
    }
}
