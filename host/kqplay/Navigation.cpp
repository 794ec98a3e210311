#include "Navigation.h"

#include "VideoSize.h"

#include <unistd.h>

#include <algorithm>
#include <cmath>

namespace kqplay {
namespace {

/// A seek that the player has taken is believed to be over after this time, whatever the position says.
constexpr std::int64_t longestSeek = 3'000'000;

/// Steps that were posted are waited for this long, in milliseconds.
constexpr int longestSteps = 1000;

/// What counts as having arrived, in seconds: play goes on meanwhile.
constexpr double arrival = 0.5;

/// The exact seek to the frame before goes this far before the present one: more than a file's clock rounds
/// off.
constexpr double justBefore = 0.002;

constexpr double usualFrame = 0.04;

/// Times of one picture that differ by no more, in seconds, are the same.
constexpr double rounding = 0.0005;

} // namespace

void Navigation::SetFile(IMediaStream* video, kq::streams::Timeline& timeline) {
    m_video = video;
    m_timeline = &timeline;
    const double rate = video ? VideoFormatOf(*video).dFrameRate : 0;
    m_frame = rate > 0 ? 1 / rate : 0;
}

void Navigation::SetRange(double begin, double end, bool isCut) {
    m_begin = begin;
    m_low = 0;
    m_end = end;
    m_isCut = isCut;
    m_followsTimeline = false;
    Forget();
}

void Navigation::FollowTimeline(double low, double high) {
    m_followsTimeline = true;
    m_low = low;
    m_end = high;
}

double Navigation::FrameDuration() const {
    return m_frame > 0 ? m_frame : usualFrame;
}

/// @return half a frame before the end, which is within the last frame, also where --length sets the end
double Navigation::LastPicture() const {
    return std::max(m_low, m_end - FrameDuration() / 2);
}

void Navigation::SeekTo(double seconds) {
    FinishSteps();
    m_targetNumber = -1;
    Go(std::max(m_low, m_end > 0 ? std::min(seconds, LastPicture()) : seconds));
}

void Navigation::SeekTo(const kq::streams::PicturePlace& place) {
    const double begin = place.time - m_begin;
    if (!IsWithin(place)) {
        return SeekTo(begin);
    }
    FinishSteps();
    m_targetNumber = place.number;
    Go(begin);
}

void Navigation::Go(double seconds) {
    m_target = seconds;
    m_takenSince = MonotonicMicroseconds();
    m_toldBefore = m_monitor.ToldCount();
    if (m_followsTimeline) {
        m_player.SetRange(m_begin, 0); // the end that play had belongs to the times before the seek
    }
    m_player.Seek(seconds);
    if (!m_monitor.IsRunning()) { // moved at once, and nobody tells the position
        m_monitor.SetPosition(m_frame > 0 ? FrameTime() : seconds);
        Forget();
    }
}

void Navigation::SeekToEnd() {
    if (m_end > 0) {
        SeekTo(m_end);
    }
}

void Navigation::StepForward() {
    if (m_followsTimeline && StepByNumber(1)) {
        return;
    }
    if (IsUnderWay()) {
        return SeekTo(*m_target + FrameDuration());
    }
    // Steps are posted faster than they are made: each counts from where the one before leads.
    const double next = std::max(FrameTime(), m_stepped.value_or(0)) + FrameDuration();
    // The one step that leaves the file's last picture ends the run; another would be left for the next run.
    const double furthest = m_isCut ? LastPicture() : m_end + FrameDuration() / 2;
    if (m_end > 0 && next > furthest) {
        return;
    }
    m_stepped = next;
    m_player.Forward();
}

void Navigation::StepBackward() {
    if (!m_video) {
        return;
    }
    FinishSteps();
    if (StepByNumber(-1)) {
        return;
    }
    if (IsUnderWay()) {
        return SeekTo(*m_target - FrameDuration());
    }
    SeekTo(FrameTime() - std::min(justBefore, FrameDuration() / 2));
}

/// @return true for a picture that is on show in the range
bool Navigation::IsWithin(const kq::streams::PicturePlace& place) const {
    const double begin = place.time - m_begin;
    return begin + place.duration > m_low + rounding && (m_end <= 0 || begin < m_end - rounding);
}

/// Goes to the picture before or after by its number in the file; none outside of the range.
/// @return false when the present one's is not known
bool Navigation::StepByNumber(int step) {
    const std::int64_t number = IsUnderWay() ? m_targetNumber : PictureOnShow().number;
    if (number < 0) {
        return false;
    }
    const kq::streams::PicturePlace place = m_timeline->PlaceOfFrame(number + step);
    if (place.number >= 0 && IsWithin(place)) {
        SeekTo(place);
    }
    return true;
}

/// The player carries a seek out before the steps that were posted earlier.
void Navigation::FinishSteps() {
    for (int i = 0; m_stepped && i < longestSteps && m_monitor.IsRunning(); ++i) {
        if (FrameTime() > *m_stepped - FrameDuration() / 2) {
            break;
        }
        usleep(1000);
    }
    ForgetSteps();
}

bool Navigation::HasPictureAt(double seconds) const {
    return m_video && m_frame > 0 && m_timeline->MediaTime(m_begin + FrameTime()) > seconds - m_frame / 2;
}

double Navigation::Position() {
    return IsUnderWay() ? *m_target : m_timeline->MediaTime(m_begin + m_monitor.Position()) - m_begin;
}

kq::streams::PicturePlace Navigation::PictureOnShow() {
    kq::streams::PicturePlace place;
    if (!m_video || IsUnderWay()) {
        return place;
    }
    if (IsStill()) {
        kq::streams::PlaceOfPicture(*m_video, place);
        return place;
    }
    // The stream's current frame is the next one already. The player cuts times off to milliseconds.
    constexpr double cutOff = 0.001;
    place.number = m_timeline->FrameNumber(m_begin + m_monitor.Position() + cutOff);
    return m_timeline->PlaceOfFrame(place.number);
}

void Navigation::Arrive() {
    for (std::int64_t until = MonotonicMicroseconds() + longestSeek; IsUnderWay();) {
        if (MonotonicMicroseconds() > until) {
            return;
        }
        usleep(1000);
    }
    FinishSteps();
}

/// The player tells when it has taken a request, and the position tells when it has got there.
bool Navigation::IsUnderWay() {
    if (!m_target) {
        return false;
    }
    if (!m_monitor.IsRunning()) {
        m_target.reset();
        return false;
    }
    const std::int64_t now = MonotonicMicroseconds();
    const int toldCount =
        m_monitor.ToldCount(); // before the question: it may be carried out right after that
    if (m_player.IsSeeking()) {
        m_takenSince = now;
        m_toldBefore = toldCount;
        return true;
    }
    const double past = m_monitor.Position() - *m_target;
    const double frame = std::max(m_frame, usualFrame);
    const bool told = m_monitor.ToldCount() != m_toldBefore;
    const bool arrived = told && past > -1.5 * frame && past < (m_monitor.IsPaused() ? frame / 4 : arrival);
    if (arrived || now - m_takenSince > longestSeek) {
        m_target.reset();
    }
    return m_target.has_value();
}

/// @return time of the frame on show, while paused or without a run
double Navigation::FrameTime() const {
    return m_frame > 0 ? m_video->GetFramePosition() * m_frame - m_begin : m_monitor.Position();
}

} // namespace kqplay
