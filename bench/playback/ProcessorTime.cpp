// What playing in a window costs, beside a general-purpose player's software output on the same X server.
#include "Measured.h"
#include "RealTimeDevice.h"

#include <host/kqplay/LateFrames.h>
#include <tests/support/Xvfb.h>

#include <algorithm>

namespace bench {
namespace {

constexpr int rounds = 3;

using Words = std::vector<std::string>;

Words Joined(Words words, const Words& more) {
    words.insert(words.end(), more.begin(), more.end());
    return words;
}

/// A clip of ten seconds with sound.
struct Clip {
    const char* name;
    const char* pattern; ///< a source of pictures
    Words encoder;
    Words colour; ///< what the file says of its pictures

    std::string Make() const {
        const Words input = {"-f", "lavfi", "-i", pattern,
                             "-f", "lavfi", "-i", "sine=frequency=440:sample_rate=48000"};
        const Words output = {"-t", "10", "-c:a", "aac", "-ac", "2"};
        return MakeClip(name, Joined(Joined(Joined(input, output), encoder), colour));
    }
};

const char* const fullHd = "testsrc2=size=1920x1080:rate=60";
const Words plainH264 = {"-c:v", "libx264", "-preset", "veryfast", "-pix_fmt", "yuv420p"};

Words Described(const char* matrix, const char* primaries, const char* transfer) {
    return {"-colorspace", matrix, "-color_primaries", primaries, "-color_trc", transfer};
}

/// What both players play.
struct Row {
    const char* name;
    Clip clip;
    const char* beside = nullptr; ///< pattern of a second file to show beside the first
};

const std::vector<Row>& Rows() {
    static const Words hd = Described("bt709", "bt709", "bt709");
    static const std::vector<Row> rows = {
        {"H.264, BT.709", {"h264-709.mp4", fullHd, plainH264, hd}},
        {"H.264, BT.601",
         {"h264-601.mp4", fullHd, plainH264, Described("smpte170m", "smpte170m", "smpte170m")}},
        {"HEVC, 10 bits",
         {"hevc-10.mp4",
          fullHd,
          {"-c:v", "libx265", "-preset", "ultrafast", "-x265-params", "log-level=none", "-pix_fmt",
           "yuv420p10le"},
          hd}},
        {"MJPEG, full range",
         {"mjpeg.avi", fullHd, {"-c:v", "mjpeg", "-q:v", "4", "-pix_fmt", "yuvj420p"}, {}}},
        {"H.264, 4:2:2",
         {"h264-422.mp4", fullHd, {"-c:v", "libx264", "-preset", "veryfast", "-pix_fmt", "yuv422p"}, hd}},
        {"two of H.264, BT.709", {"h264-709.mp4", fullHd, plainH264, hd}, "testsrc=size=1920x1080:rate=60"},
    };
    return rows;
}

/// The round with the median of the processor time.
Usage Median(std::vector<Usage> usages) {
    std::sort(usages.begin(), usages.end(),
              [](const Usage& a, const Usage& b) { return a.processor < b.processor; });
    return usages[usages.size() / 2];
}

void PrintUsage(const std::string& name, const Usage& usage, const std::string& note) {
    Print("%-44s %6.2f s %6.0f MB %6.2f s  %s\n", name.c_str(), usage.processor, usage.peak, usage.elapsed,
          usage.ran ? note.c_str() : "FAILED");
}

/// Plays in a window, with sound that nobody hears. @return what one round used
Usage Play(const Words& files, std::vector<double>& came, int view = 0) {
    const std::string trace = Scratch("window.trace");
    const Usage usage = Run(Joined({Kqplay(), "--audio", "null", "--trace", trace}, files));
    came = PictureTimes(trace, view);
    return usage;
}

/// @param rate pictures a second
long CountLate(const std::vector<double>& came, double rate) {
    constexpr double period = 1.0 * RealTimeDevice::Period / RealTimeDevice::SampleRate;
    constexpr double allowed = kqplay::LateTolerance(period) * 1000;
    const std::vector<double> delays = kqplay::DelaysAfterMostPunctual(came, 1000.0 / rate);
    return std::count_if(delays.begin(), delays.end(), [](double delay) { return delay > allowed; });
}

/// Every picture is shown there too: left alone, mpv leaves out pictures when the machine has other work.
Usage PlayElsewhere(const Words& files) {
    const Words command = {"mpv",        "--no-config", "--vo=x11",      "--framedrop=no",
                           "--hwdec=no", "--ao=null",   "--really-quiet"};
    return Run(Joined(command, files));
}

/// Decodes at the pace of play and shows nothing: what no player falls below that uses the same decoders.
Usage DecodeAtPace(const Words& files) {
    Words command = {"ffmpeg", "-nostdin"};
    Words streams;
    for (std::size_t i = 0; i < files.size(); ++i) {
        command = Joined(command, {"-re", "-i", files[i]});
        streams = Joined(streams, {"-map", std::to_string(i)});
    }
    return Run(Joined(Joined(command, streams), {"-f", "null", "-"}));
}

void MeasureRow(const Row& row, bool compare) {
    Words own = {row.clip.Make()};
    Words elsewhere = own;
    Words decoded = own;
    if (row.beside != nullptr) {
        const Clip second = {"h264-second.mp4", row.beside, row.clip.encoder, row.clip.colour};
        own = {"--compare", second.Make(), own[0]};
        elsewhere.insert(elsewhere.end(),
                         {"--external-file=" + own[1], "--lavfi-complex=[vid1][vid2]hstack[vo]"});
        decoded.push_back(own[1]);
    }
    std::vector<Usage> ours;
    std::vector<Usage> others;
    std::vector<Usage> decoding;
    std::vector<double> came;
    for (int round = 0; round < rounds; ++round) {
        ours.push_back(Play(own, came));
        if (compare) {
            others.push_back(PlayElsewhere(elsewhere));
        }
        decoding.push_back(DecodeAtPace(decoded));
    }
    const std::string name = row.name;
    PrintUsage(name + ": kqplay", Median(ours), std::to_string(came.size()) + " pictures");
    if (compare) {
        PrintUsage(name + ": mpv --vo=x11", Median(others), "");
        Print("%-44s %6.2f\n", "kqplay / mpv", Median(ours).processor / Median(others).processor);
    }
    PrintUsage(name + ": decoding alone (ffmpeg -re)", Median(decoding), "");
}

/// Each round for itself: a machine with other work makes some pictures late.
void MeasureHdr() {
    const Clip clip = {"hdr-1080p30.mp4",
                       "testsrc2=size=1920x1080:rate=30",
                       {"-c:v", "libx265", "-preset", "ultrafast", "-x265-params", "log-level=none",
                        "-pix_fmt", "yuv420p10le"},
                       Described("bt2020nc", "bt2020", "smpte2084")};
    const std::string path = clip.Make();
    for (int round = 0; round < rounds; ++round) {
        std::vector<double> came;
        const Usage usage = Play({path}, came);
        PrintUsage("1920x1080, 30 Hz, HEVC, HDR (PQ): kqplay", usage,
                   std::to_string(came.size()) + " pictures, " + std::to_string(CountLate(came, 30)) +
                       " late");
    }
}

} // namespace

void MeasureProcessorTime() {
    const kqtest::Xvfb server({"-screen", "0", "3840x2160x24"});
    const bool compare = IsInstalled("mpv");
    Print("Processor time in a window, 10 s with AAC, 1920x1080 at 60 Hz, median of %d rounds\n", rounds);
    if (!compare) {
        Print("mpv is not installed: there is nothing to compare with\n");
    }
    Print("%-44s %8s %9s %8s\n", "", "user+sys", "peak", "elapsed");
    for (const Row& row : Rows()) {
        MeasureRow(row, compare);
    }
    MeasureHdr();
    const Clip large = {"2160p30.mp4", "testsrc2=size=3840x2160:rate=30", plainH264, {}};
    std::vector<double> came;
    const Usage usage = Play({large.Make()}, came);
    PrintUsage("3840x2160, 30 Hz, H.264: kqplay", usage, std::to_string(came.size()) + " pictures");
    Print("\n");
}

/// The layouts take turns, so that other work of the machine falls on all of them.
void MeasureLayouts() {
    const kqtest::Xvfb server({"-screen", "0", "3840x2400x24"}); // no layout has to be made smaller
    const Words hd = Described("bt709", "bt709", "bt709");
    const std::string first = Clip{"h264-709.mp4", fullHd, plainH264, hd}.Make();
    const std::string second =
        Clip{"h264-second.mp4", "testsrc=size=1920x1080:rate=60", plainH264, hd}.Make();
    const Words layouts = {"side", "stack", "wipe", "flip", "difference"};
    std::vector<std::vector<Usage>> usages(layouts.size());
    std::vector<Words> late(layouts.size());
    for (int round = 0; round < rounds; ++round) {
        for (std::size_t i = 0; i < layouts.size(); ++i) {
            std::vector<double> came;
            usages[i].push_back(Play({"--layout", layouts[i], "--compare", second, first}, came, 1));
            late[i].push_back(std::to_string(CountLate(came, 60)) + " of " + std::to_string(came.size()));
        }
    }
    Print("Two files of 1920x1080 at 60 Hz, 10 s, median of %d rounds; late pictures of each round\n",
          rounds);
    Print("%-44s %8s %9s %8s\n", "", "user+sys", "peak", "elapsed");
    const double side = Median(usages[0]).processor;
    for (std::size_t i = 0; i < layouts.size(); ++i) {
        std::string note = std::to_string(Median(usages[i]).processor / side).substr(0, 4) + " of side; late";
        for (const std::string& round : late[i]) {
            note += " " + round + (&round == &late[i].back() ? "" : ",");
        }
        PrintUsage(layouts[i], Median(usages[i]), note);
    }
    Print("\n");
}

} // namespace bench
