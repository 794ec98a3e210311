#include "SoundReader.h"

#include <algorithm>
#include <utility>

namespace kq::streams {
namespace {

constexpr int blocksPerSecond = 2;
constexpr std::size_t mostBlocks = 40;
/// Backward play reads so many blocks before the one it needs: each seek decodes a run-up.
constexpr std::int64_t blocksAtOnce = 4;

} // namespace

SoundReader::SoundReader(std::unique_ptr<AudioSource> source, int rate, int channels, bool seekable)
    : m_source(std::move(source)), m_rate(rate), m_channels(static_cast<std::size_t>(channels)),
      m_seekable(seekable), m_blockLength(std::max(rate / blocksPerSecond, 1)) {}

void SoundReader::Read(std::int64_t begin, std::int64_t count, std::vector<std::int16_t>& samples,
                       bool backward) {
    const std::int64_t end = begin + count;
    const auto silence = [&](std::int64_t length) {
        samples.resize(samples.size() + static_cast<std::size_t>(length) * m_channels);
    };
    if (begin < 0) {
        const std::int64_t before = std::min<std::int64_t>(-begin, count);
        silence(before);
        begin += before;
    }
    while (begin < end) {
        if (m_cancelled || (m_end && begin >= *m_end)) {
            silence(end - begin);
            return;
        }
        const Block& block = BlockWith(begin, backward);
        const std::int64_t first = begin - block.number * m_blockLength;
        const std::int64_t length = std::min(Filled(block) - first, end - begin);
        if (length <= 0) {
            continue; // the end, or a place that cannot be had, is known now
        }
        const auto from = block.samples.begin() + first * static_cast<std::ptrdiff_t>(m_channels);
        samples.insert(samples.end(), from, from + length * static_cast<std::ptrdiff_t>(m_channels));
        begin += length;
    }
}

/// @return the block of a sample, filled up to it unless the sound ends before
SoundReader::Block& SoundReader::BlockWith(std::int64_t sample, bool backward) {
    const std::int64_t number = sample / m_blockLength;
    const std::int64_t place = sample % m_blockLength;
    if (Filled(Find(number)) > place) {
        return Find(number);
    }
    const std::int64_t begin = number * m_blockLength;
    const bool goesOn = m_next >= begin && m_next <= sample && m_next - begin == Filled(Find(number));
    if (!goesOn) {
        MoveTo(backward ? std::max<std::int64_t>(number - blocksAtOnce + 1, 0) * m_blockLength : begin);
    }
    while (!m_cancelled && Filled(Find(number)) <= place && ReadOn()) {
    }
    if (Filled(Find(number)) <= place) {
        m_end = std::min(m_end.value_or(sample), sample);
    }
    return Find(number);
}

/// Lets the source go on at a sample that begins a block.
void SoundReader::MoveTo(std::int64_t sample) {
    const Landing landing = m_source->Seek(av_rescale(sample, TicksPerSecond, m_rate), true);
    m_next = sample;
    if (!m_seekable) {
        m_firstKept = sample;
    }
    m_ended = !landing.moved || !landing.frame;
    // A source that ends before the place lands on its end.
    m_ended = m_ended || SampleAt(landing.frame->time) < sample - 1;
    if (!m_ended) {
        Take(*landing.frame);
    }
}

std::int64_t SoundReader::SampleAt(Ticks time) const {
    return av_rescale(time, m_rate, TicksPerSecond);
}

/// Appends a chunk at the place that its time tells; within the rounding of a file's clock it follows on.
void SoundReader::Take(const Frame& frame) {
    const auto count = static_cast<std::int64_t>(frame.samples.size() / m_channels);
    const std::int64_t ahead = SampleAt(frame.time) - m_next;
    const std::int64_t jitter = m_rate / 200;
    if (ahead > jitter && ahead < m_rate) {
        Append(std::vector<std::int16_t>(static_cast<std::size_t>(ahead) * m_channels).data(), ahead);
    }
    const bool overlaps = ahead < -jitter && ahead > -m_rate;
    const std::int64_t passed = overlaps ? std::min(-ahead, count) : 0;
    Append(frame.samples.data() + passed * static_cast<std::int64_t>(m_channels), count - passed);
}

bool SoundReader::ReadOn() {
    FramePtr frame = m_ended ? nullptr : m_source->Next();
    if (!frame) {
        m_ended = true;
        if (!m_cancelled) {
            m_end = std::min(m_end.value_or(m_next), m_next);
        }
        return false;
    }
    Take(*frame);
    return true;
}

/// Files samples in the blocks that they belong to.
void SoundReader::Append(const std::int16_t* samples, std::int64_t count) {
    while (count > 0) {
        Block& block = Find(m_next / m_blockLength);
        const std::int64_t place = m_next % m_blockLength;
        const std::int64_t length = std::min(count, m_blockLength - place);
        const std::int64_t known = Filled(block) - place;
        if (known >= 0 && known < length) {
            const auto channels = static_cast<std::ptrdiff_t>(m_channels);
            block.samples.insert(block.samples.end(), samples + known * channels,
                                 samples + length * channels);
        }
        samples += length * static_cast<std::ptrdiff_t>(m_channels);
        m_next += length;
        count -= length;
    }
}

SoundReader::Block& SoundReader::Find(std::int64_t number) {
    const auto found = std::find_if(m_blocks.begin(), m_blocks.end(),
                                    [number](const Block& block) { return block.number == number; });
    if (found != m_blocks.end()) {
        m_blocks.splice(m_blocks.begin(), m_blocks, found);
        return m_blocks.front();
    }
    if (m_blocks.size() >= mostBlocks) {
        m_firstKept = std::max(m_firstKept, (m_blocks.back().number + 1) * m_blockLength);
        m_blocks.pop_back();
    }
    m_blocks.push_front({number, {}});
    return m_blocks.front();
}

std::int64_t SoundReader::Filled(const Block& block) const {
    return static_cast<std::int64_t>(block.samples.size() / m_channels);
}

void SoundReader::Cancel() {
    m_cancelled = true;
    m_source->Cancel();
}

} // namespace kq::streams
