/// @file
/// A picture of the pairs that differ most.
#pragma once

#include "PlaybackParts.h"

#include <measure/Measurer.h>

#include <string>
#include <vector>

namespace kqplay {

/// Draws pairs, one a row, to the file that the options name: the file's picture, the one that it was
/// measured against, and their difference, eight times as strong, on black. Pictures are drawn as they are
/// shown, 8 bits and upright; the labels are times and the PSNR of luma.
/// @param pairs one or more, of the files that the options name
/// @param error receives one line that names the file and the reason
bool WriteWorstSheet(PlaybackParts& parts, const std::vector<kq::measure::MeasuredPair>& pairs,
                     std::string& error);

} // namespace kqplay
