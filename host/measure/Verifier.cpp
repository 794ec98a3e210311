#include "Verifier.h"

#include <kqplayer/convenience.h>

#include <streams/PictureConverter.h>
#include <streams/PictureLayout.h>
#include <streams/VideoSource.h>

extern "C" {
#include <libavutil/mem.h>
#include <libavutil/murmur3.h>
}

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <utility>

namespace kq::measure {
namespace {

using streams::Ticks;
using streams::ToSeconds;

constexpr std::size_t faultsKept = 20;
constexpr std::int64_t mostSteps = 12;
constexpr std::size_t queueBytes = std::size_t{24} << 20;

/// @return a hash of what a frame is: kind, size and every sample
std::uint64_t HashOf(const MEDIA_FRAME& frame) {
    const AVPixelFormat format = streams::FormatOf(frame.nKind);
    if (format == AV_PIX_FMT_NONE) {
        return 0;
    }
    const tagYUVImage& image = frame.image;
    const std::uint8_t* const planes[] = {image.pY, image.pU, image.pV};
    const int pitches[] = {image.nPitchY, image.nPitchU, image.nPitchV};
    struct Freer {
        void operator()(AVMurMur3* hash) const { av_free(hash); }
    };
    const std::unique_ptr<AVMurMur3, Freer> hash(av_murmur3_alloc());
    if (!hash) {
        return 0;
    }
    av_murmur3_init(hash.get());
    const std::int32_t facts[] = {frame.nKind, image.nWidth, image.nHeight};
    av_murmur3_update(hash.get(), reinterpret_cast<const std::uint8_t*>(facts), sizeof facts);
    for (int plane = 0; plane < streams::PlaneCount(format); ++plane) {
        const streams::PlaneShape shape = streams::ShapeOf(format, plane, image.nWidth, image.nHeight);
        const auto bytes = static_cast<std::size_t>(shape.width) * static_cast<std::size_t>(shape.unitBytes);
        for (std::ptrdiff_t y = 0; y < shape.height; ++y) {
            av_murmur3_update(hash.get(), planes[plane] + y * pitches[plane], bytes);
        }
    }
    std::uint8_t digest[16];
    av_murmur3_final(hash.get(), digest);
    std::uint64_t value = 0;
    std::memcpy(&value, digest, sizeof value);
    return value;
}

std::string SecondsText(double seconds) {
    char text[48];
    std::snprintf(text, sizeof text, "%.3f s", seconds);
    return text;
}

} // namespace

int VerifyReport::MovementCount() const {
    int all = 0;
    for (const int count : movements) {
        all += count;
    }
    return all;
}

std::string VerifyReport::Text(const VerifyRequest& request) const {
    constexpr std::array<const char*, movementKinds> names = {
        "exact seeks", "key-frame seeks", "runs of steps ahead", "runs of steps back", "runs backwards"};
    std::string text = request.file + ": " + std::to_string(pictures) + " pictures, " +
                       std::to_string(MovementCount()) + " movements with seed " +
                       std::to_string(request.seed) + "\n";
    for (std::size_t kind = 0; kind < movementKinds; ++kind) {
        text += (kind > 0 ? ", " : "  ") + std::to_string(movements[kind]) + " " + names[kind];
    }
    text += "\n";
    for (const std::string& fault : faults) {
        text += "  " + fault + "\n";
    }
    const std::int64_t untold = faultCount - static_cast<std::int64_t>(faults.size());
    if (untold > 0) {
        text += "  and " + std::to_string(untold) + " more\n";
    }
    text += std::to_string(compared) + " pictures compared with those of a decode from the start: " +
            (faultCount == 0 ? "all right" : std::to_string(faultCount) + " wrong") + "\n";
    return isComplete ? text : text + "Not all movements were made: it was interrupted.\n";
}

std::unique_ptr<Verifier> Verifier::Open(const VerifyRequest& request, std::string& error) {
    std::unique_ptr<Verifier> verifier(new Verifier(request));
    streams::OpenOptions options;
    options.audio = false;
    options.queueBytes = queueBytes;
    options.givesUp = request.givesUp;
    options.log = request.log;
    if (!streams::OpenFileVideo(request.file, options, verifier->m_video, error)) {
        return nullptr;
    }
    if (!verifier->m_video.decoder->Seekable()) {
        error = request.file + ": can be read only once, so there is nothing to verify";
        return nullptr;
    }
    verifier->m_tolerance = verifier->m_video.decoder->Tolerance();
    const bool opened =
        streams::OpenTimeline(request.file, options, verifier->m_file, verifier->m_timeline, error);
    return opened ? std::move(verifier) : nullptr;
}

Verifier::~Verifier() {
    m_file.Release();
}

bool Verifier::Run(const Progress& progress, VerifyReport& report, std::string& error) {
    if (!DecodeAll(progress)) {
        report = m_report;
        return true;
    }
    if (m_known.empty()) {
        error = m_request.file + ": no picture can be decoded";
        return false;
    }
    CheckCount();
    m_move = "the begin";
    Look(0);
    for (int number = 1; number <= m_request.count; ++number) {
        if (!progress("verifying", number - 1, m_request.count)) {
            report = m_report;
            return true;
        }
        Move(number);
    }
    m_report.isComplete = true;
    report = m_report;
    return true;
}

/// @return false when it was given up
bool Verifier::DecodeAll(const Progress& progress) {
    const auto expected = static_cast<std::int64_t>(m_video.facts.frameCount);
    streams::VideoSource source(std::move(m_video.decoder),
                                streams::PictureConverter(m_video.orientation, false), m_video.rate,
                                m_video.tick);
    while (const streams::FramePtr frame = source.Next()) {
        m_known.push_back({frame->time, HashOf(frame->record)});
        m_report.pictures = static_cast<std::int64_t>(m_known.size());
        if (!progress("decoding", m_report.pictures, std::max(expected, m_report.pictures))) {
            return false;
        }
    }
    return true;
}

/// The numbers of pictures come from the file's packets.
void Verifier::CheckCount() {
    const std::int64_t counted = m_timeline->FrameCount();
    m_numbersAgree = counted == m_report.pictures;
    if (counted != m_report.pictures) {
        Fault("the file's packets have " + std::to_string(counted) + " pictures, and decoding gives " +
              std::to_string(m_report.pictures));
    }
}

void Verifier::Move(int number) {
    // Steps are what people do most.
    constexpr std::array<Movement, 10> often = {
        Movement::Seek,      Movement::Seek,     Movement::Seek,     Movement::KeySeek,  Movement::StepAhead,
        Movement::StepAhead, Movement::StepBack, Movement::StepBack, Movement::StepBack, Movement::Backwards};
    const Movement movement = often[static_cast<std::size_t>(Below(often.size()))];
    ++m_report.movements[static_cast<std::size_t>(movement)];
    m_move = "movement " + std::to_string(number) + ", ";
    switch (movement) {
    case Movement::Seek:
        return Seek(true);
    case Movement::KeySeek:
        return Seek(false);
    case Movement::StepAhead:
        return StepAhead();
    case Movement::StepBack:
        return StepBack();
    case Movement::Backwards:
        return PlayBackwards();
    }
}

void Verifier::Seek(bool exact) {
    const double time = RandomTime();
    m_move += (exact ? "an exact seek from " : "a key-frame seek from ") + NameOf(m_at) + " to " +
              SecondsText(time);
    m_file.video->Seek(time, exact ? ExactSeek : KeyFrameSeek);
    const std::int64_t onShow = IndexAt(streams::ToTicks(time));
    if (exact) {
        return Look(onShow);
    }
    Look(-1);
    if (m_at > onShow) {
        Fault(m_move + ": led behind it, to " + NameOf(m_at));
    }
}

void Verifier::StepAhead() {
    m_move += "steps ahead from " + NameOf(m_at);
    const auto last = static_cast<std::int64_t>(m_known.size()) - 1;
    for (std::int64_t steps = 1 + Below(mostSteps); steps > 0; --steps) {
        const std::int64_t expected = std::min(m_at + 1, last);
        m_file.video->NextFrame();
        Look(expected);
    }
}

/// As the player does it: to the picture whose number is one less.
void Verifier::StepBack() {
    m_move += "steps back from " + NameOf(m_at);
    for (std::int64_t steps = 1 + Below(mostSteps); steps > 0; --steps) {
        const std::int64_t expected = std::max<std::int64_t>(m_at - 1, 0);
        m_file.video->Seek(m_timeline->PlaceOfFrame(std::max<std::int64_t>(m_number - 1, 0)).time, ExactSeek);
        Look(expected);
    }
}

void Verifier::PlayBackwards() {
    m_move += "play backwards from " + NameOf(m_at);
    m_timeline->SetRate(-1);
    for (std::int64_t pictures = 1 + Below(2 * mostSteps); pictures > 0; --pictures) {
        const std::int64_t expected = std::max<std::int64_t>(m_at - 1, 0);
        m_file.video->NextFrame();
        Look(expected);
    }
    m_timeline->SetRate(1);
}

/// Compares the picture that the stream shows.
/// @param expected its index, -1 for any
void Verifier::Look(std::int64_t expected) {
    const MEDIA_FRAME* frame = m_file.video->GetCurrentFrame();
    streams::PicturePlace place;
    ++m_report.compared;
    if (frame == nullptr || !streams::PlaceOfPicture(*m_file.video, place)) {
        m_at = std::max<std::int64_t>(expected, 0);
        return Fault(m_move + ": there is no picture");
    }
    const std::int64_t index = IndexOf(streams::ToTicks(place.time));
    if (index < 0) {
        m_at = std::max<std::int64_t>(expected, 0);
        return Fault(m_move + ": led to one at " + SecondsText(place.time) +
                     ", which decoding from the start does not give");
    }
    m_at = index;
    m_number = place.number;
    if (expected >= 0 && index != expected) {
        return Fault(m_move + ": led to " + NameOf(index) + " instead of " + NameOf(expected));
    }
    const std::uint64_t hash = HashOf(*frame);
    if ((m_tamper ? m_tamper(index, hash) : hash) != m_known[static_cast<std::size_t>(index)].hash) {
        return Fault(m_move + ": led to " + NameOf(index) + ", whose samples differ");
    }
    if (m_numbersAgree && place.number != index) {
        Fault(m_move + ": led to " + NameOf(index) + ", which is counted as #" +
              std::to_string(place.number));
    }
}

/// @return index of the picture on show at a time
std::int64_t Verifier::IndexAt(Ticks time) const {
    const auto after = std::upper_bound(m_known.begin(), m_known.end(), time + m_tolerance,
                                        [](Ticks wanted, const Known& known) { return wanted < known.time; });
    return std::max<std::int64_t>(after - m_known.begin() - 1, 0);
}

/// @return index of the picture that begins at a time, -1 for none
std::int64_t Verifier::IndexOf(Ticks time) const {
    const std::int64_t index = IndexAt(time);
    const Ticks begin = m_known[static_cast<std::size_t>(index)].time;
    return std::abs(begin - time) <= m_tolerance ? index : -1;
}

/// @return a number from 0 to below the bound, the same for a seed with every standard library
std::int64_t Verifier::Below(std::int64_t bound) {
    return static_cast<std::int64_t>(m_random() % static_cast<std::uint64_t>(bound));
}

/// @return any time of the file, or the very begin of a picture
double Verifier::RandomTime() {
    if (Below(2) == 0) {
        const std::int64_t index = Below(static_cast<std::int64_t>(m_known.size()));
        return ToSeconds(m_known[static_cast<std::size_t>(index)].time);
    }
    const Ticks end = m_known.back().time + TicksPerSecond / 10;
    return ToSeconds(Below(end));
}

std::string Verifier::NameOf(std::int64_t index) const {
    return "#" + std::to_string(index) + " (" +
           SecondsText(ToSeconds(m_known[static_cast<std::size_t>(index)].time)) + ")";
}

void Verifier::Fault(const std::string& text) {
    ++m_report.faultCount;
    if (m_report.faults.size() < faultsKept) {
        m_report.faults.push_back(text);
    }
}

} // namespace kq::measure
