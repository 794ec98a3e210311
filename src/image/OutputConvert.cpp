#include "Arithmetic.h"
#include "Kernels.h"
#include "Tables.h"

#include <kqplayer/image.h>

#include <atomic>
#include <cstring>

namespace {

using namespace kq::image;

using Pitch = std::ptrdiff_t;

YuvTables tables;
std::atomic<bool> tablesFilled{false};

/// The planes in the order in which output rows are written.
struct OutputSource {
    ConstPlane y, u, v;
    Pitch height;
};

OutputSource MakeSource(const std::uint8_t* y, Pitch yStride, const std::uint8_t* u, const std::uint8_t* v,
                        Pitch uvStride, Pitch height) {
    if (height >= 0) {
        return {{y, yStride}, {u, uvStride}, {v, uvStride}, height};
    }
    const Pitch lastChroma = ((1 - height) / 2 - 1) * uvStride;
    return {{y + (-height - 1) * yStride, -yStride},
            {u + lastChroma, -uvStride},
            {v + lastChroma, -uvStride},
            -height};
}

PlanarToRgb ToRgb(const OutputSource& source, std::uint8_t* out, Pitch pitch, Pitch width) {
    return {source.y, source.u, source.v, {out, pitch}, width, source.height, false};
}

} // namespace

const YuvTables& kq::image::Tables() {
    return tables;
}

KQ_CONVERT_YUV* convert_yuv = nullptr;

void init_yuv2rgb() {
    for (int i = 0; i < 256; ++i) {
        const int sample = Clamp(i, 16, 240);
        tables.lut[0][i] = 298 * (sample - 16);
        tables.lut[1][i] = 408 * (sample - 128);
        tables.lut[2][i] = -208 * (sample - 128);
        tables.lut[3][i] = -100 * (sample - 128);
        tables.lut[4][i] = 517 * (sample - 128);
    }
    tablesFilled = true;
}

void yuv2rgb_32(std::uint8_t* pY, std::int32_t nStrideY, std::uint8_t* pU, std::uint8_t* pV,
                std::int32_t nStrideUV, std::uint8_t* pDst, std::int32_t nWidth, std::int32_t nHeight,
                std::int32_t nStrideDst) {
    BestKernels().planarToComponents32(
        ToRgb(MakeSource(pY, nStrideY, pU, pV, nStrideUV, nHeight), pDst, Pitch{nStrideDst} * 4, nWidth));
}

void yuv2rgb_24(std::uint8_t* pY, std::int32_t nStrideY, std::uint8_t* pU, std::uint8_t* pV,
                std::int32_t nStrideUV, std::uint8_t* pDst, std::int32_t nWidth, std::int32_t nHeight,
                std::int32_t nStrideDst) {
    // Empty tables give zeros, which the vectorised arithmetic knows nothing of.
    const Kernels& kernels = tablesFilled ? BestKernels() : PlainKernels();
    kernels.planarToComponents24(ToRgb(MakeSource(pY, nStrideY, pU, pV, nStrideUV, nHeight), pDst, nStrideDst,
                                       (Pitch{nWidth} + 1) / 2 * 2));
}

void yuv2rgb_555(std::uint8_t* pY, std::int32_t nStrideY, std::uint8_t* pU, std::uint8_t* pV,
                 std::int32_t nStrideUV, std::uint8_t* pDst, std::int32_t nWidth, std::int32_t nHeight,
                 std::int32_t nStrideDst) {
    BestKernels().planarToComponents555(
        ToRgb(MakeSource(pY, nStrideY, pU, pV, nStrideUV, nHeight), pDst, Pitch{nStrideDst} * 2, nWidth));
}

void yuv2rgb_565(std::uint8_t* pY, std::int32_t nStrideY, std::uint8_t* pU, std::uint8_t* pV,
                 std::int32_t nStrideUV, std::uint8_t* pDst, std::int32_t nWidth, std::int32_t nHeight,
                 std::int32_t nStrideDst) {
    BestKernels().planarToComponents565(
        ToRgb(MakeSource(pY, nStrideY, pU, pV, nStrideUV, nHeight), pDst, Pitch{nStrideDst} * 2, nWidth));
}

void yuy2_out(std::uint8_t* pY, std::int32_t nStrideY, std::uint8_t* pU, std::uint8_t* pV,
              std::int32_t nStrideUV, std::uint8_t* pDst, std::int32_t nWidth, std::int32_t nHeight,
              std::int32_t nStrideDst) {
    const OutputSource source = MakeSource(pY, nStrideY, pU, pV, nStrideUV, nHeight);
    BestKernels().planarToPacked(
        {source.y, source.u, source.v, {pDst, nStrideDst}, (Pitch{nWidth} + 1) / 2, source.height, true});
}

void uyvy_out(std::uint8_t* pY, std::int32_t nStrideY, std::uint8_t* pU, std::uint8_t* pV,
              std::int32_t nStrideUV, std::uint8_t* pDst, std::int32_t nWidth, std::int32_t nHeight,
              std::int32_t nStrideDst) {
    const OutputSource source = MakeSource(pY, nStrideY, pU, pV, nStrideUV, nHeight);
    BestKernels().planarToPacked(
        {source.y, source.u, source.v, {pDst, nStrideDst}, nWidth / 2, source.height / 2 * 2, false});
}

void yuv12_out(std::uint8_t* pY, std::int32_t nStrideY, std::uint8_t* pU, std::uint8_t* pV,
               std::int32_t nStrideUV, std::uint8_t* pDst, std::int32_t nWidth, std::int32_t nHeight,
               std::int32_t nStrideDst) {
    if (nWidth <= 0) {
        return;
    }
    const OutputSource source = MakeSource(pY, nStrideY, pU, pV, nStrideUV, nHeight);
    const Pitch pitch = nStrideDst;
    const auto width = static_cast<std::size_t>(nWidth);
    for (Pitch row = 0; row < source.height; ++row) {
        std::memcpy(pDst + row * pitch, source.y.Row(row), width);
    }
    std::uint8_t* vOut = pDst + source.height * pitch;
    std::uint8_t* uOut = pDst + (5 * source.height * pitch >> 2);
    for (Pitch row = 0; row < source.height / 2; ++row) {
        std::memcpy(vOut + row * (pitch >> 1), source.v.Row(row), width / 2);
        std::memcpy(uOut + row * (pitch >> 1), source.u.Row(row), width / 2);
    }
}
