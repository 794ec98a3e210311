// Measures the store of decoded pictures: bench_store [CLIP…]. Without a clip, 1080p at 25 Hz with a key
// frame every 25, every 250, and only at the start.
#include "host/streams/Demuxer.h"
#include "host/streams/FileLog.h"
#include "host/streams/PictureStore.h"
#include "host/streams/StreamDecoder.h"

#include <bench/playback/Measured.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <exception>
#include <functional>
#include <map>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace kq::streams;
using kq::TicksPerSecond;
using Clock = std::chrono::steady_clock;

constexpr std::size_t bound = std::size_t{256} << 20;

std::unique_ptr<VideoSource> Open(const std::string& path) {
    DecoderSetup setup;
    std::string reason;
    setup.demuxer = Demuxer::Open(path, FileLog::Make(path, {}), reason);
    if (!setup.demuxer) {
        throw std::runtime_error(path + ": " + reason);
    }
    setup.stream = setup.demuxer->BestStream(AVMEDIA_TYPE_VIDEO);
    AVStream& stream = setup.demuxer->Stream(setup.stream);
    setup.fileStart = av_rescale_q(stream.start_time, stream.time_base, tickBase);
    setup.rate = av_q2d(stream.r_frame_rate);
    auto decoder = StreamDecoder::Open(setup, reason);
    if (!decoder) {
        throw std::runtime_error(path + ": " + reason);
    }
    return std::make_unique<VideoSource>(std::move(decoder), PictureConverter({}, false), setup.rate,
                                         av_q2d(stream.time_base));
}

double MillisecondsSince(Clock::time_point begin) {
    return std::chrono::duration<double, std::milli>(Clock::now() - begin).count();
}

/// @return how long it took, in milliseconds
double Timed(const std::function<void()>& work) {
    const auto begin = Clock::now();
    work();
    return MillisecondsSince(begin);
}

double ResidentMegabytes() {
    long pages = 0;
    if (std::FILE* file = std::fopen("/proc/self/statm", "r")) {
        const int read = std::fscanf(file, "%*d %ld", &pages);
        std::fclose(file);
        pages = read == 1 ? pages : 0;
    }
    return static_cast<double>(pages) * static_cast<double>(sysconf(_SC_PAGESIZE)) / (1 << 20);
}

std::size_t HashOf(const Frame& frame) {
    const tagYUVImage& image = frame.record.image;
    std::size_t hash = 0;
    const auto add = [&hash](const std::uint8_t* plane, int pitch, int width, int height) {
        for (int y = 0; y < height; ++y) {
            const std::string_view row(reinterpret_cast<const char*>(plane) + std::ptrdiff_t{y} * pitch,
                                       static_cast<std::size_t>(width));
            hash = hash * 31 + std::hash<std::string_view>()(row);
        }
    };
    add(image.pY, image.nPitchY, image.nWidth, image.nHeight);
    add(image.pU, image.nPitchU, image.nWidth / 2, image.nHeight / 2);
    add(image.pV, image.nPitchV, image.nWidth / 2, image.nHeight / 2);
    return hash;
}

void Report(const std::string& clip, const char* what, const std::vector<double>& waits, double limit) {
    const auto beyond = std::count_if(waits.begin(), waits.end(), [limit](double ms) { return ms > limit; });
    bench::Print("%-14s %-34s %6zu %8.1f %8.1f %8.1f   %ld beyond %.0f ms, %.0f MB\n", clip.c_str(), what,
                 waits.size(), bench::Percentile(waits, 0.5), bench::Percentile(waits, 0.99),
                 bench::Percentile(waits, 1), static_cast<long>(beyond), limit, ResidentMegabytes());
}

/// A second of pause, 50 steps back, then 50 pictures of the last two seconds.
void MeasureSteps(const std::string& clip, PictureStore& store, FramePtr picture, const char* what) {
    store.Aim(picture->time, true);
    std::this_thread::sleep_for(std::chrono::seconds(1));
    std::vector<double> waits;
    for (int step = 0; step < 50; ++step) {
        waits.push_back(Timed([&] { picture = store.Before(picture); }));
        store.Aim(picture->time, true);
        std::this_thread::sleep_for(std::chrono::milliseconds(30));
    }
    std::mt19937 random(1);
    const Ticks begin = picture->time;
    for (int i = 0; i < 50; ++i) {
        const Ticks time = begin + static_cast<Ticks>(random() % (2 * TicksPerSecond));
        waits.push_back(Timed([&] { picture = store.At(time); }));
        store.Aim(picture->time, true);
        std::this_thread::sleep_for(std::chrono::milliseconds(30));
    }
    Report(clip, what, waits, 50);
}

void MeasureReverse(const std::string& clip, const std::string& path, PictureStore& store, Ticks from) {
    std::map<Ticks, std::size_t> hashes;
    store.Aim(from, false);
    const auto begin = Clock::now();
    FramePtr picture = store.At(from);
    std::vector<double> late;
    for (int n = 1; picture && n < 400; ++n) {
        hashes[picture->time] = HashOf(*picture);
        store.Aim(picture->time, false);
        picture = store.Before(picture);
        const double due = n * 40.0;
        const double at = MillisecondsSince(begin);
        if (due > 1500) {
            late.push_back(std::max(at - due, 0.0));
        }
        std::this_thread::sleep_until(begin + std::chrono::milliseconds(40 * n));
    }
    Report(clip, "reverse, late after 1.5 s", late, 20);
    int others = 0;
    std::size_t seen = 0;
    const auto source = Open(path);
    for (FramePtr frame = source->Next(); frame && frame->time <= from; frame = source->Next()) {
        const auto found = hashes.find(frame->time);
        seen += found != hashes.end() ? 1 : 0;
        others += found != hashes.end() && found->second != HashOf(*frame) ? 1 : 0;
    }
    bench::Print("%-14s %zu of %zu pictures at the times of forward play, %d not the same\n", clip.c_str(),
                 seen, hashes.size(), others);
}

void MeasureHeldStep(const std::string& clip, PictureStore& store, FramePtr picture) {
    int pictures = 0;
    const auto begin = Clock::now();
    while (picture && MillisecondsSince(begin) < 4000) {
        store.Aim(picture->time, true);
        picture = store.Before(picture);
        ++pictures;
    }
    bench::Print("%-14s step back held: %.0f pictures a second, %.0f MB\n", clip.c_str(),
                 pictures / MillisecondsSince(begin) * 1000, ResidentMegabytes());
}

void Measure(const std::string& path) {
    const std::string clip = path.substr(path.rfind('/') + 1);
    const auto open = [&path] { return Open(path); };
    const Ticks late = 17 * TicksPerSecond;
    {
        PictureStore store(Open(path), open, bound);
        std::vector<double> waits;
        for (const int seconds : {11, 15, 18}) {
            waits.push_back(Timed([&] { store.At(seconds * TicksPerSecond); }));
        }
        Report(clip, "seek", waits, 1000);
        MeasureSteps(clip, store, store.At(late), "paused after a seek, steps");
    }
    {
        PictureStore store(Open(path), open, bound);
        FramePtr picture = store.At(0);
        for (int n = 0; n < 250; ++n) {
            store.Aim(picture->time, true);
            picture = store.After(picture);
        }
        MeasureSteps(clip, store, picture, "paused after play, steps");
    }
    {
        PictureStore store(Open(path), open, bound);
        MeasureReverse(clip, path, store, late);
    }
    PictureStore store(Open(path), open, bound);
    MeasureHeldStep(clip, store, store.At(late));
}

} // namespace

int main(int argc, char** argv) {
    try {
        bench::PrintTo(STDOUT_FILENO);
        std::vector<std::string> clips(argv + 1, argv + argc);
        if (clips.empty()) {
            constexpr int onlyAtStart = 100000;
            clips = {bench::Clip1080p25(25), bench::Clip1080p25(250), bench::Clip1080p25(onlyAtStart)};
        }
        bench::Print("%-14s %-34s %6s %8s %8s %8s\n", "milliseconds", "", "count", "p50", "p99", "max");
        for (const std::string& clip : clips) {
            Measure(clip);
        }
        return 0;
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "%s\n", failure.what());
        return 1;
    }
}
