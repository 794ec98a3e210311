#include "Schedule.h"

#include <algorithm>
#include <cmath>

namespace kq::streams {
namespace {

/// Changes that nobody sees or hears any more are forgotten.
constexpr std::size_t mostStretches = 256;

/// @return the place in a range at which play goes on
Ticks Into(const PlayRange& range, Ticks time, bool forward) {
    const bool isWithin = time >= range.begin && (forward ? time < range.end : time <= range.end);
    if (isWithin || range.end == PlayRange::open) {
        return std::max(time, range.begin);
    }
    return forward ? range.begin : range.end;
}

} // namespace

Ticks Stretch::MediaAt(Ticks playTime, std::int64_t* round) const {
    const Ticks passed =
        std::llround(static_cast<double>(std::max<Ticks>(playTime - play, 0)) * std::abs(rate));
    const bool isOpen = range.end == PlayRange::open;
    const Ticks first = IsForward() ? (isOpen ? PlayRange::open : range.end - media) : media - range.begin;
    std::int64_t number = 0;
    Ticks into = passed;
    if (passed >= first) {
        const Ticks length = isOpen ? 0 : range.Length();
        if (Rounds() <= 1 || length <= 0) {
            into = first;
        } else {
            number = 1 + (passed - first) / length;
            into = (passed - first) % length;
            if (number >= Rounds()) {
                number = Rounds() - 1;
                into = length;
            }
        }
    }
    if (round != nullptr) {
        *round = number;
    }
    const Ticks from = number == 0 ? media : IsForward() ? range.begin : range.end;
    return IsForward() ? from + into : from - into;
}

Ticks Stretch::PlayAt(Ticks mediaTime, std::int64_t round) const {
    const Ticks direction = IsForward() ? 1 : -1;
    Ticks way = direction * (mediaTime - media);
    if (round > 0) {
        const Ticks first = IsForward() ? range.end - media : media - range.begin;
        const Ticks begin = IsForward() ? range.begin : range.end;
        way = first + (round - 1) * range.Length() + direction * (mediaTime - begin);
    }
    return play + std::llround(static_cast<double>(way) / std::abs(rate));
}

std::int64_t Stretch::Rounds() const {
    return range.rounds == 0 ? PlayRange::open : range.rounds;
}

Ticks Stretch::End() const {
    if (range.rounds == 0 || (IsForward() && range.end == PlayRange::open)) {
        return PlayRange::open;
    }
    return PlayAt(IsForward() ? range.end : range.begin, range.rounds - 1);
}

Ticks Schedule::Restart(Ticks time) {
    time = std::clamp(time, m_range.begin, m_range.end);
    m_stretches.assign(1, Stretch{time, time, Last().rate, m_range});
    return time;
}

void Schedule::Change(Ticks playTime, double rate, const PlayRange& range) {
    playTime = std::max(playTime, Last().play);
    Stretch next{playTime, 0, rate, range};
    std::int64_t round = 0;
    next.media = Last().MediaAt(playTime, &round);
    if (!(range == m_range)) {
        m_range = range;
        next.media = Into(range, next.media, rate > 0);
    } else if (range.rounds != 0) {
        next.range.rounds = Last().range.rounds - static_cast<int>(round);
    }
    if (Last().play == playTime) {
        m_stretches.pop_back();
    }
    m_stretches.push_back(next);
    if (m_stretches.size() > mostStretches) {
        m_stretches.pop_front();
    }
}

std::size_t Schedule::IndexAt(Ticks playTime) const {
    const auto after = std::find_if(m_stretches.begin() + 1, m_stretches.end(),
                                    [playTime](const Stretch& stretch) { return stretch.play > playTime; });
    return static_cast<std::size_t>(after - m_stretches.begin()) - 1;
}

const Stretch& Schedule::StretchAt(Ticks playTime) const {
    return m_stretches[IndexAt(playTime)];
}

Ticks Schedule::NextChange(Ticks playTime) const {
    const std::size_t next = IndexAt(playTime) + 1;
    return next < m_stretches.size() ? m_stretches[next].play : PlayRange::open;
}

} // namespace kq::streams
