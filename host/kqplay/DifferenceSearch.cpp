#include "DifferenceSearch.h"

namespace kqplay {

/// @return what is to be measured, without a second file when nothing stands beside the first
kq::measure::MeasureRequest DifferenceSearch::Request() const {
    kq::measure::MeasureRequest request;
    request.file = m_parts.options.file;
    if (m_parts.comparison && m_parts.options.filter.empty()) {
        request.other = m_parts.comparison->Beside().name;
        request.offset = m_parts.comparison->Beside().offset;
    }
    request.decoderThreads = 1; // play comes first
    return request;
}

void DifferenceSearch::Measure(const kq::measure::MeasureRequest& request) {
    const bool isSame = request.other == m_request.other && request.offset == m_request.offset;
    if (m_differences && isSame) {
        return;
    }
    m_request = request;
    m_differences.emplace(request);
}

std::string DifferenceSearch::Begin(int direction) {
    const kq::measure::MeasureRequest request = Request();
    if (request.other.empty()) {
        return "there is no second file to differ from";
    }
    m_transport.WaitForPause();
    m_parts.navigation->Arrive(); // the progress line shows the target already
    m_from = m_parts.navigation->PictureOnShow();
    if (m_from.number < 0) {
        return "the frames are not counted yet";
    }
    Measure(request);
    m_direction = direction;
    return GoOn();
}

std::string DifferenceSearch::GoOn() {
    if (m_direction == 0) {
        return {};
    }
    const bool isDone = m_differences->IsDone(); // before the question
    const double until = m_differences->MeasuredUntil();
    const bool goesOn = m_direction > 0;
    const auto found = goesOn ? m_differences->After(m_from.number) : m_differences->Before(m_from.number);
    if (!isDone && !(goesOn ? found.has_value() : until >= m_from.time)) {
        return "looking for a difference: " + FormatTime(until);
    }
    m_direction = 0;
    if (found) {
        m_transport.GoToFrame(found->frame);
        return "differs";
    }
    std::string error = m_differences->Error();
    if (!error.empty()) {
        return error;
    }
    return goesOn ? "no pair behind this one differs" : "no pair before this one differs";
}

std::vector<kq::measure::Differences::Span> DifferenceSearch::Found() const {
    return m_differences ? m_differences->Spans() : std::vector<kq::measure::Differences::Span>();
}

} // namespace kqplay
