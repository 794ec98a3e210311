#include "Measuring.h"

#include "WorstSheet.h"

#include <measure/Measurer.h>
#include <measure/Report.h>
#include <measure/Summary.h>
#include <measure/Verifier.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <future>

namespace kqplay {
namespace {

using kq::measure::LonePicture;
using kq::measure::MeasuredPair;
using kq::measure::MeasureOutcome;

/// Shows how far work is. @return false when a signal asks for its end
bool ShowWork(PlaybackParts& parts, const char* what, std::int64_t done, std::int64_t all) {
    all = std::max<std::int64_t>({all, done, 1});
    constexpr std::int64_t most = 1'000'000; // that the bar counts
    const std::int64_t unit = 1 + all / most;
    parts.progress->ShowBar(what, static_cast<int>(done / unit), static_cast<int>(all / unit));
    return !parts.signals.AsksForEnd();
}

constexpr auto often = std::chrono::milliseconds(50);

/// What comes of a measurement.
struct Measured {
    kq::measure::Summary summary;
    MeasureOutcome outcome;
    std::string error; ///< why it was given up, or empty
};

kq::measure::MeasureRequest RequestOf(PlaybackParts& parts) {
    const Options& options = parts.options;
    kq::measure::MeasureRequest request;
    request.file = options.file;
    if (!options.compare.empty()) {
        request.other = options.compare[0].path;
        request.offset = options.compare[0].offset;
    }
    request.begin = options.start;
    if (options.length) {
        request.end = options.start + *options.length;
    }
    parts.Watch(request);
    return request;
}

/// Measures on a thread of its own, so that an input that stalls can be interrupted.
void Measure(PlaybackParts& parts, kq::measure::Measurer& measurer, kq::measure::ReportFile& report,
             Measured& measured) {
    const std::int64_t all = measurer.ExpectedCount();
    std::atomic<std::int64_t> done{0};
    std::future<MeasureOutcome> work = std::async(std::launch::async, [&] {
        return measurer.Run(
            [&](const MeasuredPair& pair) {
                measured.summary.Add(pair);
                ++done;
                if (measured.error.empty() && !report.Add(pair, measured.error)) {
                    measurer.Cancel();
                }
            },
            [&](const LonePicture& picture) {
                measured.summary.Add(picture);
                ++done;
            });
    });
    while (work.wait_for(often) != std::future_status::ready) {
        if (!ShowWork(parts, "measuring", done, all)) {
            measurer.Cancel();
        }
    }
    measured.outcome = work.get();
    parts.progress->Clear();
}

/// @return what falls short of what the user asked for, empty when nothing does
std::string Shortfall(const Options& options, const Measured& measured) {
    const MeasureOptions& limits = options.measure;
    if (!limits.HasLimits()) {
        return {};
    }
    const kq::measure::Summary& summary = measured.summary;
    if (!measured.outcome.isComplete) {
        return "not all pairs were measured";
    }
    if (summary.AloneCount() > 0 || measured.outcome.goesOn || summary.PairCount() == 0) {
        return "pictures of " + options.file + " have no counterpart";
    }
    char text[96] = "";
    if (limits.minPsnr && summary.LeastPsnr() < *limits.minPsnr) {
        std::snprintf(text, sizeof text, "a pair has a PSNR of %.4f dB, less than %g", summary.LeastPsnr(),
                      *limits.minPsnr);
    } else if (limits.minSsim && summary.LeastSsim() < *limits.minSsim) {
        std::snprintf(text, sizeof text, "a pair has an SSIM of %.6f, less than %g", summary.LeastSsim(),
                      *limits.minSsim);
    }
    return text;
}

bool WriteWorst(PlaybackParts& parts, const Measured& measured) {
    const std::string& path = parts.options.measure.worstSheet;
    constexpr std::size_t most = 10;
    const auto worst = measured.summary.Worst(most);
    if (path.empty()) {
        return true;
    }
    if (worst.empty()) {
        parts.Say(path + " is not written: no pair differs");
        return true;
    }
    std::string error;
    if (!WriteWorstSheet(parts, worst, error)) {
        return parts.Fail(error);
    }
    parts.Say("sheet of the worst pairs: " + path);
    return true;
}

} // namespace

int MeasureFiles(PlaybackParts& parts) {
    const Options& options = parts.options;
    std::string error;
    kq::measure::ReportFile report;
    if (!report.Open(options.measure.report, error)) {
        parts.Fail(error);
        return ExitFailed;
    }
    const auto measurer = kq::measure::Measurer::Open(RequestOf(parts), error);
    if (!measurer) {
        parts.Fail(error);
        return ExitFailed;
    }
    for (const std::string& remark : measurer->Remarks()) {
        parts.Say(remark);
    }
    Measured measured;
    Measure(parts, *measurer, report, measured);
    if (!measured.error.empty() || !report.Finish(measured.error)) {
        parts.Fail(measured.error);
        return ExitFailed;
    }
    const auto columns = static_cast<int>(TerminalColumns(parts.output.Screen()));
    std::string text =
        measured.summary.Text(options.file, options.compare.empty() ? std::string() : options.compare[0].path,
                              measured.outcome, columns);
    text.pop_back(); // Say() ends the line
    parts.Say(text);
    if (!WriteWorst(parts, measured)) {
        return ExitFailed;
    }
    const std::string shortfall = Shortfall(options, measured);
    if (shortfall.empty()) {
        return ExitPlayed;
    }
    parts.Say("not met: " + shortfall);
    return ExitNotMet;
}

int VerifyFile(PlaybackParts& parts) {
    kq::measure::VerifyRequest request;
    request.file = parts.options.file;
    request.count = parts.options.verify.count;
    request.seed = parts.options.verify.seed;
    parts.Watch(request);
    std::string error;
    const auto verifier = kq::measure::Verifier::Open(request, error);
    kq::measure::VerifyReport report;
    std::chrono::steady_clock::time_point shown;
    const auto progress = [&](const char* what, std::int64_t done, std::int64_t all) {
        const auto now = std::chrono::steady_clock::now();
        if (now - shown < often) {
            return true;
        }
        shown = now;
        return ShowWork(parts, what, done, all);
    };
    if (!verifier || !verifier->Run(progress, report, error)) {
        parts.Fail(error);
        return ExitFailed;
    }
    std::string text = report.Text(request);
    text.pop_back(); // Say() ends the line
    parts.Say(text);
    return report.faultCount == 0 ? ExitPlayed : ExitNotMet;
}

} // namespace kqplay
