#include "FilteredDecoder.h"

#include <algorithm>
#include <utility>

namespace kq::streams {
namespace {

/// Filters that look at neighbours get the pictures of so long a time before the target.
constexpr Ticks neighbourhood = TicksPerSecond / 2;
/// How far back the second try of a seek begins; each further one begins twice as far.
constexpr Ticks firstStepBack = TicksPerSecond;
/// A way so short is filtered rather than sought.
constexpr Ticks shortWay = TicksPerSecond / 2;

} // namespace

std::unique_ptr<FilteredDecoder> FilteredDecoder::Open(std::unique_ptr<Decoder> inner,
                                                       Orientation orientation,
                                                       const std::string& description,
                                                       const PictureKind& input, std::string& reason) {
    const auto log = FileLog::Make({}, {});
    PictureKind converted = input;
    converted.format = PictureConverter(orientation, false).FormatFor(input.format);
    std::unique_ptr<FilterGraph> graph;
    {
        const LogScope scope(*log);
        graph = FilterGraph::Build(description, converted, reason);
    }
    if (graph) {
        return std::unique_ptr<FilteredDecoder>(
            new FilteredDecoder(std::move(inner), orientation, description, converted, std::move(graph)));
    }
    // The first message is the cause, those that follow are its consequences.
    if (const std::string cause = log->FirstError(); !cause.empty()) {
        reason = cause;
    }
    return nullptr;
}

FilteredDecoder::FilteredDecoder(std::unique_ptr<Decoder> inner, Orientation orientation,
                                 std::string description, const PictureKind& input,
                                 std::unique_ptr<FilterGraph> graph)
    : m_inner(std::move(inner)), m_converter(orientation, false), m_description(std::move(description)),
      m_firstInput(input), m_input(input), m_graph(std::move(graph)), m_output(m_graph->Output()),
      m_memory(m_graph->Memory()),
      m_duration(static_cast<Ticks>(static_cast<double>(TicksPerSecond) / m_output.rate)) {}

bool FilteredDecoder::Next(Decoded& frame) {
    const LogScope scope(*Log());
    if (!frame.data) {
        frame.data.reset(av_frame_alloc());
    }
    while (frame.data && m_graph && !Stops()) {
        switch (m_graph->Pull(*frame.data)) {
        case FilterGraph::Pulled::Picture:
            Stamp(frame);
            if (frame.time >= 0) {
                return true;
            }
            break; // before the begin, where nothing can be shown
        case FilterGraph::Pulled::NeedsInput:
            Feed();
            break;
        case FilterGraph::Pulled::End:
            if (!m_resized.data) {
                return false;
            }
            PictureKind input = m_input;
            input.format = m_resized.data->format;
            input.width = m_resized.data->width;
            input.height = m_resized.data->height;
            if (!Rebuild(input)) {
                return false;
            }
            Push(std::move(m_resized));
            m_resized = {};
        }
    }
    return false;
}

/// Gives the graph the next picture, or tells it that there is none.
void FilteredDecoder::Feed() {
    Decoded next;
    if (!NextUnfiltered(next)) {
        m_graph->Finish();
        return;
    }
    next.data = m_converter.Convert(std::move(next.data), *Log());
    if (!next.data) {
        Log()->Notice("video: a picture that cannot be converted is left out");
        return;
    }
    if (m_graph->Takes(*next.data)) {
        Push(std::move(next));
        return;
    }
    m_resized = std::move(next);
    m_graph->Finish();
}

void FilteredDecoder::Push(Decoded picture) {
    if (!m_graph->Push(std::move(picture.data), picture.time, picture.duration)) {
        Log()->Notice("video: a picture that the filter refuses is left out");
    }
}

bool FilteredDecoder::NextUnfiltered(Decoded& frame) {
    if (m_ahead.empty()) {
        return m_inner->Next(frame);
    }
    frame = std::move(m_ahead.front());
    m_ahead.pop_front();
    return true;
}

bool FilteredDecoder::Rebuild(const PictureKind& input) {
    std::string reason;
    m_graph = FilterGraph::Build(m_description, input, reason);
    m_input = input;
    if (!m_graph) {
        Log()->Notice("filter \"" + m_description + "\": " + reason);
    }
    return m_graph != nullptr;
}

/// Fills in the time of a picture that came out; it goes forward whatever the filters say.
void FilteredDecoder::Stamp(Decoded& frame) {
    const Ticks said = m_graph->TimeOf(*frame.data);
    if (said != AV_NOPTS_VALUE) {
        frame.time = m_lastTime != noTime ? std::max(said, m_lastTime + 1) : said;
    } else {
        frame.time = m_lastTime != noTime ? m_lastTime + m_duration : 0;
    }
    frame.duration = m_duration;
    frame.stamp = StampKind::Read;
    frame.key = false;
    m_lastTime = frame.time;
}

bool FilteredDecoder::SeekAtOrBefore(Ticks time, Decoded& first, bool& nearest) {
    const LogScope scope(*Log());
    nearest = false;
    for (Ticks back = RunUp(time); !Stops(); back = std::max(2 * back, firstStepBack)) {
        const Ticks start = std::max<Ticks>(time - back, 0);
        if (!StartAt(start)) {
            return false;
        }
        const bool found = Next(first);
        if (start == 0 || (found && first.time <= time + Tolerance())) {
            return found;
        }
    }
    return false;
}

Ticks FilteredDecoder::RunUp(Ticks time) const {
    switch (m_memory) {
    case FilterMemory::None:
        return 0;
    case FilterMemory::Short:
        return neighbourhood;
    default:
        return time;
    }
}

/// Lets a new graph begin with the picture that is on show at a time.
bool FilteredDecoder::StartAt(Ticks time) {
    m_ahead.clear();
    m_resized = {};
    m_lastTime = noTime;
    Decoded shown;
    bool nearest = false;
    if (!m_inner->SeekAtOrBefore(time, shown, nearest) || !Rebuild(m_firstInput)) {
        return false;
    }
    const Ticks limit = time + Tolerance();
    Decoded next;
    while (shown.time <= limit && m_inner->Next(next) && next.time <= limit) {
        shown = std::exchange(next, {});
    }
    m_ahead.push_back(std::move(shown));
    if (next.data && next.time > limit) {
        m_ahead.push_back(std::move(next));
    }
    return true;
}

bool FilteredDecoder::ForwardIsShorter(Ticks from, Ticks to) const {
    if (m_memory == FilterMemory::Endless || to - from <= shortWay) {
        return true;
    }
    return m_inner->ForwardIsShorter(from, to);
}

} // namespace kq::streams
