// A view on Wayland beside one on X11, one after the other, on a compositor and a server without a screen.
#include "Measured.h"
#include "PlayOnce.h"

#include <kqplayer/wayland.h>

#include <sys/wait.h>
#include <tests/support/Files.h>
#include <tests/support/WaitUntil.h>
#include <tests/support/WaylandHost.h>
#include <tests/support/Xvfb.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <stdexcept>
#include <vector>

namespace bench {
namespace {

constexpr int rounds = 5;

bool IsThere() {
    wl_display* const display = wl_display_connect(nullptr);
    if (display != nullptr) {
        wl_display_disconnect(display);
    }
    return display != nullptr;
}

/// A compositor that draws with the processor, without a screen. WAYLAND_DISPLAY names it while it lives.
class HeadlessWeston {
public:
    /// It is told to repaint as soon as it may: after 16 ms, and not at less than 60 Hz.
    HeadlessWeston() {
        const std::string settings =
            kq::test::WriteFile(m_folder / "weston.ini", "[core]\nidle-time=0\nrepaint-window=17\n"
                                                         "[shell]\npanel-position=none\nanimation=none\n");
        setenv("XDG_RUNTIME_DIR", (m_folder / "").c_str(), 1);
        setenv("WAYLAND_DISPLAY", "kqbench", 1);
        m_id = Begin({"weston", "--backend=headless-backend.so", "--use-pixman", "--width=1920",
                      "--height=1080", "--socket=kqbench", "--config=" + settings});
        if (!kq::test::WaitUntil(IsThere)) {
            throw std::runtime_error("weston does not start");
        }
    }
    ~HeadlessWeston() {
        kill(m_id, SIGKILL);
        waitpid(m_id, nullptr, 0);
        unsetenv("XDG_RUNTIME_DIR");
        unsetenv("WAYLAND_DISPLAY");
    }
    HeadlessWeston(const HeadlessWeston&) = delete;
    HeadlessWeston& operator=(const HeadlessWeston&) = delete;
    pid_t Id() const { return m_id; }

private:
    kq::test::TemporaryFolder m_folder;
    pid_t m_id = -1;
};

/// What one round used and gave.
struct Round {
    Cost cost;
    KQPresentation presentation = {};
};

Round PlayOnWayland(const std::string& clip) {
    const HeadlessWeston compositor;
    const kqtest::WaylandHost host;
    const kq::WaylandParent parent(host.Display(), host.Surface());
    Round round;
    round.cost =
        PlayOnce(clip, compositor.Id(),
                 {parent.Get(), nullptr, [&](kqplay::Player&) { host.Commit(); },
                  [&](kqplay::Player& player) {
                      // The last picture comes to the screen a moment later.
                      kq::test::WaitUntil(
                          [&] {
                              KQPresentation& seen = round.presentation;
                              parent.Presentation(player.ViewWindows().front(), seen);
                              return seen.llPresented + seen.llDiscarded + seen.llSkipped >= seen.llShown;
                          },
                          std::chrono::seconds(1));
                  }});
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
        wayland.push_back(PlayOnWayland(clip));
    }
    Print("A view on X11 (Xvfb) and on Wayland (weston, headless), 10 s, 1920x1080 at 60 Hz, processor "
          "seconds, "
          "median of %d rounds\n",
          rounds);
    const double onX11 = PrintRounds("X11", x11);
    const double onWayland = PrintRounds("Wayland", wayland);
    Print("Wayland's player beside X11's: %.2f\n", onWayland / onX11);
    for (const Round& round : wayland) {
        const KQPresentation& seen = round.presentation;
        Print("of %ld pictures %ld came to the screen, %ld were given and not shown, %ld gave way to newer "
              "ones\n",
              static_cast<long>(seen.llShown), static_cast<long>(seen.llPresented),
              static_cast<long>(seen.llDiscarded), static_cast<long>(seen.llSkipped));
    }
    Print("\n");
}

} // namespace bench
