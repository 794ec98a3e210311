// What playing in a window costs, beside a general-purpose player's software output on the same X server.
#include "Measured.h"

#include <tests/support/Xvfb.h>

#include <fstream>

namespace bench {
namespace {

constexpr int rounds = 3;

std::vector<std::string> TestPattern(const char* pattern) {
    return {"-f",      "lavfi",    "-i",       pattern,
            "-f",      "lavfi",    "-i",       "sine=frequency=440:sample_rate=48000",
            "-t",      "10",       "-c:v",     "libx264",
            "-preset", "veryfast", "-pix_fmt", "yuv420p",
            "-c:a",    "aac",      "-ac",      "2"};
}

/// The round with the median of the processor time.
Usage Median(std::vector<Usage> usages) {
    std::vector<double> times;
    for (const Usage& usage : usages)
        times.push_back(usage.processor);
    const double median = Percentile(times, 0.5);
    for (const Usage& usage : usages) {
        if (usage.processor == median)
            return usage;
    }
    return {};
}

int ShownPictures(const std::string& trace) {
    int count = -1; // the last one is black
    std::ifstream file(trace);
    for (std::string line; std::getline(file, line);)
        count += line.find("\"ev\":\"picture\"") != std::string::npos ? 1 : 0;
    return count;
}

void PrintRow(const std::string& name, const Usage& usage, const std::string& note) {
    Print("%-44s %6.2f s %6.0f MB %6.2f s  %s\n", name.c_str(), usage.processor, usage.peak, usage.elapsed,
          usage.ran ? note.c_str() : "FAILED");
}

/// Plays in a window, with sound that nobody hears. @return what one round used
Usage Play(const std::string& clip, std::string& note) {
    const std::string trace = Scratch("window.trace");
    const Usage usage = Run({Kqplay(), "--audio", "null", "--trace", trace, clip});
    note = std::to_string(ShownPictures(trace)) + " pictures";
    return usage;
}

} // namespace

void MeasureProcessorTime() {
    const kqtest::Xvfb server({"-screen", "0", "3840x2160x24"});
    const std::string clip = MakeClip("1080p60.mp4", TestPattern("testsrc2=size=1920x1080:rate=60"));
    const bool compare = IsInstalled("mpv");
    std::vector<Usage> own;
    std::vector<Usage> other;
    std::string note;
    for (int round = 0; round < rounds; ++round) {
        own.push_back(Play(clip, note));
        if (compare)
            other.push_back(
                Run({"mpv", "--no-config", "--vo=x11", "--hwdec=no", "--ao=null", "--really-quiet", clip}));
    }
    Print("Processor time in a window, 10 s of H.264 and AAC, median of %d rounds\n", rounds);
    Print("%-44s %8s %9s %8s\n", "", "user+sys", "peak", "elapsed");
    PrintRow("1920x1080, 60 Hz: kqplay", Median(own), note);
    if (compare) {
        PrintRow("1920x1080, 60 Hz: mpv --vo=x11", Median(other), "");
        Print("%-44s %6.2f\n", "kqplay / mpv", Median(own).processor / Median(other).processor);
    } else {
        Print("mpv is not installed: there is nothing to compare with\n");
    }
    PrintRow("1920x1080, 60 Hz: decoding alone (ffmpeg)",
             Run({"ffmpeg", "-nostdin", "-threads", "1", "-i", clip, "-f", "null", "-"}), "");
    const std::string large = MakeClip("2160p30.mp4", TestPattern("testsrc2=size=3840x2160:rate=30"));
    const Usage usage = Play(large, note);
    PrintRow("3840x2160, 30 Hz: kqplay", usage, note);
    Print("\n");
}

} // namespace bench
