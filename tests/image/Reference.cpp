#include "Reference.h"

#include "image/Arithmetic.h"
#include "image/Tables.h"

#include <algorithm>
#include <cstring>

namespace kq::image::reference {
namespace {

using Bytes = std::uint8_t*;
using Pitch = std::ptrdiff_t;

/// A planar YUV 4:2:0 picture.
struct Planar {
    Bytes y, u, v;
    Pitch yPitch, uPitch, vPitch;

    std::uint8_t& Y(Pitch row, Pitch column) const { return y[row * yPitch + column]; }
    std::uint8_t& U(Pitch row, Pitch column) const { return u[row / 2 * uPitch + column / 2]; }
    std::uint8_t& V(Pitch row, Pitch column) const { return v[row / 2 * vPitch + column / 2]; }
};

/// A packed YUV 4:2:2 picture: the byte of a luma sample and of the chroma pair beside it.
struct Packed {
    Bytes data;
    Pitch pitch;
    bool yuy2;

    Bytes Macropixel(Pitch row, Pitch column) const { return data + row * pitch + column / 2 * 4; }
    std::uint8_t& Y(Pitch row, Pitch column) const {
        return Macropixel(row, column)[column % 2 * 2 + (yuy2 ? 0 : 1)];
    }
    std::uint8_t& U(Pitch row, Pitch column) const { return Macropixel(row, column)[yuy2 ? 1 : 0]; }
    std::uint8_t& V(Pitch row, Pitch column) const { return Macropixel(row, column)[yuy2 ? 3 : 2]; }
};

void StoreBgr(Bytes p, Bgr pixel) {
    p[0] = pixel.b;
    p[1] = pixel.g;
    p[2] = pixel.r;
}

void StoreBgra(Bytes p, Bgr pixel) {
    StoreBgr(p, pixel);
    p[3] = 255;
}

bool IsOddCorner(Pitch row, Pitch column, Pitch width, Pitch height) {
    return width % 2 != 0 && height % 2 != 0 && row == height - 1 && column == width - 1;
}

/// All pixels of a bitmap whose header may be bottom-up (negative height).
std::int32_t PlanarToBitmap(const Planar& source, const tagBITMAPINFOHEADER& header, Bytes bits) {
    if (header.biWidth <= 0 || header.biHeight == 0) {
        return -1;
    }
    const Pitch height = header.biHeight < 0 ? -Pitch{header.biHeight} : header.biHeight;
    const Pitch rowBytes = BitmapRowBytes(header.biWidth, header.biBitCount);
    for (Pitch row = 0; row < height; ++row) {
        Bytes out = bits + (header.biHeight < 0 ? height - 1 - row : row) * rowBytes;
        for (Pitch column = 0; column < header.biWidth; ++column) {
            const Bgr pixel = YuvToBgr13(source.Y(row, column), source.U(row, column), source.V(row, column));
            if (header.biBitCount == 32) {
                StoreBgra(out + column * 4, pixel);
            } else {
                StoreBgr(out + column * 3, pixel);
            }
        }
    }
    return 0;
}

/// RGB to planar 4:2:0 with a function that yields the pixel at a picture position.
template <class PixelAt>
void FullToPlanar(const Planar& out, Pitch width, Pitch height, bool extraColumn, PixelAt pixelAt) {
    for (Pitch row = 0; row < height; ++row) {
        for (Pitch column = 0; column < width; ++column) {
            if (IsOddCorner(row, column, width, height)) {
                continue;
            }
            const auto luma = static_cast<std::uint8_t>(BgrToYuv14(pixelAt(row, column)).y);
            out.Y(row, column) = luma;
            if (extraColumn && width % 2 != 0 && column == width - 1) {
                out.Y(row, width) = luma;
            }
        }
    }
    for (Pitch row = 0; row < height; row += 2) {
        for (Pitch column = 0; column < width; column += 2) {
            if (IsOddCorner(row, column, width, height)) {
                continue;
            }
            int u = 0, v = 0, count = 0;
            for (Pitch r = row; r < std::min(row + 2, height); ++r) {
                for (Pitch c = column; c < std::min(column + 2, width); ++c, ++count) {
                    u += BgrToYuv14(pixelAt(r, c)).u;
                    v += BgrToYuv14(pixelAt(r, c)).v;
                }
            }
            const int shift = count == 4 ? 2 : 1;
            out.U(row, column) = static_cast<std::uint8_t>((u + (128 << shift)) >> shift);
            out.V(row, column) = static_cast<std::uint8_t>((v + (128 << shift)) >> shift);
        }
    }
}

Bgr LoadBgr(const std::uint8_t* p) {
    return {p[0], p[1], p[2]};
}

/// A source of 24 or 32 bits in memory order B, G, R.
void BitmapToPlanar(const Planar& out, const tagBITMAPINFOHEADER& header, Bytes bits, int pixelBytes,
                    bool bottomUp, bool extraColumn) {
    const Pitch height = header.biHeight;
    const Pitch rowBytes = BitmapRowBytes(header.biWidth, pixelBytes * 8);
    FullToPlanar(out, header.biWidth, height, extraColumn, [&](Pitch row, Pitch column) {
        return LoadBgr(bits + (bottomUp ? height - 1 - row : row) * rowBytes + column * pixelBytes);
    });
}

void StoreMacropixel(const Packed& out, Pitch row, Pitch column, int y0, int y1, int u, int v) {
    out.Y(row, column) = static_cast<std::uint8_t>(y0);
    out.Y(row, column + 1) = static_cast<std::uint8_t>(y1);
    out.U(row, column) = static_cast<std::uint8_t>(u);
    out.V(row, column) = static_cast<std::uint8_t>(v);
}

/// The planes of an output converter in the order in which its rows are written: those of a negative height
/// start at the last row and walk upwards.
struct OutputSource {
    Planar planes;
    Pitch height;
};

OutputSource MakeOutputSource(Bytes y, Pitch yStride, Bytes u, Bytes v, Pitch uvStride, Pitch height) {
    if (height >= 0) {
        return {{y, u, v, yStride, uvStride, uvStride}, height};
    }
    const Pitch chroma = ((1 - height) / 2 - 1) * uvStride;
    return {{y + (-height - 1) * yStride, u + chroma, v + chroma, -yStride, -uvStride, -uvStride}, -height};
}

/// Writes each pixel's components with a function of the row, the column and the components.
template <class Store>
void ComponentsOut(const OutputSource& source, Pitch width, Store store) {
    const Planar& p = source.planes;
    for (Pitch row = 0; row < source.height; ++row) {
        for (Pitch column = 0; column < width; ++column) {
            store(row, column, YuvToComponents13(p.Y(row, column), p.U(row, column), p.V(row, column)));
        }
    }
}

void StoreWord(Bytes p, int word) {
    p[0] = static_cast<std::uint8_t>(word);
    p[1] = static_cast<std::uint8_t>(word >> 8);
}

/// The rows and macropixels that fit whole.
void PackedOut(const OutputSource& source, const Packed& out, Pitch rows, Pitch macropixels) {
    const Planar& p = source.planes;
    for (Pitch row = 0; row < rows; ++row) {
        for (Pitch column = 0; column < 2 * macropixels; column += 2) {
            StoreMacropixel(out, row, column, p.Y(row, column), p.Y(row, column + 1), p.U(row, column),
                            p.V(row, column));
        }
    }
}

} // namespace

std::int32_t Yuv420_2_rgb32(tagBITMAPINFOHEADER* lpDstBmi, std::uint8_t* lpDstBits, std::uint8_t* pY,
                            std::uint8_t* pU, std::uint8_t* pV, std::int32_t nPt_Y, std::int32_t nPt_U,
                            std::int32_t nPt_V) {
    return PlanarToBitmap({pY, pU, pV, nPt_Y, nPt_U, nPt_V}, *lpDstBmi, lpDstBits);
}

std::int32_t Yuv420_2_rgb24(tagBITMAPINFOHEADER* lpDstBmi, std::uint8_t* lpDstBits, std::uint8_t* pY,
                            std::uint8_t* pU, std::uint8_t* pV, std::int32_t nPt_Y, std::int32_t nPt_U,
                            std::int32_t nPt_V) {
    return PlanarToBitmap({pY, pU, pV, nPt_Y, nPt_U, nPt_V}, *lpDstBmi, lpDstBits);
}

void Yuv420_2_Argb(tagBITMAPINFOHEADER* lpDstBmi, std::uint8_t* lpDstBits, std::uint8_t* pY, std::uint8_t* pU,
                   std::uint8_t* pV, std::int32_t nPt_Y, std::int32_t nPt_U, std::int32_t nPt_V) {
    const Planar source{pY, pU, pV, nPt_Y, nPt_U, nPt_V};
    const Pitch width = lpDstBmi->biWidth;
    const Pitch height = lpDstBmi->biHeight;
    for (Pitch row = 0; row < height; ++row) {
        for (Pitch column = 0; column < width; ++column) {
            if (!IsOddCorner(row, column, width, height)) {
                StoreBgra(lpDstBits + (row * width + column) * 4,
                          YuvToBgr13(source.Y(row, column), source.U(row, column), source.V(row, column)));
            }
        }
    }
}

void Yuv420_2_rgb24Simple(tagBITMAPINFOHEADER* lpDstBmi, std::uint8_t* lpDstBits, std::uint8_t* pY,
                          std::uint8_t* pU, std::uint8_t* pV, std::int32_t nPt_Y, std::int32_t nPt_U,
                          std::int32_t nPt_V) {
    const Planar source{pY, pU, pV, nPt_Y, nPt_U, nPt_V};
    const Pitch height = lpDstBmi->biHeight;
    const Pitch rowBytes = BitmapRowBytes(lpDstBmi->biWidth, 24);
    for (Pitch row = 0; row < height / 2 * 2; ++row) {
        for (Pitch column = 0; column < lpDstBmi->biWidth / 2 * 2; ++column) {
            StoreBgr(lpDstBits + (height - 1 - row) * rowBytes + column * 3,
                     YuvToBgr10(source.Y(row, column), source.U(row, column), source.V(row, column)));
        }
    }
}

void Rgb32_2_yuv420(std::uint8_t* pY, std::uint8_t* pU, std::uint8_t* pV, std::int32_t nPt_Y,
                    std::int32_t nPt_U, std::int32_t nPt_V, tagBITMAPINFOHEADER* lpSrcBmi,
                    std::uint8_t* lpSrcBits) {
    BitmapToPlanar({pY, pU, pV, nPt_Y, nPt_U, nPt_V}, *lpSrcBmi, lpSrcBits, 4, true, true);
}

void Rgb8_2_YUV420(std::uint8_t* pY, std::uint8_t* pU, std::uint8_t* pV, std::int32_t nPt_Y,
                   std::int32_t nPt_U, std::int32_t nPt_V, tagBITMAPINFO* lpBitmapInfo,
                   std::uint8_t* lpSrcBits) {
    const tagBITMAPINFOHEADER& header = lpBitmapInfo->bmiHeader;
    const auto* colours = reinterpret_cast<const std::uint8_t*>(lpBitmapInfo) + sizeof(header);
    const Pitch height = header.biHeight;
    const Pitch rowBytes = BitmapRowBytes(header.biWidth, 8);
    FullToPlanar({pY, pU, pV, nPt_Y, nPt_U, nPt_V}, header.biWidth, height, true,
                 [&](Pitch row, Pitch column) {
                     return LoadBgr(colours + 4 * lpSrcBits[(height - 1 - row) * rowBytes + column]);
                 });
}

void Argb_2_yuv420(std::uint8_t* pY, std::uint8_t* pU, std::uint8_t* pV, std::int32_t nPt_Y,
                   std::int32_t nPt_U, std::int32_t nPt_V, tagBITMAPINFOHEADER* lpSrcBmi,
                   std::uint8_t* lpSrcBits) {
    BitmapToPlanar({pY, pU, pV, nPt_Y, nPt_U, nPt_V}, *lpSrcBmi, lpSrcBits, 4, false, true);
}

void Argb_2_yuv420(std::uint8_t* pY, std::uint8_t* pU, std::uint8_t* pV, std::int32_t nPt_Y,
                   std::int32_t nPt_U, std::int32_t nPt_V, tagBITMAPINFOHEADER* lpSrcBmi,
                   std::uint8_t* lpSrcBits, std::int32_t nPitchSrc) {
    FullToPlanar({pY, pU, pV, nPt_Y, nPt_U, nPt_V}, lpSrcBmi->biWidth, lpSrcBmi->biHeight, true,
                 [&](Pitch row, Pitch column) {
                     const std::uint8_t* p = lpSrcBits + row * nPitchSrc + column * 4;
                     return Bgr{p[3], p[2], p[1]};
                 });
}

void Rgb24_2_yuv420(std::uint8_t* pY, std::uint8_t* pU, std::uint8_t* pV, std::int32_t nPt_Y,
                    std::int32_t nPt_U, std::int32_t nPt_V, tagBITMAPINFOHEADER* lpSrcBmi,
                    std::uint8_t* lpSrcBits) {
    BitmapToPlanar({pY, pU, pV, nPt_Y, nPt_U, nPt_V}, *lpSrcBmi, lpSrcBits, 3, true, true);
}

void Rgb24_2_yuv420Simple(std::uint8_t* pY, std::uint8_t* pU, std::uint8_t* pV, std::int32_t nPt_Y,
                          std::int32_t nPt_U, std::int32_t nPt_V, tagBITMAPINFOHEADER* lpSrcBmi,
                          std::uint8_t* lpSrcBits) {
    const Planar out{pY, pU, pV, nPt_Y, nPt_U, nPt_V};
    const Pitch height = lpSrcBmi->biHeight;
    const Pitch rowBytes = BitmapRowBytes(lpSrcBmi->biWidth, 24);
    for (Pitch row = 0; row < height / 2 * 2; row += 2) {
        for (Pitch column = 0; column < lpSrcBmi->biWidth / 2 * 2; column += 2) {
            int u = 0, v = 0;
            for (Pitch r = row; r < row + 2; ++r) {
                for (Pitch c = column; c < column + 2; ++c) {
                    const YuvTerms t = BgrToYuv10(LoadBgr(lpSrcBits + (height - 1 - r) * rowBytes + c * 3));
                    out.Y(r, c) = static_cast<std::uint8_t>(t.y);
                    u += t.u;
                    v += t.v;
                }
            }
            out.U(row, column) = static_cast<std::uint8_t>(u >> 2);
            out.V(row, column) = static_cast<std::uint8_t>(v >> 2);
        }
    }
}

void Rgb32_2_yuv420A(std::uint8_t* pY, std::uint8_t* pU, std::uint8_t* pV, std::uint8_t* pA,
                     std::int32_t nPt_Y, std::int32_t nPt_U, std::int32_t nPt_V,
                     tagBITMAPINFOHEADER* lpSrcBmi, std::uint8_t* lpSrcBits) {
    BitmapToPlanar({pY, pU, pV, nPt_Y, nPt_U, nPt_V}, *lpSrcBmi, lpSrcBits, 4, true, false);
    const Pitch width = lpSrcBmi->biWidth;
    const Pitch height = lpSrcBmi->biHeight;
    for (Pitch row = 0; row < height; ++row) {
        for (Pitch column = 0; column < width; ++column) {
            if (!IsOddCorner(row, column, width, height)) {
                pA[row * nPt_Y + column] = lpSrcBits[((height - 1 - row) * width + column) * 4 + 3];
            }
        }
    }
}

void Rgb24_2_YUY2(std::uint8_t* lpBitsDst, std::int32_t nPitchDst, std::int32_t xDst, std::int32_t yDst,
                  std::int32_t cxDst, std::int32_t cyDst, std::int32_t bYUY2, std::uint8_t* lpBitsSrc,
                  std::int32_t nHeightSrc, std::int32_t nPitchSrc, std::int32_t xSrc, std::int32_t ySrc) {
    if (cxDst <= 0) {
        return;
    }
    const Pitch shift = xDst >= 2 ? 1 : 0;
    const Pitch width = cxDst + shift;
    const Packed out{lpBitsDst + Pitch{yDst} * nPitchDst + (xDst - shift) * 2, nPitchDst, bYUY2 != 0};
    for (Pitch row = 0; row < cyDst; ++row) {
        const std::uint8_t* source =
            lpBitsSrc + (nHeightSrc - 1 - ySrc - row) * Pitch{nPitchSrc} + Pitch{xSrc} * 3;
        for (Pitch column = 0; column < width; column += 2) {
            const YuvTerms a = BgrToYuv14(LoadBgr(source + column * 3));
            const YuvTerms b = column + 1 < width ? BgrToYuv14(LoadBgr(source + column * 3 + 3)) : a;
            StoreMacropixel(out, row, column, a.y, b.y, (a.u + b.u + 256) >> 1, (a.v + b.v + 256) >> 1);
        }
    }
}

void YUY2_2_Rgb24(std::uint8_t* lpBitsDst, std::int32_t nHeightDst, std::int32_t nPitchDst, std::int32_t xDst,
                  std::int32_t yDst, std::int32_t cx, std::int32_t cy, std::uint8_t* lpBitsSrc,
                  std::int32_t nPitchSrc, std::int32_t bYUY2, std::int32_t xSrc, std::int32_t ySrc) {
    const Pitch start = xSrc >= 2 ? xSrc - 1 : xSrc;
    const Packed source{lpBitsSrc + Pitch{ySrc} * nPitchSrc + start * 2, nPitchSrc, bYUY2 != 0};
    for (Pitch row = 0; row < cy; ++row) {
        Bytes out = lpBitsDst + (nHeightDst - 1 - yDst - row) * Pitch{nPitchDst} + Pitch{xDst} * 3;
        for (Pitch column = 0; column < cx; ++column) {
            StoreBgr(out + column * 3,
                     YuvToBgr13(source.Y(row, column), source.U(row, column), source.V(row, column)));
        }
    }
}

void YUY2_Blt_fast(std::uint8_t* lpBitsDst, std::int32_t nPitchDst, std::int32_t /*xDst*/,
                   std::int32_t /*yDst*/, std::int32_t cx, std::int32_t cy, std::int32_t bYUY2Dst,
                   std::uint8_t* lpBitsSrc, std::int32_t nPitchSrc, std::int32_t bYUY2Src, std::int32_t xSrc,
                   std::int32_t ySrc) {
    const bool swap = (bYUY2Dst != 0) != (bYUY2Src != 0);
    const Pitch bytes = swap ? (Pitch{cx} + 1) / 2 * 4 : Pitch{cx} * 2;
    for (Pitch row = 0; row < cy; ++row) {
        const std::uint8_t* source = lpBitsSrc + (ySrc + row) * Pitch{nPitchSrc} + Pitch{xSrc} * 2;
        Bytes out = lpBitsDst + (ySrc + row) * Pitch{nPitchDst} + Pitch{xSrc} * 2;
        for (Pitch i = 0; i < bytes; ++i) {
            out[i] = source[swap ? i ^ 1 : i];
        }
    }
}

void YV12_Blt_fast(std::uint8_t* pDstY, std::uint8_t* pDstU, std::uint8_t* pDstV, std::int32_t nPt_DstY,
                   std::int32_t nPt_DstU, std::int32_t nPt_DstV, std::int32_t xDst, std::int32_t yDst,
                   std::int32_t cx, std::int32_t nRowLimit, std::uint8_t* pSrcY, std::uint8_t* pSrcU,
                   std::uint8_t* pSrcV, std::int32_t nPt_SrcY, std::int32_t nPt_SrcU, std::int32_t nPt_SrcV,
                   std::int32_t xSrc, std::int32_t ySrc) {
    const auto copy = [](Bytes out, const std::uint8_t* source, Pitch count) {
        for (Pitch i = 0; i < count; ++i) {
            out[i] = source[i];
        }
    };
    const Pitch chroma = (Pitch{cx} + 1) / 2;
    for (Pitch k = 0; yDst + 2 * k < nRowLimit; ++k) {
        for (Pitch row = 2 * k; row < 2 * k + 2; ++row) {
            copy(pDstY + (yDst + row) * nPt_DstY + xDst, pSrcY + (ySrc + row) * nPt_SrcY + xSrc, cx);
        }
        copy(pDstU + (yDst / 2 + k) * nPt_DstU + (xDst + 1) / 2,
             pSrcU + (ySrc / 2 + k) * nPt_SrcU + (xSrc + 1) / 2, chroma);
        copy(pDstV + (yDst / 2 + k) * nPt_DstV + (xDst + 1) / 2,
             pSrcV + (ySrc / 2 + k) * nPt_SrcV + (xSrc + 1) / 2, chroma);
    }
}

void YUY2_2_Yuv420(std::uint8_t* pY, std::uint8_t* pU, std::uint8_t* pV, std::int32_t nPt_Y,
                   std::int32_t nPt_U, std::int32_t nPt_V, std::int32_t xDst, std::int32_t yDst,
                   std::int32_t cx, std::int32_t cy, std::uint8_t* lpBitsSrc, std::int32_t nPitchSrc,
                   std::int32_t bYUY2, std::int32_t /*xSrc*/, std::int32_t ySrc) {
    const Packed source{lpBitsSrc + Pitch{ySrc} * nPitchSrc, nPitchSrc, bYUY2 != 0};
    const Planar out{pY + Pitch{yDst} * nPt_Y + xDst,
                     pU + yDst / 2 * Pitch{nPt_U} + xDst / 2,
                     pV + yDst / 2 * Pitch{nPt_V} + xDst / 2,
                     nPt_Y,
                     nPt_U,
                     nPt_V};
    for (Pitch row = 0; row < cy; row += 2) {
        for (Pitch column = 0; column < cx; column += 2) {
            for (Pitch i = 0; i < 4; ++i) {
                out.Y(row + i / 2, column + i % 2) = source.Y(row + i / 2, column + i % 2);
            }
            out.U(row, column) =
                static_cast<std::uint8_t>((source.U(row, column) + source.U(row + 1, column)) >> 1);
            out.V(row, column) =
                static_cast<std::uint8_t>((source.V(row, column) + source.V(row + 1, column)) >> 1);
        }
    }
}

void Yuv420_2_YUY2(std::uint8_t* lpBitsDst, std::int32_t nPitchDst, std::int32_t /*xDst*/, std::int32_t yDst,
                   std::int32_t cx, std::int32_t cy, std::int32_t bYUY2, std::uint8_t* pY, std::uint8_t* pU,
                   std::uint8_t* pV, std::int32_t nPt_Y, std::int32_t nPt_U, std::int32_t nPt_V,
                   std::int32_t xSrc, std::int32_t ySrc) {
    const OutputSource source{{pY + Pitch{ySrc} * nPt_Y + xSrc, pU + ySrc / 2 * Pitch{nPt_U} + xSrc / 2,
                               pV + ySrc / 2 * Pitch{nPt_V} + xSrc / 2, nPt_Y, nPt_U, nPt_V},
                              cy};
    const Packed out{lpBitsDst + Pitch{yDst} * nPitchDst, nPitchDst, bYUY2 != 0};
    PackedOut(source, out, (Pitch{cy} + 1) / 2 * 2, (Pitch{cx} + 1) / 2);
}

void yuv2rgb_32(std::uint8_t* pY, std::int32_t nStrideY, std::uint8_t* pU, std::uint8_t* pV,
                std::int32_t nStrideUV, std::uint8_t* pDst, std::int32_t nWidth, std::int32_t nHeight,
                std::int32_t nStrideDst) {
    ComponentsOut(MakeOutputSource(pY, nStrideY, pU, pV, nStrideUV, nHeight), nWidth,
                  [=](Pitch row, Pitch column, Bgr c) {
                      Bytes p = pDst + (row * nStrideDst + column) * 4;
                      StoreBgr(p, c);
                      p[3] = 0;
                  });
}

void yuv2rgb_24(std::uint8_t* pY, std::int32_t nStrideY, std::uint8_t* pU, std::uint8_t* pV,
                std::int32_t nStrideUV, std::uint8_t* pDst, std::int32_t nWidth, std::int32_t nHeight,
                std::int32_t nStrideDst) {
    const OutputSource source = MakeOutputSource(pY, nStrideY, pU, pV, nStrideUV, nHeight);
    const Planar& p = source.planes;
    const auto& lut = Tables().lut;
    for (Pitch row = 0; row < source.height; ++row) {
        for (Pitch column = 0; column < (Pitch{nWidth} + 1) / 2 * 2; ++column) {
            const int luma = lut[0][p.Y(row, column)];
            const std::uint8_t u = p.U(row, column), v = p.V(row, column);
            StoreBgr(pDst + row * nStrideDst + column * 3,
                     {SaturateTableSum(luma + lut[1][u]), SaturateTableSum(luma + lut[2][u] + lut[3][v]),
                      SaturateTableSum(luma + lut[4][v])});
        }
    }
}

void yuv2rgb_555(std::uint8_t* pY, std::int32_t nStrideY, std::uint8_t* pU, std::uint8_t* pV,
                 std::int32_t nStrideUV, std::uint8_t* pDst, std::int32_t nWidth, std::int32_t nHeight,
                 std::int32_t nStrideDst) {
    ComponentsOut(MakeOutputSource(pY, nStrideY, pU, pV, nStrideUV, nHeight), nWidth,
                  [=](Pitch row, Pitch column, Bgr c) {
                      StoreWord(pDst + (row * nStrideDst + column) * 2,
                                c.b >> 3 | c.g >> 3 << 5 | c.r >> 3 << 10);
                  });
}

void yuv2rgb_565(std::uint8_t* pY, std::int32_t nStrideY, std::uint8_t* pU, std::uint8_t* pV,
                 std::int32_t nStrideUV, std::uint8_t* pDst, std::int32_t nWidth, std::int32_t nHeight,
                 std::int32_t nStrideDst) {
    ComponentsOut(MakeOutputSource(pY, nStrideY, pU, pV, nStrideUV, nHeight), nWidth,
                  [=](Pitch row, Pitch column, Bgr c) {
                      StoreWord(pDst + (row * nStrideDst + column) * 2,
                                c.b >> 3 | c.g >> 2 << 5 | c.r >> 3 << 11);
                  });
}

void yuy2_out(std::uint8_t* pY, std::int32_t nStrideY, std::uint8_t* pU, std::uint8_t* pV,
              std::int32_t nStrideUV, std::uint8_t* pDst, std::int32_t nWidth, std::int32_t nHeight,
              std::int32_t nStrideDst) {
    const OutputSource source = MakeOutputSource(pY, nStrideY, pU, pV, nStrideUV, nHeight);
    PackedOut(source, {pDst, nStrideDst, true}, source.height, (Pitch{nWidth} + 1) / 2);
}

void uyvy_out(std::uint8_t* pY, std::int32_t nStrideY, std::uint8_t* pU, std::uint8_t* pV,
              std::int32_t nStrideUV, std::uint8_t* pDst, std::int32_t nWidth, std::int32_t nHeight,
              std::int32_t nStrideDst) {
    const OutputSource source = MakeOutputSource(pY, nStrideY, pU, pV, nStrideUV, nHeight);
    PackedOut(source, {pDst, nStrideDst, false}, source.height / 2 * 2, nWidth / 2);
}

void yuv12_out(std::uint8_t* pY, std::int32_t nStrideY, std::uint8_t* pU, std::uint8_t* pV,
               std::int32_t nStrideUV, std::uint8_t* pDst, std::int32_t nWidth, std::int32_t nHeight,
               std::int32_t nStrideDst) {
    const OutputSource source = MakeOutputSource(pY, nStrideY, pU, pV, nStrideUV, nHeight);
    const Pitch height = source.height;
    for (Pitch row = 0; row < height; ++row) {
        for (Pitch column = 0; column < nWidth; ++column) {
            pDst[row * nStrideDst + column] = source.planes.Y(row, column);
        }
    }
    for (Pitch row = 0; row < height / 2; ++row) {
        for (Pitch column = 0; column < nWidth / 2; ++column) {
            const Pitch position = row * (nStrideDst >> 1) + column;
            pDst[height * nStrideDst + position] = source.planes.V(2 * row, 2 * column);
            pDst[(5 * height * nStrideDst >> 2) + position] = source.planes.U(2 * row, 2 * column);
        }
    }
}

} // namespace kq::image::reference
