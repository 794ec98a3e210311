#include "TimelineAudio.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace kq::streams {
namespace {

constexpr std::int64_t leastChunk = 1024; ///< samples, and no less than 20 ms
constexpr std::int64_t mostChunk = 4096;
constexpr int chunksPerSecond = 50;
/// The tempo gets so much of what was before, in seconds of play, that it is at its ease at the place.
constexpr double runUp = 0.2;

std::int64_t ToSamples(Ticks time, int rate) {
    return av_rescale(time, rate, TicksPerSecond);
}

void Reverse(std::vector<std::int16_t>& samples, std::size_t from, std::size_t channels) {
    const auto begin = samples.begin() + static_cast<std::ptrdiff_t>(from);
    std::reverse(begin, samples.end());
    for (auto sample = begin; sample != samples.end(); sample += static_cast<std::ptrdiff_t>(channels)) {
        std::reverse(sample, sample + static_cast<std::ptrdiff_t>(channels));
    }
}

} // namespace

SoundWay::SoundWay(const Stretch& stretch, int rate)
    : m_stretch(stretch), m_rate(rate),
      m_hasJoints(stretch.range.end != PlayRange::open && stretch.Rounds() > 1),
      m_first(!stretch.IsForward()                   ? stretch.media - stretch.range.begin
              : stretch.range.end != PlayRange::open ? stretch.range.end - stretch.media
                                                     : 0) {}

/// @return the first sample behind a round
std::int64_t SoundWay::Joint(std::int64_t round) const {
    return ToSamples(m_first + round * m_stretch.range.Length(), m_rate);
}

/// @return the round that a sample belongs to
std::int64_t SoundWay::RoundAt(std::int64_t sample) const {
    if (!m_hasJoints || sample < Joint(0)) {
        return 0;
    }
    const Ticks passed = av_rescale(sample, TicksPerSecond, m_rate) - m_first;
    std::int64_t round = std::max<std::int64_t>(passed / m_stretch.range.Length(), 0);
    while (Joint(round) <= sample) {
        ++round;
    }
    return round;
}

std::int64_t SoundWay::Length(std::optional<std::int64_t> fileEnd) const {
    if (m_stretch.Rounds() == PlayRange::open) {
        return endless;
    }
    if (m_stretch.IsForward() && m_stretch.range.end == PlayRange::open) {
        return fileEnd ? std::max<std::int64_t>(*fileEnd - ToSamples(m_stretch.media, m_rate), 0) : endless;
    }
    return m_hasJoints ? Joint(m_stretch.Rounds() - 1) : ToSamples(m_first, m_rate);
}

void SoundWay::Read(SoundChoice& sounds, std::int64_t begin, std::int64_t count,
                    std::vector<std::int16_t>& samples) const {
    const bool forward = m_stretch.IsForward();
    const std::int64_t end = begin + count;
    const bool mayEnd = !forward || m_stretch.range.end != PlayRange::open;
    const std::int64_t length = mayEnd ? Length(std::nullopt) : endless;
    while (begin < std::min(end, length)) {
        const std::int64_t round = RoundAt(begin);
        const std::int64_t first = round == 0 ? 0 : Joint(round - 1);
        const Ticks from = round == 0 ? m_stretch.media
                           : forward  ? m_stretch.range.begin
                                      : m_stretch.range.end;
        const std::int64_t behind = m_hasJoints ? std::min(Joint(round), length) : length;
        const std::int64_t part = std::min(end, behind) - begin;
        const std::int64_t place = ToSamples(from, m_rate);
        if (forward) {
            sounds.Read(place + begin - first, part, samples, false);
        } else {
            const std::size_t size = samples.size();
            sounds.Read(place - (begin - first) - part, part, samples, true);
            Reverse(samples, size, sounds.Channels());
        }
        begin += part;
    }
    samples.resize(samples.size() + static_cast<std::size_t>(end - begin) * sounds.Channels());
}

TimelineAudio::TimelineAudio(std::shared_ptr<SharedSchedule> schedule, std::shared_ptr<SoundChoice> sounds,
                             Ticks fileEnd)
    : m_schedule(std::move(schedule)), m_sounds(std::move(sounds)), m_fileEnd(fileEnd) {}

FramePtr TimelineAudio::Next() {
    auto part = m_schedule->PartAt(TimeOf(m_count));
    while (part.until != PlayRange::open && SampleAt(part.until) <= m_count) {
        part = m_schedule->PartAt(part.until);
    }
    if (!m_stretch || !(*m_stretch == part.stretch)) {
        Enter(part.stretch);
    }
    const bool isLast = part.until == PlayRange::open;
    std::int64_t count = std::clamp<std::int64_t>(m_sounds->Rate() / chunksPerSecond, leastChunk, mostChunk);
    count = std::min(count, (isLast ? End() : SampleAt(part.until)) - m_count);
    if (count <= 0 || m_sounds->IsCancelled()) {
        return nullptr;
    }
    std::vector<std::int16_t> samples;
    Fill(count, samples);
    if (isLast) { // an end that was not known is met on the way
        count = std::clamp<std::int64_t>(End() - m_count, 0, count);
        samples.resize(static_cast<std::size_t>(count) * m_sounds->Channels());
    }
    return m_sounds->IsCancelled() || samples.empty() ? nullptr : Give(std::move(samples));
}

void TimelineAudio::Enter(const Stretch& stretch) {
    const double speed = std::abs(stretch.rate);
    m_stretch = stretch;
    m_way.emplace(stretch, m_sounds->Rate());
    m_tempo.reset();
    m_changed.clear();
    m_manner = speed == 1                                      ? Manner::Direct
               : speed >= Tempo::least && speed <= Tempo::most ? Manner::Tempo
                                                               : Manner::Silent;
    if (m_manner != Manner::Tempo) {
        return;
    }
    m_tempo = Tempo::Make(speed, m_sounds->Rate(), m_sounds->Channels());
    if (!m_tempo) {
        m_manner = Manner::Silent;
        return;
    }
    const double played = runUp * m_sounds->Rate();
    m_fed = std::llround((static_cast<double>(m_count - SampleAt(stretch.play)) - played) * speed);
    m_dropped = static_cast<std::size_t>(std::llround(played - m_tempo->Lead())) * m_sounds->Channels();
}

/// Appends the samples that come next.
void TimelineAudio::Fill(std::int64_t count, std::vector<std::int16_t>& samples) {
    const std::size_t size = static_cast<std::size_t>(count) * m_sounds->Channels();
    switch (m_manner) {
    case Manner::Direct:
        m_way->Read(*m_sounds, m_count - SampleAt(m_stretch->play), count, samples);
        break;
    case Manner::Tempo:
        FillByTempo(size, samples);
        break;
    case Manner::Silent:
        samples.resize(size);
    }
}

void TimelineAudio::FillByTempo(std::size_t size, std::vector<std::int16_t>& samples) {
    constexpr std::int64_t meal = 2048;
    std::vector<std::int16_t> input;
    while (m_changed.size() < size + m_dropped && !m_sounds->IsCancelled()) {
        input.clear();
        m_way->Read(*m_sounds, m_fed, meal, input);
        m_fed += meal;
        if (!m_tempo->Push(input)) {
            m_changed.resize(size + m_dropped);
        }
        m_tempo->Pull(m_changed);
    }
    const std::size_t first = std::min(m_dropped, m_changed.size());
    const auto begin = m_changed.begin() + static_cast<std::ptrdiff_t>(first);
    const auto end = begin + static_cast<std::ptrdiff_t>(std::min(size, m_changed.size() - first));
    samples.assign(begin, end);
    samples.resize(size);
    m_changed.erase(m_changed.begin(), end);
    m_dropped = 0;
}

/// @return the sample at which the stretch ends, SoundWay::endless when that is not known
std::int64_t TimelineAudio::End() const {
    std::optional<std::int64_t> fileEnd = m_sounds->End();
    if (!fileEnd && m_manner == Manner::Silent) {
        fileEnd = ToSamples(m_fileEnd, m_sounds->Rate()); // nobody reads up to it
    }
    const std::int64_t length = m_way->Length(fileEnd);
    if (length == SoundWay::endless) {
        return length;
    }
    return SampleAt(m_stretch->play) + std::llround(static_cast<double>(length) / std::abs(m_stretch->rate));
}

FramePtr TimelineAudio::Give(std::vector<std::int16_t> samples) {
    const auto count = static_cast<std::int64_t>(samples.size() / m_sounds->Channels());
    FramePtr frame =
        MakeSoundFrame(TimeOf(m_count), std::move(samples), m_sounds->Rate(), m_sounds->Channels());
    m_count += count;
    frame->firm = TimeOf(m_count);
    return frame;
}

Landing TimelineAudio::Seek(Ticks time, bool /*exact*/) {
    if (!m_schedule->HasVideo()) {
        const PlayRange range = m_schedule->Range();
        const bool forward = m_schedule->Last().IsForward();
        Ticks last = range.end != PlayRange::open ? range.end : m_fileEnd > 0 ? m_fileEnd : PlayRange::open;
        last -= forward && last != PlayRange::open ? av_rescale(1, TicksPerSecond, m_sounds->Rate()) : 0;
        time = std::clamp(time, range.begin, std::max(range.begin, last));
        if (!m_sounds->Reaches(ToSamples(time, m_sounds->Rate()))) {
            return {};
        }
        time = m_schedule->Restart(time, SharedSchedule::Kind::Audio).play;
    } else if (!m_sounds->Reaches(ToSamples(m_schedule->MediaAt(time), m_sounds->Rate()))) {
        return {};
    }
    BeginAt(time);
    FramePtr frame = Next();
    if (!frame && !m_sounds->IsCancelled()) {
        // The pictures go on there: the clock needs a place to start from.
        frame = Give(std::vector<std::int16_t>(m_sounds->Channels()));
    }
    return {true, std::move(frame)};
}

void TimelineAudio::BeginAt(Ticks time) {
    m_begin = time;
    m_count = 0;
    m_restarts = m_schedule->Restarts();
    m_stretch.reset();
}

void TimelineAudio::GoOn(std::optional<Ticks> given) {
    if (given) {
        m_count = SampleAt(*given);
        m_stretch.reset();
        return;
    }
    BeginAt(m_restarts == m_schedule->Restarts() ? m_begin : m_schedule->FirstPart().stretch.play);
}

void TimelineAudio::Cancel() {
    m_schedule->Leave(SharedSchedule::Kind::Audio);
    m_sounds->Cancel();
}

Ticks TimelineAudio::TimeOf(std::int64_t sample) const {
    return m_begin + av_rescale(sample, TicksPerSecond, m_sounds->Rate());
}

std::int64_t TimelineAudio::SampleAt(Ticks play) const {
    return ToSamples(play - m_begin, m_sounds->Rate());
}

} // namespace kq::streams
