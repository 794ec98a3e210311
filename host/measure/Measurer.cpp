#include "Measurer.h"

#include "PictureReader.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <utility>

namespace kq::measure {
namespace {

std::string RateText(double rate) {
    char text[32];
    std::snprintf(text, sizeof text, "%.5g", rate);
    return text;
}

} // namespace

bool MeasuredPair::IsEqual() const {
    return std::all_of(planes.begin(), planes.begin() + planeCount,
                       [](const PlaneQuality& plane) { return plane.IsEqual(); });
}

Measurer::Measurer(const MeasureRequest& request) : m_request(request) {}

Measurer::~Measurer() = default;

std::unique_ptr<Measurer> Measurer::Open(const MeasureRequest& request, std::string& error) {
    std::unique_ptr<Measurer> measurer(new Measurer(request));
    if (!measurer->OpenFiles(error)) {
        return nullptr;
    }
    measurer->Remark();
    return measurer;
}

bool Measurer::OpenFiles(std::string& error) {
    const auto open = [&](const std::string& path) {
        streams::OpenOptions options;
        options.audio = false;
        options.decoderThreads = m_request.decoderThreads;
        options.givesUp = m_request.givesUp;
        options.log = m_request.log;
        return PictureReader::Open(path, options, error);
    };
    m_first = open(m_request.file);
    if (m_first && !m_request.other.empty()) {
        m_second = open(m_request.other);
        return m_second != nullptr;
    }
    return m_first != nullptr;
}

void Measurer::Remark() {
    if (!m_second) {
        return;
    }
    const Shape& shape = m_first->OwnShape();
    if (m_second->OwnShape() != shape) {
        m_remarks.push_back(m_request.other + " is brought from " + m_second->OwnShape().Text() + " to " +
                            shape.Text());
    }
    if (!Pairing::AreEqual(m_first->Rate(), m_second->Rate())) {
        m_remarks.push_back("paired by time, because the rates are " + RateText(m_first->Rate()) + " and " +
                            RateText(m_second->Rate()));
    }
}

std::int64_t Measurer::ExpectedCount() const {
    double end = m_request.end;
    for (const PictureReader* reader : {m_first.get(), m_second.get()}) {
        const double known = reader != nullptr ? reader->Facts().duration : 0;
        end = known > 0 ? std::min(end, known) : end;
    }
    const double pictures = (end - m_request.begin) * m_first->Rate();
    return std::isfinite(end) ? std::max<std::int64_t>(std::llround(pictures), 0) : 0;
}

void Measurer::Begin() {
    const double begin = m_request.begin - streams::ToSeconds(m_first->FirstTime());
    m_first->Begin(m_first->OwnShape(), begin);
    if (m_second) {
        // The picture on show there, and one to spare.
        const double shift = static_cast<double>(m_request.offset - 1) / m_second->Rate();
        m_second->Begin(m_first->OwnShape(), begin + shift);
    }
}

MeasureOutcome Measurer::Run(const Take& take, const TakeLone& lone) {
    Begin();
    if (m_second) {
        MeasurePairs(take, lone);
        m_outcome.otherLost = m_second->Lost();
    } else {
        MeasureNeighbours(take);
    }
    m_outcome.lost = m_first->Lost();
    m_outcome.isComplete = !m_cancelled;
    return m_outcome;
}

void Measurer::MeasurePairs(const Take& take, const TakeLone& lone) {
    Pairing pairing(*m_first, *m_second, m_request.offset);
    const double earliest = std::max(m_request.begin - streams::ToSeconds(m_first->FirstTime()), 0.0) +
                            (static_cast<double>(m_request.offset) - 0.5) / m_second->Rate();
    while (auto pair = pairing.Next()) {
        if (m_cancelled || (pair->first && IsPastEnd(*pair->first))) {
            return;
        }
        if (pair->first && pair->second) {
            take(Measure(*pair->first, *pair->second));
            continue;
        }
        const bool isOther = !pair->first;
        const Picture& picture = isOther ? *pair->second : *pair->first;
        const bool counts = !isOther || streams::ToSeconds(picture.time) >= earliest;
        if (lone && counts) {
            lone({isOther, picture.number, streams::ToSeconds(picture.fileTime)});
        }
    }
    if (!m_cancelled) {
        CountRest(pairing);
    }
}

void Measurer::CountRest(const Pairing& pairing) {
    const PicturePtr& first = pairing.RestOfFirst();
    const PicturePtr& second = pairing.RestOfSecond();
    m_outcome.goesOn = first && !IsPastEnd(*first);
    m_outcome.otherGoesOn = !first && second;
    if (m_outcome.goesOn && std::isinf(m_request.end)) {
        m_outcome.rest = std::max<std::int64_t>(m_first->CountAll() - first->number, 0);
    }
    if (!m_outcome.otherGoesOn) {
        return;
    }
    m_outcome.otherRest = std::max<std::int64_t>(m_second->CountAll() - second->number, 0);
    // Of a higher rate several pictures lie within the last one of the file.
    const double within = 1.5 * m_second->Rate() / m_first->Rate();
    if (!pairing.IsOneToOne() && m_outcome.otherRest > 0 &&
        static_cast<double>(m_outcome.otherRest) <= within) {
        m_outcome.otherGoesOn = false;
        m_outcome.otherRest = 0;
    }
}

void Measurer::MeasureNeighbours(const Take& take) {
    PicturePtr before = m_first->Next();
    while (PicturePtr picture = before ? m_first->Next() : nullptr) {
        if (m_cancelled || IsPastEnd(*picture)) {
            return;
        }
        take(Measure(*picture, *before));
        before = std::move(picture);
    }
}

MeasuredPair Measurer::Measure(const Picture& picture, const Picture& other) {
    const Shape& shape = m_first->OwnShape();
    MeasuredPair pair;
    pair.frame = picture.number;
    pair.time = streams::ToSeconds(picture.fileTime);
    pair.otherFrame = other.number;
    pair.otherTime = streams::ToSeconds(other.fileTime);
    pair.planeCount = shape.PlaneCount();
    pair.depth = shape.Depth();
    for (int plane = 0; plane < pair.planeCount; ++plane) {
        pair.planes[static_cast<std::size_t>(plane)] =
            m_meter.Measure(PlaneOf(shape, plane, *picture.frame, *other.frame));
    }
    return pair;
}

bool Measurer::IsPastEnd(const Picture& picture) const {
    constexpr double rounding = 1e-4; // of the file's clock
    return streams::ToSeconds(picture.fileTime) >= m_request.end - rounding;
}

void Measurer::Cancel() {
    m_cancelled = true;
    m_first->Cancel();
    if (m_second) {
        m_second->Cancel();
    }
}

} // namespace kq::measure
