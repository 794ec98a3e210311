/// @file
/// What happens while a file plays: keys, clicks, signals, the end, and a sound device that goes away.
#pragma once

#include "Command.h"
#include "CompareControl.h"
#include "DifferenceSearch.h"
#include "InfoPanel.h"
#include "Magnifier.h"
#include "PlaybackParts.h"
#include "ScopePanel.h"
#include "Terminal.h"
#include "Transport.h"
#include "TypedPlace.h"

#include <string>

namespace kqplay {

/// Plays what has been opened, and waits on the main thread for whatever comes.
class EventLoop {
public:
    /// @param parts opened; they stay the caller's
    explicit EventLoop(PlaybackParts& parts);

    /// Plays until the end, or until the user quits. @return the exit status; errors have been printed
    ExitStatus Run();
    /// @return the way to the file that is played next: 1 ahead, -1 back, 0 to end the program
    int Turn() const { return m_turn; }

private:
    // The steps of each turn.
    void Wait();
    void TakeSignals();
    void Suspend();
    void TakeCommands();
    void RepeatHeldKey();
    void LookForDifference();
    void TakeEnd();
    void WatchSoundDevice();
    void ShowProgress();
    void ShowPanels();

    // What the steps do.
    void TakeKey(int key);
    void Obey(Command command);
    void SetSpeed(double speed);
    void GoTo(const std::string& text);
    void SetVolume(int volume, bool mute);
    void ShowFacts();
    void GoToFile(int direction);
    std::string ChooseNextTrack();
    void Show(const std::string& note);
    void Leave(ExitStatus status, const char* ending);
    void GoOnWithoutSound();
    void CloseSound();
    TimelineBar CurrentBar() const;
    Progress CurrentProgress(const char* state);

    PlaybackParts& m_parts;
    Transport m_transport;
    CompareControl m_compare;
    DifferenceSearch m_differences;
    Magnifier m_magnifier;
    InfoPanel m_info;
    ScopePanel m_scope;
    Terminal m_terminal;
    TypedPlace m_typed;
    bool m_mute;
    int m_volume;
    std::string m_note;
    std::int64_t m_noteUntil = 0;
    std::int64_t m_repeatAt = 0; ///< microseconds
    bool m_keysTyped = false;
    bool m_showsPixel = false;
    const char* m_ending = nullptr; ///< how it ended, once it has
    ExitStatus m_status = ExitPlayed;
    int m_turn = 0;
};

} // namespace kqplay
