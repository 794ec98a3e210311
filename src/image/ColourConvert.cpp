#include "ColourConvert.h"

#include "Kernels.h"
#include "ToneMap.h"

#include <new>
#include <optional>

namespace kq::image {
namespace {

/// Parts of red and blue in luma; green has the rest.
struct Primaries {
    double red, blue;
};

constexpr Primaries PrimariesOf(std::int32_t matrix) {
    switch (matrix) {
    case KQ_MATRIX_BT709:
        return {0.2126, 0.0722};
    case KQ_MATRIX_BT2020:
        return {0.2627, 0.0593};
    case KQ_MATRIX_SMPTE240M:
        return {0.212, 0.087};
    default:
        return {0.299, 0.114};
    }
}

constexpr int Rounded(double value) {
    return static_cast<int>(value < 0 ? value - 0.5 : value + 0.5);
}

/// The standard's formula: a component is luma (y - black), plus what its weights make of u and v around
/// their middle, 1 for the whole.
struct Formula {
    double luma, black;
    double blueU, greenU, greenV, redV;
};

constexpr Formula FormulaOf(std::int32_t matrix, std::int32_t range, bool tenBits) {
    const auto [kr, kb] = PrimariesOf(matrix);
    const bool full = range == KQ_RANGE_FULL;
    const double scale = tenBits ? 4 : 1;
    const double lumaSpan = full ? 256 * scale - 1 : 219 * scale;
    const double chromaSpan = full ? 256 * scale - 1 : 224 * scale;
    const double kg = 1 - kr - kb, blue = 2 * (1 - kb) / chromaSpan, red = 2 * (1 - kr) / chromaSpan;
    return {1 / lumaSpan, full ? 0 : 16 * scale, blue, -blue * kb / kg, -red * kr / kg, red};
}

/// A level of the result is 64. Sample steps are those of the words that the kernels see: 8 bits of luma fill
/// 16 by repetition, so that a step is 257 there; any other sample lies in the upper bits of its word.
SampleWeights WeightsOf(const Formula& formula, bool tenBits) {
    constexpr double levels = 64 * 255;
    const double lumaStep = tenBits ? 64 : 257;
    const double chroma = levels / (tenBits ? 64 : 256);
    return {Rounded(formula.luma * levels / lumaStep * 65536),
            Rounded(formula.blueU * chroma * 32768),
            Rounded(formula.redV * chroma * 32768),
            Rounded(formula.greenU * chroma * 65536),
            Rounded(formula.greenV * chroma * 65536),
            Rounded(32.5 - formula.black * formula.luma * levels)};
}

EncodedWeights EncodedWeightsOf(const Formula& f) {
    constexpr double whole = 1 << ToneCurves::encodedBits;
    return {Rounded(f.luma * whole),   Rounded(f.black * f.luma * whole), Rounded(f.blueU * whole),
            Rounded(f.greenU * whole), Rounded(f.greenV * whole),         Rounded(f.redV * whole)};
}

/// @return the tables of an HDR picture, or null for SDR, and when there is no memory for them
std::shared_ptr<const ToneMap> MapOf(const SourcePicture& p) {
    constexpr int usualPeak = 1000, brightest = 10000;
    const bool known = p.peak > 0 && p.peak <= brightest;
    try {
        switch (p.transfer) {
        case KQ_TRANSFER_PQ:
            return ToneMap::For(false, known ? p.peak : usualPeak);
        case KQ_TRANSFER_HLG:
            return ToneMap::For(true, usualPeak);
        default:
            return nullptr;
        }
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

std::optional<SampleLayout> LayoutOf(std::int32_t kind) {
    using Depth = SampleDepth;
    using Chroma = ChromaColumns;
    switch (kind) {
    case KQ_PICTURE_PLANAR_YUV:
        return SampleLayout{Depth::Eight, Chroma::Half, true};
    case KQ_PICTURE_PLANAR_422:
        return SampleLayout{Depth::Eight, Chroma::Half, false};
    case KQ_PICTURE_PLANAR_444:
        return SampleLayout{Depth::Eight, Chroma::Full, false};
    case KQ_PICTURE_NV12:
        return SampleLayout{Depth::Eight, Chroma::Interleaved, true};
    case KQ_PICTURE_PLANAR_420_10:
        return SampleLayout{Depth::TenLow, Chroma::Half, true};
    case KQ_PICTURE_PLANAR_422_10:
        return SampleLayout{Depth::TenLow, Chroma::Half, false};
    case KQ_PICTURE_PLANAR_444_10:
        return SampleLayout{Depth::TenLow, Chroma::Full, false};
    case KQ_PICTURE_P010:
        return SampleLayout{Depth::TenHigh, Chroma::Interleaved, true};
    default:
        return std::nullopt;
    }
}

/// What a frame without a description is.
bool IsUsual(const SourcePicture& p) {
    const bool otherMatrix = p.matrix >= KQ_MATRIX_BT709 && p.matrix <= KQ_MATRIX_SMPTE240M;
    return p.kind == KQ_PICTURE_PLANAR_YUV && !otherMatrix && p.range != KQ_RANGE_FULL;
}

/// The routines that make one kind of RGB.
struct Output {
    void (*usual)(const PlanarToRgb&);
    void (*weighted)(const WeightedToRgb&);
    void (*toneMapped)(const ToneMappedToRgb&);
};

bool Convert(const SourcePicture& p, Plane out, const Output& output) {
    if (!IsConvertible(p) || out.data == nullptr) {
        return false;
    }
    const SampleLayout layout = *LayoutOf(p.kind);
    const bool inTurn = layout.chroma == ChromaColumns::Interleaved;
    const ConstPlane y = {p.planes[0], p.pitches[0]}, u = {p.planes[1], p.pitches[1]};
    // A plane that is not read need not be a plane.
    const ConstPlane v = inTurn ? u : ConstPlane{p.planes[2], p.pitches[2]};
    const auto map = MapOf(p);
    if (map == nullptr && IsUsual(p)) {
        output.usual({y, u, v, out, p.width, p.height, false});
        return true;
    }
    const bool tenBits = layout.depth != SampleDepth::Eight;
    const Formula formula = FormulaOf(p.matrix, p.range, tenBits);
    const SamplesToRgb job = {y, u, v, out, p.width, p.height, layout};
    if (map != nullptr) {
        output.toneMapped({job, EncodedWeightsOf(formula), map->Curves()});
    } else {
        output.weighted({job, WeightsOf(formula, tenBits)});
    }
    return true;
}

} // namespace

SourcePicture SourceOf(const MEDIA_FRAME& frame) {
    const tagYUVImage& image = frame.image;
    const Colour colour = ColourOf(frame);
    return {{image.pY, image.pU, image.pV},
            {image.nPitchY, image.nPitchU, image.nPitchV},
            image.nWidth,
            image.nHeight,
            frame.nKind,
            colour.nMatrix,
            colour.nRange,
            colour.nTransfer,
            colour.nContentPeak != 0 ? colour.nContentPeak : colour.nMasteringPeak};
}

bool IsConvertible(const SourcePicture& p) noexcept {
    const auto layout = LayoutOf(p.kind);
    return layout && p.width > 0 && p.height > 0 && p.planes[0] != nullptr && p.planes[1] != nullptr &&
           (p.planes[2] != nullptr || layout->chroma == ChromaColumns::Interleaved);
}

SourcePicture PartOf(const SourcePicture& picture, const tagRECT& part) noexcept {
    const auto layout = LayoutOf(picture.kind);
    if (!layout) {
        return picture;
    }
    // Interleaved chroma has two samples for two columns.
    const std::ptrdiff_t chromaColumn = layout->chroma == ChromaColumns::Half ? part.left / 2 : part.left;
    const std::ptrdiff_t sampleBytes = layout->depth == SampleDepth::Eight ? 1 : 2;
    SourcePicture result = picture;
    for (int plane = 0; plane < 3; ++plane) {
        const bool isRead = plane < 2 || layout->chroma != ChromaColumns::Interleaved;
        if (isRead && result.planes[plane] != nullptr) {
            const std::ptrdiff_t column = plane == 0 ? part.left : chromaColumn;
            const std::ptrdiff_t row = plane == 0 ? part.top : layout->ChromaRow(part.top);
            result.planes[plane] += row * result.pitches[plane] + column * sampleBytes;
        }
    }
    result.width = part.right - part.left;
    result.height = part.bottom - part.top;
    return result;
}

bool ToRgb32(const SourcePicture& picture, std::uint8_t* out, std::ptrdiff_t pitch) noexcept {
    const Kernels& kernels = BestKernels();
    return Convert(picture, {out, pitch},
                   {kernels.planarToBgra13, kernels.weightedToBgra, kernels.toneMappedToBgra});
}

bool ToRgb24(const SourcePicture& picture, std::uint8_t* out, std::ptrdiff_t pitch) noexcept {
    const Kernels& kernels = BestKernels();
    return Convert(picture, {out, pitch},
                   {kernels.planarToBgr13, kernels.weightedToBgr, kernels.toneMappedToBgr});
}

} // namespace kq::image
