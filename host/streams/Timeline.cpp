#include "Timeline.h"

#include <algorithm>

namespace kq::streams {
namespace {

/// Holds a stream that may not be there.
std::optional<QueuedStream::Hold> HoldOf(QueuedStream* stream) {
    std::optional<QueuedStream::Hold> hold;
    if (stream != nullptr) {
        hold.emplace(*stream);
    }
    return hold;
}

} // namespace

void SharedSchedule::Join(Kind kind, QueuedStream& stream) {
    const std::lock_guard guard(m_change);
    (kind == Kind::Video ? m_video : m_audio) = &stream;
    m_hasVideo = m_video != nullptr;
}

void SharedSchedule::Leave(Kind kind) {
    const std::lock_guard guard(m_change);
    (kind == Kind::Video ? m_video : m_audio) = nullptr;
    m_hasVideo = m_video != nullptr;
}

SharedSchedule::Part SharedSchedule::FirstPart() const {
    const std::lock_guard guard(m_lock);
    const Stretch& first = m_schedule.First();
    return {first, m_schedule.NextChange(first.play)};
}

SharedSchedule::Part SharedSchedule::PartAt(Ticks play) const {
    const std::lock_guard guard(m_lock);
    return {m_schedule.StretchAt(play), m_schedule.NextChange(play)};
}

Stretch SharedSchedule::Last() const {
    const std::lock_guard guard(m_lock);
    return m_schedule.Last();
}

PlayRange SharedSchedule::Range() const {
    const std::lock_guard guard(m_lock);
    return m_schedule.Range();
}

Ticks SharedSchedule::MediaAt(Ticks play) const {
    const std::lock_guard guard(m_lock);
    return m_schedule.MediaAt(play);
}

Stretch SharedSchedule::Restart(Ticks time, Kind kind) {
    const std::lock_guard change(m_change);
    auto video = HoldOf(m_video);
    auto audio = HoldOf(m_audio);
    const std::lock_guard guard(m_lock);
    m_schedule.Restart(time);
    ++m_restarts;
    const Stretch stretch = m_schedule.Last();
    auto& own = kind == Kind::Video ? video : audio;
    auto& other = kind == Kind::Video ? audio : video;
    if (own) {
        own->Forget();
    }
    if (other) {
        other->Restart(stretch.play);
    }
    return stretch;
}

void SharedSchedule::RenewSound() {
    const std::lock_guard change(m_change);
    if (auto audio = HoldOf(m_audio)) {
        audio->Replan();
    }
}

void SharedSchedule::Change(std::optional<double> rate, const std::optional<PlayRange>& range) {
    const std::lock_guard change(m_change);
    auto video = HoldOf(m_video);
    auto audio = HoldOf(m_audio);
    const std::lock_guard guard(m_lock);
    const Stretch& last = m_schedule.Last();
    if (rate.value_or(last.rate) == last.rate && range.value_or(m_schedule.Range()) == m_schedule.Range()) {
        return;
    }
    Ticks from = last.play;
    for (auto* stream : {&video, &audio}) {
        if (*stream) {
            from = std::max(from, (*stream)->Given().value_or(from));
        }
    }
    m_schedule.Change(from, rate.value_or(last.rate), range.value_or(m_schedule.Range()));
    for (auto* stream : {&video, &audio}) {
        if (*stream) {
            (*stream)->Replan();
        }
    }
}

} // namespace kq::streams
