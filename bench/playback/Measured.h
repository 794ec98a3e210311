/// @file
/// What the measurements share: clips, programs that are run and measured, and percentiles.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace bench {

/// What a program used.
struct Usage {
    bool ran = false;     ///< it was there, and ended with status 0
    double processor = 0; ///< seconds, user and system
    double elapsed = 0;   ///< seconds
    double peak = 0;      ///< largest resident size, in megabytes
};

/// Starts a program, its output thrown away. @return the process, for the caller to wait for; -1 for none
pid_t Begin(const std::vector<std::string>& command);

/// Runs a program to its end, its output thrown away.
Usage Run(const std::vector<std::string>& command);

/// @return seconds, user and system, that a running process has used so far
double ProcessorTimeOf(pid_t process);

/// @return true when a program of that name can be run
bool IsInstalled(const std::string& program);

/// @return path of kqplay, which lies beside this program
std::string Kqplay();

/// Makes a clip with FFmpeg unless it is there already. @return its path
/// @throw std::runtime_error when FFmpeg fails
std::string MakeClip(const std::string& name, const std::vector<std::string>& options);

/// @return a path for a file that a measurement writes
std::string Scratch(const std::string& name);

/// @return milliseconds at which a view's pictures of a trace came, the last, refreshed one left out
std::vector<double> PictureTimes(const std::string& path, int view = 0);

/// @return a clip of 60 pictures a second that flashes and beeps once a second
/// @param pictures that a flash lasts, as does its beep
std::string FlashClip(int seconds, int pictures);

/// @return a clip of 20 seconds without sound
/// @param gop from one key frame to the next
std::string Clip1080p25(int gop);

/// What was seen and heard together.
struct Pairs {
    std::vector<double> offsets; ///< milliseconds by which pictures came after the sound
    int missed = 0;              ///< flashes without a beep
};
/// Finds each flash's beep.
/// @param flashes, beeps milliseconds
/// @param farApart from here on they belong to different seconds of the clip
Pairs PairUp(const std::vector<double>& flashes, const std::vector<double>& beeps, double farApart);

/// @param share 0 for the smallest to 1 for the largest value
double Percentile(std::vector<double> values, double share);

/// Writes to the standard output that the program was started with; what the component prints goes elsewhere.
__attribute__((format(printf, 1, 2))) void Print(const char* format, ...);
/// @param fd that standard output
void PrintTo(int fd);

// The measurements. Each prints its table.
void MeasurePacing();
void MeasureFlashAndBeep();
void MeasureProcessorTime();
void MeasureZoom();
void MeasureLayouts();
void MeasureTimeline();
void MeasureChanges();
void MeasureScopes();
void MeasureWayland();

} // namespace bench
