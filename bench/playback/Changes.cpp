// How soon a change of what is shown is on show: from the key until the window's pixels have it.
#include "Measured.h"

#include <tests/host/kqplay/Process.h>
#include <tests/support/WaitUntil.h>
#include <tests/support/Xvfb.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <stdexcept>
#include <thread>

namespace bench {
namespace {

using kqtest::Image;
using Words = std::vector<std::string>;

constexpr int rounds = 20;

/// A picture is moving at its lower edge and has one colour elsewhere, with a green box in its middle; its
/// left upper corner is black in every other picture and white in the rest.
std::string MakeColoured(const std::string& colour) {
    const auto box = [](const char* place, const std::string& filled) {
        return std::string(",drawbox=") + place + ":" + filled + ":fill";
    };
    const char* const corner = "0:0:384:216";
    return MakeClip("changes-" + colour + ".mp4",
                    {"-f", "lavfi", "-i",
                     "testsrc2=size=1920x1080:rate=60" + box("0:0:1920:810", colour) +
                         box("864:486:192:108", "lime") + box(corner, "black") + box(corner, "white") +
                         ":enable='mod(n,2)'",
                     "-t", "12", "-c:v", "libx264", "-preset", "ultrafast", "-pix_fmt", "yuv420p",
                     "-colorspace", "smpte170m"});
}

bool IsColour(std::uint32_t pixel, std::uint32_t colour) {
    for (const int shift : {0, 8, 16}) {
        if (std::abs(static_cast<int>(pixel >> shift & 0xFF) - static_cast<int>(colour >> shift & 0xFF)) >
            30) {
            return false;
        }
    }
    return true;
}

/// kqplay with at least two files more, in a window, at a terminal.
class Shown {
public:
    Shown(kqtest::Xvfb& server, const Words& options)
        : m_server(server), m_kqplay(CommandWith(options), {{"DISPLAY", server.Display()}},
                                     kqtest::Process::Streams::PseudoTerminal) {
        if (!m_kqplay.WaitForOutput("playing  0:01")) {
            throw std::runtime_error("kqplay does not play: " + m_kqplay.Output());
        }
        m_window = m_server.Children().back();
        m_size = m_server.SizeOf(m_window);
    }
    ~Shown() {
        m_kqplay.Type("q");
        m_kqplay.Finish();
    }
    Shown(const Shown&) = delete;
    Shown& operator=(const Shown&) = delete;

    void Pause() {
        m_kqplay.Type(" ");
        m_kqplay.WaitForOutput("paused");
    }

    /// @param x,y parts of the window's width and height
    bool Has(double x, double y, std::uint32_t colour) {
        const Image pixel = m_server.Part(m_window, static_cast<int>(x * m_size.width),
                                          static_cast<int>(y * m_size.height), 1, 1);
        return !pixel.pixels.empty() && IsColour(pixel.pixels[0], colour);
    }

    /// @return true when a column at the right has something grey in it
    bool HasScope() {
        const Image column = m_server.Part(m_window, m_size.width * 9 / 10, 0, 1, m_size.height * 7 / 10);
        return std::any_of(column.pixels.begin(), column.pixels.end(), [](std::uint32_t pixel) {
            return (pixel & 0xFF) > 60 && (pixel >> 8 & 0xFF) > 60 && (pixel >> 16 & 0xFF) > 60;
        });
    }

    /// Types a key. @return milliseconds until the window is as it says
    double Measure(const std::string& key, const std::function<bool(Shown&)>& isDone) {
        const auto begin = std::chrono::steady_clock::now();
        m_kqplay.Type(key);
        if (!kq::test::WaitUntil([&] { return isDone(*this); }, std::chrono::seconds(5))) {
            throw std::runtime_error("the key " + key + " changes nothing");
        }
        return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - begin).count();
    }

private:
    static Words CommandWith(const Words& options) {
        Words command = {Kqplay(),    "--no-audio",          "--compare",        MakeColoured("blue"),
                         "--compare", MakeColoured("black"), MakeColoured("red")};
        command.insert(command.end(), options.begin(), options.end());
        return command;
    }

    kqtest::Xvfb& m_server;
    kqtest::Process m_kqplay;
    xcb_window_t m_window = 0;
    Image m_size; ///< of the window, without pixels
};

constexpr std::uint32_t red = 0xFF0000;
constexpr std::uint32_t blue = 0x0000FF;
constexpr std::uint32_t lime = 0x00FF00;
constexpr std::uint32_t black = 0x000000;
constexpr std::uint32_t white = 0xFFFFFF;

/// A key and what the window shows then. The keys are typed in turn.
struct Step {
    std::string key;
    std::function<bool(Shown&)> isDone;
    bool isMeasured = true;
};

struct Change {
    const char* name;
    Words options;
    std::vector<Step> steps;
};

Step Pixel(const char* key, double x, double y, std::uint32_t colour) {
    return {key, [=](Shown& shown) { return shown.Has(x, y, colour); }};
}

Step Scope(bool isMeasured) {
    return {"w", [=](Shown& shown) { return shown.HasScope() || !isMeasured; }, isMeasured};
}

std::vector<Change> Changes() {
    return {
        {"offset", {"--layout", "difference"}, {Pixel("+", 0.1, 0.1, white), Pixel("-", 0.1, 0.1, black)}},
        {"layout",
         {"--layout", "side"},
         {Pixel("v", 0.6, 0.3, red), Pixel("v", 0.4, 0.7, red), Pixel("v", 0.7, 0.5, red),
          Pixel("v", 0.7, 0.5, 0x2F2F2F), Pixel("v", 0.7, 0.5, blue)}},
        {"zoom", {"--layout", "flip"}, {Pixel("4", 0.38, 0.5, lime), Pixel("z", 0.38, 0.5, red)}},
        {"file", {"--layout", "side"}, {Pixel("c", 0.7, 0.5, black), Pixel("c", 0.7, 0.5, blue)}},
        {"of five",
         {"--layout", "side", "--compare", MakeColoured("blue"), "--compare", MakeColoured("black")},
         {Pixel("c", 0.7, 0.5, black), Pixel("c", 0.7, 0.5, blue)}},
        {"scope", {"--loop", "--layout", "flip"}, {Scope(true), Scope(false), Scope(false), Scope(false)}}};
}

std::vector<double> Times(Shown& shown, const Change& change) {
    std::vector<double> times;
    for (std::size_t i = 0; times.size() < rounds || i % change.steps.size() != 0; ++i) {
        const Step& step = change.steps[i % change.steps.size()];
        const double time = shown.Measure(step.key, step.isDone);
        if (step.isMeasured) {
            times.push_back(time);
        }
        // Not in step with the pictures.
        std::this_thread::sleep_for(std::chrono::milliseconds(120 + 7 * (i % 5)));
    }
    return times;
}

} // namespace

void MeasureChanges() {
    kqtest::Xvfb server({"-screen", "0", "3840x2400x24"});
    Print("From a key to the pixels in the window: three files of 1920x1080 at 60 Hz (a picture lasts 16.7 "
          "ms), or five, %d times, milliseconds\n%-10s %26s %26s\n%-10s %12s %13s %12s %13s\n",
          rounds, "", "playing", "paused", "", "median", "worst", "median", "worst");
    for (const Change& change : Changes()) {
        Shown shown(server, change.options);
        const std::vector<double> playing = Times(shown, change);
        shown.Pause();
        const std::vector<double> paused = Times(shown, change);
        Print("%-10s %12.1f %13.1f %12.1f %13.1f\n", change.name, Percentile(playing, 0.5),
              Percentile(playing, 1), Percentile(paused, 0.5), Percentile(paused, 1));
    }
    Print("\n");
}

} // namespace bench
