#include "Transport.h"

#include <unistd.h>

#include <algorithm>

namespace kqplay {
namespace {

/// The player takes anything shorter, in seconds, for no limit.
constexpr double shortestRange = 0.002;

/// Codecs fill their last block up: so much sound behind the end, in seconds, is no more of the file.
constexpr double padding = 0.05;

/// A step waits this long for the run to enter its pause, in milliseconds.
constexpr int longestPause = 2000;

constexpr double smallStep = 5;
constexpr double largeStep = 60;

} // namespace

Transport::Transport(PlaybackParts& parts) : m_parts(parts), m_loop(parts.options.loop) {
    m_parts.monitor->SetHoldsMore([this] { return HoldsMore(); });
}

bool Transport::Start(double begin) {
    SetRange(begin);
    m_steppedOut = false;
    m_failed = !m_parts.monitor->Begin(m_loop);
    if (!m_failed) {
        m_state = State::Playing;
    }
    return !m_failed;
}

/// The range ends with the file, or before it. One that is open at its end would go on after the last sample
/// for the second that the player waits for more.
/// @param begin seconds in the file
void Transport::SetRange(double begin) {
    const Options& options = m_parts.options;
    m_rangeBegin = begin;
    const double movie = Length();
    m_rangeLength = movie > 0 ? std::max(shortestRange, movie - begin) : 0;
    bool isCut = false;
    if (options.length) {
        const double length = std::max(shortestRange, *options.length - (begin - options.start));
        isCut = length < m_rangeLength || m_rangeLength <= 0;
        m_rangeLength = isCut ? length : m_rangeLength;
    }
    m_endsWithFile = !isCut && m_rangeLength > 0;
    m_parts.player.SetRange(begin, m_rangeLength);
    m_parts.monitor->SetLength(m_rangeLength);
    m_parts.navigation->SetRange(begin, m_rangeLength, isCut);
}

/// @return true after a run to the end that the file claims when its streams hold more than that
bool Transport::HoldsMore() const {
    if (!m_endsWithFile) {
        return false;
    }
    const double end = m_rangeBegin + m_rangeLength;
    const kq::streams::MediaFile& file = m_parts.file;
    const bool hasSound =
        m_parts.sound.IsOpen() && file.audio->GetFramePosition() / file.facts.sampleRate > end + padding;
    return hasSound || m_parts.navigation->HasPictureAt(end);
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
        Start(m_parts.options.start);
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
        m_parts.monitor->Load(m_loop);
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
    m_parts.navigation->StepBackward();
}

void Transport::Move(Command command) {
    m_steppedOut = m_steppedOut && command == Command::None;
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
    m_parts.navigation->SeekTo(part * m_rangeLength);
}

void Transport::Stop() {
    m_parts.navigation->Forget();
    m_parts.monitor->Halt();
    m_steppedOut = false;
    m_state = State::Stopped;
}

bool Transport::ToggleLoop() {
    m_loop = !m_loop;
    m_parts.monitor->SetLoop(m_loop);
    return m_loop;
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
    Start(m_loop ? m_parts.options.start : m_rangeBegin + m_rangeLength);
    return false;
}

Transport::Place Transport::Interrupt() {
    const Place place{m_state, m_rangeBegin + m_parts.monitor->Position()};
    Stop();
    return place;
}

void Transport::GoOn(const Place& place) {
    if (place.state == State::Stopped) {
        return;
    }
    // A loop's next rounds begin where this one does.
    if (Start(m_loop ? m_parts.options.start : place.position) && place.state == State::Paused) {
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

std::optional<double> Transport::PlayedPart() const {
    if (m_rangeLength <= 0) {
        return std::nullopt;
    }
    return m_parts.navigation->Position() / m_rangeLength;
}

} // namespace kqplay
