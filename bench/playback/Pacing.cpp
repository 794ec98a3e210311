// How punctual pictures are: kqplay plays a 60 Hz clip off-screen, and its trace tells when each one came.
#include "Measured.h"
#include "RealTimeDevice.h"

#include <host/kqplay/LateFrames.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <thread>

namespace bench {
namespace {

constexpr double rate = 60;
constexpr double tick = 10; ///< milliseconds; the wall clock of the component moves in these steps

/// Delays of the pictures after the ticks at which they were due. Ticks lie at whole multiples of the clock's
/// step; the first picture, whose own moment starts the clock somewhere within a step, says nothing.
std::vector<double> AfterDueTick(const std::vector<double>& times) {
    std::vector<double> delays;
    for (std::size_t i = 0; i < times.size(); ++i) {
        const double due = std::floor(static_cast<double>(i) * 1000 / rate + 0.5);
        delays.push_back(times[i] - std::ceil(due / tick) * tick);
    }
    const double start = std::floor(Percentile(delays, 0) / tick) * tick;
    for (double& delay : delays)
        delay -= start;
    delays.erase(delays.begin());
    return delays;
}

/// Delays of the pictures against a steady clock, from the most punctual one.
std::vector<double> AfterMostPunctual(const std::vector<double>& times) {
    return kqplay::DelaysAfterMostPunctual(times, 1000 / rate);
}

std::vector<double> Intervals(const std::vector<double>& times) {
    std::vector<double> intervals;
    for (std::size_t i = 1; i < times.size(); ++i)
        intervals.push_back(times[i] - times[i - 1]);
    return intervals;
}

/// A thread that does nothing but sleep till the next picture would be due: what the machine itself allows.
class Sleeper {
public:
    Sleeper() : m_thread([this] { Sleep(); }) {}
    ~Sleeper() { Stop(); }
    Sleeper(const Sleeper&) = delete;
    Sleeper& operator=(const Sleeper&) = delete;

    /// @return how much too late it woke up each time, in milliseconds
    const std::vector<double>& Stop() {
        m_stop = true;
        if (m_thread.joinable())
            m_thread.join();
        return m_delays;
    }

private:
    void Sleep() {
        const double start = NowMilliseconds();
        for (int i = 1; !m_stop; ++i) {
            const double due = start + i * 1000 / rate;
            SleepUntil(due);
            m_delays.push_back(NowMilliseconds() - due);
        }
    }

    std::vector<double> m_delays;
    std::atomic<bool> m_stop{false};
    std::thread m_thread;
};

/// @param allowed delay up to which a picture counts as punctual
void PrintRow(const char* name, const std::vector<double>& delays, double allowed) {
    const auto late =
        std::count_if(delays.begin(), delays.end(), [allowed](double ms) { return ms > allowed; });
    Print("%-34s %5zu  %6.1f %6.1f %6.1f %6.1f %6ld > %4.1f", name, delays.size(), Percentile(delays, 0.5),
          Percentile(delays, 0.95), Percentile(delays, 0.99), Percentile(delays, 1), static_cast<long>(late),
          allowed);
}

void PrintIntervals(const std::vector<double>& times) {
    const std::vector<double> intervals = Intervals(times);
    const auto pairs = std::count_if(intervals.begin(), intervals.end(), [](double ms) { return ms < 5; });
    Print("  %6.1f %6.1f %6.1f %6.1f  %5ld", Percentile(intervals, 0), Percentile(intervals, 0.01),
          Percentile(intervals, 0.99), Percentile(intervals, 1), static_cast<long>(pairs));
}

/// Plays, and prints how punctual that was, and how punctual a thread is that only sleeps meanwhile.
template <typename Delays>
void MeasureRun(const char* name, std::vector<std::string> command, Delays delays, double allowed) {
    const std::string trace = Scratch("pacing.trace");
    command.insert(command.end() - 1, {"--trace", trace});
    Sleeper sleeper;
    Run(command);
    const std::vector<double> slept = sleeper.Stop();
    const std::vector<double> times = PictureTimes(trace);
    PrintRow(name, delays(times), allowed);
    PrintIntervals(times);
    Print("\n");
    PrintRow("  meanwhile a thread that sleeps", slept, allowed);
    Print("\n");
}

} // namespace

void MeasurePacing() {
    const std::string clip =
        MakeClip("pacing.mp4", {"-f",      "lavfi",    "-i",       "testsrc2=size=640x360:rate=60",
                                "-f",      "lavfi",    "-i",       "sine=frequency=440:sample_rate=48000",
                                "-t",      "10",       "-c:v",     "libx264",
                                "-preset", "veryfast", "-pix_fmt", "yuv420p",
                                "-c:a",    "aac",      "-ac",      "2"});
    constexpr double period = RealTimeDevice::Period * 1000.0 / RealTimeDevice::SampleRate;
    Print("Pacing: 600 pictures at 60 Hz, off-screen; milliseconds\n");
    Print("%-34s %5s  %-27s %-13s  %-27s  %5s\n", "", "", "late: p50   p95    p99    max", "too late",
          "between: min p1     p99    max", "pairs");
    MeasureRun("without sound, after the due tick", {Kqplay(), "--headless", "--no-audio", clip},
               AfterDueTick, kqplay::LateTolerance(0) * 1000);
    MeasureRun("with sound, after the earliest", {Kqplay(), "--headless", "--audio", "null", clip},
               AfterMostPunctual, kqplay::LateTolerance(period / 1000) * 1000);
    Print("\n");
}

} // namespace bench
