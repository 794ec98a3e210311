#include "Arithmetic.h"
#include "Kernels.h"
#include "Precondition.h"

#include <kqplayer/image.h>

namespace {

using namespace kq::image;

using Pitch = std::ptrdiff_t;

/// A bitmap whose picture row 0 is its last row in memory.
Plane BottomUp(std::uint8_t* bits, Pitch height, Pitch pitch) {
    return {bits + (height - 1) * pitch, -pitch};
}

ConstPlane ReadOnly(Plane plane) {
    return {plane.data, plane.pitch};
}

std::int32_t PlanarToBitmap(void (*kernel)(const PlanarToRgb&), const tagBITMAPINFOHEADER& header,
                            std::uint8_t* bits, ConstPlane y, ConstPlane u, ConstPlane v) {
    if (header.biWidth <= 0 || header.biHeight == 0) {
        return -1;
    }
    const Pitch rowBytes = BitmapRowBytes(header.biWidth, header.biBitCount);
    const bool bottomUp = header.biHeight < 0;
    const Pitch height = bottomUp ? -Pitch{header.biHeight} : header.biHeight;
    kernel({y, u, v, bottomUp ? BottomUp(bits, height, rowBytes) : Plane{bits, rowBytes}, header.biWidth,
            height, false});
    return 0;
}

/// Copies rows in order, each of which may overlap itself. Rows without gaps are copied as one.
void CopyRows(Plane out, ConstPlane source, Pitch bytes, Pitch rows) {
    if (out.pitch == bytes && source.pitch == bytes) {
        bytes *= rows;
        rows = 1;
    }
    if (bytes > 0) {
        BestKernels().copyRows({source, out, bytes, rows});
    }
}

/// The routines with a fixed order of rows take the height as a row count.
bool IsEmpty(const tagBITMAPINFOHEADER& header) {
    return header.biWidth <= 0 || header.biHeight <= 0;
}

/// The fields that all RGB to planar routines fill alike.
RgbToPlanar ToPlanes(const tagBITMAPINFOHEADER& header, ConstPlane rgb, Plane y, Plane u, Plane v) {
    return {rgb, y, u, v, header.biWidth, header.biHeight, true, nullptr};
}

/// The alpha of all converted pixels.
void CopyAlpha(const RgbToPlanar& job, Plane alpha) {
    for (Pitch row = 0; row < job.height; ++row) {
        const bool last = job.height % 2 != 0 && row == job.height - 1;
        const Pitch width = job.width - (last ? job.width % 2 : 0);
        const std::uint8_t* pixels = job.rgb.Row(row);
        std::uint8_t* out = alpha.Row(row);
        for (Pitch column = 0; column < width; ++column) {
            out[column] = pixels[4 * column + 3];
        }
    }
}

ConstPlane BottomUpSource(const tagBITMAPINFOHEADER& header, std::uint8_t* bits, int bitsPerPixel) {
    return ReadOnly(BottomUp(bits, header.biHeight, BitmapRowBytes(header.biWidth, bitsPerPixel)));
}

} // namespace

std::int32_t Yuv420_2_rgb32(tagBITMAPINFOHEADER* lpDstBmi, std::uint8_t* lpDstBits, std::uint8_t* pY,
                            std::uint8_t* pU, std::uint8_t* pV, std::int32_t nPt_Y, std::int32_t nPt_U,
                            std::int32_t nPt_V) {
    KQ_PRECONDITION(lpDstBmi && lpDstBmi->biBitCount == 32);
    KQ_PRECONDITION(lpDstBits && pY && pU && pV);
    return PlanarToBitmap(BestKernels().planarToBgra13, *lpDstBmi, lpDstBits, {pY, nPt_Y}, {pU, nPt_U},
                          {pV, nPt_V});
}

std::int32_t Yuv420_2_rgb24(tagBITMAPINFOHEADER* lpDstBmi, std::uint8_t* lpDstBits, std::uint8_t* pY,
                            std::uint8_t* pU, std::uint8_t* pV, std::int32_t nPt_Y, std::int32_t nPt_U,
                            std::int32_t nPt_V) {
    KQ_PRECONDITION(lpDstBmi && lpDstBmi->biBitCount == 24);
    KQ_PRECONDITION(lpDstBits && pY && pU && pV);
    return PlanarToBitmap(BestKernels().planarToBgr13, *lpDstBmi, lpDstBits, {pY, nPt_Y}, {pU, nPt_U},
                          {pV, nPt_V});
}

void Yuv420_2_Argb(tagBITMAPINFOHEADER* lpDstBmi, std::uint8_t* lpDstBits, std::uint8_t* pY, std::uint8_t* pU,
                   std::uint8_t* pV, std::int32_t nPt_Y, std::int32_t nPt_U, std::int32_t nPt_V) {
    KQ_PRECONDITION(lpDstBmi && lpDstBmi->biBitCount == 32);
    KQ_PRECONDITION(lpDstBits && pY && pU && pV);
    if (IsEmpty(*lpDstBmi)) {
        return;
    }
    BestKernels().planarToBgra13({{pY, nPt_Y},
                                  {pU, nPt_U},
                                  {pV, nPt_V},
                                  {lpDstBits, BitmapRowBytes(lpDstBmi->biWidth, 32)},
                                  lpDstBmi->biWidth,
                                  lpDstBmi->biHeight,
                                  true});
}

void Yuv420_2_rgb24Simple(tagBITMAPINFOHEADER* lpDstBmi, std::uint8_t* lpDstBits, std::uint8_t* pY,
                          std::uint8_t* pU, std::uint8_t* pV, std::int32_t nPt_Y, std::int32_t nPt_U,
                          std::int32_t nPt_V) {
    if (IsEmpty(*lpDstBmi)) {
        return;
    }
    BestKernels().planarToBgr10(
        {{pY, nPt_Y},
         {pU, nPt_U},
         {pV, nPt_V},
         BottomUp(lpDstBits, lpDstBmi->biHeight, BitmapRowBytes(lpDstBmi->biWidth, 24)),
         lpDstBmi->biWidth / 2 * 2,
         lpDstBmi->biHeight / 2 * 2,
         false});
}

void Rgb32_2_yuv420(std::uint8_t* pY, std::uint8_t* pU, std::uint8_t* pV, std::int32_t nPt_Y,
                    std::int32_t nPt_U, std::int32_t nPt_V, tagBITMAPINFOHEADER* lpSrcBmi,
                    std::uint8_t* lpSrcBits) {
    KQ_PRECONDITION(lpSrcBmi && lpSrcBmi->biBitCount == 32);
    KQ_PRECONDITION(lpSrcBits && pY && pU && pV);
    if (IsEmpty(*lpSrcBmi)) {
        return;
    }
    BestKernels().bgraToPlanar(
        ToPlanes(*lpSrcBmi, BottomUpSource(*lpSrcBmi, lpSrcBits, 32), {pY, nPt_Y}, {pU, nPt_U}, {pV, nPt_V}));
}

void Rgb8_2_YUV420(std::uint8_t* pY, std::uint8_t* pU, std::uint8_t* pV, std::int32_t nPt_Y,
                   std::int32_t nPt_U, std::int32_t nPt_V, tagBITMAPINFO* lpBitmapInfo,
                   std::uint8_t* lpSrcBits) {
    KQ_PRECONDITION(lpBitmapInfo && lpBitmapInfo->bmiHeader.biBitCount == 8);
    KQ_PRECONDITION(lpSrcBits && pY && pU && pV);
    if (IsEmpty(lpBitmapInfo->bmiHeader)) {
        return;
    }
    const tagBITMAPINFOHEADER& header = lpBitmapInfo->bmiHeader;
    RgbToPlanar job =
        ToPlanes(header, BottomUpSource(header, lpSrcBits, 8), {pY, nPt_Y}, {pU, nPt_U}, {pV, nPt_V});
    job.colours = reinterpret_cast<const std::uint8_t*>(lpBitmapInfo) + sizeof(header);
    BestKernels().paletteToPlanar(job);
}

void Argb_2_yuv420(std::uint8_t* pY, std::uint8_t* pU, std::uint8_t* pV, std::int32_t nPt_Y,
                   std::int32_t nPt_U, std::int32_t nPt_V, tagBITMAPINFOHEADER* lpSrcBmi,
                   std::uint8_t* lpSrcBits) {
    KQ_PRECONDITION(lpSrcBmi && lpSrcBmi->biBitCount == 32);
    KQ_PRECONDITION(lpSrcBits && pY && pU && pV);
    if (IsEmpty(*lpSrcBmi)) {
        return;
    }
    BestKernels().bgraToPlanar(ToPlanes(*lpSrcBmi, {lpSrcBits, BitmapRowBytes(lpSrcBmi->biWidth, 32)},
                                        {pY, nPt_Y}, {pU, nPt_U}, {pV, nPt_V}));
}

void Argb_2_yuv420(std::uint8_t* pY, std::uint8_t* pU, std::uint8_t* pV, std::int32_t nPt_Y,
                   std::int32_t nPt_U, std::int32_t nPt_V, tagBITMAPINFOHEADER* lpSrcBmi,
                   std::uint8_t* lpSrcBits, std::int32_t nPitchSrc) {
    KQ_PRECONDITION(lpSrcBmi && lpSrcBmi->biBitCount == 32);
    KQ_PRECONDITION(lpSrcBits && pY && pU && pV);
    if (IsEmpty(*lpSrcBmi)) {
        return;
    }
    BestKernels().xrgbToPlanar(
        ToPlanes(*lpSrcBmi, {lpSrcBits, nPitchSrc}, {pY, nPt_Y}, {pU, nPt_U}, {pV, nPt_V}));
}

void Rgb24_2_yuv420(std::uint8_t* pY, std::uint8_t* pU, std::uint8_t* pV, std::int32_t nPt_Y,
                    std::int32_t nPt_U, std::int32_t nPt_V, tagBITMAPINFOHEADER* lpSrcBmi,
                    std::uint8_t* lpSrcBits) {
    KQ_PRECONDITION(lpSrcBmi && lpSrcBmi->biBitCount == 24);
    KQ_PRECONDITION(lpSrcBits && pY && pU && pV);
    if (IsEmpty(*lpSrcBmi)) {
        return;
    }
    BestKernels().bgrToPlanar(
        ToPlanes(*lpSrcBmi, BottomUpSource(*lpSrcBmi, lpSrcBits, 24), {pY, nPt_Y}, {pU, nPt_U}, {pV, nPt_V}));
}

void Rgb24_2_yuv420Simple(std::uint8_t* pY, std::uint8_t* pU, std::uint8_t* pV, std::int32_t nPt_Y,
                          std::int32_t nPt_U, std::int32_t nPt_V, tagBITMAPINFOHEADER* lpSrcBmi,
                          std::uint8_t* lpSrcBits) {
    if (IsEmpty(*lpSrcBmi)) {
        return;
    }
    RgbToPlanar job =
        ToPlanes(*lpSrcBmi, BottomUpSource(*lpSrcBmi, lpSrcBits, 24), {pY, nPt_Y}, {pU, nPt_U}, {pV, nPt_V});
    job.width = job.width / 2 * 2;
    job.height = job.height / 2 * 2;
    BestKernels().bgrToPlanar10(job);
}

void Rgb32_2_yuv420A(std::uint8_t* pY, std::uint8_t* pU, std::uint8_t* pV, std::uint8_t* pA,
                     std::int32_t nPt_Y, std::int32_t nPt_U, std::int32_t nPt_V,
                     tagBITMAPINFOHEADER* lpSrcBmi, std::uint8_t* lpSrcBits) {
    KQ_PRECONDITION(lpSrcBmi && lpSrcBmi->biBitCount == 32);
    KQ_PRECONDITION(lpSrcBits && pY && pU && pV);
    if (IsEmpty(*lpSrcBmi)) {
        return;
    }
    RgbToPlanar job =
        ToPlanes(*lpSrcBmi, BottomUpSource(*lpSrcBmi, lpSrcBits, 32), {pY, nPt_Y}, {pU, nPt_U}, {pV, nPt_V});
    job.repeatLastColumn = false;
    BestKernels().bgraToPlanar(job);
    CopyAlpha(job, {pA, nPt_Y});
}

void Rgb24_2_YUY2(std::uint8_t* lpBitsDst, std::int32_t nPitchDst, std::int32_t xDst, std::int32_t yDst,
                  std::int32_t cxDst, std::int32_t cyDst, std::int32_t bYUY2, std::uint8_t* lpBitsSrc,
                  std::int32_t nHeightSrc, std::int32_t nPitchSrc, std::int32_t xSrc, std::int32_t ySrc) {
    KQ_PRECONDITION(lpBitsDst && lpBitsSrc);
    KQ_PRECONDITION_TEXT((std::int64_t{xDst} + cxDst) * 2 <= nPitchDst, "(xDst + cxDst) * 2 <= nPitchDst");
    KQ_PRECONDITION_TEXT(std::int64_t{nPitchSrc / 3} - xSrc >= cxDst, "nPitchSrc / 3 - xSrc >= cxDst");
    if (cxDst <= 0 || cyDst <= 0) {
        return;
    }
    const Pitch shift = xDst >= 2 ? 1 : 0;
    Plane source = BottomUp(lpBitsSrc, Pitch{nHeightSrc} - ySrc, nPitchSrc);
    source.data += Pitch{xSrc} * 3;
    BestKernels().bgrToPacked({ReadOnly(source),
                               {lpBitsDst + Pitch{yDst} * nPitchDst + (xDst - shift) * 2, nPitchDst},
                               cxDst + shift,
                               cyDst,
                               bYUY2 != 0});
}

void YUY2_2_Rgb24(std::uint8_t* lpBitsDst, std::int32_t nHeightDst, std::int32_t nPitchDst, std::int32_t xDst,
                  std::int32_t yDst, std::int32_t cx, std::int32_t cy, std::uint8_t* lpBitsSrc,
                  std::int32_t nPitchSrc, std::int32_t bYUY2, std::int32_t xSrc, std::int32_t ySrc) {
    KQ_PRECONDITION(lpBitsDst && lpBitsSrc);
    if (cx <= 0 || cy <= 0) {
        return;
    }
    const Pitch start = xSrc >= 2 ? xSrc - 1 : xSrc;
    Plane out = BottomUp(lpBitsDst, Pitch{nHeightDst} - yDst, nPitchDst);
    out.data += Pitch{xDst} * 3;
    BestKernels().packedToBgr(
        {{lpBitsSrc + Pitch{ySrc} * nPitchSrc + start * 2, nPitchSrc}, out, cx, cy, bYUY2 != 0});
}

void YUY2_Blt_fast(std::uint8_t* lpBitsDst, std::int32_t nPitchDst, std::int32_t /*xDst*/,
                   std::int32_t /*yDst*/, std::int32_t cx, std::int32_t cy, std::int32_t bYUY2Dst,
                   std::uint8_t* lpBitsSrc, std::int32_t nPitchSrc, std::int32_t bYUY2Src, std::int32_t xSrc,
                   std::int32_t ySrc) {
    if (cx <= 0 || cy <= 0) {
        return;
    }
    const ConstPlane source{lpBitsSrc + Pitch{ySrc} * nPitchSrc + Pitch{xSrc} * 2, nPitchSrc};
    const Plane out{lpBitsDst + Pitch{ySrc} * nPitchDst + Pitch{xSrc} * 2, nPitchDst};
    if ((bYUY2Dst != 0) == (bYUY2Src != 0)) {
        CopyRows(out, source, Pitch{cx} * 2, cy);
        return;
    }
    BestKernels().swapPairs({source, out, (Pitch{cx} + 1) / 2 * 4, cy});
}

void YV12_Blt_fast(std::uint8_t* pDstY, std::uint8_t* pDstU, std::uint8_t* pDstV, std::int32_t nPt_DstY,
                   std::int32_t nPt_DstU, std::int32_t nPt_DstV, std::int32_t xDst, std::int32_t yDst,
                   std::int32_t cx, std::int32_t nRowLimit, std::uint8_t* pSrcY, std::uint8_t* pSrcU,
                   std::uint8_t* pSrcV, std::int32_t nPt_SrcY, std::int32_t nPt_SrcU, std::int32_t nPt_SrcV,
                   std::int32_t xSrc, std::int32_t ySrc) {
    if (cx <= 0 || yDst >= nRowLimit) {
        return;
    }
    const auto at = [](std::uint8_t* plane, Pitch pitch, Pitch row, Pitch column) {
        return Plane{plane + row * pitch + column, pitch};
    };
    const Pitch xDstChroma = (Pitch{xDst} + 1) / 2, xSrcChroma = (Pitch{xSrc} + 1) / 2;
    const Plane dstY = at(pDstY, nPt_DstY, yDst, xDst), srcY = at(pSrcY, nPt_SrcY, ySrc, xSrc);
    const Plane dstU = at(pDstU, nPt_DstU, yDst / 2, xDstChroma),
                srcU = at(pSrcU, nPt_SrcU, ySrc / 2, xSrcChroma);
    const Plane dstV = at(pDstV, nPt_DstV, yDst / 2, xDstChroma),
                srcV = at(pSrcV, nPt_SrcV, ySrc / 2, xSrcChroma);
    const Pitch chroma = (Pitch{cx} + 1) / 2;
    const Pitch pairs = (Pitch{nRowLimit} - yDst + 1) / 2;
    CopyRows(dstY, ReadOnly(srcY), cx, 2 * pairs);
    CopyRows(dstU, ReadOnly(srcU), chroma, pairs);
    CopyRows(dstV, ReadOnly(srcV), chroma, pairs);
}

void YUY2_2_Yuv420(std::uint8_t* pY, std::uint8_t* pU, std::uint8_t* pV, std::int32_t nPt_Y,
                   std::int32_t nPt_U, std::int32_t nPt_V, std::int32_t xDst, std::int32_t yDst,
                   std::int32_t cx, std::int32_t cy, std::uint8_t* lpBitsSrc, std::int32_t nPitchSrc,
                   std::int32_t bYUY2, std::int32_t /*xSrc*/, std::int32_t ySrc) {
    if (cx <= 0 || cy <= 0) {
        return;
    }
    const Pitch macropixels = (Pitch{cx} + 1) / 2, rows = (Pitch{cy} + 1) / 2 * 2;
    // The last V sample that will be written, seen from the plane's start.
    const std::int64_t lastV = (std::int64_t{yDst / 2} + rows / 2 - 1) * nPt_V + xDst / 2 + macropixels - 1;
    KQ_PRECONDITION_TEXT(lastV <= (std::int64_t{yDst} + cy) * nPt_V,
                         "(char*)V <= ((char*)pV + (yDst + cy) * nPt_V)");
    BestKernels().packedToPlanar({{lpBitsSrc + Pitch{ySrc} * nPitchSrc, nPitchSrc},
                                  {pY + Pitch{yDst} * nPt_Y + xDst, nPt_Y},
                                  {pU + yDst / 2 * Pitch{nPt_U} + xDst / 2, nPt_U},
                                  {pV + yDst / 2 * Pitch{nPt_V} + xDst / 2, nPt_V},
                                  macropixels,
                                  rows,
                                  bYUY2 != 0});
}

void Yuv420_2_YUY2(std::uint8_t* lpBitsDst, std::int32_t nPitchDst, std::int32_t /*xDst*/, std::int32_t yDst,
                   std::int32_t cx, std::int32_t cy, std::int32_t bYUY2, std::uint8_t* pY, std::uint8_t* pU,
                   std::uint8_t* pV, std::int32_t nPt_Y, std::int32_t nPt_U, std::int32_t nPt_V,
                   std::int32_t xSrc, std::int32_t ySrc) {
    BestKernels().planarToPacked({{pY + Pitch{ySrc} * nPt_Y + xSrc, nPt_Y},
                                  {pU + ySrc / 2 * Pitch{nPt_U} + xSrc / 2, nPt_U},
                                  {pV + ySrc / 2 * Pitch{nPt_V} + xSrc / 2, nPt_V},
                                  {lpBitsDst + Pitch{yDst} * nPitchDst, nPitchDst},
                                  (Pitch{cx} + 1) / 2,
                                  (Pitch{cy} + 1) / 2 * 2,
                                  bYUY2 != 0});
}
