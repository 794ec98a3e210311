#include "PictureStore.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <utility>

namespace kq::streams {
namespace {

/// A place that has not changed for so long stands still.
constexpr auto stillFor = std::chrono::milliseconds(100);
/// When everything is made there, the thread looks again after so long unless it is told.
constexpr auto restFor = std::chrono::milliseconds(1000);
/// A move back that is no longer than this is a step, and more are likely to follow.
constexpr Ticks stepBack = 3 * TicksPerSecond / 10;
/// A part begins at least so long before its end.
constexpr Ticks leastPart = TicksPerSecond / 2;
/// Steps back over so much may be followed by some forward.
constexpr Ticks turningBack = 9 * TicksPerSecond / 4;
/// Up to so far into a file that was just opened, decoding on from its start is shorter than a seek.
constexpr Ticks nearStart = TicksPerSecond / 2;
/// So many pictures are kept whatever their size, and a part has half as many.
constexpr std::size_t fewest = 8;
/// So many pictures beyond the place are kept while it goes backwards.
constexpr int keptBeyond = 8;

/// Percentages of the bound.
struct Shares {
    int behind; ///< for what lies behind the place
    int least;  ///< a part that is made is as large at least
    int most;   ///< and at most
};

std::size_t PartOfBound(std::size_t bound, int percent) {
    return bound / 100 * static_cast<std::size_t>(percent);
}

} // namespace

PictureStore::PictureStore(std::unique_ptr<VideoSource> ahead, Opener openBehind, std::size_t bytes)
    : m_ahead(std::move(ahead)), m_openBehind(std::move(openBehind)), m_bound(bytes),
      m_behindFailed(!m_openBehind) {
    const std::size_t way = PartOfBound(m_bound, 70);
    m_ahead->KeepLongWays(way, [this, way](Ticks time) {
        const std::lock_guard guard(m_lock);
        MovePlace(time);
        Evict(m_bound - way);
    });
    if (m_openBehind) {
        m_thread = std::thread([this] { MakeBehind(); });
    }
}

PictureStore::~PictureStore() {
    Cancel();
    if (m_thread.joinable()) {
        m_thread.join();
    }
}

FramePtr PictureStore::At(Ticks time) {
    time = std::max<Ticks>(time, 0);
    {
        Lock lock(m_lock);
        if (FramePtr stored = Stored(time)) {
            return stored;
        }
        if (FramePtr made = WaitForPart(lock, time)) {
            return made;
        }
        DropPart(); // the reader's way counts more
    }
    return MoveTo(time, true);
}

FramePtr PictureStore::KeyAt(Ticks time) {
    return MoveTo(std::max<Ticks>(time, 0), false);
}

FramePtr PictureStore::After(const FramePtr& picture) {
    {
        const std::lock_guard guard(m_lock);
        const auto entry = Find(picture->time);
        if (entry != m_pictures.end() && entry->second.linked) {
            return std::next(entry)->second.picture;
        }
        if (m_cancelled || (entry != m_pictures.end() && entry->second.last)) {
            return nullptr;
        }
    }
    FramePtr next = NextOf(*picture);
    const std::lock_guard guard(m_lock);
    if (next) {
        Append(picture, next);
        Evict(m_bound);
        return next;
    }
    const auto entry = Find(picture->time);
    if (entry != m_pictures.end() && !m_expectsSeek && !m_ahead->Cancelled()) {
        entry->second.last = true;
    }
    return nullptr;
}

FramePtr PictureStore::Before(const FramePtr& picture) {
    Lock lock(m_lock);
    if (Find(picture->time) == m_pictures.end()) {
        Insert(picture);
    }
    if (!WaitForBefore(lock, picture)) {
        return nullptr;
    }
    const auto entry = Find(picture->time);
    return entry->second.first ? nullptr : std::prev(entry)->second.picture;
}

/// Moves the decoder that goes ahead. @return the picture there
FramePtr PictureStore::MoveTo(Ticks time, bool exact) {
    if (!m_started && (time <= nearStart || !m_ahead->Seekable())) {
        FramePtr first = First();
        if (!first || time <= first->time + Tolerance()) {
            return first;
        }
    }
    m_started = true;
    m_aheadAt.reset();
    m_ahead->KeepWays(GoesBack());
    Landing landing = SeekAhead(time, exact);
    if (!landing.moved || !landing.frame) {
        return nullptr;
    }
    m_aheadAt = landing.frame->time;
    Keep(landing, time);
    if (time > landing.frame->time + 2 * m_ahead->Step()) {
        After(landing.frame); // it may be the last
    }
    return std::move(landing.frame);
}

/// Seeks while the thread begins nothing that nobody waits for.
Landing PictureStore::SeekAhead(Ticks time, bool exact) {
    {
        const std::lock_guard guard(m_lock);
        m_isSeeking = true;
    }
    Landing landing = m_ahead->Seek(time, exact);
    const std::lock_guard guard(m_lock);
    m_isSeeking = false;
    m_moved = Clock::now();
    return landing;
}

bool PictureStore::GoesBack() const {
    const std::lock_guard guard(m_lock);
    return m_direction == Direction::Backwards;
}

/// @return the file's first picture, from a decoder that has just been opened
FramePtr PictureStore::First() {
    m_started = true;
    FramePtr first = m_ahead->Next();
    if (first) {
        m_aheadAt = first->time;
        Keep({true, first}, first->time - 1);
    }
    return first;
}

/// Keeps what a seek led to.
/// @param time where it was to lead
void PictureStore::Keep(const Landing& landing, Ticks time) {
    const std::lock_guard guard(m_lock);
    MovePlace(std::max<Ticks>(time, 0));
    FramePtr before;
    for (const FramePtr& passed : landing.before) {
        Append(before, passed);
        before = passed;
    }
    Append(before, landing.frame);
    if (landing.frame->time > time + Tolerance() || time < 0) {
        Find(landing.frame->time)->second.first = true;
    }
    Evict(m_bound);
}

/// Decodes the picture after one, from where the decoder stands, or after a seek. @return null at the end
FramePtr PictureStore::NextOf(const Frame& picture) {
    if (m_aheadAt != picture.time) {
        const Landing landing = SeekBack(picture.time);
        m_started = true;
        m_aheadAt.reset();
        if (!landing.moved || !landing.frame) {
            return nullptr;
        }
        if (landing.frame->time > picture.time + Tolerance()) {
            m_aheadAt = landing.frame->time;
            return landing.frame;
        }
    }
    for (;;) {
        FramePtr next = m_ahead->Next();
        m_aheadAt.reset();
        if (!next || next->time > picture.time) {
            if (next) {
                m_aheadAt = next->time;
            }
            return next;
        }
    }
}

/// Moves the decoder to a picture that is kept, to go on from there.
Landing PictureStore::SeekBack(Ticks time) {
    {
        const std::lock_guard guard(m_lock);
        if (m_expectsSeek) {
            return {};
        }
        m_goesOn = true;
    }
    Landing landing = SeekAhead(time, true);
    const std::lock_guard guard(m_lock);
    m_goesOn = false;
    return m_expectsSeek ? Landing{} : landing;
}

void PictureStore::ExpectSeek(bool on) {
    const std::lock_guard guard(m_lock);
    m_expectsSeek = on && m_ahead->Seekable();
    if (m_goesOn || !on) {
        m_ahead->Interrupt(m_expectsSeek);
    }
}

bool PictureStore::ExpectsSeek() const {
    const std::lock_guard guard(m_lock);
    return m_expectsSeek;
}

/// @return the entry of the picture that begins at a time, within the file's rounding
PictureStore::Pictures::iterator PictureStore::Find(Ticks time) {
    const auto entry = m_pictures.lower_bound(time);
    if (entry != m_pictures.end() && entry->first == time) {
        return entry;
    }
    if (entry != m_pictures.end() && entry->first <= time + Tolerance()) {
        return entry;
    }
    if (entry != m_pictures.begin() && std::prev(entry)->first >= time - Tolerance()) {
        return std::prev(entry);
    }
    return m_pictures.end();
}

/// @return the last entry at or before a time
PictureStore::Pictures::iterator PictureStore::OnShow(Ticks time) {
    const auto entry = m_pictures.upper_bound(time + Tolerance());
    return entry == m_pictures.begin() ? m_pictures.end() : std::prev(entry);
}

/// @return the picture on show at a time, null when that is not known without decoding
FramePtr PictureStore::Stored(Ticks time) {
    const auto entry = OnShow(time);
    if (entry == m_pictures.end()) {
        const bool hasFirst = !m_pictures.empty() && m_pictures.begin()->second.first;
        return hasFirst ? m_pictures.begin()->second.picture : nullptr;
    }
    const auto& [begin, found] = *entry;
    const bool isKnown = found.linked || found.last || begin >= time - Tolerance();
    return isKnown ? found.picture : nullptr;
}

PictureStore::Pictures::iterator PictureStore::Insert(const FramePtr& picture) {
    const auto [entry, isNew] = m_pictures.try_emplace(picture->time, Entry{picture});
    if (isNew) {
        m_bytes += picture->bytes;
        if (entry != m_pictures.begin()) {
            std::prev(entry)->second.linked = false;
        }
    }
    return entry;
}

/// Keeps a picture.
/// @param before the one right before it, null for unknown
void PictureStore::Append(const FramePtr& before, const FramePtr& picture) {
    const auto prior = before ? Find(before->time) : m_pictures.end();
    auto entry = Find(picture->time);
    if (entry == m_pictures.end() || entry == prior) {
        entry = Insert(picture);
    }
    if (prior != m_pictures.end()) {
        Link(prior, entry);
    }
}

/// Where two ways of decoding disagree about what lies between two pictures, the later one counts.
void PictureStore::Link(Pictures::iterator before, Pictures::iterator after) {
    while (std::next(before) != after) {
        Erase(std::next(before));
    }
    before->second.linked = true;
}

void PictureStore::Erase(Pictures::iterator entry) {
    if (entry != m_pictures.begin()) {
        std::prev(entry)->second.linked = false;
    }
    m_bytes -= entry->second.picture->bytes;
    m_pictures.erase(entry);
}

/// @param bound what may be left
void PictureStore::Evict(std::size_t bound) {
    while (m_bytes > bound && m_pictures.size() > fewest) {
        Erase(FrontIsFarther() ? m_pictures.begin() : std::prev(m_pictures.end()));
    }
}

/// @return true when the first entry is less likely to be wanted than the last one
bool PictureStore::FrontIsFarther() const {
    const Ticks place = m_wanted ? m_wanted->time : m_place;
    const Ticks front = m_pictures.begin()->first;
    const Ticks back = m_pictures.rbegin()->first;
    if (front >= place || back <= place) {
        return back <= place;
    }
    if (m_direction == Direction::Forward) {
        return place - front > 3 * (back - place); // three quarters are behind
    }
    if (m_direction == Direction::Stepping) {
        return 3 * (place - front) > 2 * (back - place); // three fifths are ahead
    }
    auto beyond = m_pictures.upper_bound(place);
    for (int n = 0; n < keptBeyond && beyond != m_pictures.end(); ++n) {
        ++beyond;
    }
    return beyond == m_pictures.end();
}

void PictureStore::Aim(Ticks time, bool forward) {
    const std::lock_guard guard(m_lock);
    const bool goesOn = m_aimed && forward && time > m_place;
    if (!forward) {
        m_direction = Direction::Backwards;
    } else if (goesOn) {
        m_direction = Direction::Forward;
    } else if (time < m_place) {
        Step(time);
    }
    m_aimed = true;
    MovePlace(time);
    if (m_part && !m_part->isWanted) {
        const bool serves = time >= m_part->end->time - m_part->most && time <= m_part->runEnd;
        if (goesOn || !serves) {
            DropPart();
        }
    }
    if (m_direction != Direction::Forward || m_isResting) {
        m_work.notify_one();
    }
}

/// Notes a move back. Whoever steps back for long is not likely to turn round; before that, what was stepped
/// over is kept.
void PictureStore::Step(Ticks time) {
    if (m_place - time > stepBack) {
        m_direction = Direction::Forward;
        return;
    }
    if (m_direction == Direction::Forward) {
        m_steppedFrom = m_place;
    }
    m_direction = m_steppedFrom - time > turningBack ? Direction::Backwards : Direction::Stepping;
}

bool PictureStore::IsStill() const {
    return Clock::now() - m_moved >= stillFor;
}

void PictureStore::MovePlace(Ticks time) {
    if (time != m_place) {
        m_place = time;
        m_moved = Clock::now();
        m_lowestEnd = std::numeric_limits<Ticks>::max();
    }
}

/// Lets the thread leave the part that it makes, unless the reader waits for it.
void PictureStore::DropPart() {
    if (m_part && !m_part->isWanted && m_behind) {
        m_part->isDropped = true;
        m_behind->Interrupt(true);
    }
}

/// @return true when what is before a picture is known
bool PictureStore::KnowsBefore(Ticks time) {
    const auto entry = Find(time);
    if (entry == m_pictures.end()) {
        return false;
    }
    return entry->second.first || (entry != m_pictures.begin() && std::prev(entry)->second.linked);
}

/// @return true when there is nothing to wait for
bool PictureStore::IsSettled(Ticks time) {
    return KnowsBefore(time) || m_cancelled || m_behindFailed || m_unreachable.count(time) != 0;
}

/// Waits until what is before a picture is known. @return false when it cannot be had
bool PictureStore::WaitForBefore(Lock& lock, const FramePtr& picture) {
    if (!IsSettled(picture->time)) {
        m_wanted = picture;
        if (m_part && m_part->end->time == picture->time && !m_part->isDropped) {
            m_part->isWanted = true;
        } else {
            DropPart();
        }
        m_work.notify_one();
        m_change.wait(lock, [&] { return IsSettled(picture->time); });
        m_wanted = nullptr;
    }
    return KnowsBefore(picture->time);
}

/// Waits for the thread where it makes the picture on show at a time, or can make it as soon as a seek.
/// @return the picture, null where it does not
FramePtr PictureStore::WaitForPart(Lock& lock, Ticks time) {
    const auto after = m_pictures.upper_bound(time + Tolerance());
    FramePtr end;
    if (m_part && time < m_part->end->time && time >= m_part->end->time - m_part->most) {
        end = m_part->end;
    } else if (after != m_pictures.end() && m_place > time && m_place - time <= stepBack) {
        end = after->second.picture;
    }
    if (!end || m_behindFailed || Find(end->time) == m_pictures.end() || !WaitForBefore(lock, end)) {
        return nullptr;
    }
    return Stored(time);
}

void PictureStore::MakeBehind() {
    Lock lock(m_lock);
    while (!m_cancelled && !m_behindFailed) {
        if (const std::optional<Part> part = NextPart()) {
            Make(*part, lock);
        } else {
            m_isResting = m_aimed && IsStill();
            m_work.wait_for(lock, m_isResting ? restFor : stillFor);
            m_isResting = false;
        }
    }
}

/// @return what is to be made now
std::optional<PictureStore::Part> PictureStore::NextPart() {
    const auto sharesOf = [](Direction direction) -> Shares {
        switch (direction) {
        case Direction::Backwards:
            return {95, 45, 45};
        case Direction::Stepping:
            return {38, 16, 38};
        default:
            return {75, 10, 75};
        }
    };
    if (m_wanted && !IsSettled(m_wanted->time)) {
        Part part = PartBefore(m_wanted, PartOfBound(m_bound, 45));
        part.isWanted = true;
        return part;
    }
    if (!m_aimed || m_isSeeking || (m_direction == Direction::Forward && !IsStill())) {
        return std::nullopt;
    }
    auto entry = OnShow(m_place);
    if (entry == m_pictures.end() || !Stored(m_place)) {
        return std::nullopt;
    }
    std::size_t bytes = 0;
    while (entry != m_pictures.begin() && std::prev(entry)->second.linked) {
        --entry;
        bytes += entry->second.picture->bytes;
    }
    const FramePtr& begin = entry->second.picture;
    if (entry->second.first || m_unreachable.count(begin->time) != 0 || begin->time >= m_lowestEnd) {
        return std::nullopt;
    }
    const Shares shares = sharesOf(m_direction);
    const std::size_t behind = PartOfBound(m_bound, shares.behind);
    const std::size_t room = behind - std::min(behind, bytes);
    if (room < begin->bytes || room < PartOfBound(m_bound, shares.least)) {
        return std::nullopt;
    }
    m_lowestEnd = begin->time;
    return PartBefore(begin, std::min(room, PartOfBound(m_bound, shares.most)));
}

PictureStore::Part PictureStore::PartBefore(const FramePtr& end, std::size_t bytes) {
    const std::size_t pictures = std::max(bytes / std::max<std::size_t>(end->bytes, 1), fewest / 2);
    Part part;
    part.end = end;
    part.most = static_cast<Ticks>(pictures) * m_ahead->Step() + m_ahead->Step() / 2;
    part.least = std::min(leastPart, part.most);
    part.runEnd = end->time;
    for (auto entry = Find(end->time); entry != m_pictures.end() && entry->second.linked;) {
        part.runEnd = (++entry)->first;
    }
    return part;
}

void PictureStore::Make(const Part& part, Lock& lock) {
    if (!OpenBehind(lock)) {
        m_behindFailed = true;
        m_change.notify_all();
        return;
    }
    m_part = part;
    m_behind->Interrupt(false);
    FramePtr last;
    const auto take = [this, &last](FramePtr picture) {
        const std::lock_guard guard(m_lock);
        Append(last, picture);
        last = std::move(picture);
        Evict(m_bound);
    };
    const Ticks end = part.end->time;
    lock.unlock();
    auto approached = m_behind->Approach(end, part.least, part.most, take);
    if (approached == VideoSource::Approached::Picture && !last) {
        approached = m_behind->Approach(end, part.most, end, take); // one that is on show for long
    }
    lock.lock();
    Conclude(approached, last);
    m_part.reset();
    m_change.notify_all();
    if (m_unreachable.count(end) != 0) {
        lock.unlock(); // the host's log may ask the store
        char text[96];
        std::snprintf(text, sizeof text, "video: what comes right before %.3f s cannot be decoded",
                      ToSeconds(end));
        Notice(text);
        lock.lock();
    }
}

/// Ties a part that was made to what follows it.
void PictureStore::Conclude(VideoSource::Approached approached, const FramePtr& last) {
    const FramePtr& end = m_part->end;
    const auto entry = Find(end->time);
    if (entry == m_pictures.end() || m_cancelled) {
        return;
    }
    if (approached == VideoSource::Approached::Start) {
        entry->second.first = true;
    } else if (approached == VideoSource::Approached::Picture && last) {
        Append(last, end);
    } else if (!m_part->isDropped) {
        m_unreachable.insert(end->time);
    }
}

/// Opens the second decoder, the first time. @return false without one
bool PictureStore::OpenBehind(Lock& lock) {
    if (m_behind) {
        return true;
    }
    lock.unlock();
    std::unique_ptr<VideoSource> opened = m_openBehind();
    lock.lock();
    m_behind = std::move(opened);
    if (m_behind && m_cancelled) {
        m_behind->Cancel();
    }
    return m_behind != nullptr;
}

std::vector<TimeSpan> PictureStore::Kept() const {
    const std::lock_guard guard(m_lock);
    std::vector<TimeSpan> spans;
    bool goesOn = false;
    for (const auto& [time, entry] : m_pictures) {
        if (!goesOn) {
            spans.push_back({time, time});
        }
        const double steps = entry.picture->endPosition - entry.picture->position;
        spans.back().end = time + std::llround(steps * static_cast<double>(m_ahead->Step()));
        goesOn = entry.linked;
    }
    return spans;
}

std::size_t PictureStore::Bytes() const {
    const std::lock_guard guard(m_lock);
    return m_bytes;
}

Ticks PictureStore::Tolerance() const {
    return m_ahead->Tolerance();
}

void PictureStore::Notice(const std::string& text) const {
    m_ahead->Notice(text);
}

void PictureStore::Cancel() {
    const std::lock_guard guard(m_lock);
    m_cancelled = true;
    m_ahead->Cancel();
    if (m_behind) {
        m_behind->Cancel();
    }
    m_work.notify_all();
    m_change.notify_all();
}

} // namespace kq::streams
