#include "AudioKernels.h"
#include "MixingTable.h"

#include <algorithm>

namespace kq::audio {
namespace {

void Mix(const short* in, int inChannels, int outChannels, std::size_t frames, short* out) {
    const MixLayout& layout = kMixing[inChannels - 1][MixColumn(outChannels)];
    for (; frames != 0; --frames, in += inChannels) {
        for (int c = 0; c < outChannels; ++c) {
            const MixChannel& channel = layout.channel[c];
            int sum = 0;
            for (int i = 0; i < channel.terms; ++i) {
                sum += in[channel.term[i].channel] / channel.term[i].divisor;
            }
            *out++ = static_cast<short>(channel.limited ? std::clamp(sum, -32767, 32767) : sum);
        }
    }
}

void Resample(const Resampling& job, short* out) {
    const int frames = job.outSamples / job.channels;
    out += static_cast<std::ptrdiff_t>(job.from) * job.channels;
    for (int j = job.from; j < frames; ++j) {
        const double x = (j + 1.0) * job.inSamples / job.outSamples - 1;
        const int first = std::max(static_cast<int>(x + 1) - 1, -1);
        const double fraction = std::clamp<double>(x, first, first + 1.0) - first;
        const short* a = job.frames + static_cast<std::ptrdiff_t>(first) * job.channels;
        for (int c = 0; c < job.channels; ++c) {
            const int value = a[c] + static_cast<int>((a[c + job.channels] - a[c]) * fraction);
            *out++ = static_cast<short>(std::clamp(value, -32767, 32767));
        }
    }
}

int Sum(short* const* inputs, int count, double gain, int start, int end, short* out) {
    for (int i = start; i < end; ++i) {
        std::int64_t sum = 0;
        for (int k = 0; k < count; ++k) {
            sum += inputs[k][i];
        }
        const double value = static_cast<double>(sum) * gain;
        if (value >= 32768 || value <= -32768) {
            return i;
        }
        out[i] = static_cast<short>(value);
    }
    return end;
}

} // namespace

const AudioKernels& PlainAudioKernels() {
    static constexpr AudioKernels kernels = {Mix, Resample, Sum};
    return kernels;
}

} // namespace kq::audio
