#include "AudioSource.h"

#include <algorithm>
#include <utility>

namespace kq::streams {
namespace {

constexpr std::size_t leastChunk = 1024; ///< sample frames, and no less than 20 ms
constexpr std::size_t mostChunk = 4096;
constexpr std::size_t chunksPerSecond = 50;
/// Time stamps off by less are rounding; the samples themselves tell the time better.
constexpr Ticks jitter = TicksPerSecond / 200;
/// In files whose time stamps have been seen to go back, only a gap so long is believed.
constexpr Ticks sureGap = TicksPerSecond;
/// So much is decoded before the target, since many codecs need what came before to decode exactly, and Ogg
/// counts the stamps of a last page from its end, where samples may have been cut off.
constexpr Ticks runUp = TicksPerSecond * 3 / 2;
/// A gap that reaches further beyond the end of the file is a fault of its time stamps.
constexpr Ticks endMargin = TicksPerSecond;

} // namespace

AudioSource::AudioSource(std::unique_ptr<StreamDecoder> decoder, int rate, int channels, Ticks fileEnd)
    : m_decoder(std::move(decoder)), m_converter(rate, channels),
      m_channels(static_cast<std::size_t>(channels)), m_fileEnd(fileEnd) {}

FramePtr AudioSource::Next() {
    const LogScope scope(*m_decoder->Log());
    const auto rate = static_cast<std::size_t>(m_converter.Rate());
    const std::size_t enough = std::clamp(rate / chunksPerSecond, leastChunk, mostChunk);
    while (Filled() < enough) {
        if (m_silence > 0) {
            const auto count =
                std::min<std::int64_t>(m_silence, static_cast<std::int64_t>(enough - Filled()));
            m_samples.resize(m_samples.size() + static_cast<std::size_t>(count) * m_channels);
            m_silence -= count;
            continue;
        }
        Decoded sound;
        if (!NextDecoded(sound)) {
            break;
        }
        if (!Take(std::move(sound))) {
            break;
        }
    }
    return Give(std::min(Filled(), mostChunk));
}

bool AudioSource::NextDecoded(Decoded& sound) {
    if (!m_ahead) {
        return m_decoder->Next(sound);
    }
    sound = *std::exchange(m_ahead, std::nullopt);
    return true;
}

/// Converts decoded sound, or puts it aside when its time does not follow on what is filled.
/// @return false when what is filled has to be given first
bool AudioSource::Take(Decoded sound) {
    if (sound.time + sound.duration <= m_skipTo) {
        return true;
    }
    const Ticks begin = std::max(sound.time, m_skipTo);
    const Ticks expected = TimeOf(Filled());
    const Ticks gap = begin - expected;
    m_unsteady = m_unsteady || sound.stamp == StampKind::Repaired;
    const bool credible = m_fileEnd == 0 || begin <= m_fileEnd + endMargin;
    if (gap > (m_unsteady ? sureGap : jitter) && credible) {
        m_silence = ToSampleFrames(gap);
        m_fresh = false;
        m_ahead = std::move(sound);
        return true;
    }
    const bool clockIsBehind = gap < -jitter && !m_fresh && !m_unsteady && (!m_last || begin > m_last->time);
    if (clockIsBehind) {
        if (Filled() > 0) {
            m_ahead = std::move(sound);
            return false;
        }
        StartAt(begin);
    } else if (m_fresh && gap <= jitter) {
        StartAt(begin);
    }
    m_fresh = false;

    const std::size_t before = m_samples.size();
    if (!m_converter.Append(*sound.data, m_samples)) {
        Notice("audio: sound that cannot be converted is left out");
        return true;
    }
    const std::size_t unwanted = std::min(
        static_cast<std::size_t>(ToSampleFrames(begin - sound.time)) * m_channels, m_samples.size() - before);
    const auto from = m_samples.begin() + static_cast<std::ptrdiff_t>(before);
    m_samples.erase(from, from + static_cast<std::ptrdiff_t>(unwanted));
    return true;
}

void AudioSource::StartAt(Ticks time) {
    m_anchor = time;
    m_given = 0;
}

FramePtr AudioSource::Give(std::size_t count) {
    if (count == 0) {
        return nullptr;
    }
    m_fresh = false;
    const auto end = m_samples.begin() + static_cast<std::ptrdiff_t>(count * m_channels);
    m_last = MakeSoundFrame(TimeOf(0), {m_samples.begin(), end}, m_converter.Rate(), m_channels);
    m_samples.erase(m_samples.begin(), end);
    m_given += static_cast<std::int64_t>(count);
    return m_last;
}

FramePtr MakeSoundFrame(Ticks time, std::vector<std::int16_t> samples, int rate, std::size_t channels) {
    auto frame = std::make_shared<Frame>();
    frame->samples = std::move(samples);
    frame->bytes = frame->samples.size() * sizeof(std::int16_t);
    frame->time = time;
    frame->position = ToSeconds(time) * rate;
    const std::size_t count = frame->samples.size() / channels;
    frame->endPosition = frame->position + static_cast<double>(count);
    frame->record.nType = 2;
    frame->record.image.nFormat = 2;
    frame->record.image.pU = reinterpret_cast<std::uint8_t*>(frame->samples.data());
    frame->record.image.nAudioLength = static_cast<std::int32_t>(frame->bytes);
    frame->record.llTime = time;
    frame->record.llPTS = time;
    return frame;
}

Landing AudioSource::Seek(Ticks time, bool /*exact*/) {
    const LogScope scope(*m_decoder->Log());
    time = std::max<Ticks>(time, 0);
    if (m_fileEnd > 0) {
        time = std::min(time, std::max<Ticks>(m_fileEnd - ToTicks(1), 0));
    }
    const bool ahead = m_last && Reaches(*m_last, time);
    if (!m_decoder->Seekable()) {
        return ahead ? Landing{true, GoForward(time)} : Landing{};
    }

    Decoded first;
    bool nearest = false;
    const bool found = m_decoder->SeekAtOrBefore(time - runUp, first, nearest);
    m_samples.clear();
    m_silence = 0;
    m_ahead.reset();
    m_last = nullptr;
    m_fresh = true;
    m_skipTo = time;
    StartAt(time);
    if (found) {
        m_ahead = std::move(first);
    }
    if (auto frame = Next()) {
        return {true, std::move(frame)};
    }
    if (m_fileEnd == 0 || m_decoder->Cancelled()) {
        return {true, nullptr};
    }
    m_samples.resize(m_channels); // the video goes on there: the clock needs a place to start from
    return {true, Give(1)};
}

/// Decodes up to the chunk that holds a time. @return the part of it from there on
FramePtr AudioSource::GoForward(Ticks time) {
    FramePtr frame = m_last;
    while (frame &&
           frame->time + ToTicks(static_cast<std::int64_t>(frame->samples.size() / m_channels)) <= time) {
        frame = Next();
    }
    return frame ? From(frame, time) : nullptr;
}

Ticks AudioSource::Tolerance() const {
    return 0; // sound is placed by counting its samples
}

FramePtr AudioSource::From(FramePtr frame, Ticks time) const {
    const auto count = static_cast<std::int64_t>(frame->samples.size() / m_channels);
    const std::int64_t skipped = std::clamp<std::int64_t>(ToSampleFrames(time - frame->time), 0, count - 1);
    if (skipped == 0) {
        return frame;
    }
    const auto begin = frame->samples.begin() + skipped * static_cast<std::ptrdiff_t>(m_channels);
    return MakeSoundFrame(frame->time + ToTicks(skipped), {begin, frame->samples.end()}, m_converter.Rate(),
                          m_channels);
}

Ticks AudioSource::ToTicks(std::int64_t sampleFrames) const {
    return av_rescale(sampleFrames, TicksPerSecond, m_converter.Rate());
}

std::int64_t AudioSource::ToSampleFrames(Ticks time) const {
    return av_rescale(time, m_converter.Rate(), TicksPerSecond);
}

/// @return time of the sample that comes after so many filled ones
Ticks AudioSource::TimeOf(std::size_t filled) const {
    return m_anchor + ToTicks(m_given + static_cast<std::int64_t>(filled));
}

void AudioSource::Notice(const std::string& text) const {
    m_decoder->Log()->Notice(text);
}

void AudioSource::Cancel() {
    m_decoder->Cancel();
}

} // namespace kq::streams
