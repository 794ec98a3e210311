// Whether sound and picture agree: a clip that flashes and beeps once a second is played through the
// component, with a sound device that this program renders in real time.
#include "Measured.h"

#include <host/kqplay/Player.h>
#include <host/kqplay/ViewLibrary.h>
#include <streams/MediaFile.h>
#include <tests/support/LoopbackDevice.h>

#include <atomic>
#include <cstdlib>
#include <ctime>
#include <mutex>
#include <stdexcept>
#include <thread>

namespace bench {
namespace {

constexpr int sampleRate = 48000;
constexpr int period = 256; ///< sample frames, as kqplay asks for
constexpr int seconds = 10;

double NowMilliseconds() {
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) / 1e6;
}

void SleepUntil(double milliseconds) {
    timespec until;
    until.tv_sec = static_cast<time_t>(milliseconds / 1e3);
    until.tv_nsec = static_cast<long>((milliseconds - static_cast<double>(until.tv_sec) * 1e3) * 1e6);
    clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &until, nullptr);
}

/// A sound card without delay: a block is heard from the moment on at which it is rendered.
class RealTimeDevice {
public:
    RealTimeDevice() : m_thread([this] { Render(); }) {}
    ~RealTimeDevice() { Stop(); }
    void Stop() {
        m_stop = true;
        if (m_thread.joinable())
            m_thread.join();
    }
    /// @return milliseconds at which each beep began to be heard; to be called after Stop()
    const std::vector<double>& Beeps() const { return m_beeps; }

private:
    void Render() {
        const double start = NowMilliseconds();
        double quietSince = start - 1000;
        for (long block = 0; !m_stop; ++block) {
            const double time = start + static_cast<double>(block) * period * 1000.0 / sampleRate;
            SleepUntil(time);
            const auto samples = m_device.Render(period);
            for (int i = 0; i < period; ++i) {
                if (std::abs(samples[static_cast<std::size_t>(i) * 2]) < 1000)
                    continue;
                const double heard = time + i * 1000.0 / sampleRate;
                if (heard - quietSince > 100)
                    m_beeps.push_back(heard);
                quietSince = heard;
            }
        }
    }

    kq::test::LoopbackDevice m_device{sampleRate};
    std::atomic<bool> m_stop{false};
    std::vector<double> m_beeps;
    std::thread m_thread;
};

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
        if (!player.Create(watch, error) || !player.CreateView(kqplay::Player::OffScreen(), 320, 180) ||
            !player.SetVideo(file.video))
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
          period * 1000.0 / sampleRate);
    Print("%zu flashes, %zu beeps: smallest %.1f, median %.1f, largest %.1f\n\n", watch.m_flashes.size(),
          device.Beeps().size(), Percentile(offsets, 0), Percentile(offsets, 0.5), Percentile(offsets, 1));
}

} // namespace bench
