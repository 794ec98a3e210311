#include "Reference.h"

#include "Arithmetic.h"

namespace kq::image::reference {
namespace {

/// A planar YUV 4:2:0 source.
struct Planar {
    const std::uint8_t *y, *u, *v;
    std::ptrdiff_t yPitch, uPitch, vPitch;

    int Y(int row, int column) const { return y[row * yPitch + column]; }
    int U(int row, int column) const { return u[row / 2 * uPitch + column / 2]; }
    int V(int row, int column) const { return v[row / 2 * vPitch + column / 2]; }
};

/// All pixels of a bitmap whose header may be bottom-up (negative height).
std::int32_t ToBitmap(const Planar& source, const tagBITMAPINFOHEADER& header, std::uint8_t* bits) {
    if (header.biWidth <= 0 || header.biHeight == 0)
        return -1;
    const std::int64_t height = header.biHeight < 0 ? -std::int64_t{header.biHeight} : header.biHeight;
    const std::ptrdiff_t rowBytes = BitmapRowBytes(header.biWidth, header.biBitCount);
    const int pixelBytes = header.biBitCount / 8;
    for (int row = 0; row < height; ++row) {
        const std::ptrdiff_t memoryRow = header.biHeight < 0 ? height - 1 - row : row;
        for (int column = 0; column < header.biWidth; ++column) {
            const Bgr pixel = YuvToBgr13(source.Y(row, column), source.U(row, column), source.V(row, column));
            std::uint8_t* p = bits + memoryRow * rowBytes + std::ptrdiff_t{column} * pixelBytes;
            p[0] = pixel.b;
            p[1] = pixel.g;
            p[2] = pixel.r;
            if (pixelBytes == 4)
                p[3] = 255;
        }
    }
    return 0;
}

} // namespace

std::int32_t Yuv420_2_rgb32(tagBITMAPINFOHEADER* lpDstBmi, std::uint8_t* lpDstBits, std::uint8_t* pY,
                            std::uint8_t* pU, std::uint8_t* pV, std::int32_t nPt_Y, std::int32_t nPt_U,
                            std::int32_t nPt_V) {
    return ToBitmap({pY, pU, pV, nPt_Y, nPt_U, nPt_V}, *lpDstBmi, lpDstBits);
}

std::int32_t Yuv420_2_rgb24(tagBITMAPINFOHEADER* lpDstBmi, std::uint8_t* lpDstBits, std::uint8_t* pY,
                            std::uint8_t* pU, std::uint8_t* pV, std::int32_t nPt_Y, std::int32_t nPt_U,
                            std::int32_t nPt_V) {
    return ToBitmap({pY, pU, pV, nPt_Y, nPt_U, nPt_V}, *lpDstBmi, lpDstBits);
}

} // namespace kq::image::reference
