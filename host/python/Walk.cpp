#include "Walk.h"

namespace kq::python {

Walk::Walk(std::shared_ptr<FileCore> file, std::int64_t begin, std::optional<std::int64_t> end,
           std::int64_t step)
    : m_file(std::move(file)), m_end(end), m_step(step), m_next(begin) {}

WalkStep Walk::Next() {
    const std::lock_guard guard(m_lock);
    const bool isPast = m_end && (m_step > 0 ? m_next >= *m_end : m_next <= *m_end);
    if (m_isOver || isPast) {
        Finish();
        return {};
    }
    if (m_file->IsClosed()) {
        m_reader.reset();
        throw Closed("the file");
    }
    if (!m_reader) {
        m_reader = m_file->TakeReader();
    }
    WalkStep step;
    step.frame = m_step == 1 ? Follow() : Jump();
    if (!step.frame) {
        Finish();
        return {};
    }
    // Pictures that cannot be decoded are passed over: only the index knows how many there were. An input
    // that can be read only once has none, and is counted.
    if (m_step != 1 || !m_file->Numbers()->AreKnown()) {
        step.number = m_next;
    }
    m_isFirst = false;
    m_next += m_step;
    return step;
}

/// @return the picture after the one before, null at the end
FramePtr Walk::Follow() {
    const auto& numbers = m_file->Numbers();
    const bool isAtBegin = m_next == 0 && !m_reader->Place();
    if (m_isFirst && !isAtBegin) {
        const auto begin = m_next == 0 ? std::optional<Ticks>(0) : numbers->TimeOf(m_next);
        return begin ? m_reader->At(*begin) : nullptr;
    }
    FramePtr next = m_reader->Next();
    if (next && m_end && numbers->AreKnown()) {
        const auto end = numbers->TimeOf(*m_end);
        return !end || next->time < *end - m_reader->Tolerance() ? next : nullptr;
    }
    return next;
}

/// @return the next picture that can be decoded, null at the end
FramePtr Walk::Jump() {
    for (; !m_end || (m_step > 0 ? m_next < *m_end : m_next > *m_end); m_next += m_step) {
        const auto time = m_file->Numbers()->TimeOf(m_next);
        if (!time) {
            return nullptr;
        }
        if (FramePtr frame = m_reader->BeginningAt(*time)) {
            return frame;
        }
    }
    return nullptr;
}

void Walk::Finish() {
    m_isOver = true;
    if (m_reader) {
        m_file->GiveBack(std::move(m_reader));
    }
}

void Walk::Close() {
    const std::lock_guard guard(m_lock);
    Finish();
}

} // namespace kq::python
