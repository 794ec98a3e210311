#include "Arithmetic.h"
#include "Kernels.h"
#include "Precondition.h"
#include "Reference.h"

#include <kqplayer/image.h>

namespace {

using namespace kq::image;

/// A bitmap's rows in picture order: a negative height is bottom-up.
Plane BitmapRows(const tagBITMAPINFOHEADER& header, std::uint8_t* bits) {
    const std::ptrdiff_t rowBytes = BitmapRowBytes(header.biWidth, header.biBitCount);
    if (header.biHeight > 0)
        return {bits, rowBytes};
    return {bits + (-std::ptrdiff_t{header.biHeight} - 1) * rowBytes, -rowBytes};
}

std::int32_t PlanarToBitmap(void (*kernel)(const PlanarToRgb&), const tagBITMAPINFOHEADER& header,
                            std::uint8_t* bits, ConstPlane y, ConstPlane u, ConstPlane v) {
    if (header.biWidth <= 0 || header.biHeight == 0 || header.biHeight == INT32_MIN)
        return -1;
    kernel({y, u, v, BitmapRows(header, bits), header.biWidth,
            header.biHeight < 0 ? -header.biHeight : header.biHeight, false});
    return 0;
}

} // namespace

std::int32_t Yuv420_2_rgb32(tagBITMAPINFOHEADER* lpDstBmi, std::uint8_t* lpDstBits, std::uint8_t* pY,
                            std::uint8_t* pU, std::uint8_t* pV, std::int32_t nPt_Y, std::int32_t nPt_U,
                            std::int32_t nPt_V) {
    KQ_PRECONDITION(lpDstBmi && lpDstBmi->biBitCount == 32);
    KQ_PRECONDITION(lpDstBits && pY && pU && pV);
    const Kernels* kernels = FindKernels();
    if (kernels == nullptr)
        return reference::Yuv420_2_rgb32(lpDstBmi, lpDstBits, pY, pU, pV, nPt_Y, nPt_U, nPt_V);
    return PlanarToBitmap(kernels->planarToBgra, *lpDstBmi, lpDstBits, {pY, nPt_Y}, {pU, nPt_U}, {pV, nPt_V});
}

std::int32_t Yuv420_2_rgb24(tagBITMAPINFOHEADER* lpDstBmi, std::uint8_t* lpDstBits, std::uint8_t* pY,
                            std::uint8_t* pU, std::uint8_t* pV, std::int32_t nPt_Y, std::int32_t nPt_U,
                            std::int32_t nPt_V) {
    KQ_PRECONDITION(lpDstBmi && lpDstBmi->biBitCount == 24);
    KQ_PRECONDITION(lpDstBits && pY && pU && pV);
    const Kernels* kernels = FindKernels();
    if (kernels == nullptr)
        return reference::Yuv420_2_rgb24(lpDstBmi, lpDstBits, pY, pU, pV, nPt_Y, nPt_U, nPt_V);
    return PlanarToBitmap(kernels->planarToBgr, *lpDstBmi, lpDstBits, {pY, nPt_Y}, {pU, nPt_U}, {pV, nPt_V});
}
