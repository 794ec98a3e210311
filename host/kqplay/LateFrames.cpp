#include "LateFrames.h"

#include <algorithm>

namespace kqplay {

void LateFrames::Frame(double now, double position) {
    constexpr double blockLength = 2.0;
    const double delay = now - position;
    const bool restart = m_restart.exchange(false);
    if (restart || now - m_blockStart > blockLength) {
        m_previousDelay = restart ? never : m_blockDelay;
        m_blockDelay = never;
        m_blockStart = now;
    }
    m_blockDelay = std::min(m_blockDelay, delay);
    if (delay - std::min(m_blockDelay, m_previousDelay) > m_tolerance)
        ++m_count;
}

} // namespace kqplay
