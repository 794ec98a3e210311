#include "Differences.h"

#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <utility>

namespace kq::measure {
namespace {

constexpr int lowPriority = 10;

bool IsBefore(const Differences::Place& place, std::int64_t frame) {
    return place.frame < frame;
}

} // namespace

Differences::Differences(const MeasureRequest& request) : m_request(request), m_thread([this] { Run(); }) {}

Differences::~Differences() {
    {
        const std::lock_guard guard(m_lock);
        m_isCancelled = true;
        if (m_measurer) {
            m_measurer->Cancel();
        }
    }
    m_thread.join();
}

void Differences::Run() {
    // Decoders take the priority of the thread that opens them.
    setpriority(PRIO_PROCESS, static_cast<id_t>(syscall(SYS_gettid)), lowPriority);
    std::string error;
    auto opened = Measurer::Open(m_request, error);
    Measurer* const measurer = opened.get();
    {
        const std::lock_guard guard(m_lock);
        m_error = std::move(error);
        m_isDone = measurer == nullptr;
        if (m_isDone || m_isCancelled) {
            return;
        }
        m_measurer = std::move(opened);
    }
    const MeasureOutcome outcome =
        measurer->Run([this](const MeasuredPair& pair) { Add(pair.frame, pair.time, !pair.IsEqual()); },
                      [this](const LonePicture& picture) {
                          if (!picture.isOther) {
                              Add(picture.frame, picture.time, true);
                          }
                      });
    const std::lock_guard guard(m_lock);
    m_isDone = outcome.isComplete;
}

void Differences::Add(std::int64_t frame, double time, bool differs) {
    const std::lock_guard guard(m_lock);
    m_until = time;
    if (m_isInSpan) {
        m_spans.back().end = time;
    }
    if (differs) {
        m_places.push_back({frame, time});
        if (!m_isInSpan) {
            m_spans.push_back({time, time});
        }
    }
    m_isInSpan = differs;
}

std::optional<Differences::Place> Differences::After(std::int64_t frame) const {
    const std::lock_guard guard(m_lock);
    const auto found = std::lower_bound(m_places.begin(), m_places.end(), frame + 1, IsBefore);
    return found != m_places.end() ? std::optional<Place>(*found) : std::nullopt;
}

std::optional<Differences::Place> Differences::Before(std::int64_t frame) const {
    const std::lock_guard guard(m_lock);
    const auto found = std::lower_bound(m_places.begin(), m_places.end(), frame, IsBefore);
    return found != m_places.begin() ? std::optional<Place>(*std::prev(found)) : std::nullopt;
}

std::vector<Differences::Span> Differences::Spans() const {
    const std::lock_guard guard(m_lock);
    return m_spans;
}

bool Differences::IsDone() const {
    const std::lock_guard guard(m_lock);
    return m_isDone;
}

double Differences::MeasuredUntil() const {
    const std::lock_guard guard(m_lock);
    return m_until;
}

std::string Differences::Error() const {
    const std::lock_guard guard(m_lock);
    return m_error;
}

} // namespace kq::measure
