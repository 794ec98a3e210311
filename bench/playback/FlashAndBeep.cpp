// Whether sound and picture agree: a clip that flashes and beeps once a second is played through the
// component, with a sound device that this program renders in real time.
#include "Measured.h"
#include "RealTimeDevice.h"

#include <kqplayer/media_file.h>

#include <host/kqplay/Player.h>
#include <host/kqplay/ViewLibrary.h>

#include <atomic>
#include <stdexcept>
#include <thread>

namespace bench {
namespace {

constexpr int seconds = 10;

/// Notes when white pictures are shown, and waits for the end.
class FlashWatch final : public kqplay::PlayerListener {
public:
    static void OnPicture(void*, int, int width, int height, const unsigned char* pixels, void* self) {
        const std::size_t middle = (static_cast<std::size_t>(height) / 2 * static_cast<std::size_t>(width) +
                                    static_cast<std::size_t>(width) / 2) *
                                   4;
        if (pixels[middle] > 128)
            static_cast<FlashWatch*>(self)->m_flashes.push_back(NowMilliseconds());
    }
    void OnPosition(double) override {}
    void OnEnd() override { m_ended = true; }

    std::atomic<bool> m_ended{false};
    std::vector<double> m_flashes;
};

} // namespace

void MeasureFlashAndBeep() {
    const std::string clip = MakeClip(
        "flash.mkv",
        {"-f", "lavfi", "-i",
         "color=black:size=320x180:rate=60,drawbox=enable='lt(mod(t,1),0.016)':color=white:t=fill", "-f",
         "lavfi", "-i", "aevalsrc='if(lt(mod(t,1),0.02),0.8*cos(2*PI*1000*t),0)':s=48000", "-t",
         std::to_string(seconds), "-c:v", "libx264", "-pix_fmt", "yuv420p", "-ac", "2", "-c:a", "pcm_s16le"});
    kq::streams::MediaFile file;
    std::string error;
    if (!kq::streams::OpenMediaFile(clip, {}, file, error))
        throw std::runtime_error(error);
    FlashWatch watch;
    RealTimeDevice device;
    kqplay::ViewLibrary views;
    {
        kqplay::Player player;
        if (!player.Create(watch, error) || !player.CreateView(kq::OffScreenParent(), 320, 180) ||
            !player.SetVideo(file.video, nullptr))
            throw std::runtime_error(error.empty() ? views.WhyNoView() : error);
        player.SetAudio(file.audio);
        views.SetPictureSink(FlashWatch::OnPicture, &watch);
        player.Play();
        while (!watch.m_ended)
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        views.SetPictureSink(nullptr, nullptr);
    }
    device.Stop();
    file.Release();

    std::vector<double> offsets;
    for (std::size_t i = 0; i < watch.m_flashes.size() && i < device.Beeps().size(); ++i)
        offsets.push_back(watch.m_flashes[i] - device.Beeps()[i]);
    Print("Flash and beep: picture after sound, a device with a period of %.1f ms; milliseconds\n",
          RealTimeDevice::Period * 1000.0 / RealTimeDevice::SampleRate);
    Print("%zu flashes, %zu beeps: smallest %.1f, median %.1f, largest %.1f\n\n", watch.m_flashes.size(),
          device.Beeps().size(), Percentile(offsets, 0), Percentile(offsets, 0.5), Percentile(offsets, 1));
}

} // namespace bench
