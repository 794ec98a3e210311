// A view on Wayland beside one on X11, one after the other. The compositor's screen is a window that fills
// that of an X server: it can be refreshed more than 60 times a second, while weston's headless backend needs
// 17 ms and the time of its drawing from one refresh to the next.
#include "Measured.h"
#include "PlayOnce.h"

#include <kqplayer/wayland.h>

#include <tests/support/WaitUntil.h>
#include <tests/support/WaylandHost.h>
#include <tests/support/Weston.h>

#include <algorithm>
#include <vector>

namespace bench {
namespace {

constexpr int rounds = 5;

/// What one round used and gave.
struct Round {
    Cost cost;
    KQPresentation presentation = {};
};

/// @param isAsked from the begin on what comes to the screen: as no player does, because it costs time
Round PlayOnWayland(const std::string& clip, bool isAsked) {
    kqtest::Weston compositor({1920, 1080, 1, false});
    const kqtest::WaylandHost host;
    const kq::WaylandParent parent(host.Display(), host.Surface());
    Round round;
    KQPresentation& seen = round.presentation;
    const auto ask = [&](kqplay::Player& player) { parent.Presentation(player.ViewWindows().front(), seen); };
    const auto begin = [&](kqplay::Player& player) {
        host.Commit();
        if (isAsked) {
            ask(player);
        }
    };
    const auto end = [&](kqplay::Player& player) {
        // The last picture comes to the screen a moment later.
        kq::test::WaitUntil(
            [&] {
                ask(player);
                const std::int64_t known = isAsked ? seen.llPresented + seen.llDiscarded : seen.llCommitted;
                return known + seen.llSkipped >= seen.llShown;
            },
            std::chrono::seconds(1));
    };
    round.cost = PlayOnce(clip, compositor.Id(), {parent.Get(), nullptr, begin, end});
    return round;
}

Cost PlayOnX11(const std::string& clip) {
    const kqtest::Xvfb server({"-screen", "0", "1920x1080x24"});
    return PlayOnce(clip, server.Id(), {});
}

/// @return processor seconds of player and server
double PrintRounds(const char* name, const std::vector<Round>& all) {
    const auto median = [&](double (*figure)(const Cost&)) {
        std::vector<double> values;
        std::transform(all.begin(), all.end(), std::back_inserter(values),
                       [&](const Round& round) { return figure(round.cost); });
        return Percentile(values, 0.5);
    };
    const double own = median([](const Cost& cost) { return cost.own; });
    const double server = median([](const Cost& cost) { return cost.server; });
    Print("%-8s player %5.2f s, server %5.2f s; late in each round:", name, own, server);
    for (const Round& round : all) {
        Print(" %d", round.cost.late);
    }
    Print(" of %d\n", all.front().cost.pictures);
    return own;
}

} // namespace

void MeasureWayland() {
    if (!IsInstalled("weston")) {
        Print("weston is not installed: there is no Wayland to measure\n\n");
        return;
    }
    const std::string clip = MakeClip("wayland.mp4", {"-f", "lavfi", "-i", "testsrc2=size=1920x1080:rate=60",
                                                      "-t", "10", "-c:v", "libx264", "-preset", "veryfast",
                                                      "-pix_fmt", "yuv420p", "-colorspace", "bt709"});
    std::vector<Round> x11;
    std::vector<Round> wayland;
    for (int round = 0; round < rounds; ++round) { // in turn, so that other work of the machine falls on both
        x11.push_back({PlayOnX11(clip)});
        wayland.push_back(PlayOnWayland(clip, false));
    }
    const KQPresentation onScreen = PlayOnWayland(clip, true).presentation;
    Print("A view on X11 (Xvfb) and on Wayland (weston in Xvfb), 10 s, 1920x1080 at 60 Hz, processor "
          "seconds, "
          "median of %d rounds\n",
          rounds);
    const double onX11 = PrintRounds("X11", x11);
    const double onWayland = PrintRounds("Wayland", wayland);
    Print("Wayland's player beside X11's: %.2f\n", onWayland / onX11);
    Print("gave way to newer ones in each round:");
    for (const Round& round : wayland) {
        Print(" %ld", static_cast<long>(round.presentation.llSkipped));
    }
    Print("\nin one more round, asked: of %ld pictures %ld came to the screen, %ld were given and not shown, "
          "%ld gave way to newer ones\n",
          static_cast<long>(onScreen.llShown), static_cast<long>(onScreen.llPresented),
          static_cast<long>(onScreen.llDiscarded), static_cast<long>(onScreen.llSkipped));
    Print("\n");
}

} // namespace bench
