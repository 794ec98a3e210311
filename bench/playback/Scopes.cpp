// What a scope takes of the processor for a picture.
#include "Measured.h"

#include <kqplayer/convenience.h>
#include <kqplayer/media_file.h>
#include <kqplayer/scope.h>

#include <ctime>
#include <stdexcept>

namespace bench {
namespace {

constexpr int pictures = 60;
constexpr int warmUp = 5;

/// @return milliseconds, of all threads
double ProcessorTime() {
    timespec now;
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) / 1e6;
}

/// @return milliseconds for each picture
std::vector<double> Times(kq::streams::ScopeKind kind, const std::shared_ptr<const MEDIA_FRAME>& picture) {
    std::string error;
    const auto scope = kq::streams::Scope::Make(kind, error);
    if (!scope) {
        throw std::runtime_error(error);
    }
    kq::streams::ScopePicture drawn;
    std::vector<double> times;
    for (int i = -warmUp; i < pictures; ++i) {
        const double begin = ProcessorTime();
        if (!scope->Draw(picture, drawn)) {
            throw std::runtime_error("a scope cannot be drawn");
        }
        if (i >= 0) {
            times.push_back(ProcessorTime() - begin);
        }
    }
    return times;
}

/// @return a picture that stays after its file is closed
std::shared_ptr<const MEDIA_FRAME> TakePicture(const std::string& clip) {
    kq::streams::OpenOptions how;
    how.audio = false;
    how.queueBytes = 1; // nothing is decoded ahead meanwhile
    kq::streams::MediaFile file;
    std::shared_ptr<kq::streams::Timeline> timeline;
    std::string error;
    if (!kq::streams::OpenTimeline(clip, how, file, timeline, error)) {
        throw std::runtime_error(error);
    }
    file.video->Seek(1, kq::ExactSeek);
    auto picture = kq::streams::KeepPicture(*file.video).frame;
    file.Release();
    return picture;
}

} // namespace

void MeasureScopes() {
    const auto picture = TakePicture(
        MakeClip("scopes.mp4", {"-f", "lavfi", "-i", "testsrc2=size=1920x1080:rate=25", "-t", "2", "-c:v",
                                "libx264", "-preset", "ultrafast", "-pix_fmt", "yuv420p"}));
    Print(
        "A scope of a picture of 1920x1080, processor time of all threads, milliseconds, %d times\n%-12s %8s "
        "%8s\n",
        pictures, "", "median", "95 %");
    const struct {
        const char* name;
        kq::streams::ScopeKind kind;
    } kinds[] = {{"waveform", kq::streams::ScopeKind::Waveform},
                 {"vectorscope", kq::streams::ScopeKind::Vectorscope},
                 {"histogram", kq::streams::ScopeKind::Histogram}};
    for (const auto& [name, kind] : kinds) {
        const std::vector<double> times = Times(kind, picture);
        Print("%-12s %8.1f %8.1f\n", name, Percentile(times, 0.5), Percentile(times, 0.95));
    }
    Print("\n");
}

} // namespace bench
