/// @file
/// The command line.
#pragma once

#include "ContactSheet.h"
#include "InfoText.h"

#include <kqplayer/scope.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace kqplay {

/// Exit statuses of the program.
enum ExitStatus : int {
    ExitPlayed = 0, ///< played to the end, or quit
    ExitFailed = 1, ///< the file, or something it needs, cannot be opened or played
    ExitUsage = 2,  ///< the command line is wrong
};

/// Where sound goes.
enum class AudioTarget {
    Off,  ///< the audio stream is not opened; pictures follow the wall clock
    Auto, ///< the default device
    Null, ///< a device without a sound that runs in real time
    Wav,  ///< a file
};

/// A picture that is to be written.
struct CaptureRequest {
    double seconds = 0; ///< in the file
    std::string path;   ///< with the extension of a known format
};

/// What the user asked for.
struct Options {
    std::string file;
    double start = 0;                  ///< seconds
    std::optional<double> length;      ///< seconds; none: up to the end
    std::optional<std::int64_t> frame; ///< begin at the picture with this number, counted from 0
    double speed = 1;                  ///< below 0 backwards, from the end of the range or from `frame`
    bool loop = false;
    int loopCount = 0; ///< how often the range is played; 0: for ever
    bool video = true;
    bool headless = false;
    int views = 1;
    InfoLevel info = InfoLevel::Off;             ///< on the pictures and on contact sheets
    std::optional<kq::streams::ScopeKind> scope; ///< beside the pictures
    std::string compare;                         ///< second file, or empty
    std::string filter;                          ///< FFmpeg filter graph of the second view, or empty
    std::vector<CaptureRequest> captures;
    ContactSheetRequest contactSheet;
    AudioTarget audio = AudioTarget::Auto;
    int audioTrack = 0;  ///< of the file, counted from 1; 0: the best one
    std::string wavPath; ///< with AudioTarget::Wav
    int volume = 100;    ///< percent
    bool mute = false;
    std::string trace; ///< path, or empty
    std::string log;   ///< path, or empty
    bool traceHash = false;
    bool doctor = false; ///< no file is played: what kqplay runs on is examined
    bool verbose = false;
};

/// Reads the command line. Help, version and usage errors are printed here.
/// @return the exit status with which the program is to end now, or none to go on
std::optional<int> ParseOptions(int argc, const char* const* argv, Options& options);

} // namespace kqplay
