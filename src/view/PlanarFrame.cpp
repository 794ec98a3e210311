#include "view/PlanarFrame.h"

#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>

namespace {
constexpr std::size_t kSlackBytes = 512;
constexpr std::uint8_t kBlackLuma = 0x10;
constexpr std::uint8_t kNeutralChroma = 0x80;
constexpr std::uint8_t kOpaque = 0xFF;

/// The absolute value, 0 for the one number that has none.
int Magnitude(std::int32_t nValue) {
    return nValue == std::numeric_limits<std::int32_t>::min() ? 0 : std::abs(nValue);
}

} // namespace

PictureSize SizeOf(const VIDEO_STREAM_INFO& format) {
    return {Magnitude(format.nWidth), Magnitude(format.nHeight)};
}

bool IsPictureSize(PictureSize size) {
    constexpr int kMaxPixels = std::numeric_limits<std::int32_t>::max() / 8;
    return size.nWidth > 0 && size.nHeight > 0 && size.nWidth <= kMaxPixels / size.nHeight;
}

bool HasPlanes(const tagYUVImage& image) {
    return image.pY != nullptr && image.pU != nullptr && image.pV != nullptr &&
           IsPictureSize({image.nWidth, image.nHeight});
}

void PlanarFrameDeleter::operator()(MEDIA_FRAME* pFrame) const {
    delete[] pFrame->image.pY;
    delete pFrame;
}

PlanarFramePtr MakeBlackFrame(PictureSize size) {
    if (!IsPictureSize(size)) {
        return nullptr;
    }
    const auto [nWidth, nHeight] = size;
    const int nChromaWidth = (nWidth + 1) / 2;
    const std::size_t nLuma = static_cast<std::size_t>(nWidth) * static_cast<std::size_t>(nHeight);
    const std::size_t nChroma =
        static_cast<std::size_t>((nHeight + 1) / 2) * static_cast<std::size_t>(nChromaWidth);
    const std::size_t nBytes = 2 * (nLuma + nChroma) + kSlackBytes;

    PlanarFramePtr pFrame(new (std::nothrow) MEDIA_FRAME{});
    auto* const pPlanes = new (std::nothrow) std::uint8_t[nBytes];
    if (!pFrame || pPlanes == nullptr) {
        delete[] pPlanes;
        return nullptr;
    }
    pFrame->nType = 2;
    pFrame->nKind = KQ_PICTURE_PLANAR_YUV;
    pFrame->llTime = KQ_NO_PTS;
    pFrame->llPTS = KQ_NO_PTS;
    tagYUVImage& image = pFrame->image;
    image.nFormat = 2;
    image.pY = pPlanes;
    image.pV = pPlanes + nLuma;
    image.pU = image.pV + nChroma;
    image.pA = image.pU + nChroma;
    image.nWidth = nWidth;
    image.nHeight = nHeight;
    image.nPitchY = nWidth;
    image.nPitchU = nChromaWidth;
    image.nPitchV = nChromaWidth;
    image.nPitchA = nWidth;
    std::memset(image.pY, kBlackLuma, nLuma);
    std::memset(image.pV, kNeutralChroma, 2 * nChroma);
    std::memset(image.pA, kOpaque, nLuma + kSlackBytes);
    return pFrame;
}
