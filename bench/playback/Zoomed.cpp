// What looking closely costs: a view that shows its pictures whole, and magnified, in a window of their size.
#include "Measured.h"
#include "RealTimeDevice.h"

#include <kqplayer/media_file.h>

#include <host/kqplay/LateFrames.h>
#include <host/kqplay/Player.h>
#include <host/kqplay/ViewLibrary.h>
#include <sys/resource.h>
#include <tests/support/Xvfb.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <stdexcept>
#include <thread>

namespace bench {
namespace {

constexpr int rounds = 5;
constexpr int width = 1920;
constexpr int height = 1080;

/// Counts pictures and late ones, and waits for the end.
class Watch final : public kqplay::PlayerListener {
public:
    void OnPosition(double seconds) override {
        ++m_pictures;
        m_late.Frame(NowMilliseconds() / 1000, seconds);
    }
    void OnEnd() override { m_ended = true; }

    std::atomic<bool> m_ended{false};
    int m_pictures = 0;
    kqplay::LateFrames m_late{0.010}; ///< the wall clock's step
};

double OwnProcessorTime() {
    rusage resources = {};
    getrusage(RUSAGE_SELF, &resources);
    const auto seconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + time.tv_usec / 1e6;
    };
    return seconds(resources.ru_utime) + seconds(resources.ru_stime);
}

/// What one case used, in seconds.
struct Cost {
    double own = 0;
    double server = 0;
    int late = 0;
    int pictures = 0;
    double All() const { return own + server; }
};

Cost PlayOnce(const std::string& clip, pid_t server, const KQViewDisplay* display) {
    kq::streams::MediaFile file;
    std::string error;
    if (!kq::streams::OpenMediaFile(clip, {}, file, error)) {
        throw std::runtime_error(error);
    }
    Watch watch;
    Cost cost;
    {
        kqplay::Player player;
        if (!player.Create(watch, error) || !player.CreateView(nullptr, width, height) ||
            !player.SetVideo(file.video, nullptr)) {
            throw std::runtime_error(error.empty() ? kqplay::ViewLibrary().WhyNoView() : error);
        }
        player.View(0)->SetDisplay(display);
        const double own = OwnProcessorTime();
        const double others = ProcessorTimeOf(server);
        player.Play();
        while (!watch.m_ended) {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
        cost = {OwnProcessorTime() - own, ProcessorTimeOf(server) - others, watch.m_late.Count(),
                watch.m_pictures};
    }
    file.Release();
    return cost;
}

} // namespace

void MeasureZoom() {
    const std::string clip = MakeClip("zoom.mp4", {"-f", "lavfi", "-i", "testsrc2=size=1920x1080:rate=60",
                                                   "-t", "5", "-c:v", "libx264", "-preset", "veryfast",
                                                   "-pix_fmt", "yuv420p", "-colorspace", "bt709"});
    const struct {
        const char* name;
        KQViewDisplay display;
    } cases[] = {
        {"whole", {}},
        {"400 %, nearest", {{700.25, 400.5, 1180.25, 670.5}, KQ_SCALING_NEAREST, IMAGE_RESIZE_STRETCH}},
        {"400 %, bilinear", {{700.25, 400.5, 1180.25, 670.5}, KQ_SCALING_BILINEAR, IMAGE_RESIZE_STRETCH}},
        {"159 %, bilinear", {{300.3, 200.7, 1509.8, 881.1}, KQ_SCALING_BILINEAR, IMAGE_RESIZE_STRETCH}},
    };
    const kqtest::Xvfb server({"-screen", "0", "1920x1080x24"});
    std::vector<Cost> costs[std::size(cases)];
    for (int round = 0; round < rounds; ++round) {
        for (std::size_t i = 0; i < std::size(cases); ++i) {
            costs[i].push_back(PlayOnce(clip, server.Id(), i == 0 ? nullptr : &cases[i].display));
        }
    }
    Print(
        "A part of the pictures, magnified: 1920x1080 at 60 Hz in a window of that size, processor seconds, "
        "median of %d\n",
        rounds);
    double whole = 0;
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        std::sort(costs[i].begin(), costs[i].end(),
                  [](const Cost& a, const Cost& b) { return a.All() < b.All(); });
        const Cost& cost = costs[i][rounds / 2];
        whole = i == 0 ? cost.All() : whole;
        Print("%-20s player %5.2f, X server %5.2f, ratio %5.2f; %d of %d pictures late\n", cases[i].name,
              cost.own, cost.server, cost.All() / whole, cost.late, cost.pictures);
    }
    Print("\n");
}

} // namespace bench
