/// @file
/// The wave of a film's sound.
#pragma once

#include <kqplayer/media_file.h>

#include <cstddef>
#include <functional>
#include <vector>

namespace kq::compare {

/// Sound of one channel at a rate that is high enough for speech and low enough to be compared quickly.
struct Wave {
    static constexpr int rate = 2000; ///< samples a second

    double begin = 0; ///< seconds in the file
    std::vector<float> samples;
};

/// Reads a part of a film's sound.
/// @param audio     a stream of OpenMediaFile()
/// @param from,to   seconds
/// @param isStopped asked with every chunk; may be empty
/// @return fewer samples where the film has no more
Wave ReadWave(IMediaStream& audio, double from, double to, const std::function<bool()>& isStopped);

/// Tells how alike two waves are, for every shift at which the reference lies within the other one.
/// @return by shift in samples: -1 to 1, 0 where one of the two is silent; empty when the other one is
/// shorter
std::vector<double> CompareWaves(const Wave& reference, const Wave& other);

} // namespace kq::compare
