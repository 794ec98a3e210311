#include "Kernels.h"

#include <cmath>

namespace kq::measure {
namespace {

template <class Sample, class Sum>
std::uint64_t Blocks(const RowPair& rows, std::size_t count, const BlockRow<Sum>& sums) {
    std::uint64_t error = 0;
    for (std::size_t block = 0; block < count; ++block) {
        Sum first = 0, second = 0, squares = 0, products = 0;
        for (std::ptrdiff_t y = 0; y < 4; ++y) {
            const auto* a = reinterpret_cast<const Sample*>(rows.first + y * rows.firstPitch) + 4 * block;
            const auto* b = reinterpret_cast<const Sample*>(rows.second + y * rows.secondPitch) + 4 * block;
            for (int x = 0; x < 4; ++x) {
                const Sum sampleA = a[x];
                const Sum sampleB = b[x];
                first += sampleA;
                second += sampleB;
                squares += sampleA * sampleA + sampleB * sampleB;
                products += sampleA * sampleB;
            }
        }
        sums.first[block] = first;
        sums.second[block] = second;
        sums.squares[block] = squares;
        sums.products[block] = products;
        error += static_cast<std::uint64_t>(squares - 2 * products); // (a - b)² = a² + b² - 2ab
    }
    return error;
}

template <class Sum>
void Windows(const BlockRow<Sum>& upper, const BlockRow<Sum>& lower, std::size_t count,
             const Stabilizers& stabilizers, float* ssim) {
    for (std::size_t i = 0; i < count; ++i) {
        const auto windowOf = [i](const Sum* above, const Sum* below) {
            return std::int64_t{above[i]} + above[i + 1] + below[i] + below[i + 1];
        };
        const std::int64_t a = windowOf(upper.first, lower.first);
        const std::int64_t b = windowOf(upper.second, lower.second);
        // 64 times the sums of squares about the means, from 64 samples.
        const std::int64_t variances = windowOf(upper.squares, lower.squares) * 64 - a * a - b * b;
        const std::int64_t covariance = windowOf(upper.products, lower.products) * 64 - a * b;
        ssim[i] = static_cast<float>(2 * a * b + stabilizers.luminance) *
                  static_cast<float>(2 * covariance + stabilizers.contrast) /
                  (static_cast<float>(a * a + b * b + stabilizers.luminance) *
                   static_cast<float>(variances + stabilizers.contrast));
    }
}

} // namespace

Stabilizers StabilizersFor(int depth) {
    const double peak = static_cast<double>((1 << depth) - 1);
    return {std::llround(0.01 * 0.01 * peak * peak * 64), std::llround(0.03 * 0.03 * peak * peak * 64 * 63)};
}

const Kernels& PlainKernels() {
    static constexpr Kernels kernels = {
        Blocks<std::uint8_t, std::int32_t>,
        Blocks<std::uint16_t, std::int32_t>,
        Windows<std::int32_t>,
        Windows<std::int32_t>,
    };
    return kernels;
}

std::uint64_t PlainDeepBlocks(const RowPair& rows, std::size_t count, const BlockRow<std::int64_t>& sums) {
    return Blocks<std::uint16_t, std::int64_t>(rows, count, sums);
}

void PlainDeepWindows(const BlockRow<std::int64_t>& upper, const BlockRow<std::int64_t>& lower,
                      std::size_t count, const Stabilizers& stabilizers, float* ssim) {
    Windows<std::int64_t>(upper, lower, count, stabilizers, ssim);
}

} // namespace kq::measure
