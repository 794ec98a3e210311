// What looking closely costs: a view that shows its pictures whole, and magnified, in a window of their size.
#include "Measured.h"
#include "PlayOnce.h"

#include <tests/support/Xvfb.h>

#include <algorithm>
#include <vector>

namespace bench {
namespace {

constexpr int rounds = 5;
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
            costs[i].push_back(PlayOnce(clip, server.Id(), {nullptr, i == 0 ? nullptr : &cases[i].display}));
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
