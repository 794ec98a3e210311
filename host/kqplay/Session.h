/// @file
/// One run of the program: a file, a player, and everything that watches and drives it.
#pragma once

#include "AudioOutput.h"
#include "ComponentOutput.h"
#include "Navigation.h"
#include "Options.h"
#include "Player.h"
#include "ProgressLine.h"
#include "RunMonitor.h"
#include "SignalInbox.h"
#include "Terminal.h"
#include "TraceWriter.h"
#include "VideoWindow.h"
#include "ViewLibrary.h"

#include <kqplayer/media_file.h>

#include <memory>
#include <optional>
#include <string>

namespace kqplay {

/// Everything between the command line and the exit status, on the main thread.
class Session {
public:
    explicit Session(const Options& options);
    ~Session();

    /// Plays. @return the exit status; errors have been printed
    int Run();

private:
    enum class Transport { Playing, Paused, Stopped };

    int DrawContactSheet();

    // Setting up, in this order. Each step prints its error and returns false.
    bool OpenLogAndTrace();
    bool OpenFile();
    bool OpenSecond();
    bool TakeCaptures();
    bool OpenSound();
    bool OpenPlayer();
    bool OpenView();

    // The event loop and its steps.
    int Loop();
    void Wait();
    void TakeSignals();
    void Suspend();
    void TakeCommands();
    void TakeEnd();
    void WatchSoundDevice();
    void CloseSound();
    void ShowProgress();

    // What the steps do.
    void Obey(Command command);
    void Move(Command command);
    void SetRange(double begin);
    void Start(double begin);
    bool WaitForPause();
    void TogglePause();
    void StepForward();
    void StepBackward();
    void Stop();
    void SetVolume(int volume, bool mute);
    void ToggleLoop();
    void TakeScreenshot();
    void ShowFacts();
    void Show(const std::string& note);
    void Say(const std::string& line);
    void Leave(ExitStatus status, const char* ending);
    void GoOnWithoutSound();

    void* OpenWindow(int width, int height);
    int ViewCount() const;
    bool SavePicture(const MEDIA_FRAME* frame, const std::string& path);
    bool SavePictures(const MEDIA_FRAME* frame, const std::string& path);
    Progress CurrentProgress(const char* state);
    bool Fail(const std::string& reason);
    bool FailFile(const std::string& reason) { return Fail(m_options.file + ": " + reason); }
    void Notice(const std::string& text) { Fail(text); }

    const Options m_options;
    SignalInbox m_signals; ///< before anything that starts a thread
    ComponentOutput m_output;
    TraceWriter m_trace;
    kq::streams::MediaFile m_file;
    kq::streams::MediaFile m_second; ///< what the second view shows beside m_file, if anything
    AudioOutput m_sound;
    std::unique_ptr<VideoWindow> m_window;
    ViewLibrary m_viewLibrary;
    Player m_player; ///< goes before the window that its view lives in, and before the sound device
    std::optional<RunMonitor> m_monitor;
    std::optional<Navigation> m_navigation;
    std::optional<ProgressLine> m_progress;
    std::optional<Terminal> m_terminal;

    Transport m_transport = Transport::Stopped;
    double m_rangeBegin = 0;  ///< seconds in the file
    double m_rangeLength = 0; ///< seconds; 0 for unknown
    bool m_loop;
    bool m_mute;
    int m_volume;
    bool m_showsLate = false;
    bool m_steppedOut = false; ///< stopped by a step past the last picture, which is still on show
    std::string m_note;
    std::int64_t m_noteUntil = 0;
    bool m_keysTyped = false;
    const char* m_ending = nullptr; ///< how it ended, once it has
    ExitStatus m_status = ExitPlayed;
};

} // namespace kqplay
