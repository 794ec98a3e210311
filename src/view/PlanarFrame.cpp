#include "view/PlanarFrame.h"

#include <cstring>
#include <limits>
#include <new>

namespace {
constexpr std::size_t kSlackBytes = 512;
constexpr std::uint8_t kBlackLuma = 0x10;
constexpr std::uint8_t kNeutralChroma = 0x80;
constexpr std::uint8_t kOpaque = 0xFF;
} // namespace

void PlanarFrameDeleter::operator()(MEDIA_FRAME* pFrame) const {
    delete[] pFrame->image.pY;
    delete pFrame;
}

PlanarFramePtr MakeBlackFrame(int nWidth, int nHeight) {
    if (nWidth <= 0 || nHeight <= 0 || nWidth > std::numeric_limits<std::int32_t>::max() / 8 / nHeight) {
        return nullptr;
    }
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
