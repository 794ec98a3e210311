#include "view/CaptureStore.h"

#include "image/Arithmetic.h"
#include "com/KeptTexts.h"
#include "com/QueryInfo.h"

#include <kqplayer/capture.h>
#include <kqplayer/convenience.h>
#include <kqplayer/image.h>
#include <kqplayer/imageproc.h>
#include <kqplayer/log.h>

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace {

constexpr int kBitsPerPixel = 24;

/// @return the MIME type of a picture format, or null for a format that is not supported
const wchar_t* MimeTypeOf(std::int32_t nFormat) {
    switch (nFormat) {
    case 0:
        return L"image/bmp";
    case 1:
        return L"image/jpeg";
    case 2:
        return L"image/png";
    default:
        return nullptr;
    }
}

std::int32_t FailedBecause(const wchar_t* pReason) {
    KQLogEx(CaptureTexts::kFailed, pReason);
    return kq::Failed;
}

bool IsPlanar(const MEDIA_FRAME& sample) {
    return sample.nKind == KQ_PICTURE_PLANAR_YUV && HasPlanes(sample.image);
}

bool IsPacked(const MEDIA_FRAME& sample) {
    return sample.nKind == KQ_PICTURE_PACKED_RGB && sample.image.pRgb != nullptr;
}

/// The size of the picture in the sample: its own, or the stream's for a packed one, which has none.
PictureSize SampleSize(const MEDIA_FRAME& sample, const VIDEO_STREAM_INFO& format) {
    return IsPlanar(sample) ? PictureSize{sample.image.nWidth, sample.image.nHeight} : SizeOf(format);
}

/// One block of 2x2 pixels, cut off at the edges of the picture: their luma, and the means of their chroma.
void PackedBlockToPlanar(const tagYUVImage& dst, const std::uint8_t* pRgb, int nRow, int nColumn) {
    const std::ptrdiff_t nRowSize = kq::image::BitmapRowBytes(dst.nWidth, kBitsPerPixel);
    int nSumU = 0;
    int nSumV = 0;
    int nPixels = 0;
    for (int r = nRow; r < std::min(nRow + 2, dst.nHeight); ++r) {
        for (int c = nColumn; c < std::min(nColumn + 2, dst.nWidth); ++c) {
            const std::uint8_t* const p = pRgb + r * nRowSize + std::ptrdiff_t{3} * c;
            const kq::image::YuvTerms terms = kq::image::BgrToYuv14({p[0], p[1], p[2]});
            dst.pY[static_cast<std::ptrdiff_t>(r) * dst.nPitchY + c] = static_cast<std::uint8_t>(terms.y);
            nSumU += terms.u;
            nSumV += terms.v;
            ++nPixels;
        }
    }
    const std::ptrdiff_t nRowU = static_cast<std::ptrdiff_t>(nRow / 2) * dst.nPitchU;
    const std::ptrdiff_t nRowV = static_cast<std::ptrdiff_t>(nRow / 2) * dst.nPitchV;
    dst.pU[nRowU + nColumn / 2] = static_cast<std::uint8_t>((nSumU + 128 * nPixels) / nPixels);
    dst.pV[nRowV + nColumn / 2] = static_cast<std::uint8_t>((nSumV + 128 * nPixels) / nPixels);
}

void PackedToPlanar(const tagYUVImage& dst, const std::uint8_t* pRgb) {
    for (int r = 0; r < dst.nHeight; r += 2) {
        for (int c = 0; c < dst.nWidth; c += 2) {
            PackedBlockToPlanar(dst, pRgb, r, c);
        }
    }
}

} // namespace

CCaptureStore::~CCaptureStore() {
    if (m_pImage != nullptr) {
        DIDestroy(m_pImage);
    }
}

bool CCaptureStore::FitImage(PictureSize size) {
    const auto [nWidth, nHeight] = size;
    if (m_pImage != nullptr && DIGetWidth(m_pImage) == nWidth && DIGetHeight(m_pImage) == nHeight) {
        return true;
    }
    if (m_pImage != nullptr) {
        DIDestroy(m_pImage);
    }
    m_pImage = DICreate();
    if (m_pImage == nullptr) {
        return false;
    }
    DISetContent(m_pImage, nWidth, nHeight, kBitsPerPixel);
    return true;
}

std::int32_t CCaptureStore::CaptureToFile(IMediaStream* pStream, const CaptureImageInfo& info,
                                          const wchar_t* pPath) {
    CSingleLock lock(&m_csCapture);
    if (pStream == nullptr) {
        return FailedBecause(CaptureTexts::kNoStream);
    }
    const MEDIA_FRAME* const pSample = pStream->GetCurrentFrame();
    if (pSample == nullptr) {
        return FailedBecause(CaptureTexts::kNoSample);
    }
    const auto pStreamInfo = QueryInfo(*pStream);
    if (!pStreamInfo) {
        return FailedBecause(CaptureTexts::kNoInfo);
    }
    const VIDEO_STREAM_INFO* const pFormat = pStreamInfo->GetVideoFormat();
    if (pFormat == nullptr) {
        return FailedBecause(CaptureTexts::kNoFormat);
    }
    m_lastRequest = info;
    const PictureSize size = SampleSize(*pSample, *pFormat);
    if (!FitImage(size)) {
        return FailedBecause(CaptureTexts::kNoImage);
    }
    std::uint8_t* const pBits = DIGetBits(m_pImage);
    tagBITMAPINFOHEADER* const pHeader = DIGetBitmapInfo(m_pImage);
    if (pBits == nullptr || pHeader == nullptr) {
        return FailedBecause(CaptureTexts::kNoBits);
    }
    const tagYUVImage& image = pSample->image;
    if (IsPlanar(*pSample)) {
        Yuv420_2_rgb24(pHeader, pBits, image.pY, image.pU, image.pV, image.nPitchY, image.nPitchU,
                       image.nPitchV);
    } else if (IsPacked(*pSample)) {
        const std::ptrdiff_t nRowSize = kq::image::BitmapRowBytes(size.nWidth, kBitsPerPixel);
        std::memcpy(pBits, image.pRgb, static_cast<std::size_t>(nRowSize * size.nHeight));
    } else {
        return FailedBecause(CaptureTexts::kUnknownFrame);
    }
    const wchar_t* const pMimeType = MimeTypeOf(m_lastRequest.nFormat);
    const std::int32_t nResult = pMimeType != nullptr ? kq::Ok : FailedBecause(CaptureTexts::kUnknownPicture);
    DISaveEx(m_pImage, pPath, pMimeType);
    return nResult;
}

bool CCaptureStore::FitCopy(PictureSize size) {
    if (!m_pCopy || m_pCopy->image.nWidth != size.nWidth || m_pCopy->image.nHeight != size.nHeight) {
        m_pCopy = MakeBlackFrame(size);
    }
    return m_pCopy != nullptr;
}

MEDIA_FRAME* CCaptureStore::CaptureCopy(IMediaStream* pStream) {
    CSingleLock lock(&m_csCapture);
    if (pStream == nullptr) {
        KQLogEx(CaptureTexts::kCopyWithoutStream);
        return nullptr;
    }
    const MEDIA_FRAME* const pSample = pStream->GetCurrentFrame();
    const auto pStreamInfo = QueryInfo(*pStream);
    if (!pStreamInfo) {
        return nullptr;
    }
    const VIDEO_STREAM_INFO* const pFormat = pStreamInfo->GetVideoFormat();
    if (pSample == nullptr || pFormat == nullptr || (!IsPlanar(*pSample) && !IsPacked(*pSample))) {
        KQLogEx(CaptureTexts::kCopyWithoutPicture);
        return nullptr;
    }
    if (!FitCopy(SampleSize(*pSample, *pFormat))) {
        return nullptr;
    }
    if (IsPlanar(*pSample)) {
        CopyVideoFrame(m_pCopy.get(), pSample, 1, 0);
        return m_pCopy.get();
    }
    m_pCopy->llTime = pSample->llTime;
    m_pCopy->llPTS = pSample->llPTS;
    m_pCopy->nFlags = pSample->nFlags;
    PackedToPlanar(m_pCopy->image, pSample->image.pRgb);
    return m_pCopy.get();
}
