#include "Transport.h"

#include "Speeds.h"

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <tuple>

namespace kqplay {
namespace {

/// The player takes anything shorter, in seconds, for no limit.
constexpr double shortestRange = 0.002;

/// Codecs fill their last block up: so much sound behind the end, in seconds, is no more of the file.
constexpr double padding = 0.05;

/// A step waits this long for the run to enter its pause, in milliseconds.
constexpr int longestPause = 2000;

/// No file is so long, in seconds; a seek to it finds the last picture.
constexpr double beyondAll = 1e6;

constexpr double smallStep = 5;
constexpr double largeStep = 60;

} // namespace

Transport::Transport(PlaybackParts& parts)
    : m_parts(parts), m_speed(parts.options.speed), m_loop(parts.options.loop) {}

bool Transport::Start() {
    // A stopped player that was moved begins there.
    if (m_movedWhileStopped) {
        return StartAt(m_parts.range.begin, {});
    }
    const PlayRange range = Repeated();
    const double known = m_parts.file.facts.duration;
    const double end = known > 0 ? std::min(range.end, known) : beyondAll;
    const double place = m_speed < 0 ? end : range.begin;
    return StartAt(m_parts.range.begin, place > m_parts.range.begin ? std::optional(place) : std::nullopt);
}

/// @param begin of the range, in seconds in the file
/// @param place where play begins, if not where the player is moved to or at the begin
bool Transport::StartAt(double begin, std::optional<double> place) {
    SetRange(begin);
    LetMarksWait();
    if (place) {
        m_parts.player.Seek(std::max(0.0, *place - begin));
    }
    m_steppedOut = false;
    m_movedWhileStopped = false;
    m_failed = !m_parts.monitor->Begin();
    if (!m_failed) {
        m_state = State::Playing;
    }
    return !m_failed;
}

/// The range ends with the file, or before it. One that is open at its end would go on after the last sample
/// for the second that the player waits for more.
/// @param begin seconds in the file
void Transport::SetRange(double begin) {
    m_rangeBegin = begin;
    const double movie = Length();
    m_rangeLength = movie > 0 ? std::max(shortestRange, movie - begin) : 0;
    bool isCut = false;
    if (std::isfinite(m_parts.range.end)) {
        const double length = std::max(shortestRange, m_parts.range.end - begin);
        isCut = length < m_rangeLength || m_rangeLength <= 0;
        m_rangeLength = isCut ? length : m_rangeLength;
    }
    m_endsWithFile = !isCut && m_rangeLength > 0;
    m_onTimeline = false;
    m_parts.player.SetRange(begin, m_rangeLength);
    m_parts.monitor->SetLength(m_rangeLength);
    m_parts.navigation->SetRange(begin, m_rangeLength, isCut);
}

/// Gives the timeline what is played, and how. @return false for a range that cannot be repeated
bool Transport::FollowTimeline() {
    kq::streams::Timeline& timeline = *m_parts.timeline;
    m_onTimeline = m_onTimeline || m_loop || m_speed != 1;
    if (!m_onTimeline) {
        timeline.SetRate(1);
        return timeline.SetRange(0, kq::streams::Timeline::openEnd);
    }
    m_parts.player.SetRange(m_rangeBegin, 0); // see KeepEnd()
    m_parts.monitor->SetLength(0);
    const PlayRange range = m_marksWait ? m_parts.range : Repeated();
    const double high = std::isfinite(range.end) ? range.end - m_rangeBegin : m_rangeLength;
    m_parts.navigation->FollowTimeline(std::max(0.0, range.begin - m_rangeBegin), high);
    m_speed = timeline.SetRate(m_speed); // not every input can be played backwards
    return timeline.SetRange(range.begin, range.end, m_loop ? m_parts.options.loopCount : 1);
}

/// Leaves the marks of the loop aside until the run that is being started has begun.
void Transport::LetMarksWait() {
    m_marksWait = IsPartRepeated();
    m_toldBefore = m_parts.monitor->ToldCount();
    FollowTimeline();
}

PlayRange Transport::Repeated() const {
    PlayRange range = m_parts.range;
    if (m_loop) {
        range.begin = m_markBegin.value_or(range.begin);
        range.end = m_markEnd.value_or(range.end);
    }
    return range;
}

/// @return the play time at which the last picture or sample of the run is over, 0 for never or unknown
double Transport::PlayEnd() const {
    const kq::streams::Timeline& timeline = *m_parts.timeline;
    const double end = timeline.EndTime();
    if (std::isfinite(end)) {
        return end;
    }
    if (m_loop || m_speed < 0 || Length() <= 0) {
        return 0;
    }
    const double now = m_rangeBegin + m_parts.monitor->Position();
    return now + (Length() - timeline.MediaTime(now)) / m_speed;
}

void Transport::KeepEnd() {
    if (m_parts.monitor->ToldCount() == m_toldBefore) {
        return; // a run that has shown nothing yet has still to move to where it begins
    }
    if (m_marksWait) {
        m_marksWait = false;
        FollowTimeline();
    }
    if (!m_onTimeline || m_state == State::Stopped || m_parts.navigation->IsUnderWay()) {
        return;
    }
    constexpr double rounding = 0.005; // of positions
    const double end = PlayEnd();
    const double length = end > 0 ? std::max(shortestRange, end - m_rangeBegin) : 0;
    if (std::abs(length - m_parts.player.Length()) > rounding) {
        m_parts.player.SetRange(m_rangeBegin, length);
    }
}

/// @return true after a run to the end that the file claims when its streams hold more than that
bool Transport::HoldsMore() const {
    if (!m_endsWithFile || m_loop || m_speed < 0) {
        return false;
    }
    const double end = m_rangeBegin + m_rangeLength;
    const kq::streams::MediaFile& file = m_parts.file;
    const auto isHeardBeyond = [&] {
        return m_parts.timeline->MediaTime(file.audio->GetFramePosition() / file.facts.sampleRate) >
               end + padding;
    };
    // Sound is taken ahead of what is heard, but on a busy machine not far enough to tell.
    while (m_parts.IsHeard() && !isHeardBeyond() && file.audio->GetCurrentFrame() != nullptr) {
        file.audio->NextFrame();
    }
    return (m_parts.IsHeard() && isHeardBeyond()) || m_parts.navigation->HasPictureAt(end);
}

void Transport::TogglePause() {
    switch (m_state) {
    case State::Playing:
        m_parts.monitor->Pause();
        m_state = State::Paused;
        break;
    case State::Paused:
        m_parts.navigation->ForgetSteps();
        m_parts.monitor->Resume();
        m_state = State::Playing;
        break;
    case State::Stopped:
        Start();
        break;
    }
}

bool Transport::WaitForPause() {
    if (m_state == State::Playing) {
        TogglePause();
    }
    const Player& player = m_parts.player;
    for (int i = 0; i < longestPause && !player.IsPaused() && m_parts.monitor->IsRunning(); ++i) {
        usleep(1000);
    }
    return player.IsPaused();
}

void Transport::StepForward() {
    if (m_steppedOut || !m_parts.file.video) {
        return;
    }
    if (m_state == State::Stopped) {
        LetMarksWait();
        m_parts.monitor->Load();
        m_state = State::Paused;
        return;
    }
    if (WaitForPause()) {
        m_parts.navigation->StepForward();
    }
}

void Transport::StepBackward() {
    if (!m_parts.file.video) {
        return;
    }
    if (m_state != State::Stopped && !WaitForPause()) {
        return;
    }
    m_steppedOut = false;
    m_movedWhileStopped = m_state == State::Stopped;
    m_parts.navigation->StepBackward();
}

void Transport::Move(Command command) {
    m_steppedOut = m_steppedOut && command == Command::None;
    m_movedWhileStopped = m_movedWhileStopped || (m_state == State::Stopped && command != Command::None);
    Navigation& navigation = *m_parts.navigation;
    switch (command) {
    case Command::Back:
        return navigation.SeekBy(-smallStep);
    case Command::Ahead:
        return navigation.SeekBy(smallStep);
    case Command::FarBack:
        return navigation.SeekBy(-largeStep);
    case Command::FarAhead:
        return navigation.SeekBy(largeStep);
    case Command::ToBegin:
        return navigation.SeekTo(0);
    case Command::ToEnd:
        return navigation.SeekToEnd();
    default:
        break;
    }
}

void Transport::SeekToPart(double part) {
    m_steppedOut = false;
    m_movedWhileStopped = m_state == State::Stopped;
    m_parts.navigation->SeekTo(part * m_rangeLength);
}

void Transport::Stop() {
    m_parts.navigation->Forget();
    m_parts.monitor->Halt();
    m_steppedOut = false;
    m_movedWhileStopped = false;
    m_state = State::Stopped;
}

void Transport::GoTo(double seconds) {
    m_steppedOut = false;
    m_movedWhileStopped = m_state == State::Stopped;
    m_parts.navigation->SeekTo(seconds - m_rangeBegin);
}

void Transport::GoToFrame(std::int64_t number) {
    m_steppedOut = false;
    m_movedWhileStopped = m_state == State::Stopped;
    m_parts.navigation->SeekTo(m_parts.timeline->PlaceOfFrame(number));
}

void Transport::Redraw() {
    if (m_state != State::Stopped) {
        m_parts.player.Redraw();
    } else if (m_steppedOut || m_movedWhileStopped) {
        m_parts.player.Seek(m_parts.navigation->Position());
    }
}

void Transport::SetSpeed(double speed) {
    m_speed = speed;
    FollowTimeline();
}

void Transport::Shuttle(int direction) {
    SetSpeed(Speeds::Shuttled(m_state == State::Playing ? m_speed : 0, direction));
    if (m_state != State::Playing) {
        TogglePause();
    }
}

std::string Transport::MarkLoop(Mark mark) {
    m_parts.navigation->Arrive(); // the progress line shows the target already
    const kq::streams::PicturePlace picture = m_parts.navigation->PictureOnShow();
    const double begin = picture.number >= 0 ? picture.time : Position();
    const double end = begin + picture.duration;
    const auto before = std::make_tuple(m_loop, m_markBegin, m_markEnd);
    if (!m_markBegin && !m_markEnd) {
        m_loopedBefore = m_loop;
    }
    if (mark == Mark::Begin) {
        m_markBegin = begin;
        m_markEnd = m_markEnd > begin ? m_markEnd : std::nullopt;
    } else {
        m_markEnd = end;
        m_markBegin = m_markBegin < end ? m_markBegin : std::nullopt;
    }
    m_loop = true;
    if (!FollowTimeline()) {
        std::tie(m_loop, m_markBegin, m_markEnd) = before;
        FollowTimeline();
        return "too short to loop";
    }
    const PlayRange range = Repeated();
    return "loop " + FormatTime(range.begin) + " to " +
           (std::isfinite(range.end) ? FormatTime(range.end) : "the end");
}

void Transport::ClearMarks() {
    if (m_markBegin || m_markEnd) {
        m_loop = m_loopedBefore;
    }
    m_markBegin.reset();
    m_markEnd.reset();
    FollowTimeline();
}

std::string Transport::ToggleLoop() {
    m_loop = !m_loop;
    if (!FollowTimeline() && m_loop) {
        m_loop = false;
        FollowTimeline();
        return "cannot be repeated";
    }
    return m_loop ? "loop on" : "loop off";
}

bool Transport::TakeEnd() {
    if (m_state == State::Stopped || m_parts.monitor->IsRunning()) {
        return false;
    }
    if (m_state == State::Paused) {
        m_state = State::Stopped;
        m_steppedOut = true;
        return false;
    }
    if (!HoldsMore()) {
        return true;
    }
    m_distrustsFile = true;
    StartAt(m_rangeBegin + m_rangeLength, {});
    return false;
}

Transport::Place Transport::Interrupt() {
    const Place place{m_state, Position()};
    Stop();
    return place;
}

void Transport::GoOn(const Place& place) {
    if (place.state == State::Stopped) {
        return;
    }
    // The range of repeats and of play backwards stays the same.
    const bool started =
        m_onTimeline ? StartAt(m_parts.range.begin, place.position) : StartAt(place.position, {});
    if (started && place.state == State::Paused) {
        TogglePause();
    }
}

double Transport::Length() const {
    return m_distrustsFile ? 0 : m_parts.player.MovieLength();
}

double Transport::Position() const {
    const double position = m_rangeBegin + m_parts.navigation->Position();
    const double length = Length();
    return length > 0 ? std::min(position, length) : position; // play ends at or behind the end
}

std::optional<double> Transport::PartBefore(double seconds) const {
    if (m_rangeLength <= 0) {
        return std::nullopt;
    }
    return std::clamp((seconds - m_rangeBegin) / m_rangeLength, 0.0, 1.0);
}

} // namespace kqplay
