#include "Session.h"

#include <poll.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>

namespace kqplay {
namespace {

/// The wall clock that paces silent playback moves in steps of this many seconds.
constexpr double wallClockStep = 0.010;

/// The progress line and the look at the sound device come this often, in milliseconds.
constexpr int refreshPeriod = 100;

/// Decoded frames wait in queues of this size: an eighth of a second of 1080p60 in planar 4:2:0.
constexpr std::size_t queueBytes = std::size_t{24} << 20;

/// Size of the picture as it is to be seen: the width follows the display aspect ratio.
void DisplaySize(IMediaStream* video, int& width, int& height) {
    ComPtr<IStreamInfo> info;
    const VIDEO_STREAM_INFO* format = nullptr;
    if (video->GetStreamInfo(info.Out()) == kq::Ok)
        format = info->GetVideoFormat();
    if (!format)
        return;
    width = std::abs(format->nWidth);
    height = std::abs(format->nHeight);
    if (format->nAspectX > 0 && format->nAspectY > 0)
        width = static_cast<int>(static_cast<double>(height) * format->nAspectX / format->nAspectY + 0.5);
}

void HandOverPicture(void*, int view, int width, int height, const unsigned char* pixels, void* monitor) {
    static_cast<RunMonitor*>(monitor)->OnPicture(view, width, height, pixels);
}

} // namespace

Session::~Session() {
    if (m_monitor)
        m_monitor->Halt();
    m_viewLibrary.SetPictureSink(nullptr, nullptr); // before the monitor goes
    m_player.Close();
    m_file.Release();
}

int Session::Run() {
    if (!OpenLogAndTrace() || !OpenFile() || !OpenSound() || !OpenPlayer() || !OpenView())
        return ExitFailed;
    m_terminal.emplace();
    Start(m_options.start);
    return Loop();
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

bool Session::OpenSound() {
    if (!m_file.audio)
        return true;
    std::string error;
    if (m_sound.Open(m_file.facts.sampleRate, m_output, error)) {
        m_sound.SetGain(m_options.mute ? 0 : m_options.volume / 100.0);
        return true;
    }
    if (!m_file.video)
        return FailFile("no audio device (" + error + "), and no pictures to show");
    Notice("no audio device (" + error + "): playing without sound");
    return true;
}

bool Session::OpenPlayer() {
    m_monitor.emplace(m_player, m_trace, m_sound.IsOpen() ? m_sound.Period() : wallClockStep);
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
    if (!m_player.CreateView(parent, width, height))
        return FailFile("cannot show pictures: " + m_viewLibrary.WhyNoView());
    if (!m_player.SetVideo(m_file.video))
        return FailFile("the pictures have no known format");
    if (m_window)
        m_window->Adopt(m_player.ViewWindow());
    m_showsLate = m_viewLibrary.SetPictureSink(HandOverPicture, &*m_monitor);
    if (!m_showsLate && m_trace.IsOpen())
        Notice("PlayerView.so hands no pictures out: the trace has none");
    return true;
}

/// @return the parent for the view; its size goes to @p width and @p height
void* Session::OpenWindow(int& width, int& height) {
    if (m_options.headless)
        return Player::OffScreen();
    const std::string name = std::filesystem::path(m_options.file).filename().string();
    std::string error;
    m_window = VideoWindow::Open(name + " - kqplay", width, height, error);
    if (!m_window) {
        Notice("no window (" + error + "): playing off-screen");
        return Player::OffScreen();
    }
    width = m_window->Width();
    height = m_window->Height();
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
    poll(sources, std::size(sources), refreshPeriod);
    m_monitor->ClearWake();
    m_keysTyped = sources[2].revents != 0;
}

void Session::TakeSignals() {
    while (const auto signal = m_signals.Take()) {
        if (*signal == SIGTSTP)
            m_terminal->Suspend();
        else
            Leave(ExitPlayed, "quit");
    }
}

void Session::TakeCommands() {
    if (m_keysTyped) {
        for (Command command : m_terminal->Take())
            Obey(command);
    }
    if (m_window) {
        for (Command command : m_window->Take())
            Obey(command);
    }
}

/// Leaves when the run has ended by itself.
void Session::TakeEnd() {
    if (m_transport != Transport::Stopped && !m_monitor->IsRunning())
        Leave(ExitPlayed, "played");
}

void Session::WatchSoundDevice() {
    if (!m_ending && m_sound.IsOpen() && !m_sound.IsConnected())
        GoOnWithoutSound();
}

void Session::ShowProgress() {
    constexpr const char* names[] = {"playing", "paused", "stopped"};
    m_progress->Show(CurrentProgress(names[static_cast<int>(m_transport)]));
}

void Session::Obey(Command command) {
    switch (command) {
    case Command::TogglePause:
        return TogglePause();
    case Command::Stop:
        return Stop();
    case Command::Quit:
        return Leave(ExitPlayed, "quit");
    case Command::None:
        break;
    }
}

/// @param begin seconds in the file
void Session::Start(double begin) {
    std::optional<double> length = m_options.length;
    if (length)
        length = std::max(0.0, *length - (begin - m_options.start));
    m_rangeBegin = begin;
    m_player.SetRange(begin, length);
    if (m_monitor->Begin(m_options.loop))
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

void Session::Stop() {
    m_monitor->Halt();
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
    m_sound.Close();
    if (!m_file.video)
        return Leave(ExitFailed, "failed");
    if (before == Transport::Stopped)
        return;
    Start(m_options.loop ? m_options.start : position); // a loop's next rounds begin where this one does
    if (before == Transport::Paused)
        TogglePause();
}

Progress Session::CurrentProgress(const char* state) const {
    Progress progress;
    progress.state = state;
    progress.position = m_rangeBegin + m_monitor->Position();
    progress.length = m_player.MovieLength();
    if (progress.length > 0) // the player waits a second for more sound before it calls that the end
        progress.position = std::min(progress.position, progress.length);
    if (m_showsLate)
        progress.late = m_monitor->LateCount();
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
