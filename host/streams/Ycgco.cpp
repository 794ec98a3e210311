#include "Ycgco.h"

#include "PictureLayout.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace kq::streams {
namespace {

// With G = Y + Cg, B = Y - Cg - Co and R = Y - Cg + Co, and BT.601's Kr 0.299 and Kb 0.114.
constexpr double lumaOfCg = 0.174, lumaOfCo = 0.185;
constexpr double blueOfCg = -1.174 / 1.772, blueOfCo = -1.185 / 1.772;
constexpr double redOfCg = -1.174 / 1.402, redOfCo = 0.815 / 1.402;

template <class Sample>
Sample* RowOf(const AVFrame& picture, int plane, int y) {
    return reinterpret_cast<Sample*>(picture.data[plane] + std::ptrdiff_t{y} * picture.linesize[plane]);
}

template <class Sample>
void Recode(const AVFrame& source, AVFrame& target, int bits, bool isFullRange) {
    const int most = (1 << bits) - 1;
    const int middle = 1 << (bits - 1);
    const double lumaScale = isFullRange ? 1 : 219.0 / 224.0; // luma has fewer levels than chroma
    const PlaneShape luma = ShapeOf(target.format, 0, source.width, source.height);
    const PlaneShape chroma = ShapeOf(target.format, 1, source.width, source.height);
    const auto sample = [most](double value) {
        return static_cast<Sample>(std::clamp<long>(std::lround(value), 0, most));
    };
    for (int y = 0; y < luma.height; ++y) {
        const int chromaY = chroma.height == luma.height ? y : y / 2;
        const Sample* const green = RowOf<Sample>(source, 1, chromaY);
        const Sample* const orange = RowOf<Sample>(source, 2, chromaY);
        for (int x = 0; x < luma.width; ++x) {
            const int at = chroma.width == luma.width ? x : x / 2;
            const double shift = lumaOfCg * (green[at] - middle) + lumaOfCo * (orange[at] - middle);
            RowOf<Sample>(target, 0, y)[x] = sample(RowOf<Sample>(source, 0, y)[x] + lumaScale * shift);
        }
    }
    for (int y = 0; y < chroma.height; ++y) {
        for (int x = 0; x < chroma.width; ++x) {
            const int green = RowOf<Sample>(source, 1, y)[x] - middle;
            const int orange = RowOf<Sample>(source, 2, y)[x] - middle;
            RowOf<Sample>(target, 1, y)[x] = sample(middle + blueOfCg * green + blueOfCo * orange);
            RowOf<Sample>(target, 2, y)[x] = sample(middle + redOfCg * green + redOfCo * orange);
        }
    }
}

} // namespace

void YcgcoToBt601(const AVFrame& source, AVFrame& target, bool isFullRange) {
    if (ShapeOf(target.format, 0, 1, 1).unitBytes == 1) {
        Recode<std::uint8_t>(source, target, 8, isFullRange);
    } else {
        Recode<std::uint16_t>(source, target, 10, isFullRange);
    }
}

} // namespace kq::streams
