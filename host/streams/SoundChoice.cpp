#include "SoundChoice.h"

#include <utility>

namespace kq::streams {

SoundChoice::SoundChoice(std::unique_ptr<SoundReader> first, int rate, int channels, Ticks fileEnd)
    : m_rate(rate), m_channels(static_cast<std::size_t>(channels)), m_fileEnd(fileEnd) {
    Add(std::move(first));
}

std::size_t SoundChoice::Add(std::unique_ptr<SoundReader> sound) {
    const std::lock_guard guard(m_lock);
    m_sounds.push_back(std::make_unique<Sound>(std::move(sound)));
    return m_sounds.size() - 1;
}

bool SoundChoice::Choose(std::size_t number) {
    return m_chosen.exchange(number) != number;
}

bool SoundChoice::Shift(std::size_t number, Ticks offset) {
    const std::lock_guard guard(m_lock);
    return m_sounds.at(number)->offset.exchange(offset) != offset && m_chosen == number;
}

SoundChoice::Sound& SoundChoice::Chosen() const {
    const std::lock_guard guard(m_lock);
    return *m_sounds.at(m_chosen);
}

void SoundChoice::Read(std::int64_t begin, std::int64_t count, std::vector<std::int16_t>& samples,
                       bool backward) {
    const Sound& sound = Chosen();
    if (sound.reader && !m_cancelled) {
        return sound.reader->Read(begin + SamplesIn(sound.offset), count, samples, backward);
    }
    samples.resize(samples.size() + static_cast<std::size_t>(count) * m_channels);
}

std::optional<std::int64_t> SoundChoice::End() const {
    const Sound& sound = Chosen();
    if (sound.reader && m_chosen == 0) {
        return sound.reader->End();
    }
    if (m_fileEnd > 0) {
        return SamplesIn(m_fileEnd);
    }
    const auto end = sound.reader ? sound.reader->End() : 0;
    return end ? std::optional(*end - SamplesIn(sound.offset)) : std::nullopt;
}

bool SoundChoice::Reaches(std::int64_t sample) const {
    const Sound& sound = Chosen();
    return !sound.reader || sound.reader->Reaches(sample + SamplesIn(sound.offset));
}

void SoundChoice::Notice(const std::string& text) const {
    const Sound& sound = Chosen();
    if (sound.reader) {
        sound.reader->Notice(text);
    }
}

void SoundChoice::Cancel() {
    m_cancelled = true;
    const std::lock_guard guard(m_lock);
    for (const auto& sound : m_sounds) {
        if (sound->reader) {
            sound->reader->Cancel();
        }
    }
}

} // namespace kq::streams
