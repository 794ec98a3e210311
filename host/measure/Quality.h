/// @file
/// How near two planes of samples are to each other.
#pragma once

#include "Kernels.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace kq::measure {

/// Two planes of the same size and depth.
struct PlanePair {
    RowPair rows;   ///< the top one; pitches may be negative
    int width = 0;  ///< samples
    int height = 0; ///< samples
    int depth = 8;  ///< bits a sample, 8 to 16; from 9 on samples are little-endian words
};

/// What is measured of two planes.
struct PlaneQuality {
    double meanSquare = 0;      ///< of the differences, in squared steps of the samples
    std::optional<double> psnr; ///< dB; none for equal planes
    std::optional<double> ssim; ///< none for planes that are less than 8 samples wide or high

    bool IsEqual() const { return !psnr; }
};

/// Measures planes; keeps its work memory. Used by one thread.
///
/// PSNR is 10 log10(peak² / mean square), peak being the highest value of the depth. SSIM is the mean over
/// windows of 8x8 samples at every fourth row and column; what does not fill a block of 4x4 at the right and
/// bottom edge counts for PSNR only. Both are what FFmpeg's filters "psnr" and "ssim" give.
class QualityMeter {
public:
    explicit QualityMeter(const Kernels& kernels = BestKernels()) : m_kernels(kernels) {}

    PlaneQuality Measure(const PlanePair& pair);

private:
    template <class Sum>
    struct Rows {
        std::vector<Sum> memory;
        BlockRow<Sum> upper{};
        BlockRow<Sum> lower{};

        void Resize(std::size_t blocks);
    };
    template <class Sum>
    PlaneQuality MeasureWith(const PlanePair& pair, BlockKernel<Sum> blocks, WindowKernel<Sum> windows,
                             Rows<Sum>& rows);

    const Kernels& m_kernels;
    Rows<std::int32_t> m_rows;
    Rows<std::int64_t> m_deepRows;
    std::vector<float> m_windows;
};

/// @param depth bits a sample
/// @return dB
double Psnr(double meanSquare, int depth);

} // namespace kq::measure
