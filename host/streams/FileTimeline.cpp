#include "FileTimeline.h"

#include <algorithm>
#include <cmath>

namespace kq::streams {
namespace {

constexpr double slowest = 0.1;
constexpr double fastest = 8;
constexpr double fastestBack = 4;

/// @return the nearest rate that can be played
double Playable(double rate) {
    if (std::isnan(rate) || rate == 0) {
        return 1;
    }
    return rate > 0 ? std::clamp(rate, slowest, fastest) : std::clamp(rate, -fastestBack, -slowest);
}

} // namespace

double FileTimeline::SetRate(double rate) {
    rate = Playable(rate);
    if (rate < 0 && !m_setup.seekable) {
        m_setup.log->Notice("this input cannot be played backwards");
        rate = 1;
    }
    m_setup.schedule->Change(rate, {});
    return rate;
}

double FileTimeline::Rate() const {
    return m_setup.schedule->Last().rate;
}

bool FileTimeline::SetRange(double begin, double end, int rounds) {
    const bool isSense = begin < end && std::isfinite(begin) && end > 0 && rounds >= 0;
    if (!isSense) {
        return false;
    }
    PlayRange range{ToTicks(begin), std::isfinite(end) ? ToTicks(end) : PlayRange::open, rounds};
    if (!m_setup.seekable && !(range == PlayRange{})) {
        m_setup.log->Notice("this input cannot be played in parts");
        return false;
    }
    const bool isBeyond = m_setup.fileEnd > 0 && range.end > m_setup.fileEnd;
    if (range.Repeats() ? isBeyond || range.end == PlayRange::open
                        : isBeyond && range.end != PlayRange::open) {
        range.end = FileEnd();
    }
    const Ticks fileEnd = m_setup.fileEnd > 0 ? m_setup.fileEnd : PlayRange::open;
    if (std::min(range.end, fileEnd) - range.begin < LeastLength()) {
        return false;
    }
    m_setup.schedule->Change({}, range);
    return true;
}

/// @return what may be waited for, null for what may never come
FrameIndex* FileTimeline::Index() const {
    return m_setup.numbers ? m_setup.numbers->Whole() : nullptr;
}

/// @return the end of the last picture; without pictures that of the sound, 0 when it is not known
Ticks FileTimeline::FileEnd() const {
    FrameIndex* const index = Index();
    const Ticks end = index != nullptr ? index->End() : 0;
    return end > 0 ? end : m_setup.fileEnd;
}

/// @return the length of the shortest range that is certain to hold a picture or a sample
Ticks FileTimeline::LeastLength() const {
    constexpr double rounding = 0.98; // of the file's clock
    const double perSecond = m_setup.frameRate > 0 ? m_setup.frameRate : m_setup.sampleRate;
    return std::max<Ticks>(std::llround(static_cast<double>(TicksPerSecond) / perSecond * rounding), 1);
}

double FileTimeline::MediaTime(double playTime) const {
    return ToSeconds(m_setup.schedule->MediaAt(ToTicks(playTime)));
}

std::int64_t FileTimeline::FrameNumber(double playTime) const {
    if (!m_setup.numbers) {
        return -1;
    }
    const Ticks play = ToTicks(playTime);
    const Stretch stretch = m_setup.schedule->PartAt(play).stretch;
    Ticks media = stretch.MediaAt(play);
    // Backwards a picture is on show down to its begin, where the one before it takes over.
    const auto store = m_setup.store.lock();
    const Ticks tolerance = store ? store->Tolerance() : 0;
    if (!stretch.IsForward() && play > stretch.play) {
        media = std::max(media - 2 * tolerance - 1, stretch.range.begin);
    }
    return m_setup.numbers->NumberAt(media).value_or(-1);
}

double FileTimeline::EndTime() const {
    const Ticks end = m_setup.schedule->Last().End();
    return end == PlayRange::open ? openEnd : ToSeconds(end);
}

std::int64_t FileTimeline::FrameCount() {
    FrameIndex* const index = Index();
    return index != nullptr ? index->Count() : 0;
}

PicturePlace FileTimeline::PlaceOfFrame(std::int64_t number) {
    PicturePlace place;
    FrameIndex* const index = Index();
    const auto begin = index != nullptr && number >= 0 ? index->TimeOf(number) : std::nullopt;
    if (!begin) {
        return place;
    }
    const auto next = index->TimeOf(number + 1);
    place.number = number;
    place.time = ToSeconds(*begin);
    place.duration = ToSeconds((next ? *next : index->End()) - *begin);
    return place;
}

std::vector<Timeline::Span> FileTimeline::KeptSpans() const {
    std::vector<Span> spans;
    if (const auto store = m_setup.store.lock()) {
        for (const TimeSpan& span : store->Kept()) {
            spans.push_back({ToSeconds(span.begin), ToSeconds(span.end)});
        }
    }
    return spans;
}

} // namespace kq::streams
