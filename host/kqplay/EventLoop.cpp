#include "EventLoop.h"

#include "Keys.h"
#include "Speeds.h"
#include "Stills.h"

#include <poll.h>

#include <algorithm>
#include <cstdio>

namespace kqplay {
namespace {

/// The progress line and the look at the sound device come this often, in milliseconds.
constexpr int refreshPeriod = 100;

/// A note stays this long in the progress line, in microseconds.
constexpr std::int64_t noteTime = 2'000'000;

constexpr int volumeStep = 5;

/// Keys that are held repeat at least so often a second.
constexpr double usualRepeats = 30;

/// While a key is held the loop turns this often, in milliseconds.
constexpr int heldPeriod = 4;

/// The keys for slower and faster play undo each other.
constexpr double keyFactor = 1.1;

std::string Describe(const kq::streams::MediaFacts& facts) {
    char text[160];
    std::string all = facts.container + ", " + FormatTime(facts.duration);
    if (!facts.videoCodec.empty()) {
        std::snprintf(text, sizeof text, " %dx%d %s, %.6g frames/s", facts.width, facts.height,
                      facts.pixelFormat.c_str(), facts.frameRate);
        all += "; " + facts.videoCodec + text;
    }
    if (!facts.audioCodec.empty()) {
        std::snprintf(text, sizeof text, " %d Hz, %d channels", facts.sampleRate, facts.channels);
        all += "; " + facts.audioCodec + text;
    }
    if (!facts.leftOut.empty()) {
        all += "; " + facts.leftOut;
    }
    for (std::size_t i = 0; i < facts.audioTracks.size() && facts.audioTracks.size() > 1; ++i) {
        const bool isHeard = static_cast<int>(i) + 1 == facts.audioTrack;
        all += "\n  sound track " + std::to_string(i + 1) + ": " + facts.audioTracks[i] +
               (isHeard ? " (heard)" : "");
    }
    return all;
}

} // namespace

EventLoop::EventLoop(PlaybackParts& parts)
    : m_parts(parts), m_transport(parts), m_compare(parts, m_transport), m_differences(parts, m_transport),
      m_magnifier(parts), m_info(parts, m_transport), m_scope(parts), m_mute(parts.options.mute),
      m_volume(parts.options.volume) {}

ExitStatus EventLoop::Run() {
    m_transport.Start();
    while (!m_ending) {
        Wait();
        TakeSignals();
        TakeCommands();
        if (const auto note = m_compare.Follow()) {
            Show(*note);
        }
        RepeatHeldKey();
        LookForDifference();
        m_transport.KeepEnd();
        TakeEnd();
        WatchSoundDevice();
        ShowProgress();
        ShowPanels();
    }
    m_parts.monitor->Halt();
    const bool goesOn = m_turn != 0 && m_parts.lasting.hasAnother(m_turn);
    if (!goesOn) {
        CloseSound();
    }
    m_parts.progress->Finish(CurrentProgress(m_ending));
    if (goesOn) {
        return m_status; // sound and trace go on
    }
    std::string error;
    return m_parts.trace.Close(error) || m_parts.Fail(error) ? m_status : ExitFailed;
}

/// Sleeps until something happens, or until the progress line is due. What goes with each picture is shown
/// meanwhile, if anything.
void EventLoop::Wait() {
    m_parts.monitor->WatchPictures(m_info.IsOn() || m_scope.IsOn());
    pollfd sources[] = {
        {m_parts.signals.Fd(), POLLIN, 0},
        {m_parts.monitor->Fd(), POLLIN, 0},
        {m_terminal.Fd(), POLLIN, 0},
        {m_parts.window ? m_parts.window->Fd() : -1, POLLIN, 0},
        {m_parts.monitor->PictureFd(), POLLIN, 0},
    };
    pollfd& pictures = sources[std::size(sources) - 1];
    constexpr int keyPeriod = static_cast<int>(KeyDecoder::patience * 1000);
    const bool isHeld = m_parts.window && m_parts.window->HeldKey() != 0;
    const int period = m_terminal.IsWaiting() ? keyPeriod : refreshPeriod;
    const std::int64_t until = MonotonicMicroseconds() + std::int64_t{1000} * (isHeld ? heldPeriod : period);
    for (std::int64_t left = until - MonotonicMicroseconds(); left > 0;
         left = until - MonotonicMicroseconds()) {
        const auto milliseconds = static_cast<int>((left + 999) / 1000);
        const int ready = m_parts.window ? m_parts.window->Poll(sources, std::size(sources), milliseconds)
                                         : poll(sources, std::size(sources), milliseconds);
        if (ready != 1 || pictures.revents == 0) {
            break;
        }
        m_parts.monitor->ClearPictureWake();
        ShowPanels();
    }
    m_parts.monitor->ClearWake();
    m_keysTyped = sources[2].revents != 0;
}

void EventLoop::TakeSignals() {
    while (const auto signal = m_parts.signals.Take()) {
        if (*signal == SIGTSTP) {
            Suspend();
        } else {
            Leave(ExitPlayed, "quit");
        }
    }
}

/// Play pauses meanwhile: its clock would go on, and what was due then would come all at once.
void EventLoop::Suspend() {
    const bool wasPlaying = m_transport.Now() == Transport::State::Playing && m_transport.WaitForPause();
    m_parts.sound.SetRunning(false);
    m_terminal.Suspend();
    m_parts.sound.SetRunning(true);
    if (wasPlaying) {
        m_transport.TogglePause();
    }
}

void EventLoop::TakeCommands() {
    for (int key : m_terminal.Take(m_keysTyped)) {
        TakeKey(key);
    }
    if (!m_parts.window) {
        return;
    }
    for (int key : m_parts.window->Take()) {
        TakeKey(key);
    }
    if (m_parts.window->IsClosed()) {
        Leave(ExitPlayed, "quit");
    }
    if (m_parts.window->IsLost()) {
        m_parts.Fail(m_parts.window->LostText());
        return Leave(ExitFailed, "failed");
    }
    if (const auto part = m_parts.window->TakeTimelineClick()) {
        m_transport.SeekToPart(*part);
    }
    const std::string zoomed = m_magnifier.Follow(m_parts.window->TakeMouse());
    if (!zoomed.empty()) {
        Show(zoomed);
    }
}

/// Steps as fast as the file plays while a key is held, and leaves no picture out.
void EventLoop::RepeatHeldKey() {
    const int key = m_parts.window ? m_parts.window->HeldKey() : 0;
    const std::int64_t now = MonotonicMicroseconds();
    if (key == 0 || now < m_repeatAt || m_parts.navigation->IsUnderWay()) {
        return;
    }
    const auto period = static_cast<std::int64_t>(1e6 / std::max(m_parts.file.facts.frameRate, usualRepeats));
    m_repeatAt = std::max(m_repeatAt, now - period) + period;
    TakeKey(key);
}

void EventLoop::LookForDifference() {
    const std::string note = m_differences.GoOn();
    if (!note.empty()) {
        Show(note);
    }
}

/// Leaves when the run has ended by itself, or none could start.
void EventLoop::TakeEnd() {
    if (m_ending) {
        return;
    }
    if (m_transport.HasFailed()) {
        Leave(ExitFailed, "failed");
        m_turn = 1;
    } else if (m_transport.TakeEnd()) {
        Leave(ExitPlayed, "played");
        m_turn = 1;
    }
}

void EventLoop::WatchSoundDevice() {
    if (m_ending || !m_parts.sound.IsOpen() || m_parts.sound.IsConnected()) {
        return;
    }
    if (m_parts.sound.IsRecording()) {
        Leave(ExitFailed, "failed"); // the reason comes when the file is closed
    } else {
        GoOnWithoutSound();
    }
}

void EventLoop::ShowProgress() {
    constexpr const char* names[] = {"playing", "paused", "stopped"};
    m_parts.progress->Show(CurrentProgress(names[static_cast<int>(m_transport.Now())]));
    if (m_parts.window) {
        m_parts.window->ShowTimeline(CurrentBar());
    }
}

void EventLoop::ShowPanels() {
    m_info.Show();
    m_scope.Choose(m_parts.FrontView());
    m_scope.Show();
}

void EventLoop::TakeKey(int key) {
    if (!m_typed.IsOpen()) {
        const Command command = CommandOfKey(key);
        const auto note = m_compare.Obey(command, key);
        return note ? Show(*note) : Obey(command);
    }
    if (m_typed.Take(key) == TypedPlace::Typing::Done) {
        GoTo(m_typed.Text());
    }
}

void EventLoop::Obey(Command command) {
    m_differences.GiveUp();
    switch (command) {
    case Command::TogglePause:
        return m_transport.TogglePause();
    case Command::Stop:
        return m_transport.Stop();
    case Command::Quit:
        return Leave(ExitPlayed, "quit");
    case Command::StepForward:
        return m_transport.StepForward();
    case Command::StepBackward:
        return m_transport.StepBackward();
    case Command::NextDifference:
        return Show(m_differences.Begin(1));
    case Command::PreviousDifference:
        return Show(m_differences.Begin(-1));
    case Command::NextInList:
        return GoToFile(1);
    case Command::PreviousInList:
        return GoToFile(-1);
    case Command::NextTrack:
        return Show(ChooseNextTrack());
    case Command::Screenshot:
        return TakeScreenshot(m_parts) ? void() : Show("no picture");
    case Command::NextInfo:
        return Show(m_info.Next());
    case Command::NextScope:
        return Show(m_scope.Next());
    case Command::ShowFacts:
        return ShowFacts();
    case Command::ShowKeys:
        return m_parts.Say("Keys:\n" + DescribeKeys());
    case Command::Slower:
        return SetSpeed(Speeds::Changed(m_transport.Speed(), 1 / keyFactor));
    case Command::Faster:
        return SetSpeed(Speeds::Changed(m_transport.Speed(), keyFactor));
    case Command::HalfSpeed:
        return SetSpeed(Speeds::Changed(m_transport.Speed(), 0.5));
    case Command::DoubleSpeed:
        return SetSpeed(Speeds::Changed(m_transport.Speed(), 2));
    case Command::NormalSpeed:
        return SetSpeed(1);
    case Command::ShuttleBack:
        return m_transport.Shuttle(-1);
    case Command::ShuttleAhead:
        return m_transport.Shuttle(1);
    case Command::ShuttlePause:
        return m_transport.Now() == Transport::State::Playing ? m_transport.TogglePause() : void();
    case Command::MarkBegin:
        return Show(m_transport.MarkLoop(Transport::Mark::Begin));
    case Command::MarkEnd:
        return Show(m_transport.MarkLoop(Transport::Mark::End));
    case Command::ClearMarks:
        m_transport.ClearMarks();
        return Show("loop marks cleared");
    case Command::GoTo:
        return m_typed.Open();
    case Command::ToggleLoop:
        return Show(m_transport.ToggleLoop());
    case Command::ToggleFullScreen:
        return m_parts.window ? m_parts.window->ToggleFullScreen() : void();
    case Command::ZoomActual:
        return Show(m_magnifier.SetFactor(1));
    case Command::ZoomDouble:
        return Show(m_magnifier.SetFactor(2));
    case Command::ZoomFourfold:
        return Show(m_magnifier.SetFactor(4));
    case Command::ZoomFit:
        return Show(m_magnifier.SetFactor(0));
    case Command::TogglePixel:
        m_showsPixel = !m_showsPixel;
        return Show(m_showsPixel ? "pixel values: pause, and point at a picture" : "no pixel values");
    case Command::Quieter:
        return SetVolume(m_volume - volumeStep, false);
    case Command::Louder:
        return SetVolume(m_volume + volumeStep, false);
    case Command::ToggleMute:
        return SetVolume(m_volume, !m_mute);
    default:
        return m_transport.Move(command);
    }
}

void EventLoop::SetSpeed(double speed) {
    m_transport.SetSpeed(speed);
    Show("speed " + Speeds::Format(m_transport.Speed()));
}

/// @param text as it was typed
void EventLoop::GoTo(const std::string& text) {
    const auto place = ReadPlace(text);
    if (!place) {
        return Show("no time and no #frame: " + text);
    }
    if (place->frame < 0) {
        return m_transport.GoTo(place->seconds);
    }
    const std::int64_t last = m_parts.timeline->FrameCount() - 1;
    if (last < 0) {
        return Show("the frames cannot be counted");
    }
    m_transport.GoToFrame(std::min(place->frame, last));
    if (place->frame > last) {
        Show("the last frame is #" + std::to_string(last));
    }
}

void EventLoop::SetVolume(int volume, bool mute) {
    m_volume = std::clamp(volume, 0, 100);
    m_mute = mute;
    m_parts.lasting.options.volume = m_volume;
    m_parts.lasting.options.mute = m_mute;
    if (m_parts.sound.IsOpen()) {
        m_parts.sound.SetGain(m_mute ? 0 : m_volume / 100.0);
    }
    Show(m_mute ? "mute" : "volume " + std::to_string(m_volume) + " %");
}

void EventLoop::ShowFacts() {
    m_parts.Say(m_parts.options.file + ": " + Describe(m_parts.file.facts));
    for (std::size_t i = 0; i < m_parts.options.compare.size(); ++i) {
        const Comparison::Other& other = m_parts.comparison->At(i);
        m_parts.Say(other.name + ": " + Describe(other.file.facts));
    }
    m_parts.DescribePictures([this](const std::string& line) { m_parts.Say(line); });
}

void EventLoop::GoToFile(int direction) {
    if (!m_parts.lasting.hasAnother(direction)) {
        return Show(direction > 0 ? "this is the last file" : "this is the first file");
    }
    Leave(ExitPlayed, "skipped");
    m_turn = direction;
}

/// @return what has become of it, for people
std::string EventLoop::ChooseNextTrack() {
    kq::streams::MediaFacts& facts = m_parts.file.facts;
    if (!m_parts.IsHeard()) {
        return "no sound is played";
    }
    const auto count = static_cast<int>(facts.audioTracks.size());
    if (count < 2) {
        return "there is one sound track";
    }
    const int track = facts.audioTrack % count + 1;
    std::string error;
    if (!kq::streams::HearTrack(*m_parts.timeline, track, error)) {
        m_parts.Notice(error);
        return "sound track " + std::to_string(facts.audioTrack) + " goes on";
    }
    facts.audioTrack = track;
    return "sound track " + std::to_string(track) + "/" + std::to_string(count) + ": " +
           facts.audioTracks[static_cast<std::size_t>(track - 1)];
}

/// Puts a word in the progress line for a while.
void EventLoop::Show(const std::string& note) {
    m_note = note;
    m_noteUntil = MonotonicMicroseconds() + noteTime;
}

void EventLoop::Leave(ExitStatus status, const char* ending) {
    m_status = status;
    m_ending = ending;
    m_turn = 0;
}

/// The device's clock stands still, and pictures would wait for it for ever: a new run follows the wall
/// clock.
void EventLoop::GoOnWithoutSound() {
    m_parts.Notice("the audio device has gone" +
                   std::string(m_parts.file.video ? ": playing on without sound" : ""));
    const Transport::Place place = m_transport.Interrupt();
    m_parts.player.SetAudio(nullptr);
    CloseSound();
    if (!m_parts.file.video) {
        return Leave(ExitFailed, "failed");
    }
    m_transport.GoOn(place);
}

/// Tells when a recording is not whole.
void EventLoop::CloseSound() {
    std::string error;
    if (!m_parts.sound.Close(error)) {
        m_parts.Fail(error);
        Leave(ExitFailed, "failed");
    }
}

TimelineBar EventLoop::CurrentBar() const {
    const auto partOf = [this](double seconds) { return m_transport.PartBefore(seconds).value_or(0); };
    TimelineBar bar;
    bar.played = partOf(m_transport.Position());
    for (const kq::streams::Timeline::Span& span : m_parts.timeline->KeptSpans()) {
        bar.kept.push_back({partOf(span.begin), partOf(span.end)});
    }
    for (const kq::measure::Differences::Span& span : m_differences.Found()) {
        bar.differing.push_back({partOf(span.begin), partOf(span.end)});
    }
    if (m_transport.IsPartRepeated()) {
        const PlayRange range = m_transport.Repeated();
        bar.repeated = {partOf(range.begin), partOf(range.end)};
    }
    return bar;
}

Progress EventLoop::CurrentProgress(const char* state) {
    Progress progress;
    progress.state = state;
    progress.position = m_transport.Position();
    progress.length = m_transport.Length();
    const kq::streams::PicturePlace picture = m_parts.navigation->PictureOnShow();
    progress.frame = picture.number;
    progress.frameTime = picture.time;
    progress.frameRate = m_parts.file.facts.frameRate;
    progress.speed = m_transport.Speed();
    progress.beside = m_parts.comparison ? m_parts.comparison->Text() : "";
    if (m_parts.showsLate) {
        progress.late = m_parts.monitor->LateCount();
    }
    if (m_typed.IsOpen() && !m_ending) {
        progress.note = "go to: " + m_typed.Text();
    } else if (MonotonicMicroseconds() < m_noteUntil && !m_ending) {
        progress.note = m_note;
    } else if (m_showsPixel && !m_ending && m_transport.Now() == Transport::State::Paused &&
               !m_parts.navigation->IsUnderWay()) {
        progress.pixel = m_magnifier.DescribePixel();
    }
    return progress;
}

} // namespace kqplay
