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

/// The rows of three planes that hold a row of pixels.
struct SampleRows {
    const std::uint8_t *y, *u, *v;

    SampleRows(const SamplesToRgb& job, std::ptrdiff_t row)
        : y(job.y.Row(row)), u(job.u.Row(job.layout.ChromaRow(row))),
          v(job.v.Row(job.layout.ChromaRow(row))) {}

    YuvSamples At(SampleDepth depth, ChromaColumns chroma, std::ptrdiff_t column) const {
        const int luma = SampleAt(depth, y, column);
        const std::ptrdiff_t at = chroma == ChromaColumns::Full ? column : column / 2;
        if (chroma == ChromaColumns::Interleaved) {
            return {luma, SampleAt(depth, u, 2 * at), SampleAt(depth, u, 2 * at + 1)};
        }
        return {luma, SampleAt(depth, u, at), SampleAt(depth, v, at)};
    }
};

} // namespace kq::image
