#include "view/CaptureStore.h"

#include "com/KeptTexts.h"
#include "com/QueryInfo.h"
#include "image/Arithmetic.h"
#include "image/ColourConvert.h"
#include "text/Utf8.h"

#include <kqplayer/capture.h>
#include <kqplayer/convenience.h>
#include <kqplayer/image.h>
#include <kqplayer/imageproc.h>
#include <kqplayer/log.h>
#include <kqplayer/player.h>

#include <strings.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <memory>
#include <new>
#include <string>

namespace {

constexpr int kBitsPerPixel = 24;

/// @return the MIME type of a picture format, or null for a format that is not supported
const wchar_t* MimeTypeOf(std::int32_t nFormat) {
    switch (nFormat) {
    case KQ_CAPTURE_BMP:
        return L"image/bmp";
    case KQ_CAPTURE_JPEG:
        return L"image/jpeg";
    case KQ_CAPTURE_PNG:
        return L"image/png";
    default:
        return nullptr;
    }
}

std::int32_t FailedBecause(const wchar_t* pReason) {
    KQLogEx(CaptureTexts::kFailed, pReason);
    return kq::Failed;
}

std::int32_t Refuse(std::int32_t nResult, const wchar_t* pReason) {
    KQLogEx(L"CMediaPlayer::CaptureView failed: %ls", pReason);
    return nResult;
}

/// @return the picture format that a path's ending names, or -1
std::int32_t FormatOf(const char* pPath) {
    static constexpr struct {
        const char* pEnding;
        std::int32_t nFormat;
    } kEndings[] = {{".bmp", KQ_CAPTURE_BMP},
                    {".jpg", KQ_CAPTURE_JPEG},
                    {".jpeg", KQ_CAPTURE_JPEG},
                    {".png", KQ_CAPTURE_PNG}};
    const char* const pEnding = std::strrchr(pPath, '.');
    for (const auto& ending : kEndings) {
        if (pEnding != nullptr && strcasecmp(pEnding, ending.pEnding) == 0) {
            return ending.nFormat;
        }
    }
    return -1;
}

/// @return a path as the image library takes it; empty for one that is not UTF-8, and without memory
std::wstring WidePath(const char* pPath) {
    std::wstring path;
    try {
        while (*pPath != '\0') {
            const char* const pBefore = pPath;
            const std::uint32_t nCode = kq::text::DecodeUtf8(pPath);
            if (nCode == kq::text::replacement && pPath - pBefore == 1) {
                return {};
            }
            path += static_cast<wchar_t>(nCode);
        }
    } catch (const std::bad_alloc&) {
        return {};
    }
    return path;
}

std::int32_t BytesPerPixel(std::int32_t nLayout) {
    return nLayout == KQ_PIXELS_RGB24 ? 3 : 4;
}

/// @param pBgr pixels of a bitmap with 24 bits
void CopyRow(std::uint8_t* pOut, const std::uint8_t* pBgr, int nWidth, std::int32_t nLayout) {
    for (int n = 0; n < nWidth; ++n, pBgr += 3) {
        if (nLayout == KQ_PIXELS_RGB24) {
            pOut[0] = pBgr[2];
            pOut[1] = pBgr[1];
            pOut[2] = pBgr[0];
            pOut += 3;
        } else {
            pOut[0] = pBgr[0];
            pOut[1] = pBgr[1];
            pOut[2] = pBgr[2];
            pOut[3] = 255;
            pOut += 4;
        }
    }
}

/// @return whether the sample is one of planes, in any of the kinds that views show
bool IsPlanar(const MEDIA_FRAME& sample) {
    return sample.nKind != KQ_PICTURE_PACKED_RGB &&
           IsPictureSize({sample.image.nWidth, sample.image.nHeight}) &&
           kq::image::IsConvertible(kq::image::SourceOf(sample));
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

void KQReleasePicture(KQPicture* pPicture) {
    if (pPicture != nullptr) {
        std::free(pPicture->pPixels);
        *pPicture = {};
    }
}

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

const wchar_t* CCaptureStore::Draw(IMediaStream* pStream, std::int64_t& llPTS) {
    if (pStream == nullptr) {
        return CaptureTexts::kNoStream;
    }
    const MEDIA_FRAME* const pSample = pStream->GetCurrentFrame();
    if (pSample == nullptr) {
        return CaptureTexts::kNoSample;
    }
    const auto pStreamInfo = QueryInfo(*pStream);
    if (!pStreamInfo) {
        return CaptureTexts::kNoInfo;
    }
    const VIDEO_STREAM_INFO* const pFormat = pStreamInfo->GetVideoFormat();
    if (pFormat == nullptr) {
        return CaptureTexts::kNoFormat;
    }
    const PictureSize size = SampleSize(*pSample, *pFormat);
    if (!FitImage(size)) {
        return CaptureTexts::kNoImage;
    }
    std::uint8_t* const pBits = DIGetBits(m_pImage);
    tagBITMAPINFOHEADER* const pHeader = DIGetBitmapInfo(m_pImage);
    if (pBits == nullptr || pHeader == nullptr) {
        return CaptureTexts::kNoBits;
    }
    llPTS = pSample->llPTS;
    const tagYUVImage& image = pSample->image;
    if (IsPlainPlanar(*pSample) && HasPlanes(image)) {
        Yuv420_2_rgb24(pHeader, pBits, image.pY, image.pU, image.pV, image.nPitchY, image.nPitchU,
                       image.nPitchV);
    } else if (IsPlanar(*pSample)) {
        kq::image::ToRgb24(kq::image::SourceOf(*pSample), pBits,
                           kq::image::BitmapRowBytes(size.nWidth, kBitsPerPixel));
    } else if (IsPacked(*pSample)) {
        const std::ptrdiff_t nRowSize = kq::image::BitmapRowBytes(size.nWidth, kBitsPerPixel);
        std::memcpy(pBits, image.pRgb, static_cast<std::size_t>(nRowSize * size.nHeight));
    } else {
        return CaptureTexts::kUnknownFrame;
    }
    return nullptr;
}

std::int32_t CCaptureStore::CaptureToFile(IMediaStream* pStream, const CaptureImageInfo& info,
                                          const wchar_t* pPath) {
    CSingleLock lock(&m_csCapture);
    std::int64_t llPTS = KQ_NO_PTS;
    if (const wchar_t* const pReason = Draw(pStream, llPTS)) {
        return FailedBecause(pReason);
    }
    m_lastRequest = info;
    const wchar_t* const pMimeType = MimeTypeOf(m_lastRequest.nFormat);
    const std::int32_t nResult = pMimeType != nullptr ? kq::Ok : FailedBecause(CaptureTexts::kUnknownPicture);
    DISaveEx(m_pImage, pPath, pMimeType);
    return nResult;
}

std::int32_t CCaptureStore::SaveCurrent(IMediaStream* pStream, std::int32_t nFormat, const char* pPath) {
    if (pPath == nullptr) {
        return Refuse(kq::NullPointer, L"there is no path");
    }
    const wchar_t* const pMimeType = MimeTypeOf(nFormat == KQ_CAPTURE_BY_NAME ? FormatOf(pPath) : nFormat);
    if (pMimeType == nullptr) {
        return Refuse(kq::Refused, L"the format is none of BMP, JPEG and PNG");
    }
    const std::wstring path = WidePath(pPath);
    if (path.empty()) {
        return Refuse(kq::Failed, L"the path is empty or not UTF-8");
    }
    CSingleLock lock(&m_csCapture);
    std::int64_t llPTS = KQ_NO_PTS;
    if (const wchar_t* const pReason = Draw(pStream, llPTS)) {
        return Refuse(kq::Failed, pReason);
    }
    return DISaveEx(m_pImage, path.c_str(), pMimeType) != 0 ? kq::Ok : kq::Failed;
}

std::int32_t CCaptureStore::CopyPixels(IMediaStream* pStream, std::int32_t nLayout, KQPicture& picture) {
    if (nLayout != KQ_PIXELS_RGB24 && nLayout != KQ_PIXELS_BGRA32) {
        return kq::Refused;
    }
    CSingleLock lock(&m_csCapture);
    KQPicture copy{};
    if (const wchar_t* const pReason = Draw(pStream, copy.llPTS)) {
        return Refuse(kq::Failed, pReason);
    }
    copy.nLayout = nLayout;
    copy.nWidth = DIGetWidth(m_pImage);
    copy.nHeight = DIGetHeight(m_pImage);
    copy.nPitch = copy.nWidth * BytesPerPixel(nLayout);
    copy.pPixels = static_cast<std::uint8_t*>(
        std::malloc(static_cast<std::size_t>(copy.nPitch) * static_cast<std::size_t>(copy.nHeight)));
    if (copy.pPixels == nullptr) {
        return kq::OutOfMemory;
    }
    const std::uint8_t* const pBits = DIGetBits(m_pImage);
    const std::ptrdiff_t nRowSize = kq::image::BitmapRowBytes(copy.nWidth, kBitsPerPixel);
    for (std::ptrdiff_t nRow = 0; nRow < copy.nHeight; ++nRow) {
        CopyRow(copy.pPixels + nRow * copy.nPitch, pBits + nRow * nRowSize, copy.nWidth, nLayout);
    }
    picture = copy;
    return kq::Ok;
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
    // The copy is planar 4:2:0 with 8 bits: a sample of that kind is copied with its description, others
    // become BT.601.
    const bool bSameKind = pSample->nKind == KQ_PICTURE_PLANAR_YUV;
    for (std::size_t i = 0; i < std::size(m_pCopy->reserved); ++i) {
        m_pCopy->reserved[i] = bSameKind ? pSample->reserved[i] : 0;
    }
    if (bSameKind) {
        CopyVideoFrame(m_pCopy.get(), pSample, 1, 0);
        return m_pCopy.get();
    }
    m_pCopy->llTime = pSample->llTime;
    m_pCopy->llPTS = pSample->llPTS;
    m_pCopy->nFlags = pSample->nFlags;
    if (IsPacked(*pSample)) {
        PackedToPlanar(m_pCopy->image, pSample->image.pRgb);
        return m_pCopy.get();
    }
    const tagYUVImage& image = pSample->image;
    const std::ptrdiff_t nRowSize = kq::image::BitmapRowBytes(image.nWidth, kBitsPerPixel);
    const std::unique_ptr<std::uint8_t[]> pRgb(
        new (std::nothrow) std::uint8_t[static_cast<std::size_t>(nRowSize * image.nHeight)]);
    if (!pRgb || !kq::image::ToRgb24(kq::image::SourceOf(*pSample), pRgb.get(), nRowSize)) {
        return nullptr;
    }
    PackedToPlanar(m_pCopy->image, pRgb.get());
    return m_pCopy.get();
}
