#include "TimelineVideo.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace kq::streams {
namespace {

/// No display needs more pictures than this, and no file's own rate is cut.
constexpr double mostPictures = 60;

Ticks EndOf(const Frame& picture, double rate) {
    const double seconds = (picture.endPosition - picture.position) / rate;
    return picture.time + std::llround(std::max(seconds, 0.0) * static_cast<double>(TicksPerSecond));
}

} // namespace

FramePtr Shown(const FramePtr& picture, Ticks stamp, double rate) {
    auto frame = std::make_shared<Frame>();
    frame->record = picture->record;
    frame->record.llTime = stamp;
    frame->record.llPTS = stamp;
    frame->time = stamp;
    frame->firm = stamp;
    frame->position = picture->position + ToSeconds(stamp - picture->time) * rate;
    frame->endPosition = frame->position + picture->endPosition - picture->position;
    frame->bytes = picture->bytes;
    frame->original = picture;
    return frame;
}

TimelineVideo::TimelineVideo(std::shared_ptr<SharedSchedule> schedule, std::shared_ptr<PictureStore> store,
                             VideoFacts facts)
    : m_schedule(std::move(schedule)), m_store(std::move(store)), m_facts(std::move(facts)),
      m_tells(m_facts.numbers->IsTold()) {}

FramePtr TimelineVideo::Next() {
    while (true) {
        const auto part = m_place ? m_schedule->PartAt(m_place->stamp) : m_schedule->FirstPart();
        std::optional<Place> next;
        std::optional<Stretch> entered;
        if (!m_place || !(m_place->stretch == part.stretch)) {
            entered = part.stretch;
        } else {
            next = After(*m_place);
            if (part.until != PlayRange::open && (!next || next->stamp >= part.until)) {
                entered = m_schedule->PartAt(part.until).stretch;
            }
        }
        if (entered) {
            switch (Enter(*entered)) {
            case Entered::Gives:
                return Give();
            case Entered::Stays:
                continue;
            case Entered::Nothing:
                return nullptr;
            }
        }
        if (!next) {
            // What was left out for speed is not left out where it is the last one.
            return m_shown->time != m_place->picture->time ? Give() : nullptr;
        }
        m_place = std::move(next);
        if (!IsTooEarly()) {
            return Give();
        }
    }
}

/// @return the next picture of the same stretch, nothing at its end
std::optional<TimelineVideo::Place> TimelineVideo::After(const Place& place) {
    const Stretch& stretch = place.stretch;
    const PlayRange& range = stretch.range;
    Place next = place;
    if (stretch.IsForward()) {
        next.picture = Follow(place.picture);
        if (next.picture && (range.end == PlayRange::open || next.picture->time <= LastBefore(range.end))) {
            next.stamp = stretch.PlayAt(next.picture->time, place.round);
            return next;
        }
        if (!next.picture && m_store->ExpectsSeek()) {
            return std::nullopt;
        }
    } else if (place.picture->time > range.begin + Tolerance()) {
        next.picture = m_store->Before(place.picture);
        if (next.picture) {
            next.stamp = stretch.PlayAt(place.picture->time, place.round);
            return next;
        }
    }
    ++next.round;
    if (next.round >= stretch.Rounds()) {
        return std::nullopt;
    }
    const Ticks joint = stretch.IsForward() ? range.begin : range.end;
    next.picture = stretch.IsForward() ? m_store->At(range.begin) : Before(range);
    if (!next.picture) {
        return std::nullopt;
    }
    next.stamp =
        stretch.PlayAt(stretch.IsForward() ? std::max(joint, next.picture->time) : joint, next.round);
    return next;
}

/// @return the picture after one
FramePtr TimelineVideo::Follow(const FramePtr& picture) {
    FramePtr next = m_store->After(picture);
    if (next) {
        Tell(next);
    } else if (m_tells) {
        m_facts.numbers->TellEnd();
    }
    return next;
}

/// Tells the numbers of an input that can be read only once its next picture.
void TimelineVideo::Tell(const FramePtr& picture) {
    if (m_tells && picture->time > m_toldUntil) {
        m_facts.numbers->Tell(picture->time, EndOf(*picture, m_facts.rate));
        m_toldUntil = picture->time;
    }
}

/// @return the last picture of a range
FramePtr TimelineVideo::Before(const PlayRange& range) {
    return m_store->At(std::max(range.begin, LastBefore(range.end) - Tolerance()));
}

/// @return the latest time at which a picture may begin that counts as before a time
Ticks TimelineVideo::LastBefore(Ticks end) const {
    return end - Tolerance() - 1; // At() takes the picture that begins so little earlier as there at the end
}

/// Begins a stretch with the picture on show there, unless that one is on show already.
TimelineVideo::Entered TimelineVideo::Enter(const Stretch& stretch) {
    FramePtr picture = OnShow(stretch);
    if (!picture) {
        return Entered::Nothing;
    }
    Tell(picture);
    const bool stays = m_shown && m_shown->time == picture->time;
    Ticks stamp = stretch.play;
    if (!stays && stretch.IsForward() && picture->time > stretch.media) {
        stamp = stretch.PlayAt(picture->time, 0);
    }
    m_place = Place{stretch, 0, std::move(picture), stamp};
    Pace(stretch.rate);
    return stays ? Entered::Stays : Entered::Gives;
}

/// @return the picture on show at the begin of a stretch
FramePtr TimelineVideo::OnShow(const Stretch& stretch) {
    const PlayRange& range = stretch.range;
    if (stretch.IsForward()) {
        const bool isAtEnd =
            range.end != PlayRange::open && stretch.media > LastBefore(range.end) - Tolerance();
        return isAtEnd ? Before(range) : m_store->At(stretch.media);
    }
    FramePtr picture = m_store->At(stretch.media);
    if (picture && picture->time > range.begin + Tolerance() &&
        picture->time >= stretch.media - Tolerance()) {
        if (FramePtr before = m_store->Before(picture)) {
            return before;
        }
    }
    return picture;
}

/// @return true for a picture that is left out, because too many would come at this rate
bool TimelineVideo::IsTooEarly() const {
    return std::abs(m_place->stretch.rate) > 1 && m_place->stamp < m_due - m_slack;
}

/// Finds out how many pictures are left out at a rate: evenly, unless that would be far too many.
void TimelineVideo::Pace(double rate) {
    const double step = static_cast<double>(TicksPerSecond) / (m_facts.rate * std::abs(rate));
    const double least = static_cast<double>(TicksPerSecond) / std::max(m_facts.rate, mostPictures);
    const double steps = std::ceil(least / step - 0.05);
    m_period = static_cast<Ticks>(step > 0.75 * least ? least : steps * step);
    m_slack = static_cast<Ticks>(std::min(step, least) / 2);
    m_due = 0;
}

FramePtr TimelineVideo::Give() {
    m_lastStamp = std::max(m_place->stamp, m_lastStamp + 1);
    m_place->stamp = m_lastStamp;
    m_due = std::max(m_due, m_lastStamp - (m_due > 0 ? m_slack : 0)) + m_period;
    m_shown = m_place->picture;
    while (!m_given.empty() && m_given.front().stamp < m_looked) {
        m_given.pop_front();
    }
    m_given.push_back(*m_place);
    return Shown(m_shown, m_lastStamp, m_facts.rate);
}

Landing TimelineVideo::Seek(Ticks time, bool exact) {
    const PlayRange range = m_schedule->Range();
    const bool forward = m_schedule->Last().IsForward();
    const Ticks last = range.end == PlayRange::open ? PlayRange::open : LastBefore(range.end) - Tolerance();
    const Ticks place = std::clamp(time, range.begin, std::max(range.begin, last));
    FramePtr picture = exact ? nullptr : m_store->KeyAt(place);
    exact = exact || !picture || picture->time < range.begin;
    if (exact) {
        picture = m_store->At(place);
    }
    if (!picture) {
        return {m_facts.seekable, nullptr};
    }
    // What a jump passes over has numbers that nobody knows.
    m_tells = m_tells && picture->time <= std::max<Ticks>(m_toldUntil, 0);
    Tell(picture);
    Ticks anchor = picture->time;
    if (exact && !forward) {
        const Ticks end = range.end == PlayRange::open ? EndOf(*picture, m_facts.rate) : range.end;
        anchor = std::clamp(time, picture->time, std::max(picture->time, end));
    }
    const Stretch stretch = m_schedule->Restart(anchor, SharedSchedule::Kind::Video);
    m_given.clear();
    m_lastStamp = -1;
    m_looked = -1;
    Pace(stretch.rate);
    m_place = Place{stretch, 0, std::move(picture), stretch.play};
    return {true, Give()};
}

void TimelineVideo::GoOn(std::optional<Ticks> given) {
    const auto found = std::find_if(m_given.begin(), m_given.end(),
                                    [given](const Place& place) { return place.stamp == given; });
    if (found == m_given.end()) {
        m_place.reset();
        m_shown = nullptr;
        m_lastStamp = given.value_or(-1);
        m_given.clear();
        return;
    }
    m_place = *found;
    m_shown = m_place->picture;
    m_lastStamp = m_place->stamp;
    Pace(m_place->stretch.rate);
    m_given.erase(found + 1, m_given.end());
}

void TimelineVideo::Look(const Frame& frame) {
    if (m_looked.exchange(frame.time) == frame.time) {
        return;
    }
    m_store->Aim(frame.original->time, m_schedule->PartAt(frame.time).stretch.IsForward());
}

std::int64_t TimelineVideo::NumberOf(const Frame& picture) const {
    return m_facts.numbers->NumberAt(picture.time).value_or(-1);
}

void TimelineVideo::Cancel() {
    m_schedule->Leave(SharedSchedule::Kind::Video);
    m_store->Cancel();
}

StoredVideo::StoredVideo(std::shared_ptr<PictureStore> store, VideoFacts facts)
    : m_store(std::move(store)), m_facts(std::move(facts)) {}

FramePtr StoredVideo::Next() {
    FramePtr next = m_last ? m_store->After(m_last) : m_store->At(0);
    if (!next) {
        return nullptr;
    }
    m_last = std::move(next);
    return Shown(m_last, m_last->time, m_facts.rate);
}

Landing StoredVideo::Seek(Ticks time, bool exact) {
    FramePtr picture = exact ? m_store->At(time) : m_store->KeyAt(time);
    if (!picture) {
        return {m_facts.seekable, nullptr};
    }
    Aim(picture->time);
    m_last = std::move(picture);
    return {true, Shown(m_last, m_last->time, m_facts.rate)};
}

/// Tells the store where somebody looks. A single move back may be a shift against the file that is followed,
/// which goes on: only from the second in a row on it is the way back.
void StoredVideo::Aim(Ticks time) {
    const Ticks before = m_looked.exchange(time);
    if (before == time) {
        return;
    }
    const bool goesBack = time < before;
    const bool wentBack = m_wentBack.exchange(goesBack);
    m_store->Aim(time, !(goesBack && wentBack));
}

/// Files of a steady rate leave out a picture that is the same as the one before.
Ticks StoredVideo::LongestGap() const {
    constexpr double periods = 1.5;
    return m_facts.isSteady ? ToTicks(periods / m_facts.rate) : FrameSource::LongestGap();
}

std::int64_t StoredVideo::NumberOf(const Frame& picture) const {
    return m_facts.numbers->NumberAt(picture.time).value_or(-1);
}

} // namespace kq::streams
