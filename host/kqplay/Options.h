/// @file
/// The command line.
#pragma once

#include "ContactSheet.h"
#include "InfoText.h"
#include "ViewLayout.h"

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
    ExitNotMet = 3, ///< what was measured or verified is not as good as it has to be
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

/// How files are measured instead of played.
struct MeasureOptions {
    std::string report;            ///< path; empty: nothing is measured
    std::optional<double> minPsnr; ///< dB that the luma of every pair has to reach
    std::optional<double> minSsim; ///< likewise
    std::string worstSheet;        ///< picture of the worst pairs, or empty

    bool HasLimits() const { return minPsnr || minSsim; }
};

/// How a file is moved about in instead of played.
struct VerifyOptions {
    int count = 1000; ///< movements
    std::uint32_t seed = 1;
    bool isAsked = false;
};

/// A file beside the first.
struct ComparedFile {
    std::string path;
    std::int64_t offset = 0; ///< in its pictures
};

/// By what the offset between two files is found.
enum class AlignBy { Picture, Sound };

/// What the user asked for.
struct Options {
    /// @return true when something stands beside the file
    bool IsComparison() const { return !compare.empty() || !filter.empty(); }

    std::vector<std::string> files;    ///< one after the other
    std::string file;                  ///< the one that is played, the first of these at first
    double start = 0;                  ///< seconds
    std::optional<double> length;      ///< seconds; none: up to the end
    std::optional<std::int64_t> frame; ///< begin at the picture with this number, counted from 0
    double speed = 1;                  ///< below 0 backwards, from the end of the range or from `frame`
    bool loop = false;
    int loopCount = 0; ///< how often the range is played; 0: for ever
    bool video = true;
    bool headless = false;
    bool wayland = false; ///< also where there is an X server
    int views = 1;
    InfoLevel info = InfoLevel::Off;             ///< on the pictures and on contact sheets
    std::optional<kq::streams::ScopeKind> scope; ///< beside the pictures
    std::vector<ComparedFile> compare;           ///< what stands beside the file, if anything
    Layout layout = Layout::Side;                ///< with something beside the file
    std::optional<AlignBy> align;                ///< how offsets are found, if at all
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
    MeasureOptions measure;
    VerifyOptions verify;
    bool doctor = false; ///< no file is played: what kqplay runs on is examined
    bool verbose = false;
};

/// Reads the command line. Help, version and usage errors are printed here.
/// @return the exit status with which the program is to end now, or none to go on
std::optional<int> ParseOptions(int argc, const char* const* argv, Options& options);

} // namespace kqplay
