// How punctual pictures are: kqplay plays a 60 Hz clip off-screen, and its trace tells when each one came.
#include "Measured.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>

namespace bench {
namespace {

constexpr double rate = 60;
constexpr double tick = 10; ///< milliseconds; the wall clock of the component moves in these steps

/// @return milliseconds at which the pictures of a trace came, the last, black one left out
std::vector<double> PictureTimes(const std::string& path) {
    std::vector<double> times;
    std::ifstream trace(path);
    for (std::string line; std::getline(trace, line);) {
        long long time = 0;
        if (line.find("\"ev\":\"picture\"") != std::string::npos &&
            std::sscanf(line.c_str(), "{\"t_us\":%lld", &time) == 1)
            times.push_back(static_cast<double>(time) / 1000);
    }
    if (!times.empty())
        times.pop_back();
    return times;
}

/// Delays of the pictures after the ticks at which they were due. Ticks lie at whole multiples of the clock's
/// step.
std::vector<double> AfterDueTick(const std::vector<double>& times) {
    std::vector<double> delays;
    for (std::size_t i = 0; i < times.size(); ++i) {
        const double due = std::floor(static_cast<double>(i) * 1000 / rate + 0.5);
        delays.push_back(times[i] - std::ceil(due / tick) * tick);
    }
    const double start = std::floor(Percentile(delays, 0) / tick) * tick;
    for (double& delay : delays)
        delay -= start;
    return delays;
}

/// Delays of the pictures against a steady clock, from the most punctual one.
std::vector<double> AfterMostPunctual(const std::vector<double>& times) {
    std::vector<double> delays;
    for (std::size_t i = 0; i < times.size(); ++i)
        delays.push_back(times[i] - static_cast<double>(i) * 1000 / rate);
    const double start = Percentile(delays, 0);
    for (double& delay : delays)
        delay -= start;
    return delays;
}

std::vector<double> Intervals(const std::vector<double>& times) {
    std::vector<double> intervals;
    for (std::size_t i = 1; i < times.size(); ++i)
        intervals.push_back(times[i] - times[i - 1]);
    return intervals;
}

void PrintRow(const char* name, const std::vector<double>& times, const std::vector<double>& delays) {
    const std::vector<double> intervals = Intervals(times);
    const auto pairs = std::count_if(intervals.begin(), intervals.end(), [](double ms) { return ms < 5; });
    Print("%-34s %5zu  %6.1f %6.1f %6.1f %6.1f  %6.1f %6.1f %6.1f %6.1f  %5ld\n", name, times.size(),
          Percentile(delays, 0.5), Percentile(delays, 0.95), Percentile(delays, 0.99), Percentile(delays, 1),
          Percentile(intervals, 0), Percentile(intervals, 0.01), Percentile(intervals, 0.99),
          Percentile(intervals, 1), static_cast<long>(pairs));
}

} // namespace

void MeasurePacing() {
    const std::string clip =
        MakeClip("pacing.mp4", {"-f",      "lavfi",    "-i",       "testsrc2=size=640x360:rate=60",
                                "-f",      "lavfi",    "-i",       "sine=frequency=440:sample_rate=48000",
                                "-t",      "10",       "-c:v",     "libx264",
                                "-preset", "veryfast", "-pix_fmt", "yuv420p",
                                "-c:a",    "aac",      "-ac",      "2"});
    const std::string trace = Scratch("pacing.trace");
    Print("Pacing: 600 pictures at 60 Hz, off-screen; milliseconds\n");
    Print("%-34s %5s  %-27s  %-27s  %5s\n", "", "shown", "late: p50   p95    p99    max",
          "between: min p1     p99    max", "pairs");
    Run({Kqplay(), "--headless", "--no-audio", "--trace", trace, clip});
    const std::vector<double> silent = PictureTimes(trace);
    PrintRow("without sound, after the due tick", silent, AfterDueTick(silent));
    Run({Kqplay(), "--headless", "--audio", "null", "--trace", trace, clip});
    const std::vector<double> sounding = PictureTimes(trace);
    PrintRow("with sound, after the earliest", sounding, AfterMostPunctual(sounding));
    Print("\n");
}

} // namespace bench
