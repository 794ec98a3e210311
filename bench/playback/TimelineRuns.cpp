// Loops and reverse as kqplay plays them, reverse beside a general-purpose player on the same X server.
#include "Measured.h"

#include <host/kqplay/LateFrames.h>
#include <tests/support/Xvfb.h>

#include <algorithm>

namespace bench {
namespace {

using Words = std::vector<std::string>;

/// @return milliseconds at which the pictures came
std::vector<double> Trace(Words command, Usage& usage) {
    const std::string trace = Scratch("timeline.trace");
    command.insert(command.begin(), {Kqplay(), "--trace", trace});
    usage = Run(command);
    return PictureTimes(trace);
}

/// The time from the last picture of a round to the first of the next, which is to be one period. Without
/// sound a period of whole steps of the wall clock, 10 ms, is measured.
void MeasureJoints() {
    constexpr int rounds = 10;
    const struct {
        const char* name;
        std::string clip;
        int rate;
        Words sound;
    } cases[] = {{"25 Hz, without sound", Clip1080p25(25), 25, {"--no-audio"}},
                 {"60 Hz, with sound", FlashClip(10, 2), 60, {"--audio", "null"}}};
    Print("Joints of %d rounds of one second each; milliseconds\n", rounds);
    Print("%-24s %9s %9s %9s %9s %9s %9s\n", "", "pictures", "joints", "period", "smallest", "median",
          "largest");
    for (const auto& [name, clip, rate, sound] : cases) {
        Words command = {"--headless",           "--start", "2", "--length", "1", "--loop-count",
                         std::to_string(rounds), clip};
        command.insert(command.end(), sound.begin(), sound.end());
        Usage usage;
        const std::vector<double> came = Trace(command, usage);
        std::vector<double> joints;
        for (auto n = static_cast<std::size_t>(rate); n < came.size(); n += static_cast<std::size_t>(rate)) {
            joints.push_back(came[n] - came[n - 1]);
        }
        Print("%-24s %9zu %9zu %9.1f %9.1f %9.1f %9.1f\n", name, came.size(), joints.size(), 1000.0 / rate,
              Percentile(joints, 0), Percentile(joints, 0.5), Percentile(joints, 1));
    }
    Print("\n");
}

void PrintRun(const char* name, const Usage& usage) {
    Print("%-16s %9.2f s %9.2f s %6.0f MB  %s", name, usage.elapsed, usage.processor, usage.peak,
          usage.ran ? "" : "FAILED");
}

void MeasureReverse() {
    constexpr double period = 40;
    constexpr double begin = 1500; ///< from here on no picture is to be late
    constexpr double bound = 20;
    const kqtest::Xvfb server({"-screen", "0", "1920x1080x24"});
    const std::string clip = Clip1080p25(250);
    Print("Ten seconds backwards, 1920x1080 at 25 Hz, a key frame every 250\n");
    Print("%-16s %11s %11s %9s\n", "", "elapsed", "user+sys", "peak");
    Usage usage;
    std::vector<double> came =
        Trace({"--no-audio", "--reverse", "--start", "5", "--length", "10", clip}, usage);
    PrintRun("kqplay", usage);
    const std::size_t all = came.size();
    const double first = came.empty() ? 0 : came.front();
    came.erase(came.begin(), std::find_if(came.begin(), came.end(),
                                          [first](double time) { return time - first >= begin; }));
    const std::vector<double> delays = kqplay::DelaysAfterMostPunctual(came, period);
    Print("%zu pictures, %ld of the last %zu more than %.0f ms late\n", all,
          static_cast<long>(
              std::count_if(delays.begin(), delays.end(), [](double delay) { return delay > bound; })),
          delays.size(), bound);
    if (IsInstalled("mpv")) {
        PrintRun("mpv --vo=x11",
                 Run({"mpv", "--no-config", "--vo=x11", "--framedrop=no", "--hwdec=no", "--no-audio",
                      "--really-quiet", "--play-dir=backward", "--start=15", "--end=5", clip}));
        Print("\n");
    }
    Print("\n");
}

} // namespace

void MeasureTimeline() {
    MeasureJoints();
    MeasureReverse();
}

} // namespace bench
