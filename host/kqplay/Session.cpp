#include "Session.h"

#include "Keys.h"
#include "Picture.h"
#include "VideoSize.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>

namespace kqplay {
namespace {

/// The wall clock that paces silent playback moves in steps of this many seconds.
constexpr double wallClockStep = 0.010;

/// The progress line and the look at the sound device come this often, in milliseconds.
constexpr int refreshPeriod = 100;

/// The player takes anything shorter, in seconds, for no limit.
constexpr double shortestRange = 0.002;

/// A note stays this long in the progress line, in microseconds.
constexpr std::int64_t noteTime = 2'000'000;

/// A step waits this long for the run to enter its pause, in milliseconds.
constexpr int longestPause = 2000;

constexpr double smallStep = 5;
constexpr double largeStep = 60;
constexpr int volumeStep = 5;

/// Decoded frames wait in queues of this size: an eighth of a second of 1080p60 in planar 4:2:0.
constexpr std::size_t queueBytes = std::size_t{24} << 20;

/// @return a name in the current folder that no file has: "clip-0003.120.png", then "clip-0003.120_2.png"
std::string FreeName(const std::string& file, double seconds, const std::vector<std::string>& suffixes) {
    char time[32];
    std::snprintf(time, sizeof time, "-%08.3f", std::max(0.0, seconds));
    const std::string stem = std::filesystem::path(file).stem().string() + time;
    for (int attempt = 1;; ++attempt) {
        std::string name = stem + (attempt > 1 ? "_" + std::to_string(attempt) : "") + ".png";
        std::error_code ignored;
        const bool taken = std::any_of(suffixes.begin(), suffixes.end(), [&](const std::string& suffix) {
            return std::filesystem::exists(
                std::filesystem::symlink_status(WithSuffix(name, suffix), ignored));
        });
        if (!taken)
            return name;
    }
}

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
    return all;
}

void HandOverPicture(void*, int view, int width, int height, const unsigned char* pixels, void* monitor) {
    static_cast<RunMonitor*>(monitor)->OnPicture(view, width, height, pixels);
}

} // namespace

Session::Session(const Options& options)
    : m_options(options), m_loop(options.loop), m_mute(options.mute), m_volume(options.volume) {}

Session::~Session() {
    if (m_monitor)
        m_monitor->Halt();
    m_viewLibrary.SetPictureSink(nullptr, nullptr); // before the monitor goes
    m_player.Close();
    m_second.Release();
    m_file.Release();
}

int Session::Run() {
    if (!OpenLogAndTrace())
        return ExitFailed;
    if (!m_options.contactSheet.path.empty())
        return DrawContactSheet();
    if (!OpenFile() || !OpenSecond() || !TakeCaptures() || !OpenSound() || !OpenPlayer() || !OpenView())
        return ExitFailed;
    m_terminal.emplace();
    Start(m_options.start);
    return Loop();
}

/// Draws the overview instead of playing. @return the exit status
int Session::DrawContactSheet() {
    kq::streams::OpenOptions how;
    how.audio = false;
    how.queueBytes = 1; // what lies behind a picture is not wanted
    how.filter = m_options.filter;
    how.log = [this](const std::string& line) { m_output.Note(line); };
    std::string error;
    if (!kq::streams::OpenMediaFile(m_options.file, how, m_file, error)) {
        Fail(error);
        return ExitFailed;
    }
    const ContactSheetRequest& request = m_options.contactSheet;
    const int all = request.columns * request.rows;
    const double left = std::max(0.0, m_file.facts.duration - m_options.start);
    ContactSheet sheet(*m_file.video, m_options.start, std::min(m_options.length.value_or(left), left),
                       request);
    const bool drawn = sheet.Draw(
        [&](int done) {
            m_progress->ShowBar("contact sheet", done, all);
            return !m_signals.Take();
        },
        error);
    m_progress->Clear();
    if (!drawn && error.empty())
        return ExitPlayed;
    if (!drawn || !sheet.Save(m_output, error)) {
        Fail(error);
        return ExitFailed;
    }
    Say("contact sheet of " + std::to_string(all) + " pictures: " + request.path);
    return ExitPlayed;
}

bool Session::OpenLogAndTrace() {
    std::string error;
    if (!m_output.Redirect(m_options.log, m_options.verbose, error))
        return Fail(error);
    m_progress.emplace(m_output.Screen(), m_options.verbose);
    return m_options.trace.empty() || m_trace.Open(m_options.trace, m_options.traceHash, error) ||
           Fail(error);
}

bool Session::OpenFile() {
    std::string error;
    // Sound settings go to the environment, which may not change once decoders run on threads of their own.
    if (m_options.audio != AudioTarget::Off && !m_sound.Configure(m_options, error))
        return Fail(error);
    kq::streams::OpenOptions how;
    how.video = m_options.video;
    how.audio = m_options.audio != AudioTarget::Off;
    how.queueBytes = queueBytes;
    how.log = [this](const std::string& line) { m_output.Note(line); };
    return kq::streams::OpenMediaFile(m_options.file, how, m_file, error) || Fail(error);
}

/// Opens what the second view shows beside the file, if it is to show anything else.
bool Session::OpenSecond() {
    if (m_options.compare.empty() && m_options.filter.empty())
        return true;
    if (!m_file.video)
        return FailFile("no pictures to show beside others");
    kq::streams::OpenOptions how;
    how.queueBytes = queueBytes;
    how.filter = m_options.filter;
    how.log = [this](const std::string& line) { m_output.Note(line); };
    const std::string& path = m_options.filter.empty() ? m_options.compare : m_options.file;
    std::string error;
    return kq::streams::OpenFollower(path, *m_file.video, how, m_second, error) || Fail(error);
}

/// Before playing, so that nothing of it shows in the trace and no picture waits for its time.
bool Session::TakeCaptures() {
    for (const CaptureRequest& request : m_options.captures) {
        if (!m_file.video)
            return FailFile("no pictures to capture");
        m_file.video->Seek(request.seconds, kq::ExactSeek);
        if (!SavePictures(m_file.video->GetCurrentFrame(), request.path))
            return false;
    }
    return true;
}

/// @param frame of the reference; the second view's own follows it
bool Session::SavePictures(const MEDIA_FRAME* frame, const std::string& path) {
    if (!m_second.video)
        return SavePicture(frame, path);
    return SavePicture(frame, WithSuffix(path, "-1")) &&
           SavePicture(m_second.video->GetCurrentFrame(), WithSuffix(path, "-2"));
}

bool Session::SavePicture(const MEDIA_FRAME* frame, const std::string& path) {
    if (!frame)
        return Fail(path + ": there is no picture to write");
    Picture picture;
    if (!picture.Take(*frame))
        return Fail(path + ": no memory for the picture");
    std::string error;
    return picture.Save(path, m_output, error) || Fail(error);
}

bool Session::OpenSound() {
    if (!m_file.audio)
        return true;
    std::string error;
    if (m_sound.Open(m_file.facts.sampleRate, m_output, error)) {
        m_sound.SetGain(m_mute ? 0 : m_volume / 100.0);
        return true;
    }
    if (m_sound.IsRecording())
        return Fail(m_options.wavPath + ": cannot be recorded to: " + error);
    if (!m_file.video)
        return FailFile("no audio device (" + error + "), and no pictures to show");
    Notice("no audio device (" + error + "): playing without sound");
    return true;
}

bool Session::OpenPlayer() {
    m_monitor.emplace(m_player, m_trace, m_sound.IsOpen() ? m_sound.Period() : wallClockStep);
    m_navigation.emplace(m_player, *m_monitor);
    m_navigation->SetVideo(m_file.video);
    std::string error;
    if (!m_player.Create(*m_monitor, error))
        return Fail(error);
    if (m_sound.IsOpen())
        m_player.SetAudio(m_file.audio);
    return true;
}

bool Session::OpenView() {
    if (!m_file.video)
        return true;
    int width = 1;
    int height = 1;
    DisplaySize(m_file.video, width, height);
    void* parent = OpenWindow(width, height);
    for (int i = 0; i < ViewCount(); ++i) {
        if (!m_player.CreateView(parent, width, height))
            return FailFile("cannot show pictures: " + m_viewLibrary.WhyNoView());
    }
    if (!m_player.SetVideo(m_file.video, m_second.video))
        return FailFile("the pictures have no known format");
    if (m_window)
        m_window->Adopt(m_player.ViewWindows());
    m_showsLate = m_viewLibrary.SetPictureSink(HandOverPicture, &*m_monitor);
    if (!m_showsLate && m_trace.IsOpen())
        Notice("PlayerView.so hands no pictures out: the trace has none");
    return true;
}

int Session::ViewCount() const {
    return m_second.video ? 2 : m_options.views;
}

/// @return the parent for the views, each of which would like to have this size
void* Session::OpenWindow(int width, int height) {
    if (m_options.headless)
        return kq::OffScreenParent();
    std::string name = std::filesystem::path(m_options.file).filename().string();
    if (!m_options.compare.empty())
        name += " | " + std::filesystem::path(m_options.compare).filename().string();
    if (!m_options.filter.empty())
        name += " | " + m_options.filter;
    std::string error;
    m_window = VideoWindow::Open(name + " - kqplay", width, height, ViewCount(), error);
    if (!m_window) {
        Notice("no window (" + error + "): playing off-screen");
        return kq::OffScreenParent();
    }
    return m_window->Handle();
}

int Session::Loop() {
    while (!m_ending) {
        Wait();
        TakeSignals();
        TakeCommands();
        TakeEnd();
        WatchSoundDevice();
        ShowProgress();
    }
    m_monitor->Halt();
    CloseSound();
    m_progress->Finish(CurrentProgress(m_ending));
    std::string error;
    return m_trace.Close(error) || Fail(error) ? m_status : ExitFailed;
}

/// Sleeps until something happens, or until the progress line is due.
void Session::Wait() {
    pollfd sources[] = {
        {m_signals.Fd(), POLLIN, 0},
        {m_monitor->Fd(), POLLIN, 0},
        {m_terminal->Fd(), POLLIN, 0},
        {m_window ? m_window->Fd() : -1, POLLIN, 0},
    };
    constexpr int keyPeriod = static_cast<int>(KeyDecoder::patience * 1000);
    poll(sources, std::size(sources), m_terminal->IsWaiting() ? keyPeriod : refreshPeriod);
    m_monitor->ClearWake();
    m_keysTyped = sources[2].revents != 0;
}

void Session::TakeSignals() {
    while (const auto signal = m_signals.Take()) {
        if (*signal == SIGTSTP)
            Suspend();
        else
            Leave(ExitPlayed, "quit");
    }
}

/// Play pauses meanwhile: its clock would go on, and what was due then would come all at once.
void Session::Suspend() {
    const bool wasPlaying = m_transport == Transport::Playing && WaitForPause();
    m_terminal->Suspend();
    if (wasPlaying)
        TogglePause();
}

void Session::TakeCommands() {
    for (Command command : m_terminal->Take(m_keysTyped))
        Obey(command);
    if (!m_window)
        return;
    for (Command command : m_window->Take())
        Obey(command);
    if (m_window->IsLost()) {
        Fail("the X server has gone");
        return Leave(ExitFailed, "failed");
    }
    if (const auto part = m_window->TakeTimelineClick()) {
        m_steppedOut = false;
        m_navigation->SeekTo(*part * m_rangeLength);
    }
}

/// Leaves when the run has ended by itself. One that was stepped past its last picture stays on it.
void Session::TakeEnd() {
    if (m_transport == Transport::Stopped || m_monitor->IsRunning())
        return;
    if (m_transport == Transport::Playing)
        return Leave(ExitPlayed, "played");
    m_transport = Transport::Stopped;
    m_steppedOut = true;
}

void Session::WatchSoundDevice() {
    if (m_ending || !m_sound.IsOpen() || m_sound.IsConnected())
        return;
    if (m_sound.IsRecording())
        Leave(ExitFailed, "failed"); // the reason comes when the file is closed
    else
        GoOnWithoutSound();
}

/// Tells when a recording is not whole.
void Session::CloseSound() {
    std::string error;
    if (!m_sound.Close(error)) {
        Fail(error);
        Leave(ExitFailed, "failed");
    }
}

void Session::ShowProgress() {
    constexpr const char* names[] = {"playing", "paused", "stopped"};
    m_progress->Show(CurrentProgress(names[static_cast<int>(m_transport)]));
    if (m_window && m_rangeLength > 0)
        m_window->ShowPosition(m_navigation->Position() / m_rangeLength);
}

void Session::Obey(Command command) {
    switch (command) {
    case Command::TogglePause:
        return TogglePause();
    case Command::Stop:
        return Stop();
    case Command::Quit:
        return Leave(ExitPlayed, "quit");
    case Command::StepForward:
        return StepForward();
    case Command::StepBackward:
        return StepBackward();
    case Command::Screenshot:
        return TakeScreenshot();
    case Command::ShowFacts:
        return ShowFacts();
    case Command::ShowKeys:
        return Say("Keys:\n" + DescribeKeys());
    case Command::ToggleLoop:
        return ToggleLoop();
    case Command::ToggleFullScreen:
        return m_window ? m_window->ToggleFullScreen() : void();
    case Command::Quieter:
        return SetVolume(m_volume - volumeStep, false);
    case Command::Louder:
        return SetVolume(m_volume + volumeStep, false);
    case Command::ToggleMute:
        return SetVolume(m_volume, !m_mute);
    default:
        return Move(command);
    }
}

void Session::Move(Command command) {
    m_steppedOut = m_steppedOut && command == Command::None;
    switch (command) {
    case Command::Back:
        return m_navigation->SeekBy(-smallStep);
    case Command::Ahead:
        return m_navigation->SeekBy(smallStep);
    case Command::FarBack:
        return m_navigation->SeekBy(-largeStep);
    case Command::FarAhead:
        return m_navigation->SeekBy(largeStep);
    case Command::ToBegin:
        return m_navigation->SeekTo(0);
    case Command::ToEnd:
        return m_navigation->SeekToEnd();
    default:
        break;
    }
}

/// @param begin seconds in the file
void Session::SetRange(double begin) {
    m_rangeBegin = begin;
    const double movie = m_player.MovieLength();
    m_rangeLength = movie > 0 ? std::max(shortestRange, movie - begin) : 0;
    bool isCut = false;
    if (m_options.length) {
        const double length = std::max(shortestRange, *m_options.length - (begin - m_options.start));
        isCut = length < m_rangeLength || m_rangeLength <= 0;
        m_rangeLength = isCut ? length : m_rangeLength;
    }
    m_player.SetRange(begin, m_rangeLength);
    m_navigation->SetRange(begin, m_rangeLength, isCut);
}

/// @param begin seconds in the file
void Session::Start(double begin) {
    SetRange(begin);
    m_steppedOut = false;
    if (m_monitor->Begin(m_loop))
        m_transport = Transport::Playing;
    else
        Leave(ExitFailed, "failed");
}

void Session::TogglePause() {
    switch (m_transport) {
    case Transport::Playing:
        m_monitor->Pause();
        m_transport = Transport::Paused;
        break;
    case Transport::Paused:
        m_monitor->Resume();
        m_transport = Transport::Playing;
        break;
    case Transport::Stopped:
        Start(m_options.start);
        break;
    }
}

/// Pauses first. A step past the last picture ends the run, which then stays on that picture.
void Session::StepForward() {
    if (m_steppedOut || !m_file.video)
        return;
    if (m_transport == Transport::Stopped) {
        m_monitor->Load(m_loop);
        m_transport = Transport::Paused;
        return;
    }
    if (WaitForPause())
        m_navigation->StepForward();
}

void Session::StepBackward() {
    if (!m_file.video)
        return;
    if (m_transport != Transport::Stopped && !WaitForPause())
        return;
    m_steppedOut = false;
    m_navigation->StepBackward();
}

/// Pauses play. @return true when the picture stands still
bool Session::WaitForPause() {
    if (m_transport == Transport::Playing)
        TogglePause();
    for (int i = 0; i < longestPause && !m_player.IsPaused() && m_monitor->IsRunning(); ++i)
        usleep(1000);
    return m_player.IsPaused();
}

void Session::SetVolume(int volume, bool mute) {
    m_volume = std::clamp(volume, 0, 100);
    m_mute = mute;
    if (m_sound.IsOpen())
        m_sound.SetGain(m_mute ? 0 : m_volume / 100.0);
    Show(m_mute ? "mute" : "volume " + std::to_string(m_volume) + " %");
}

void Session::ToggleLoop() {
    m_loop = !m_loop;
    m_monitor->SetLoop(m_loop);
    Show(m_loop ? "loop on" : "loop off");
}

void Session::TakeScreenshot() {
    if (!m_file.video)
        return;
    m_navigation->Arrive(); // the progress line shows the target already
    const MEDIA_FRAME* frame = m_player.CopyPicture();
    if (!frame)
        return Show("no picture");
    const std::vector<std::string> suffixes =
        m_second.video ? std::vector<std::string>{"-1", "-2"} : std::vector<std::string>{""};
    const std::string name =
        FreeName(m_options.file, static_cast<double>(frame->llPTS) / kq::TicksPerSecond, suffixes);
    if (!SavePictures(frame, name))
        return;
    std::string names;
    for (const std::string& suffix : suffixes)
        names += (names.empty() ? "" : ", ") + WithSuffix(name, suffix);
    Say("saved " + names);
}

void Session::ShowFacts() {
    Say(m_options.file + ": " + Describe(m_file.facts));
    if (!m_options.compare.empty())
        Say(m_options.compare + ": " + Describe(m_second.facts));
}

/// Puts a word in the progress line for a while.
void Session::Show(const std::string& note) {
    m_note = note;
    m_noteUntil = MonotonicMicroseconds() + noteTime;
}

/// Prints one line above the progress line.
void Session::Say(const std::string& line) {
    m_progress->Clear();
    dprintf(m_output.Screen(), "%s\n", line.c_str());
}

void Session::Stop() {
    m_navigation->Forget();
    m_monitor->Halt();
    m_steppedOut = false;
    m_transport = Transport::Stopped;
}

void Session::Leave(ExitStatus status, const char* ending) {
    m_status = status;
    m_ending = ending;
}

/// The device's clock stands still, and pictures would wait for it for ever: a new run follows the wall
/// clock.
void Session::GoOnWithoutSound() {
    Notice("the audio device has gone" + std::string(m_file.video ? ": playing on without sound" : ""));
    const Transport before = m_transport;
    const double position = m_rangeBegin + m_monitor->Position();
    Stop();
    m_player.SetAudio(nullptr);
    CloseSound();
    if (!m_file.video)
        return Leave(ExitFailed, "failed");
    if (before == Transport::Stopped)
        return;
    Start(m_loop ? m_options.start : position); // a loop's next rounds begin where this one does
    if (before == Transport::Paused)
        TogglePause();
}

Progress Session::CurrentProgress(const char* state) {
    Progress progress;
    progress.state = state;
    progress.position = m_rangeBegin + m_navigation->Position();
    progress.length = m_player.MovieLength();
    if (progress.length > 0) // play ends with the first position at or behind the end
        progress.position = std::min(progress.position, progress.length);
    if (m_showsLate)
        progress.late = m_monitor->LateCount();
    if (MonotonicMicroseconds() < m_noteUntil && !m_ending)
        progress.note = m_note;
    return progress;
}

/// Prints one line on standard error, beside the progress line. @return false
bool Session::Fail(const std::string& reason) {
    if (m_progress)
        m_progress->Clear();
    std::fprintf(stderr, "kqplay: %s\n", reason.c_str());
    return false;
}

} // namespace kqplay
