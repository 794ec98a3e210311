#include <kqplayer/capture.h>

#include <cstddef>
#include <cstring>

namespace {

struct Plane {
    std::uint8_t* pData;
    int nPitch;
};

/// Copies rows of the destination's pitch; in one piece when the pitches agree. A plane that one of the
/// frames lacks is left out.
void CopyPlane(const Plane& dst, const Plane& src, int nRows) {
    if (dst.pData == nullptr || src.pData == nullptr || nRows <= 0) {
        return;
    }
    if (dst.nPitch == src.nPitch) {
        std::memcpy(dst.pData, src.pData,
                    static_cast<std::size_t>(dst.nPitch) * static_cast<std::size_t>(nRows));
        return;
    }
    for (int i = 0; i < nRows; ++i) {
        std::memcpy(dst.pData + static_cast<std::ptrdiff_t>(i) * dst.nPitch,
                    src.pData + static_cast<std::ptrdiff_t>(i) * src.nPitch,
                    static_cast<std::size_t>(dst.nPitch));
    }
}

} // namespace

void CopyVideoFrame(MEDIA_FRAME* pDst, const MEDIA_FRAME* pSrc, int nCopyTimes, int /*nReserved*/) {
    if (pDst == nullptr || pSrc == nullptr) {
        return;
    }
    if (nCopyTimes != 0) {
        pDst->llTime = pSrc->llTime;
        pDst->llPTS = pSrc->llPTS;
        pDst->nFlags = pSrc->nFlags;
    }
    const tagYUVImage& dst = pDst->image;
    const tagYUVImage& src = pSrc->image;
    const int nRows = dst.nHeight;
    CopyPlane({dst.pY, dst.nPitchY}, {src.pY, src.nPitchY}, nRows);
    CopyPlane({dst.pA, dst.nPitchA}, {src.pA, src.nPitchA}, nRows);
    CopyPlane({dst.pU, dst.nPitchU}, {src.pU, src.nPitchU}, (nRows + 1) / 2);
    CopyPlane({dst.pV, dst.nPitchV}, {src.pV, src.nPitchV}, (nRows + 1) / 2);
}
