// Whether sound and picture agree: a clip that flashes and beeps once a second is played through the
// component, with a sound device that this program renders in real time.
#include "EndWatch.h"
#include "Measured.h"
#include "RealTimeDevice.h"

#include <kqplayer/media_file.h>

#include <host/kqplay/Player.h>
#include <host/kqplay/ViewLibrary.h>

#include <memory>
#include <stdexcept>

namespace bench {
namespace {

constexpr int seconds = 10;
/// Flashes and beeps further apart belong to different seconds of the file, at every speed.
constexpr double farApart = 100;

/// Notes when white pictures begin to be shown.
class FlashWatch final : public EndWatch {
public:
    static void OnPicture(void*, int, int width, int height, const unsigned char* pixels, void* self) {
        const std::size_t middle = (static_cast<std::size_t>(height) / 2 * static_cast<std::size_t>(width) +
                                    static_cast<std::size_t>(width) / 2) *
                                   4;
        auto& watch = *static_cast<FlashWatch*>(self);
        const bool isWhite = pixels[middle] > 128;
        if (isWhite && !watch.m_isWhite) {
            watch.m_flashes.push_back(NowMilliseconds());
        }
        watch.m_isWhite = isWhite;
    }

    bool m_isWhite = false;
    std::vector<double> m_flashes;
};

/// What was seen and heard, in milliseconds.
struct Noted {
    std::vector<double> flashes;
    std::vector<double> beeps;
};

/// @param length seconds of the file
Noted PlayAt(double rate, double length) {
    kq::streams::MediaFile file;
    std::shared_ptr<kq::streams::Timeline> timeline;
    std::string error;
    if (!kq::streams::OpenTimeline(FlashClip(seconds, 2), {}, file, timeline, error)) {
        throw std::runtime_error(error);
    }
    timeline->SetRate(rate);
    timeline->SetRange(0, length);
    FlashWatch watch;
    RealTimeDevice device;
    kqplay::ViewLibrary views;
    {
        kqplay::Player player;
        if (!player.Create(watch, error) || !player.CreateView(kq::OffScreenParent(), 320, 180) ||
            !player.SetVideo(file.video, nullptr)) {
            throw std::runtime_error(error.empty() ? views.WhyNoView() : error);
        }
        player.SetAudio(file.audio);
        views.SetPictureSink(FlashWatch::OnPicture, &watch);
        player.SetRange(0, timeline->EndTime());
        player.Play();
        watch.WaitForEnd();
        views.SetPictureSink(nullptr, nullptr);
    }
    device.Stop();
    file.Release();
    return {watch.m_flashes, device.Beeps()};
}

} // namespace

void MeasureFlashAndBeep() {
    Print("Flash and beep: picture after sound, a device with a period of %.1f ms; milliseconds\n",
          RealTimeDevice::Period * 1000.0 / RealTimeDevice::SampleRate);
    Print("%8s %8s %8s %8s %9s %8s %8s\n", "speed", "flashes", "beeps", "in pairs", "smallest", "median",
          "largest");
    for (const double rate : {1.0, 0.25, 0.5, 1.5, 2.0, 4.0}) {
        const Noted noted = PlayAt(rate, rate < 1 ? 5 : seconds);
        const std::vector<double> offsets = PairUp(noted.flashes, noted.beeps, farApart).offsets;
        Print("%8.2f %8zu %8zu %8zu %9.1f %8.1f %8.1f\n", rate, noted.flashes.size(), noted.beeps.size(),
              offsets.size(), Percentile(offsets, 0), Percentile(offsets, 0.5), Percentile(offsets, 1));
    }
    Print("\n");
}

} // namespace bench
