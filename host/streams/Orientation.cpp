#include "Orientation.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace kq::streams {
namespace {

/// Walking down columns of the source touches a new cache line for every sample; in squares they are used
/// again.
constexpr int square = 64;

template <std::size_t unitBytes>
void CopyUnits(const std::uint8_t* source, std::ptrdiff_t stepX, std::ptrdiff_t stepY,
               const PlaneView& target) {
    for (int top = 0; top < target.height; top += square) {
        const int bottom = std::min(top + square, target.height);
        for (int left = 0; left < target.width; left += square) {
            const int right = std::min(left + square, target.width);
            for (int y = top; y < bottom; ++y) {
                std::uint8_t* const row = target.data + y * target.pitch;
                for (int x = left; x < right; ++x) {
                    std::memcpy(row + static_cast<std::size_t>(x) * unitBytes, source + y * stepY + x * stepX,
                                unitBytes);
                }
            }
        }
    }
}

} // namespace

Orientation Orientation::FromDisplayMatrix(const std::int32_t* matrix) {
    Orientation result;
    if (matrix == nullptr) {
        return result;
    }
    // Row by row: the place that a step to the right leads to, then that of a step down.
    const std::int64_t rightX = matrix[0];
    const std::int64_t rightY = matrix[1];
    const std::int64_t downX = matrix[3];
    const std::int64_t downY = matrix[4];
    result.swapAxes = std::llabs(rightY) > std::llabs(rightX);
    result.mirrorX = (result.swapAxes ? downX : rightX) < 0;
    result.mirrorY = (result.swapAxes ? rightY : downY) < 0;
    return result;
}

void TurnPlane(Orientation orientation, const std::uint8_t* source, std::ptrdiff_t sourcePitch,
               const PlaneView& target) {
    std::ptrdiff_t stepX = orientation.swapAxes ? sourcePitch : target.unitBytes;
    std::ptrdiff_t stepY = orientation.swapAxes ? target.unitBytes : sourcePitch;
    if (orientation.mirrorX) {
        source += stepX * (target.width - 1);
        stepX = -stepX;
    }
    if (orientation.mirrorY) {
        source += stepY * (target.height - 1);
        stepY = -stepY;
    }
    switch (target.unitBytes) {
    case 1:
        return CopyUnits<1>(source, stepX, stepY, target);
    case 2:
        return CopyUnits<2>(source, stepX, stepY, target);
    default:
        return CopyUnits<4>(source, stepX, stepY, target);
    }
}

} // namespace kq::streams
