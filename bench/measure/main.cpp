// Measures two files with kqplay and with FFmpeg's filters in turn: bench_measure [ROUNDS]. A number above 1
// in the last column says how many times as fast kqplay was.
#include <bench/playback/Measured.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>
#include <vector>

namespace {

using Words = std::vector<std::string>;

/// Two encodes of one source, ten seconds of 1920x1080 at 60 Hz.
struct Row {
    const char* name;
    const char* suffix; ///< of the files
    Words better, worse;
};

std::string Make(const Row& row, const char* kind, const Words& encoder) {
    Words options = {"-f", "lavfi", "-i", "testsrc2=size=1920x1080:rate=60,noise=alls=4:allf=t", "-t", "10"};
    options.insert(options.end(), encoder.begin(), encoder.end());
    return bench::MakeClip(std::string("measure-") + kind + row.suffix, options);
}

/// What the rounds took.
struct Times {
    std::vector<double> elapsed, processor;
    bool ran = true;

    void Add(const bench::Usage& usage) {
        elapsed.push_back(usage.elapsed);
        processor.push_back(usage.processor);
        ran = ran && usage.ran;
    }
};

double Median(const std::vector<double>& values) {
    return bench::Percentile(values, 0.5);
}

/// @return the median of the rounds' ratios
double RatioOf(const std::vector<double>& others, const std::vector<double>& own) {
    std::vector<double> ratios;
    for (std::size_t i = 0; i < own.size(); ++i) {
        ratios.push_back(others[i] / own[i]);
    }
    return Median(ratios);
}

void MeasureRow(const Row& row, int rounds) {
    const std::string first = Make(row, "a", row.better);
    const std::string second = Make(row, "b", row.worse);
    const Words own = {bench::Kqplay(), "--measure", bench::Scratch("measure.json"),
                       "--compare",     second,      first};
    const Words filters = {
        "ffmpeg", "-nostdin",
        "-i",     first,
        "-i",     second,
        "-lavfi", "[0:v]split[a1][a2];[1:v]split[b1][b2];[a1][b1]psnr,nullsink;[a2][b2]ssim",
        "-f",     "null",
        "-"};
    Times ours, theirs;
    for (int round = 0; round < rounds; ++round) {
        ours.Add(bench::Run(own));
        theirs.Add(bench::Run(filters));
    }
    bench::Print("%-22s %7.2f s %7.2f s   %7.2f s %7.2f s   %5.2f %5.2f%s\n", row.name, Median(ours.elapsed),
                 Median(ours.processor), Median(theirs.elapsed), Median(theirs.processor),
                 RatioOf(theirs.elapsed, ours.elapsed), RatioOf(theirs.processor, ours.processor),
                 ours.ran && theirs.ran ? "" : "  FAILED");
}

} // namespace

int main(int argc, char** argv) {
    const int rounds = argc > 1 ? std::max(std::atoi(argv[1]), 1) : 5;
    const auto h264 = [](const char* quality) -> Words {
        return {"-c:v", "libx264", "-preset", "veryfast", "-pix_fmt", "yuv420p", "-crf", quality};
    };
    const auto hevc = [](const char* quality) -> Words {
        return {"-c:v",  "libx265",      "-preset",        "ultrafast", "-crf",
                quality, "-x265-params", "log-level=none", "-pix_fmt",  "yuv420p10le"};
    };
    const Row rows[] = {
        {"H.264, 8 bits", ".mp4", h264("20"), h264("32")},
        {"HEVC, 10 bits", "-10.mp4", hevc("20"), hevc("32")},
    };
    bench::Print("PSNR and SSIM of 600 pairs, 1920x1080, median of %d rounds in turn\n", rounds);
    bench::Print("%-22s %19s   %19s   %s\n", "", "kqplay --measure", "ffmpeg psnr and ssim", "ratio");
    bench::Print("%-22s %9s %9s   %9s %9s   %5s %5s\n", "", "elapsed", "user+sys", "elapsed", "user+sys",
                 "time", "cpu");
    try {
        for (const Row& row : rows) {
            MeasureRow(row, rounds);
        }
    } catch (const std::exception& fault) {
        std::fprintf(stderr, "bench_measure: %s\n", fault.what());
        return 1;
    }
    return 0;
}
