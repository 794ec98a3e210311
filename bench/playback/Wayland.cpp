// The window on Wayland beside the one on X11, one after the other, on a compositor and a server without a
// screen.
#include "Measured.h"
#include "RealTimeDevice.h"

#include <host/kqplay/LateFrames.h>
#include <sys/wait.h>
#include <tests/support/Files.h>
#include <tests/support/WaitUntil.h>
#include <tests/support/Xvfb.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <stdexcept>

namespace bench {
namespace {

constexpr int rounds = 5;
constexpr double rate = 60;

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
        m_id = Begin({"weston", "--backend=headless-backend.so", "--use-pixman", "--width=3840",
                      "--height=2160", "--socket=kqbench", "--config=" + settings});
        if (!kq::test::WaitUntil([&] { return std::filesystem::exists(m_folder / "kqbench"); })) {
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
    Usage player;
    double server = 0; ///< processor seconds
    std::size_t pictures = 0;
    long late = 0;
    long presented = 0; ///< what the compositor brought to its screen
    double All() const { return player.processor + server; }
};

/// @return of the view that had most pictures: the timeline is one too
long PresentedIn(const std::string& log) {
    long most = 0;
    long presented = 0;
    const std::string text = kq::test::ReadFile(log);
    constexpr const char* line = "a Wayland view has had ";
    for (auto at = text.find(line); at != std::string::npos; at = text.find(line, at + 1)) {
        long shown = 0;
        long ofThem = 0;
        std::sscanf(text.c_str() + at, "a Wayland view has had %ld pictures, %*d committed, %*d skipped, %ld",
                    &shown, &ofThem);
        if (shown > most) {
            most = shown;
            presented = ofThem;
        }
    }
    return presented;
}

Round Play(const std::string& clip, pid_t server) {
    constexpr double period = 1.0 * RealTimeDevice::Period / RealTimeDevice::SampleRate;
    const std::string trace = Scratch("wayland.trace");
    const std::string log = Scratch("wayland.log");
    Round round;
    const double before = ProcessorTimeOf(server);
    round.player = Run({Kqplay(), "--audio", "null", "--trace", trace, "--log", log, clip});
    round.server = ProcessorTimeOf(server) - before;
    const std::vector<double> came = PictureTimes(trace);
    const std::vector<double> delays = kqplay::DelaysAfterMostPunctual(came, 1000 / rate);
    round.pictures = came.size();
    round.late = std::count_if(delays.begin(), delays.end(),
                               [](double delay) { return delay > kqplay::LateTolerance(period) * 1000; });
    round.presented = PresentedIn(log);
    return round;
}

double MedianOf(const std::vector<Round>& all, double (*figure)(const Round&)) {
    std::vector<double> values;
    std::transform(all.begin(), all.end(), std::back_inserter(values), figure);
    return Percentile(values, 0.5);
}

/// @return seconds of player and server, for whoever compares
double PrintRounds(const char* name, const std::vector<Round>& all, bool tells) {
    const double player = MedianOf(all, [](const Round& round) { return round.player.processor; });
    const double server = MedianOf(all, [](const Round& round) { return round.server; });
    Print("%-16s kqplay %5.2f s, server %5.2f s; of each round late", name, player, server);
    for (const Round& round : all) {
        Print(" %ld of %zu%s", round.late, round.pictures, round.player.ran ? "," : " FAILED,");
    }
    for (std::size_t i = 0; i < all.size() && tells; ++i) {
        Print("%s %ld", i == 0 ? " presented" : ",", all[i].presented);
    }
    Print("\n");
    return player;
}

} // namespace

void MeasureWayland() {
    if (!IsInstalled("weston")) {
        Print("weston is not installed: there is no Wayland to measure\n\n");
        return;
    }
    const std::string clip = MakeClip(
        "wayland.mp4", {"-f",          "lavfi",    "-i",       "testsrc2=size=1920x1080:rate=60",
                        "-f",          "lavfi",    "-i",       "sine=frequency=440:sample_rate=48000",
                        "-t",          "10",       "-c:a",     "aac",
                        "-ac",         "2",        "-c:v",     "libx264",
                        "-preset",     "veryfast", "-pix_fmt", "yuv420p",
                        "-colorspace", "bt709"});
    std::vector<Round> x11;
    std::vector<Round> wayland;
    for (int round = 0; round < rounds; ++round) { // in turn, so that other work of the machine falls on both
        {
            const kqtest::Xvfb server({"-screen", "0", "3840x2160x24"});
            x11.push_back(Play(clip, server.Id()));
        }
        const HeadlessWeston compositor;
        wayland.push_back(Play(clip, compositor.Id()));
    }
    Print("The window on X11 (Xvfb) and on Wayland (weston, headless), 10 s with AAC, 1920x1080 at 60 Hz, "
          "median of "
          "%d rounds\n",
          rounds);
    const double onX11 = PrintRounds("X11", x11, false);
    Print("%-16s %.2f\n\n", "Wayland / X11", PrintRounds("Wayland", wayland, true) / onX11);
}

} // namespace bench
