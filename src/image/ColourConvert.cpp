#include "ColourConvert.h"

#include "Kernels.h"

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

/// A level of the result is 64. Sample steps are those of the words that the kernels see: 8 bits of luma fill
/// 16 by repetition, so that a step is 257 there; any other sample lies in the upper bits of its word.
constexpr SampleWeights WeightsOf(std::int32_t matrix, std::int32_t range, bool tenBits) {
    const auto [kr, kb] = PrimariesOf(matrix);
    const bool full = range == KQ_RANGE_FULL;
    const double scale = tenBits ? 4 : 1;
    const double lumaSpan = full ? 256 * scale - 1 : 219 * scale;
    const double chromaSpan = full ? 256 * scale - 1 : 224 * scale;
    const double black = full ? 0 : 16 * scale;
    const double lumaStep = tenBits ? 64 : 257;
    const double chromaStep = tenBits ? 64 : 256;
    const double luma = 64 * 255 / lumaSpan;
    const double chroma = 64 * 255 / chromaSpan / chromaStep;
    const double kg = 1 - kr - kb;
    return {Rounded(luma / lumaStep * 65536),
            Rounded(2 * (1 - kb) * chroma * 32768),
            Rounded(2 * (1 - kr) * chroma * 32768),
            Rounded(-2 * (1 - kb) * kb / kg * chroma * 65536),
            Rounded(-2 * (1 - kr) * kr / kg * chroma * 65536),
            Rounded(32.5 - black * luma)};
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

bool Convert(const SourcePicture& p, Plane out, void (*usual)(const PlanarToRgb&),
             void (*weighted)(const WeightedToRgb&)) {
    if (!IsConvertible(p) || out.data == nullptr) {
        return false;
    }
    const SampleLayout layout = *LayoutOf(p.kind);
    const bool inTurn = layout.chroma == ChromaColumns::Interleaved;
    const ConstPlane y = {p.planes[0], p.pitches[0]}, u = {p.planes[1], p.pitches[1]};
    // A plane that is not read need not be a plane.
    const ConstPlane v = inTurn ? u : ConstPlane{p.planes[2], p.pitches[2]};
    if (IsUsual(p)) {
        usual({y, u, v, out, p.width, p.height, false});
    } else {
        const bool tenBits = layout.depth != SampleDepth::Eight;
        weighted({y, u, v, out, p.width, p.height, layout, WeightsOf(p.matrix, p.range, tenBits)});
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
            colour.nRange};
}

bool IsConvertible(const SourcePicture& p) noexcept {
    const auto layout = LayoutOf(p.kind);
    return layout && p.width > 0 && p.height > 0 && p.planes[0] != nullptr && p.planes[1] != nullptr &&
           (p.planes[2] != nullptr || layout->chroma == ChromaColumns::Interleaved);
}

bool ToRgb32(const SourcePicture& picture, std::uint8_t* out, std::ptrdiff_t pitch) noexcept {
    return Convert(picture, {out, pitch}, BestKernels().planarToBgra13, BestKernels().weightedToBgra);
}

bool ToRgb24(const SourcePicture& picture, std::uint8_t* out, std::ptrdiff_t pitch) noexcept {
    return Convert(picture, {out, pitch}, BestKernels().planarToBgr13, BestKernels().weightedToBgr);
}

} // namespace kq::image
