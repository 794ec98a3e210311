#include "Quality.h"

#include <cmath>
#include <utility>

namespace kq::measure {
namespace {

constexpr std::ptrdiff_t blockSide = 4;

RowPair Below(const RowPair& rows, std::ptrdiff_t count) {
    return {rows.first + count * rows.firstPitch, rows.firstPitch, rows.second + count * rows.secondPitch,
            rows.secondPitch};
}

template <class Sample>
std::uint64_t ErrorOf(const RowPair& rows, int left, int right, int height) {
    std::uint64_t error = 0;
    for (std::ptrdiff_t y = 0; y < height; ++y) {
        const auto* a = reinterpret_cast<const Sample*>(rows.first + y * rows.firstPitch);
        const auto* b = reinterpret_cast<const Sample*>(rows.second + y * rows.secondPitch);
        for (int x = left; x < right; ++x) {
            const std::int64_t difference = std::int64_t{a[x]} - b[x];
            error += static_cast<std::uint64_t>(difference * difference);
        }
    }
    return error;
}

/// @return the squared differences of a part that fills no blocks
std::uint64_t ErrorOf(const PlanePair& pair, const RowPair& rows, int left, int height) {
    return pair.depth > 8 ? ErrorOf<std::uint16_t>(rows, left, pair.width, height)
                          : ErrorOf<std::uint8_t>(rows, left, pair.width, height);
}

/// The order of the additions is the same whatever the processor.
double SumOf(const float* values, std::size_t count) {
    double sums[4] = {};
    for (std::size_t i = 0; i < count; ++i) {
        sums[i % 4] += static_cast<double>(values[i]);
    }
    return sums[0] + sums[1] + sums[2] + sums[3];
}

} // namespace

double Psnr(double meanSquare, int depth) {
    const double peak = static_cast<double>((1 << depth) - 1);
    return 10 * std::log10(peak * peak / meanSquare);
}

template <class Sum>
void QualityMeter::Rows<Sum>::Resize(std::size_t blocks) {
    memory.resize(8 * blocks);
    Sum* const at = memory.data();
    upper = {at, at + blocks, at + 2 * blocks, at + 3 * blocks};
    lower = {at + 4 * blocks, at + 5 * blocks, at + 6 * blocks, at + 7 * blocks};
}

PlaneQuality QualityMeter::Measure(const PlanePair& pair) {
    if (pair.depth > 12) {
        return MeasureWith<std::int64_t>(pair, PlainDeepBlocks, PlainDeepWindows, m_deepRows);
    }
    if (pair.depth > 8) {
        return MeasureWith<std::int32_t>(pair, m_kernels.blocks16, m_kernels.windows16, m_rows);
    }
    return MeasureWith<std::int32_t>(pair, m_kernels.blocks8, m_kernels.windows8, m_rows);
}

template <class Sum>
PlaneQuality QualityMeter::MeasureWith(const PlanePair& pair, BlockKernel<Sum> blocks,
                                       WindowKernel<Sum> windows, Rows<Sum>& rows) {
    const auto columns = static_cast<std::size_t>(pair.width / blockSide);
    const std::ptrdiff_t lines = pair.height / blockSide;
    const std::size_t count = columns > 0 ? columns - 1 : 0; // of windows in a line
    const Stabilizers stabilizers = StabilizersFor(pair.depth);
    rows.Resize(columns);
    m_windows.resize(count);
    std::uint64_t error = 0;
    double similarity = 0;
    for (std::ptrdiff_t line = 0; line < lines; ++line) {
        const RowPair at = Below(pair.rows, line * blockSide);
        error += blocks(at, columns, rows.lower);
        error += ErrorOf(pair, at, static_cast<int>(columns) * blockSide, blockSide);
        if (line > 0) {
            windows(rows.upper, rows.lower, count, stabilizers, m_windows.data());
            similarity += SumOf(m_windows.data(), count);
        }
        std::swap(rows.upper, rows.lower);
    }
    error += ErrorOf(pair, Below(pair.rows, lines * blockSide), 0, pair.height % blockSide);

    PlaneQuality quality;
    quality.meanSquare = static_cast<double>(error) / (static_cast<double>(pair.width) * pair.height);
    if (error > 0) {
        quality.psnr = Psnr(quality.meanSquare, pair.depth);
    }
    if (count > 0 && lines > 1) {
        quality.ssim = similarity / (static_cast<double>(count) * static_cast<double>(lines - 1));
    }
    return quality;
}

} // namespace kq::measure
