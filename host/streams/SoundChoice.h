/// @file
/// Which of several files' sounds is heard.
#pragma once

#include "SoundReader.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace kq::streams {

/// Sounds of one rate and number of channels, one of which is read. Sound 0 is that of the file whose time
/// counts, and may be none: silence. Others lie shifted beside it; where they have none, there is silence.
///
/// One thread reads; Add() to Shift() and Cancel() may be called from any.
class SoundChoice {
public:
    /// @param first   sound 0, or null
    /// @param fileEnd end of its file; 0 for unknown
    SoundChoice(std::unique_ptr<SoundReader> first, int rate, int channels, Ticks fileEnd);

    /// Adds a sound. @return its number
    std::size_t Add(std::unique_ptr<SoundReader> sound);
    /// @return false when that one was chosen already
    bool Choose(std::size_t number);
    /// @return the number of the one that is chosen
    std::size_t Number() const { return m_chosen; }
    /// @param offset the time in a sound's file minus that in the first one's
    /// @return true when that is heard
    bool Shift(std::size_t number, Ticks offset);

    /// As SoundReader has them; samples are counted from the first file's start.
    void Read(std::int64_t begin, std::int64_t count, std::vector<std::int16_t>& samples, bool backward);
    /// @return the sample behind the first file's last one, as far as that is known; with another sound,
    /// where
    ///         that file says to end
    std::optional<std::int64_t> End() const;
    bool Reaches(std::int64_t sample) const;

    int Rate() const { return m_rate; }
    std::size_t Channels() const { return m_channels; }
    void Notice(const std::string& text) const;
    void Cancel();
    bool IsCancelled() const { return m_cancelled; }

private:
    struct Sound {
        explicit Sound(std::unique_ptr<SoundReader> given) : reader(std::move(given)) {}
        const std::unique_ptr<SoundReader> reader; ///< null for silence
        std::atomic<Ticks> offset{0};
    };

    Sound& Chosen() const;
    std::int64_t SamplesIn(Ticks time) const { return av_rescale(time, m_rate, TicksPerSecond); }

    const int m_rate;
    const std::size_t m_channels;
    const Ticks m_fileEnd;
    mutable std::mutex m_lock;                    ///< guards the list, not what is in it
    std::vector<std::unique_ptr<Sound>> m_sounds; ///< none is ever removed
    std::atomic<std::size_t> m_chosen{0};
    std::atomic<bool> m_cancelled{false};
};

} // namespace kq::streams
