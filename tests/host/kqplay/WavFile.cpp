#include "WavFile.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <fstream>
#include <iterator>

namespace kqtest {
namespace {

template <class T>
T At(const std::string& bytes, std::size_t offset) {
    T value = {};
    if (offset + sizeof value <= bytes.size())
        std::memcpy(&value, bytes.data() + offset, sizeof value);
    return value;
}

} // namespace

float Sound::Peak() const {
    float peak = 0;
    for (float sample : samples)
        peak = std::max(peak, std::fabs(sample));
    return peak;
}

Sound Sound::Loud(float level) const {
    const auto loud = [level](float sample) { return std::fabs(sample) > level; };
    const auto first = std::find_if(samples.begin(), samples.end(), loud);
    const auto last = std::find_if(samples.rbegin(), samples.rend(), loud).base();
    Sound part;
    part.rate = rate;
    if (first < last)
        part.samples.assign(first, last);
    return part;
}

double Sound::Frequency() const {
    int crossings = 0;
    for (std::size_t i = 1; i < samples.size(); ++i)
        crossings += samples[i - 1] < 0 && samples[i] >= 0 ? 1 : 0;
    return crossings / Seconds();
}

Sound ReadWav(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    const std::string bytes(std::istreambuf_iterator<char>(file), {});
    Sound sound;
    int channels = 0;
    EXPECT_EQ(bytes.substr(0, 4), "RIFF");
    for (std::size_t at = 12; at + 8 <= bytes.size();) {
        const std::string name = bytes.substr(at, 4);
        const auto size = At<std::uint32_t>(bytes, at + 4);
        if (name == "fmt ") {
            channels = At<std::uint16_t>(bytes, at + 10);
            sound.rate = At<std::int32_t>(bytes, at + 12);
            EXPECT_EQ(At<std::uint16_t>(bytes, at + 22), 16);
        }
        if (name == "data" && channels > 0) {
            const std::size_t step = sizeof(std::int16_t) * static_cast<std::size_t>(channels);
            for (std::size_t i = 0; i + step <= size; i += step)
                sound.samples.push_back(At<std::int16_t>(bytes, at + 8 + i) / 32768.0f);
        }
        at += 8 + size + size % 2;
    }
    return sound;
}

} // namespace kqtest
