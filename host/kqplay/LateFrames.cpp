#include "LateFrames.h"

#include <algorithm>

namespace kqplay {

std::vector<double> DelaysAfterMostPunctual(const std::vector<double>& came, double interval) {
    std::vector<double> delays;
    for (double time : came) {
        delays.push_back(DelayOf(time, static_cast<double>(delays.size()) * interval));
    }
    if (delays.empty()) {
        return delays;
    }
    const double base = *std::min_element(delays.begin(), delays.end());
    for (double& delay : delays) {
        delay -= base;
    }
    return delays;
}

void LateFrames::Frame(double now, double position) {
    constexpr double blockLength = 2.0;
    const double delay = DelayOf(now, position);
    const bool restart = m_restart.exchange(false);
    if (restart || now - m_blockStart > blockLength) {
        m_previousDelay = restart ? never : m_blockDelay;
        m_blockDelay = never;
        m_blockStart = now;
    }
    m_blockDelay = std::min(m_blockDelay, delay);
    if (delay - std::min(m_blockDelay, m_previousDelay) > m_tolerance) {
        ++m_count;
    }
}

} // namespace kqplay
