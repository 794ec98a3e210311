#include "PlayOnce.h"

#include "EndWatch.h"
#include "Measured.h"
#include "RealTimeDevice.h"

#include <kqplayer/media_file.h>

#include <host/kqplay/LateFrames.h>
#include <host/kqplay/ViewLibrary.h>
#include <sys/resource.h>

#include <stdexcept>

namespace bench {
namespace {

constexpr int width = 1920;
constexpr int height = 1080;

/// Counts pictures and late ones.
class Watch final : public EndWatch {
public:
    void OnPosition(double seconds) override {
        ++m_pictures;
        m_late.Frame(NowMilliseconds() / 1000, seconds);
    }

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

} // namespace

Cost PlayOnce(const std::string& clip, pid_t server, const Showing& showing) {
    kq::streams::MediaFile file;
    std::string error;
    if (!kq::streams::OpenMediaFile(clip, {}, file, error)) {
        throw std::runtime_error(error);
    }
    Watch watch;
    Cost cost;
    {
        kqplay::Player player;
        if (!player.Create(watch, error) || !player.CreateView(showing.parent, width, height) ||
            !player.SetVideo(file.video, nullptr)) {
            throw std::runtime_error(error.empty() ? kqplay::ViewLibrary().WhyNoView() : error);
        }
        player.View(0)->SetDisplay(showing.display);
        if (showing.begin) {
            showing.begin(player);
        }
        const double own = OwnProcessorTime();
        const double others = ProcessorTimeOf(server);
        player.Play();
        watch.WaitForEnd();
        cost = {OwnProcessorTime() - own, ProcessorTimeOf(server) - others, watch.m_late.Count(),
                watch.m_pictures};
        if (showing.end) {
            showing.end(player);
        }
    }
    file.Release();
    return cost;
}

} // namespace bench
