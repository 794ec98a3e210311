/// @file
/// What the measurements of seeking share.
#pragma once

#include <string>
#include <vector>

namespace bench {

/// How a kind of movement went.
struct Row {
    std::string clip;
    std::string what;
    std::vector<double> milliseconds;
    int missed = 0; ///< pictures that did not come, or were others than those sought
};

/// Times each kind of movement on 1080p clips through the component, from the call to the picture in the
/// view. Where mpv is installed, it makes the same exact seeks, and steps back, afterwards.
/// @param count movements of each kind
std::vector<Row> MeasureLatency(int count);

/// After seeks while playing: by how much pictures come after the sound that belongs to them.
/// @param count seeks
Row MeasureSync(int count);

/// @return milliseconds that the position heard moves at a time in MeasureSync()
double SoundPeriod();

} // namespace bench
