#include "VideoSource.h"

#include "PictureLayout.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <limits>
#include <utility>

namespace kq::streams {
namespace {

/// A seek decodes every frame from so many pictures before its target on,
constexpr int leastDecoded = 2;
/// or from so long before it in a file with pictures that last longer.
constexpr Ticks moreDecoded = TicksPerSecond / 4;

/// Somebody who goes back by less than this is likely to go back further, frame by frame: the last frames
/// that the way leads over are kept.
constexpr Ticks nearby = 3 * TicksPerSecond;

constexpr std::size_t nearbyFrames = 24;
constexpr std::size_t nearbyBytes = 64 << 20;

/// A way from further back may be so long that the frames before its target are kept: somebody who steps back
/// would wait for long if it had to be made once more.
constexpr Ticks farBack = 4 * TicksPerSecond;
/// Nearer than this to the target the decoder holds frames already that come later, and has left some out.
constexpr Ticks nearTarget = 13 * TicksPerSecond / 4;
/// It is long when it took so long up to there.
constexpr auto longWay = std::chrono::milliseconds(400);
/// So long before the target the frames are kept then.
constexpr Ticks keptOfLongWay = 9 * TicksPerSecond / 4;

} // namespace

VideoSource::VideoSource(std::unique_ptr<Decoder> decoder, PictureConverter converter, double rate,
                         double tick)
    : m_decoder(std::move(decoder)), m_converter(std::move(converter)), m_rate(rate), m_tick(tick) {}

void VideoSource::Passed::Add(Decoded picture) {
    pictures.push_back(std::move(picture));
    const std::size_t each = std::max<std::size_t>(BytesOf(*pictures.back().data), 1);
    if (pictures.size() > std::min(most, bytes / each)) {
        pictures.pop_front();
    }
}

FramePtr VideoSource::Next() {
    for (Decoded decoded; NextDecoded(decoded);) {
        if (auto frame = Convert(std::move(decoded))) {
            return m_last = std::move(frame);
        }
        decoded = {};
    }
    return nullptr;
}

bool VideoSource::NextDecoded(Decoded& frame) {
    if (!m_ahead) {
        return m_decoder->Next(frame);
    }
    frame = *std::exchange(m_ahead, std::nullopt);
    return true;
}

/// @return null, with a line in the log, for a picture that cannot be converted
FramePtr VideoSource::Convert(Decoded decoded) {
    const LogScope scope(*m_decoder->Log());
    auto frame = std::make_shared<Frame>();
    frame->picture = m_converter.Convert(std::move(decoded.data), *m_decoder->Log());
    if (!frame->picture) {
        Notice("video: a picture that cannot be converted is left out");
        return nullptr;
    }
    frame->record = RecordOf(*frame->picture, decoded.time);
    frame->time = decoded.time;
    frame->position = PositionOf(decoded.time);
    frame->endPosition = PositionOf(decoded.time + decoded.duration);
    frame->bytes = BytesOf(*frame->picture);
    return frame;
}

/// A stamp that is a frame's index but for the rounding to the file's clock gives that index.
double VideoSource::PositionOf(Ticks time) const {
    const double position = ToSeconds(time) * m_rate;
    const double index = std::round(position);
    const double rounding = std::min(m_tick * m_rate, 0.25) + 1e-5;
    return std::abs(position - index) <= rounding ? index : position;
}

Landing VideoSource::Seek(Ticks time, bool exact) {
    time = std::max<Ticks>(time, 0);
    exact = exact || !m_decoder->HasKeyFrames();
    const bool ahead = m_last && Reaches(*m_last, time);
    const bool seekable = m_decoder->Seekable();
    const bool goesOn = ahead && (exact || !seekable) && m_decoder->ForwardIsShorter(m_last->time, time);
    if (goesOn && (m_hasLongPictures || !seekable)) {
        return {true, GoForward(time, {})};
    }
    if (!seekable) {
        return {};
    }
    if (!exact) {
        return SeekKey(time);
    }
    const bool back = m_last && m_last->time > time && m_last->time < time + nearby;
    const Ticks least = m_hasLongPictures ? moreDecoded : std::min(leastDecoded * Step(), moreDecoded);
    const Ticks from = time - (back ? 2 * moreDecoded : least);
    Passed passed;
    passed.most = back ? nearbyFrames : 0;
    passed.bytes = nearbyBytes;
    if (goesOn) {
        m_decoder->LeaveOutBefore(from);
    }
    auto frame = goesOn ? GoForward(time, {}) : SeekExact(time, from, passed);
    if (m_decoder->Stops()) {
        m_last = nullptr; // the decoder has left frames out
        m_ahead.reset();
        return {true, nullptr};
    }
    // A frame that stays on show for long may have been left out.
    if (frame && frame->time < from) {
        m_hasLongPictures = true;
        passed = {};
        frame = SeekExact(time, 0, passed);
    }
    return {true, std::move(frame), ConvertAll(std::move(passed.pictures))};
}

/// @return the last ones, up to one that cannot be converted
std::vector<FramePtr> VideoSource::ConvertAll(std::deque<Decoded> decoded) {
    std::vector<FramePtr> frames;
    for (; !decoded.empty(); decoded.pop_back()) {
        auto frame = Convert(std::move(decoded.back()));
        if (!frame) {
            break;
        }
        frames.push_back(std::move(frame));
    }
    std::reverse(frames.begin(), frames.end());
    return frames;
}

/// @param leaveOut frames that begin before are not decoded if no others depend on them
/// @param passed receives the last frames before the one on show, of those that begin from leaveOut on, or
///               more of them on a long way
FramePtr VideoSource::SeekExact(Ticks time, Ticks leaveOut, Passed& passed) {
    Decoded first;
    bool nearest = false;
    m_ahead.reset();
    m_last = nullptr;
    if (!m_decoder->SeekAtOrBefore(time, first, nearest)) {
        return nullptr;
    }
    m_decoder->LeaveOutBefore(leaveOut);
    const bool isFar = m_longWayBytes > 0 && time - first.time > farBack;
    if (m_keepsAllWays || (isFar && TakesLong(time - nearTarget, first))) {
        leaveOut = std::min(leaveOut, time - keptOfLongWay);
        m_decoder->LeaveOutBefore(leaveOut);
        passed.most = std::numeric_limits<std::size_t>::max();
        passed.bytes = m_longWayBytes;
        m_beginLongWay(time);
    }
    FramePtr frame = GoForward(time, std::move(first), passed.most > 0 ? &passed : nullptr);
    while (!passed.pictures.empty() && passed.pictures.front().time < leaveOut) {
        passed.pictures.pop_front();
    }
    return frame;
}

/// Decodes up to the first frame after a time, and looks at the clock.
/// @param shown the frame on show so far; receives the one on show at the time
bool VideoSource::TakesLong(Ticks time, Decoded& shown) {
    const auto begin = std::chrono::steady_clock::now();
    for (Decoded next; m_decoder->Next(next); next = {}) {
        if (next.time > time) {
            m_ahead = std::move(next);
            break;
        }
        shown = std::exchange(next, {});
    }
    return std::chrono::steady_clock::now() - begin >= longWay;
}

/// Decodes up to the first frame after a time.
/// @param shown the frame on show so far; without data it is the last one given
/// @param passed receives the last frames before the one on show
/// @return the frame on show at the time
FramePtr VideoSource::GoForward(Ticks time, Decoded shown, Passed* passed) {
    const Ticks limit = time + Tolerance();
    if (!shown.data || shown.time <= limit) {
        for (Decoded next; NextDecoded(next); next = {}) {
            if (next.time > limit) {
                m_ahead = std::move(next);
                break;
            }
            if (passed != nullptr && shown.data) {
                passed->Add(std::move(shown));
            }
            shown = std::move(next);
            if (shown.time >= time - Tolerance()) {
                break; // all that follow are later
            }
        }
    }
    if (!shown.data) {
        return m_last;
    }
    auto frame = Convert(std::move(shown));
    return frame ? m_last = std::move(frame) : Next();
}

Landing VideoSource::SeekKey(Ticks time) {
    Decoded first;
    bool nearest = false;
    m_ahead.reset();
    m_last = nullptr;
    if (!m_decoder->SeekAtOrBefore(time, first, nearest)) {
        return {true, nullptr};
    }
    Ticks key = first.time;
    if (!nearest) {
        // The place found may lie several key frames back: look for the last one.
        const Ticks limit = time + Tolerance();
        for (Decoded next; m_decoder->Next(next) && next.time <= limit; next = {}) {
            if (next.key) {
                key = next.time;
            }
        }
        if (!m_decoder->SeekAtOrBefore(key, first, nearest)) {
            return {true, nullptr};
        }
    }
    return {true, GoForward(key, std::move(first))};
}

VideoSource::Approached VideoSource::Approach(Ticks end, Ticks least, Ticks most,
                                              const std::function<void(FramePtr)>& take) {
    const Ticks limit = end - Tolerance();
    const Ticks from = end - most;
    Decoded next;
    bool nearest = false;
    m_ahead.reset();
    m_last = nullptr;
    if (!m_decoder->SeekAtOrBefore(std::max<Ticks>(end - least, 0), next, nearest)) {
        return Approached::Nothing;
    }
    if (next.time >= limit) {
        return Approached::Start;
    }
    m_decoder->LeaveOutBefore(from);
    do {
        if (next.time >= limit) {
            return Approached::Picture;
        }
        FramePtr frame = next.time >= from ? Convert(std::move(next)) : nullptr;
        if (frame) {
            take(std::move(frame));
        }
        next = {};
    } while (m_decoder->Next(next));
    return Approached::Nothing;
}

Ticks VideoSource::Tolerance() const {
    return m_decoder->Tolerance();
}

FramePtr VideoSource::From(FramePtr frame, Ticks /*time*/) const {
    return frame;
}

void VideoSource::Notice(const std::string& text) const {
    m_decoder->Log()->Notice(text);
}

void VideoSource::Cancel() {
    m_decoder->Cancel();
}

} // namespace kq::streams
