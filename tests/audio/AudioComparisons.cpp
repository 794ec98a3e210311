#include "AudioComparisons.h"

#include "audio/AudioKernels.h"

#include <algorithm>
#include <vector>

namespace kq::audio::test {
namespace {

/// Guarded samples to read, in some trials the extremes only.
short* Source(Trial& trial, std::int32_t samples) {
    auto* source = reinterpret_cast<short*>(trial.Source(samples * 2, 1).data);
    if (trial.Between(0, 3) == 0) {
        std::generate(source, source + samples,
                      [&] { return static_cast<short>(trial.Flag() ? 32767 : -32768); });
    }
    return source;
}
short* Destination(Trial& trial, std::int32_t samples) {
    return reinterpret_cast<short*>(trial.Destination(samples * 2, 1).data);
}

} // namespace

std::string CompareMixing(Trial& trial) {
    const int in = trial.Between(1, 8), frames = trial.Size();
    constexpr int layouts[] = {1, 2, 6};
    const int out = layouts[trial.Between(0, 2)];
    const short* source = Source(trial, in * frames);
    short* destination = Destination(trial, out * frames);
    return trial.Compare(BestAudioKernels().mix, PlainAudioKernels().mix, source, in, out,
                         static_cast<std::size_t>(frames), destination);
}

std::string CompareResampling(Trial& trial) {
    const int channels = trial.Between(1, 8);
    const int inFrames = trial.Between(1, 700), outFrames = trial.Between(1, 700);
    const short* source = Source(trial, channels * (inFrames + 2)) + channels;
    short* destination = Destination(trial, channels * outFrames);
    const Resampling job = {source, channels, inFrames * channels, outFrames * channels};
    return trial.Compare(BestAudioKernels().resample, PlainAudioKernels().resample, job, destination);
}

std::string CompareSums(Trial& trial) {
    const int inputs = trial.Between(0, 5), samples = trial.Size();
    std::vector<short*> sources;
    for (int i = 0; i < inputs; ++i) {
        sources.push_back(Source(trial, samples));
        for (int k = 0; k < samples; ++k) {
            sources.back()[k] = static_cast<short>(sources.back()[k] / trial.Between(1, 4));
        }
    }
    short* destination = Destination(trial, samples);
    const double gain = trial.Flag() ? 1.0 : 1.000001;
    int stopped[2] = {};
    const auto sum = [&](const AudioKernels& kernels, int& end) {
        return [&] { end = kernels.sum(sources.data(), inputs, gain, 0, samples, destination); };
    };
    const std::string difference =
        trial.Compare(sum(BestAudioKernels(), stopped[0]), sum(PlainAudioKernels(), stopped[1]));
    return stopped[0] == stopped[1] ? difference : "stopped at different samples";
}

} // namespace kq::audio::test
