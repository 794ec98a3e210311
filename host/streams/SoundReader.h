/// @file
/// A file's sound by the number of its samples.
#pragma once

#include "AudioSource.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <list>
#include <memory>
#include <optional>
#include <vector>

namespace kq::streams {

/// Gives any part of a file's sound; sample 0 is at the file's start, "sample" means one of all channels.
/// What was read lately is kept, so that short loops and backward play decode little.
class SoundReader {
public:
    /// @param rate samples a second
    SoundReader(std::unique_ptr<AudioSource> source, int rate, int channels, bool seekable);

    /// Appends samples; silence before the file's sound and behind its end.
    /// @param backward what lies before them will be asked for next
    void Read(std::int64_t begin, std::int64_t count, std::vector<std::int16_t>& samples, bool backward);
    /// @return the sample behind the last one, once Read() has come there
    std::optional<std::int64_t> End() const { return m_end; }
    /// @return false for a place that an input that cannot be sought has passed
    bool Reaches(std::int64_t sample) const { return m_seekable || sample >= m_firstKept; }

    int Rate() const { return m_rate; }
    std::size_t Channels() const { return m_channels; }
    void Notice(const std::string& text) const { m_source->Notice(text); }
    void Cancel();
    bool IsCancelled() const { return m_cancelled; }

private:
    /// A part of the sound that begins at a multiple of its length, filled from its begin on.
    struct Block {
        std::int64_t number = 0;
        std::vector<std::int16_t> samples;
    };

    Block& BlockWith(std::int64_t sample, bool backward);
    void MoveTo(std::int64_t sample);
    bool ReadOn();
    std::int64_t SampleAt(Ticks time) const;
    void Take(const Frame& frame);
    void Append(const std::int16_t* samples, std::int64_t count);
    Block& Find(std::int64_t number);
    std::int64_t Filled(const Block& block) const;

    const std::unique_ptr<AudioSource> m_source;
    const int m_rate;
    const std::size_t m_channels;
    const bool m_seekable;
    const std::int64_t m_blockLength;
    std::list<Block> m_blocks;    ///< the one used last first
    std::int64_t m_next = 0;      ///< the sample that comes next
    std::int64_t m_firstKept = 0; ///< when nothing can be sought
    std::optional<std::int64_t> m_end;
    bool m_ended = false; ///< the source has no more
    std::atomic<bool> m_cancelled{false};
};

} // namespace kq::streams
