#include "Peak.h"

#include <algorithm>

namespace kq::compare {

Peak FindPeak(const std::vector<double>& scores, std::size_t slope) {
    const auto highest = std::max_element(scores.begin(), scores.end());
    if (highest == scores.end() || *highest <= 0) {
        return {};
    }
    Peak peak;
    peak.index = static_cast<std::size_t>(highest - scores.begin());
    peak.score = *highest;
    double next = 0;
    for (std::size_t i = 0; i < scores.size(); ++i) {
        const std::size_t apart = i > peak.index ? i - peak.index : peak.index - i;
        next = apart > slope ? std::max(next, scores[i]) : next;
    }
    peak.prominence = 1 - next / peak.score;
    return peak;
}

} // namespace kq::compare
