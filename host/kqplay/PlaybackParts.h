/// @file
/// What one run of the program is made of.
#pragma once

#include "AudioOutput.h"
#include "Comparison.h"
#include "ComponentOutput.h"
#include "Navigation.h"
#include "Options.h"
#include "Player.h"
#include "ProgressLine.h"
#include "RunMonitor.h"
#include "SignalInbox.h"
#include "StillPlayer.h"
#include "TraceWriter.h"
#include "VideoWindow.h"
#include "ViewLibrary.h"

#include <kqplayer/media_file.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace kqplay {

/// What is played of the file, in seconds in it.
struct PlayRange {
    double begin = 0;
    double end = kq::streams::Timeline::openEnd; ///< or where the file ends
};

/// What lasts while one file is played after the other. Goes after what belongs to a file.
struct LastingParts {
    explicit LastingParts(const Options& given) : options(given) {}

    Options options;     ///< loudness as the user has set it last, for the next file
    SignalInbox signals; ///< before anything that starts a thread
    ComponentOutput output;
    std::optional<ProgressLine> progress;
    TraceWriter trace;
    AudioOutput sound;
    bool isSoundConfigured = false;
    ViewLibrary viewLibrary;
    std::unique_ptr<VideoWindow> window; ///< none off-screen
    /// @return whether another file comes that way, 1 ahead or -1 back
    std::function<bool(int direction)> hasAnother = [](int) { return false; };
};

/// The parts that opening fills, and that transport and event loop then use. The main thread's. Goes in the
/// order that the parts need of each other: runs end first, and nothing is printed by then.
struct PlaybackParts {
    /// @param given outlives the parts
    /// @param file  that is played
    PlaybackParts(LastingParts& given, const std::string& file) : lasting(given), options(For(file)) {}
    ~PlaybackParts();
    PlaybackParts(const PlaybackParts&) = delete;
    PlaybackParts& operator=(const PlaybackParts&) = delete;

    /// Prints one line on standard error, beside the progress line. @return false
    bool Fail(const std::string& reason);
    /// The same about the file.
    bool FailFile(const std::string& reason) { return Fail(options.file + ": " + reason); }
    /// The same about something that play goes on without.
    void Notice(const std::string& text) { Fail(text); }
    /// @return the pictures of the file that is chosen beside the first, null for none
    IMediaStream* BesideVideo() const { return comparison ? comparison->Beside().file.video : nullptr; }
    /// @return whether the file's sound is played on the device
    bool IsHeard() const { return file.audio && sound.IsOpen(); }
    /// @return the number of the first view that is seen
    int FrontView() const { return comparison ? comparison->Front() : 0; }
    /// Has something that opens files hand on its notices, and give up when the program is to end.
    /// @param how OpenOptions, or a request of the like; the parts outlive it
    template <class How>
    void Watch(How& how) {
        how.givesUp = [this] { return signals.AsksForEnd(); };
        how.log = [this](const std::string& line) { output.Note(line); };
    }
    /// Tells of each file what it says of its current picture and how the picture is shown; waits for it.
    /// @param tell receives lines that begin with the file's name
    void DescribePictures(const std::function<void(const std::string&)>& tell) const;
    /// Prints text on the screen, above the progress line, and ends the line.
    void Say(const std::string& text);

    LastingParts& lasting;
    const Options options;
    SignalInbox& signals = lasting.signals;
    ComponentOutput& output = lasting.output;
    std::optional<ProgressLine>& progress = lasting.progress;
    TraceWriter& trace = lasting.trace;
    AudioOutput& sound = lasting.sound;
    std::unique_ptr<VideoWindow>& window = lasting.window;
    ViewLibrary& viewLibrary = lasting.viewLibrary;
    kq::streams::MediaFile file;
    std::shared_ptr<kq::streams::Timeline> timeline; ///< of the file
    std::optional<Comparison> comparison;            ///< with what stands beside the file, if anything
    std::optional<StillPlayer> stills;               ///< once a capture or screenshot has been taken
    int firstView = 0;                               ///< number of the player's first view within the process
    Player player;   ///< goes before the window that its view lives in, and before the sound device
    PlayRange range; ///< that the command line asks for
    std::optional<RunMonitor> monitor;
    std::optional<Navigation> navigation;
    bool showsLate = false; ///< pictures are watched, and late ones counted

private:
    Options For(const std::string& path) const {
        Options own = lasting.options;
        own.file = path;
        return own;
    }
};

} // namespace kqplay
