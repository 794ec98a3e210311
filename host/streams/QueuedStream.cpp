#include "QueuedStream.h"

#include "PictureConverter.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace kq::streams {
namespace {

constexpr std::size_t leastQueued = 3;
constexpr std::size_t mostQueued = 32;
/// After so many frames forward nobody is going back and forth any more.
constexpr int pastLasts = 50;

} // namespace

PicturePlace PlaceOf(const Frame& picture, double rate) {
    PicturePlace place;
    place.time = ToSeconds(picture.time);
    place.duration = rate > 0 ? (picture.endPosition - picture.position) / rate : 0;
    if (picture.picture && picture.picture->pict_type != AV_PICTURE_TYPE_NONE) {
        place.kind = av_get_picture_type_char(picture.picture->pict_type);
    }
    return place;
}

QueuedStream::QueuedStream(std::unique_ptr<FrameSource> source, const StreamFormat& format,
                           std::size_t queueBytes)
    : TimedStream(format), m_source(std::move(source)),
      m_hasPlaces(std::holds_alternative<VIDEO_STREAM_INFO>(format) && m_source->HasPlaces()),
      m_holdsLast(std::holds_alternative<VIDEO_STREAM_INFO>(format)), m_queueBytes(queueBytes),
      m_thread([this] { DecodeAhead(); }) {}

QueuedStream::~QueuedStream() {
    m_source->Cancel();
    {
        const std::lock_guard guard(m_lock);
        m_quit = true;
    }
    m_work.notify_one();
    m_thread.join();
}

MEDIA_FRAME* QueuedStream::GetCurrentFrame() {
    std::unique_lock guard(m_lock);
    WaitForFrame(guard);
    if (m_queue.empty()) {
        m_pins.Unpin();
        return nullptr;
    }
    m_pins.Pin(m_queue.front());
    m_given = m_queue.front()->firm;
    m_frontGiven = true;
    m_restart.reset();
    m_source->Look(*m_queue.front());
    return &m_queue.front()->record;
}

int QueuedStream::NextFrame() {
    std::unique_lock guard(m_lock);
    m_pins.Unpin();
    const std::size_t kept = m_holdsLast ? 1 : 0;
    WaitForFrame(guard, kept);
    if (m_queue.size() <= kept) {
        return 0;
    }
    Pop();
    m_work.notify_one();
    WaitForFrame(guard);
    return m_queue.empty() ? 0 : 1;
}

double QueuedStream::GetFramePosition() {
    std::unique_lock guard(m_lock);
    WaitForFrame(guard);
    return m_queue.empty() ? m_endPosition : m_queue.front()->position;
}

Ticks QueuedStream::TimeOnShow() {
    std::unique_lock guard(m_lock);
    WaitForFrame(guard);
    const bool shows = !m_queue.empty() && m_queue.front()->original;
    return (shows ? m_queue.front()->original->time : CurrentTime()) + m_source->Tolerance();
}

KeptPicture QueuedStream::Keep() {
    KeptPicture kept;
    if (!m_hasPlaces) {
        return kept;
    }
    std::unique_lock guard(m_lock);
    WaitForFrame(guard);
    if (m_queue.empty() || !m_queue.front()->original) {
        return kept;
    }
    const FramePtr shown = m_queue.front();
    guard.unlock();
    const Frame& picture = *shown->original;
    kept.frame = {shown, &shown->record};
    kept.place = PlaceOf(picture, std::get<VIDEO_STREAM_INFO>(Format()).dFrameRate);
    kept.place.number = m_source->NumberOf(picture);
    return kept;
}

std::string QueuedStream::Description() {
    std::unique_lock guard(m_lock);
    WaitForFrame(guard);
    if (m_queue.empty()) {
        return {};
    }
    const Frame& front = *m_queue.front();
    const Frame& frame = front.original ? *front.original : front;
    if (!frame.picture) {
        return {};
    }
    return "file: " + PictureConverter::SourceText(*frame.picture) + "; given as " + GivenText(frame.record);
}

double QueuedStream::Seek(double dSeconds, int nMode) {
    {
        const std::lock_guard guard(m_lock);
        m_pins.Unpin();
    }
    const std::lock_guard seekGuard(m_seekLock);
    std::unique_lock guard(m_lock);
    Move({ToTicks(dSeconds), nMode != 0}, guard);
    return ToSeconds(CurrentTime());
}

QueuedStream::Reached QueuedStream::GoTo(Ticks time) {
    const std::lock_guard seekGuard(m_seekLock);
    std::unique_lock guard(m_lock);
    Move({std::max<Ticks>(time, 0), true}, guard);
    if (m_queue.empty()) {
        return {0, 0, true, false};
    }
    m_source->Look(*m_queue.front()); // nobody need see it: it is to be there as soon as somebody does
    Reached reached{m_queue.front()->time, EndOf(*m_queue.front())};
    const Ticks limit = time + m_source->Tolerance();
    if (limit < reached.end) {
        return reached;
    }
    WaitForFrame(guard, 1);
    reached.isLast = m_queue.size() <= 1;
    const auto inFile = m_source->BeginInFile(time);
    const bool isAnother =
        inFile && *inFile > reached.begin + 2 * m_source->Tolerance() + 1 && *inFile <= limit;
    reached.isMissing = isAnother || limit - reached.end > m_source->LongestGap();
    return reached;
}

/// @return the time at which a picture is to end; one that does not say how long it lasts has one period
Ticks QueuedStream::EndOf(const Frame& frame) const {
    const auto* format = std::get_if<VIDEO_STREAM_INFO>(&Format());
    const double rate = format != nullptr ? format->dFrameRate : 0;
    const double periods = frame.endPosition > frame.position ? frame.endPosition - frame.position : 1;
    const double seconds = rate > 0 ? periods / rate : 0;
    return frame.time + std::llround(seconds * static_cast<double>(TicksPerSecond));
}

/// Moves, and waits for the frame there.
void QueuedStream::Move(const SeekRequest& request, std::unique_lock<std::mutex>& guard) {
    if (!IsThere(request)) {
        m_seek = request;
        m_source->ExpectSeek(true);
        m_work.notify_one();
    }
    WaitForFrame(guard);
}

/// @return true when the queue leads to the place that is asked for, and stands there now
bool QueuedStream::IsThere(const SeekRequest& request) {
    if (!m_source->FollowsFile()) {
        return request.exact && m_restart == request.time;
    }
    return request.exact && SeekInQueue(request.time);
}

/// Drops frames up to the one on show at a time, when that one is known to be in the queue.
bool QueuedStream::SeekInQueue(Ticks time) {
    if (m_queue.empty()) {
        return false;
    }
    if (!m_source->Reaches(*m_queue.front(), time)) {
        return SeekInPast(time);
    }
    const bool isLastKnown = m_ended && m_holdsLast;
    if (m_source->Reaches(*m_queue.back(), time) && !isLastKnown) {
        return false; // the frames to come may be nearer
    }
    while (m_queue.size() > 1 && m_source->Reaches(*m_queue[1], time)) {
        Pop();
    }
    m_queuedBytes -= m_queue.front()->bytes;
    m_queue.front() = m_source->From(m_queue.front(), time);
    m_queuedBytes += m_queue.front()->bytes;
    m_work.notify_one();
    return true;
}

/// Takes frames back up to the one on show at a time, when that one is still there.
bool QueuedStream::SeekInPast(Ticks time) {
    if (m_past.empty() || !m_source->Reaches(*m_past.front(), time)) {
        return false;
    }
    while (!m_source->Reaches(*m_queue.front(), time)) {
        Unpop();
    }
    m_pastLeft = pastLasts;
    return true;
}

Ticks QueuedStream::CurrentTime() const {
    return m_queue.empty() ? m_lastTime : m_queue.front()->time;
}

/// Returns when there is a current frame or the stream has ended, and no seek is under way.
/// @param ahead so many frames beyond the current one are waited for too
void QueuedStream::WaitForFrame(std::unique_lock<std::mutex>& guard, std::size_t ahead) {
    m_result.wait(guard, [this, ahead] { return !m_seek && (m_queue.size() > ahead || m_ended); });
}

void QueuedStream::DecodeAhead() {
    std::unique_lock guard(m_lock);
    while (WaitForWork(guard)) {
        if (m_seek) {
            CarryOutSeek(guard);
        } else {
            MakeFrame(guard);
        }
        m_result.notify_all();
    }
}

/// @return false when the stream is to end
bool QueuedStream::WaitForWork(std::unique_lock<std::mutex>& guard) {
    m_work.wait(guard, [this] { return m_quit || m_seek || (!m_ended && HasRoom()); });
    return !m_quit;
}

void QueuedStream::MakeFrame(std::unique_lock<std::mutex>& guard) {
    const std::uint64_t plan = m_plan;
    const bool isReplanned = std::exchange(m_replanned, false);
    const std::optional<Ticks> given = m_given;
    guard.unlock();
    if (isReplanned) {
        m_source->GoOn(given);
    }
    FramePtr frame = m_source->Next();
    guard.lock();
    if (plan != m_plan) {
        return;
    }
    if (frame) {
        Push(std::move(frame));
    } else {
        m_ended = !m_seek; // it may have been interrupted
    }
}

void QueuedStream::CarryOutSeek(std::unique_lock<std::mutex>& guard) {
    const SeekRequest request = *m_seek;
    m_source->ExpectSeek(false);
    if (IsThere(request)) { // the frame that was being made told what follows
        m_seek.reset();
        return;
    }
    const std::uint64_t plan = m_plan;
    guard.unlock();
    Landing landing = m_source->Seek(request.time, request.exact);
    if (!landing.moved) {
        m_source->Notice("this input cannot be sought backwards");
    }
    guard.lock();
    m_seek.reset();
    if (!landing.moved) {
        return;
    }
    Clear();
    m_given.reset();
    m_restart.reset();
    m_replanned = plan != m_plan; // then the landing is out of date as well
    if (m_replanned) {
        return;
    }
    Remember(std::move(landing.before));
    m_ended = landing.frame == nullptr;
    if (landing.frame) {
        Push(std::move(landing.frame));
    }
}

void QueuedStream::Clear() {
    m_queue.clear();
    m_queuedBytes = 0;
    m_past.clear();
    m_pastLeft = 0;
    m_ended = false;
    m_frontGiven = false;
}

void QueuedStream::Hold::Replan() {
    FramePtr current = m_stream.m_frontGiven ? m_stream.m_queue.front() : nullptr;
    m_stream.Clear();
    if (current) {
        m_stream.Push(std::move(current));
        m_stream.m_frontGiven = true;
    }
    m_stream.m_replanned = true;
    ++m_stream.m_plan;
    m_stream.m_work.notify_one();
}

void QueuedStream::Hold::Restart(Ticks time) {
    m_stream.m_frontGiven = false;
    Forget();
    Replan();
    m_stream.m_restart = time;
}

bool QueuedStream::HasRoom() const {
    if (m_queue.size() < leastQueued) {
        return true;
    }
    return m_queuedBytes < m_queueBytes && m_queue.size() < mostQueued;
}

void QueuedStream::Push(FramePtr frame) {
    m_queuedBytes += frame->bytes;
    m_queue.push_back(std::move(frame));
}

void QueuedStream::Pop() {
    if (!m_frontGiven) {
        m_given = m_queue.front()->firm;
    }
    m_frontGiven = false;
    m_restart.reset();
    m_lastTime = m_queue.front()->time;
    m_endPosition = m_queue.front()->endPosition;
    m_queuedBytes -= m_queue.front()->bytes;
    if (m_pastLeft > 0) {
        m_past.push_back(std::move(m_queue.front()));
        if (m_past.size() > m_mostPast) {
            m_past.pop_front();
        }
        if (--m_pastLeft == 0) {
            m_past.clear();
        }
    }
    m_queue.pop_front();
}

void QueuedStream::Remember(std::vector<FramePtr> past) {
    m_mostPast = past.size();
    m_pastLeft = past.empty() ? 0 : pastLasts;
    m_past.assign(past.begin(), past.end());
}

void QueuedStream::Unpop() {
    m_queuedBytes += m_past.back()->bytes;
    m_queue.push_front(std::move(m_past.back()));
    m_past.pop_back();
}

} // namespace kq::streams
