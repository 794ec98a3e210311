// Whether sound and picture agree again after a seek: a clip that flashes and beeps once a second is sought
// while it plays, to shortly before a flash.
#include "ComponentHost.h"
#include "Seek.h"

#include <kqplayer/media_file.h>

#include <bench/playback/Measured.h>
#include <bench/playback/RealTimeDevice.h>

#include <random>
#include <stdexcept>
#include <utility>

namespace bench {
namespace {

constexpr int seconds = 12;
/// Flashes and beeps further apart belong to different seconds.
constexpr double farApart = 300;

/// @return 2 for a flash, 1 otherwise
std::size_t IsFlash(const unsigned char* pixels, std::size_t bytes) {
    return pixels[bytes / 2] > 128 ? 2 : 1;
}

} // namespace

double SoundPeriod() {
    return RealTimeDevice::Period * 1000.0 / RealTimeDevice::SampleRate;
}

Row MeasureSync(int count) {
    Row row{"flash and beep, 60 Hz", "picture after sound", {}, 0};
    kq::streams::MediaFile file;
    std::string error;
    if (!kq::streams::OpenMediaFile(FlashClip(seconds, 1), {}, file, error)) {
        throw std::runtime_error(error);
    }
    RealTimeDevice device;
    std::vector<double> flashes;
    {
        ComponentHost host(IsFlash);
        host.AddView(1, *file.video);
        host.SetAudio(*file.audio);
        host->Play();
        std::mt19937 random(43);
        for (int i = 0; i < count; ++i) {
            const double before = 0.15 + static_cast<double>(random() % 150) / 1000;
            const auto second = static_cast<double>(1 + random() % (seconds - 3));
            host->SyncSeek(second - before, kq::ExactSeek);
            host.Forget();
            const bool came = host.WaitForPicture(
                [](const auto& pictures) { return !pictures.empty() && pictures.back().mark == 2; });
            if (came) {
                flashes.push_back(
                    std::chrono::duration<double, std::milli>(host.Pictures().back().when.time_since_epoch())
                        .count());
            } else {
                ++row.missed;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(120));
        }
    }
    device.Stop();
    file.Release();
    Pairs pairs = PairUp(flashes, device.Beeps(), farApart);
    row.milliseconds = std::move(pairs.offsets);
    row.missed += pairs.missed;
    return row;
}

} // namespace bench
