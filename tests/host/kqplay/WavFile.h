/// @file
/// Recorded sound, as a test measures it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace kqtest {

/// Sound of one channel.
struct Sound {
    int rate = 0;
    std::vector<float> samples; ///< -1 to 1

    double Seconds() const { return rate > 0 ? static_cast<double>(samples.size()) / rate : 0; }
    /// @return the largest absolute value
    float Peak() const;
    /// @return the part from the first to the last sample that is louder than @p level
    Sound Loud(float level) const;
    /// @return how often a second the sign changes from minus to plus
    double Frequency() const;
};

/// Reads the left channel of a WAV file with 16-bit samples.
Sound ReadWav(const std::string& path);

} // namespace kqtest
