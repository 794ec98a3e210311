/// @file
/// The one place where two signals agree.
#pragma once

#include <cstddef>
#include <vector>

namespace kq::compare {

/// The highest of a row of scores, and how it stands out.
struct Peak {
    std::size_t index = 0;
    double score = 0; ///< 1 for signals that agree
    /// 0 to 1: by how much it is higher than everything beside its own slopes, as a part of it.
    double prominence = 0;
};

/// @param scores by shift; of -1 to 1
/// @param slope  so far from the highest score others belong to the same peak
Peak FindPeak(const std::vector<double>& scores, std::size_t slope);

} // namespace kq::compare
