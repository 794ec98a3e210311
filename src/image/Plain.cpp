// The conversions as their formulas read, one pixel after the other: what the vectorised ones are compared
// with, and what serves processors without the needed instructions.
#include "Arithmetic.h"
#include "Kernels.h"
#include "Samples.h"
#include "Tables.h"

#include <algorithm>
#include <cstring>

namespace kq::image {
namespace {

/// Bytes B, G, R and a constant.
template <std::uint8_t fourth>
struct Pixel32 {
    static constexpr std::ptrdiff_t bytes = 4;
    static void Store(std::uint8_t* out, Bgr c) {
        const std::uint8_t pixel[4] = {c.b, c.g, c.r, fourth};
        std::memcpy(out, pixel, sizeof(pixel));
    }
};

struct Pixel24 {
    static constexpr std::ptrdiff_t bytes = 3;
    static void Store(std::uint8_t* out, Bgr c) {
        out[0] = c.b;
        out[1] = c.g;
        out[2] = c.r;
    }
};

/// 5 bits of c0, greenBits of c1, 5 of c2.
template <int greenBits>
struct Pixel16 {
    static constexpr std::ptrdiff_t bytes = 2;
    static void Store(std::uint8_t* out, Bgr c) {
        const int word = c.b >> 3 | c.g >> (8 - greenBits) << 5 | c.r >> 3 << (5 + greenBits);
        out[0] = static_cast<std::uint8_t>(word);
        out[1] = static_cast<std::uint8_t>(word >> 8);
    }
};

Bgr TableComponents(int y, int u, int v) {
    const auto& lut = Tables().lut;
    return {SaturateTableSum(lut[0][y] + lut[1][u]), SaturateTableSum(lut[0][y] + lut[2][u] + lut[3][v]),
            SaturateTableSum(lut[0][y] + lut[4][v])};
}

bool IsOddCorner(std::ptrdiff_t row, std::ptrdiff_t column, std::ptrdiff_t width, std::ptrdiff_t height) {
    return width % 2 != 0 && height % 2 != 0 && row == height - 1 && column == width - 1;
}

template <Bgr (*formula)(int y, int u, int v), class Pixel>
void PlanarPictureToRgb(const PlanarToRgb& job) {
    for (std::ptrdiff_t row = 0; row < job.height; ++row) {
        const std::uint8_t *y = job.y.Row(row), *u = job.u.Row(row / 2), *v = job.v.Row(row / 2);
        for (std::ptrdiff_t column = 0; column < job.width; ++column) {
            if (!job.skipOddCorner || !IsOddCorner(row, column, job.width, job.height)) {
                Pixel::Store(job.rgb.Row(row) + column * Pixel::bytes,
                             formula(y[column], u[column / 2], v[column / 2]));
            }
        }
    }
}

Bgr WeightedColourAt(const WeightedToRgb& job, std::ptrdiff_t row, std::ptrdiff_t column) {
    const auto [y, u, v] = SampleRows(job, row).At(job.layout.depth, job.layout.chroma, column);
    const bool tenBits = job.layout.depth != SampleDepth::Eight;
    const int step = tenBits ? 64 : 256;
    return SamplesToBgr(job.weights, tenBits ? y * 64 : y * 257, u * step - 0x8000, v * step - 0x8000);
}

template <class Pixel>
void WeightedPictureToRgb(const WeightedToRgb& job) {
    for (std::ptrdiff_t row = 0; row < job.height; ++row) {
        for (std::ptrdiff_t column = 0; column < job.width; ++column) {
            Pixel::Store(job.rgb.Row(row) + column * Pixel::bytes, WeightedColourAt(job, row, column));
        }
    }
}

template <class Pixel>
void ToneMappedPictureToRgb(const ToneMappedToRgb& job) {
    const int middle = job.layout.depth == SampleDepth::Eight ? 128 : 512;
    for (std::ptrdiff_t row = 0; row < job.height; ++row) {
        const SampleRows rows(job, row);
        for (std::ptrdiff_t column = 0; column < job.width; ++column) {
            const auto [y, u, v] = rows.At(job.layout.depth, job.layout.chroma, column);
            Pixel::Store(job.rgb.Row(row) + column * Pixel::bytes,
                         ToneMapped(job.weights, job.curves, y, u - middle, v - middle));
        }
    }
}

using PixelAt = Bgr(const RgbToPlanar& job, std::ptrdiff_t row, std::ptrdiff_t column);

template <std::ptrdiff_t bytes, int b, int g, int r>
Bgr ColourAt(const RgbToPlanar& job, std::ptrdiff_t row, std::ptrdiff_t column) {
    const std::uint8_t* pixel = job.rgb.Row(row) + column * bytes;
    return {pixel[b], pixel[g], pixel[r]};
}

Bgr PaletteColourAt(const RgbToPlanar& job, std::ptrdiff_t row, std::ptrdiff_t column) {
    const std::uint8_t* colour = job.colours + job.rgb.Row(row)[column] * 4;
    return {colour[0], colour[1], colour[2]};
}

/// The mean of the chroma terms of a block, which an odd edge makes one pixel wide or high.
template <PixelAt pixelAt, YuvTerms (*formula)(Bgr), int chromaOffset>
void BlockToChroma(const RgbToPlanar& job, std::ptrdiff_t row, std::ptrdiff_t column) {
    int u = 0, v = 0, count = 0;
    for (std::ptrdiff_t r = row; r < std::min(row + 2, job.height); ++r) {
        for (std::ptrdiff_t c = column; c < std::min(column + 2, job.width); ++c, ++count) {
            const YuvTerms terms = formula(pixelAt(job, r, c));
            u += terms.u + chromaOffset;
            v += terms.v + chromaOffset;
        }
    }
    const int shift = count == 4 ? 2 : 1;
    job.u.Row(row / 2)[column / 2] = static_cast<std::uint8_t>(u >> shift);
    job.v.Row(row / 2)[column / 2] = static_cast<std::uint8_t>(v >> shift);
}

template <PixelAt pixelAt, YuvTerms (*formula)(Bgr), int chromaOffset>
void RgbPictureToPlanar(const RgbToPlanar& job) {
    for (std::ptrdiff_t row = 0; row < job.height; ++row) {
        std::uint8_t* y = job.y.Row(row);
        for (std::ptrdiff_t column = 0; column < job.width; ++column) {
            if (IsOddCorner(row, column, job.width, job.height)) {
                continue;
            }
            y[column] = static_cast<std::uint8_t>(formula(pixelAt(job, row, column)).y);
            if (job.repeatLastColumn && job.width % 2 != 0 && column == job.width - 1) {
                y[job.width] = y[column];
            }
            if (row % 2 == 0 && column % 2 == 0) {
                BlockToChroma<pixelAt, formula, chromaOffset>(job, row, column);
            }
        }
    }
}

/// Where a macropixel has its samples.
struct Macropixel {
    int y0, u, y1, v;

    explicit Macropixel(bool yuy2) : y0(yuy2 ? 0 : 1), u(yuy2 ? 1 : 0), y1(y0 + 2), v(u + 2) {}
};

void PackedPictureToBgr(const PackedToRgb& job) {
    const Macropixel at(job.yuy2);
    for (std::ptrdiff_t row = 0; row < job.height; ++row) {
        for (std::ptrdiff_t column = 0; column < job.width; ++column) {
            const std::uint8_t* in = job.packed.Row(row) + column / 2 * 4;
            Pixel24::Store(job.rgb.Row(row) + column * 3,
                           YuvToBgr13(in[column % 2 == 0 ? at.y0 : at.y1], in[at.u], in[at.v]));
        }
    }
}

void BgrPictureToPacked(const RgbToPacked& job) {
    const Macropixel at(job.yuy2);
    for (std::ptrdiff_t row = 0; row < job.height; ++row) {
        for (std::ptrdiff_t column = 0; column < job.width; column += 2) {
            const std::uint8_t* in = job.rgb.Row(row) + column * 3;
            std::uint8_t* out = job.packed.Row(row) + column * 2;
            const YuvTerms a = BgrToYuv14({in[0], in[1], in[2]});
            const YuvTerms b = column + 1 < job.width ? BgrToYuv14({in[3], in[4], in[5]}) : a;
            out[at.y0] = static_cast<std::uint8_t>(a.y);
            out[at.u] = static_cast<std::uint8_t>((a.u + b.u + 256) >> 1);
            out[at.y1] = static_cast<std::uint8_t>(b.y);
            out[at.v] = static_cast<std::uint8_t>((a.v + b.v + 256) >> 1);
        }
    }
}

void PlanarPictureToPacked(const PlanarToPacked& job) {
    const Macropixel at(job.yuy2);
    for (std::ptrdiff_t row = 0; row < job.rows; ++row) {
        for (std::ptrdiff_t k = 0; k < job.macropixels; ++k) {
            std::uint8_t* out = job.packed.Row(row) + 4 * k;
            out[at.y0] = job.y.Row(row)[2 * k];
            out[at.u] = job.u.Row(row / 2)[k];
            out[at.y1] = job.y.Row(row)[2 * k + 1];
            out[at.v] = job.v.Row(row / 2)[k];
        }
    }
}

void PackedPictureToPlanar(const PackedToPlanar& job) {
    const Macropixel at(job.yuy2);
    for (std::ptrdiff_t row = 0; row < job.rows; ++row) {
        for (std::ptrdiff_t k = 0; k < job.macropixels; ++k) {
            const std::uint8_t* in = job.packed.Row(row) + 4 * k;
            job.y.Row(row)[2 * k] = in[at.y0];
            job.y.Row(row)[2 * k + 1] = in[at.y1];
            if (row % 2 == 0) {
                const std::uint8_t* below = job.packed.Row(row + 1) + 4 * k;
                job.u.Row(row / 2)[k] = static_cast<std::uint8_t>((in[at.u] + below[at.u]) >> 1);
                job.v.Row(row / 2)[k] = static_cast<std::uint8_t>((in[at.v] + below[at.v]) >> 1);
            }
        }
    }
}

void SwapBytesOfPairs(const RowsToRows& job) {
    for (std::ptrdiff_t row = 0; row < job.rows; ++row) {
        for (std::ptrdiff_t i = 0; i < job.bytes; ++i) {
            job.out.Row(row)[i] = job.source.Row(row)[i ^ 1];
        }
    }
}

void CopyRows(const RowsToRows& job) {
    for (std::ptrdiff_t row = 0; row < job.rows; ++row) {
        std::memmove(job.out.Row(row), job.source.Row(row), static_cast<std::size_t>(job.bytes));
    }
}

constexpr Kernels MakeKernels() {
    Kernels k{};
    k.planarToBgra13 = PlanarPictureToRgb<YuvToBgr13, Pixel32<255>>;
    k.planarToBgr13 = PlanarPictureToRgb<YuvToBgr13, Pixel24>;
    k.planarToBgr10 = PlanarPictureToRgb<YuvToBgr10, Pixel24>;
    k.planarToComponents32 = PlanarPictureToRgb<YuvToComponents13, Pixel32<0>>;
    k.planarToComponents24 = PlanarPictureToRgb<TableComponents, Pixel24>;
    k.planarToComponents555 = PlanarPictureToRgb<YuvToComponents13, Pixel16<5>>;
    k.planarToComponents565 = PlanarPictureToRgb<YuvToComponents13, Pixel16<6>>;
    k.weightedToBgra = WeightedPictureToRgb<Pixel32<255>>;
    k.weightedToBgr = WeightedPictureToRgb<Pixel24>;
    k.toneMappedToBgra = ToneMappedPictureToRgb<Pixel32<255>>;
    k.toneMappedToBgr = ToneMappedPictureToRgb<Pixel24>;
    k.bgraToPlanar = RgbPictureToPlanar<ColourAt<4, 0, 1, 2>, BgrToYuv14, 128>;
    k.xrgbToPlanar = RgbPictureToPlanar<ColourAt<4, 3, 2, 1>, BgrToYuv14, 128>;
    k.bgrToPlanar = RgbPictureToPlanar<ColourAt<3, 0, 1, 2>, BgrToYuv14, 128>;
    k.bgrToPlanar10 = RgbPictureToPlanar<ColourAt<3, 0, 1, 2>, BgrToYuv10, 0>;
    k.paletteToPlanar = RgbPictureToPlanar<PaletteColourAt, BgrToYuv14, 128>;
    k.packedToBgr = PackedPictureToBgr;
    k.bgrToPacked = BgrPictureToPacked;
    k.planarToPacked = PlanarPictureToPacked;
    k.packedToPlanar = PackedPictureToPlanar;
    k.swapPairs = SwapBytesOfPairs;
    k.copyRows = CopyRows;
    return k;
}

} // namespace

const Kernels& PlainKernels() {
    static constexpr Kernels kernels = MakeKernels();
    return kernels;
}

} // namespace kq::image
