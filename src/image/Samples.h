/// @file
/// One pixel's samples, whatever the layout.
#pragma once

#include "Kernels.h"

namespace kq::image {

/// Luma and the chroma that serves it, in the units of the picture: 0 to 255 or to 1023.
struct YuvSamples {
    int y, u, v;
};

inline int SampleAt(SampleDepth depth, const std::uint8_t* row, std::ptrdiff_t index) {
    if (depth == SampleDepth::Eight) {
        return row[index];
    }
    const int word = row[2 * index] | row[2 * index + 1] << 8;
    return depth == SampleDepth::TenLow ? word & 1023 : word >> 6;
}

inline YuvSamples SamplesAt(const WeightedToRgb& job, std::ptrdiff_t row, std::ptrdiff_t column) {
    const SampleDepth depth = job.layout.depth;
    const int y = SampleAt(depth, job.y.Row(row), column);
    const std::ptrdiff_t chromaRow = job.layout.ChromaRow(row);
    const std::ptrdiff_t chromaColumn = job.layout.chroma == ChromaColumns::Full ? column : column / 2;
    const std::uint8_t* u = job.u.Row(chromaRow);
    if (job.layout.chroma == ChromaColumns::Interleaved) {
        return {y, SampleAt(depth, u, 2 * chromaColumn), SampleAt(depth, u, 2 * chromaColumn + 1)};
    }
    return {y, SampleAt(depth, u, chromaColumn), SampleAt(depth, job.v.Row(chromaRow), chromaColumn)};
}

} // namespace kq::image
