/// @file
/// Sound of any kind made interleaved 16-bit samples.
#pragma once

#include "Handles.h"

#include <cstdint>
#include <vector>

namespace kq::streams {

/// The channels that a source's sound is given with: its own where OpenAL has a format for them, otherwise
/// stereo. OpenAL's orders of 4, 6, 7 and 8 channels are FFmpeg's own for quad, 5.1, 6.1 and 7.1.
/// @param maxChannels fewer than the source has: mixed to stereo, or to mono for 1
int OutputChannels(int sourceChannels, int maxChannels);

/// Converts sound to one format, whatever the source changes to on its way.
class SampleConverter {
public:
    /// @param rate     samples per second of the output
    /// @param channels 1, 2, 4, 6, 7 or 8
    SampleConverter(int rate, int channels);
    ~SampleConverter();
    SampleConverter(const SampleConverter&) = delete;
    SampleConverter& operator=(const SampleConverter&) = delete;

    int Rate() const { return m_rate; }
    int Channels() const { return m_output.nb_channels; }

    /// Appends a frame's sound. @return false when it cannot be converted
    bool Append(const AVFrame& sound, std::vector<std::int16_t>& samples);

private:
    bool Prepare(const AVFrame& sound);

    const int m_rate;
    AVChannelLayout m_output{};
    AVChannelLayout m_source{}; ///< what the resampler was made for
    int m_sourceRate = 0;
    int m_sourceFormat = -1;
    ResamplerHandle m_resampler;
};

} // namespace kq::streams
