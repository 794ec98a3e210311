/// @file
/// The inner loops of PCM conversion: plain, and vectorised with the same samples.
#pragma once

#include <cstddef>
#include <cstdint>

namespace kq::audio {

/// A block of mixed frames that is resampled. The frame before `frames` is the last one of the previous
/// block.
struct Resampling {
    const short* frames;
    int channels;
    int inSamples;  ///< samples of the block
    int outSamples; ///< samples to make, whole frames
    int from = 0;   ///< output frame to begin with
};

struct AudioKernels {
    /// Mixes whole frames by the table.
    void (*mix)(const short* in, int inChannels, int outChannels, std::size_t frames, short* out);
    /// Output frame j lies at x = (j + 1) * inSamples / outSamples - 1 of the block and is interpolated
    /// there.
    void (*resample)(const Resampling& job, short* out);
    /// Sums inputs from index `start` on at a gain of 1 or more for as long as no sum is limited.
    /// @return the index that it stopped at
    int (*sum)(short* const* inputs, int count, double gain, int start, int end, short* out);
};

/// The loops as their formulas read.
const AudioKernels& PlainAudioKernels();
/// The loops for the best target that is enabled.
const AudioKernels& BestAudioKernels();

} // namespace kq::audio
