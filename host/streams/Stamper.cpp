#include "Stamper.h"

#include <algorithm>
#include <utility>

namespace kq::streams {

Stamper::Result Stamper::Stamp(std::optional<Ticks> read, Ticks duration, bool isVideo, bool isNext) {
    const Result result = Next(read, isVideo);
    // What files say of a picture's duration may be less than what their pictures last.
    if (isVideo && isNext && result.kind == StampKind::Read && m_lastTime != noTime) {
        const Ticks step = result.time - m_lastTime;
        const Ticks before = std::exchange(m_lastStep, step);
        m_step = before > 0 ? std::min(step, before) : m_step;
    }
    m_lastTime = result.time;
    m_lastEnd = result.time + std::max(duration, m_step);
    return result;
}

Stamper::Result Stamper::Next(std::optional<Ticks> read, bool isVideo) const {
    const bool isFirst = m_lastTime == noTime;
    const Ticks end = isFirst ? 0 : std::max(m_lastEnd, m_lastTime + 1);
    if (!read) {
        return {end, StampKind::Missing};
    }
    const Ticks time = isFirst && isVideo ? std::max<Ticks>(*read, 0) : *read;
    if (isFirst || time > m_lastTime) {
        return {time, StampKind::Read};
    }
    // A picture that slipped is put half-way, since the next stamp will be right again. Sound follows on, and
    // so does everything after the file's clock was set back.
    const bool slipped = isVideo && time > m_lastTime - TicksPerSecond;
    return {slipped ? m_lastTime + std::max<Ticks>((end - m_lastTime) / 2, 1) : end, StampKind::Repaired};
}

} // namespace kq::streams
