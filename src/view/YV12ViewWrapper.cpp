#include "view/YV12ViewWrapper.h"

#include "com/KeptTexts.h"
#include "com/Output.h"
#include "image/ColourConvert.h"
#include "thread/TimeSource.h"
#include "view/PlanarFrame.h"

#include <kqplayer/image.h>
#include <kqplayer/log.h>
#include <kqplayer/view_library.h>

#include <dlfcn.h>

#include <algorithm>
#include <cstdint>
#include <new>
#include <type_traits>

struct YV12ViewWrapper::Functions {
// NOLINTNEXTLINE(bugprone-macro-parentheses): a declaration has none around its name
#define KQ_POINTER_TO(function) decltype(&::function) function;
    KQ_VIEW_LIBRARY_FUNCTIONS(KQ_POINTER_TO)
    KQ_POINTER_TO(PVGetPictureBuffer) ///< null when the library has none, as all below
    KQ_POINTER_TO(PVExpectPictures)
    KQ_POINTER_TO(PVSetDisplay)
    KQ_POINTER_TO(PVGetDisplay)
    KQ_POINTER_TO(PVGetMapping)
    KQ_POINTER_TO(PVGetShownPixel)
    KQ_POINTER_TO(PVGetWantedPart)
    KQ_POINTER_TO(PVShowRGB32Part)
#undef KQ_POINTER_TO
};

namespace {

constexpr std::align_val_t kRgbAlignment{64};

/// Pictures that follow each other so closely are a steady row: what one lacks comes soon.
constexpr std::uint32_t kSteadyMs = 100;
/// Rows of pictures are written faster from every 16th pixel on. Even, as columns share chroma in pairs.
constexpr int kColumnsAligned = 16;

/// Opens the library once more than the wrappers do, so that it stays loaded whatever they close.
void KeepLibraryLoaded() {
    static void* const s_pKept = kq::OpenViewLibrary().pHandle;
    (void)s_pKept;
}

} // namespace

IYv12View* MakeYv12View() {
    return YV12ViewWrapper::Make();
}

YV12ViewWrapper* YV12ViewWrapper::Make() {
    try {
        KeepLibraryLoaded();
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
    return new (std::nothrow) YV12ViewWrapper;
}

void YV12ViewWrapper::AlignedDelete::operator()(unsigned char* p) const {
    ::operator delete[](p, kRgbAlignment);
}

YV12ViewWrapper::YV12ViewWrapper() = default;

YV12ViewWrapper::~YV12ViewWrapper() {
    DestroyLibraryView();
    UnloadPlayerView();
}

void YV12ViewWrapper::DestroyLibraryView() {
    if (IsReady()) {
        m_pFunctions->PVDestroyPlayerView(m_pView);
    }
    m_pView = nullptr;
}

bool YV12ViewWrapper::Resolve() {
    m_pFunctions = std::make_unique<Functions>();
    const auto resolve = [this](const char* pName, auto& function) {
        function = reinterpret_cast<std::decay_t<decltype(function)>>(dlsym(m_pLibrary, pName));
        return function != nullptr;
    };
#define KQ_RESOLVE_OPTIONAL(function) resolve(#function, m_pFunctions->function);
    KQ_RESOLVE_OPTIONAL(PVGetPictureBuffer)
    KQ_RESOLVE_OPTIONAL(PVExpectPictures)
    KQ_RESOLVE_OPTIONAL(PVSetDisplay)
    KQ_RESOLVE_OPTIONAL(PVGetDisplay)
    KQ_RESOLVE_OPTIONAL(PVGetMapping)
    KQ_RESOLVE_OPTIONAL(PVGetShownPixel)
    KQ_RESOLVE_OPTIONAL(PVGetWantedPart)
    KQ_RESOLVE_OPTIONAL(PVShowRGB32Part)
#undef KQ_RESOLVE_OPTIONAL
    bool bComplete = true;
#define KQ_RESOLVE(function) bComplete = bComplete && resolve(#function, m_pFunctions->function);
    KQ_VIEW_LIBRARY_FUNCTIONS(KQ_RESOLVE)
#undef KQ_RESOLVE
    return bComplete;
}

int YV12ViewWrapper::LoadPlayerView() {
    UnloadPlayerView();
    try {
        const kq::OpenedViewLibrary library = kq::OpenViewLibrary();
        m_pLibrary = library.pHandle;
        if (m_pLibrary == nullptr) {
            KQLogEx(
                L"No view can be made: %s. PlayerView.so is installed beside libKQPlayer.so; a host may have "
                L"one of its own beside its program.\r\n",
                library.error.c_str());
            return 0;
        }
        if (!Resolve()) {
            UnloadPlayerView();
            Print(ViewTexts::kNotLoaded, library.path.c_str());
            return 0;
        }
        Print(ViewTexts::kLoaded, library.path.c_str());
        return 1;
    } catch (const std::bad_alloc&) {
        UnloadPlayerView();
        KQLogEx(L"No view can be made: out of memory.\r\n");
        return 0;
    }
}

int YV12ViewWrapper::UnloadPlayerView() {
    m_pFunctions.reset();
    if (m_pLibrary != nullptr) {
        dlclose(m_pLibrary);
        m_pLibrary = nullptr;
    }
    return 1;
}

int YV12ViewWrapper::Create(void* pParent, const VRECT& rect, unsigned long /*a*/, unsigned long /*b*/) {
    DestroyLibraryView();
    if (LoadPlayerView() == 0) {
        return 0;
    }
    VRECT copy = rect;
    m_pView = m_pFunctions->PVCreatePlayerView(pParent, &copy);
    return m_pView != nullptr ? 1 : 0;
}

template <class Call>
int YV12ViewWrapper::Forward(Call call) {
    return IsReady() ? call(*m_pFunctions) : 0;
}

int YV12ViewWrapper::SetCropMode(unsigned int nMode) {
    return Forward([&](Functions& f) { return f.PVSetCropMode(m_pView, nMode); });
}

int YV12ViewWrapper::SetMaskMode(unsigned int nMode) {
    return Forward([&](Functions& f) { return f.PVSetMaskMode(m_pView, nMode); });
}

int YV12ViewWrapper::SetCallbackWnd(void* pWindow) {
    return Forward([&](Functions& f) { return f.PVSetCallbackWnd(m_pView, pWindow); });
}

int YV12ViewWrapper::SetCropRect(tagRECT* pRect) {
    return Forward([&](Functions& f) { return f.PVSetCropRect(m_pView, pRect); });
}

int YV12ViewWrapper::GetCropRect(tagRECT* pRect) {
    return Forward([&](Functions& f) { return f.PVGetCropRect(m_pView, pRect); });
}

int YV12ViewWrapper::SetDisplayResizeMode(IMAGE_RESIZE_METHOD eMethod) {
    return Forward([&](Functions& f) { return f.PVSetDisplayResizeMode(m_pView, eMethod); });
}

int YV12ViewWrapper::Update() {
    return Forward([&](Functions& f) { return f.PVUpdate(m_pView); });
}

void* YV12ViewWrapper::GetHwnd() {
    return IsReady() ? m_pFunctions->PVGetHwnd(m_pView) : nullptr;
}

void YV12ViewWrapper::SetHwnd(void* /*pWindow*/) {}

int YV12ViewWrapper::ShowYV12Image(tagBITMAPINFO* /*pInfo*/, unsigned char* /*pBits*/) {
    return 0;
}

void YV12ViewWrapper::SetSrcAspectRatio(int x, int y) {
    if (IsReady()) {
        m_pFunctions->PVSetDisplayScale(m_pView, x, y);
    }
}

void YV12ViewWrapper::Expect(int nWidth, int nHeight) {
    if (IsReady() && m_pFunctions->PVExpectPictures != nullptr) {
        m_pFunctions->PVExpectPictures(m_pView, nWidth, nHeight);
    }
}

bool YV12ViewWrapper::FitHeader(int nWidth, int nHeight) {
    if (m_pHeader && nWidth == m_nCachedWidth && nHeight == m_nCachedHeight) {
        return true;
    }
    if (!m_pHeader) {
        m_pHeader.reset(new (std::nothrow) tagBITMAPINFOHEADER{});
        if (!m_pHeader) {
            return false;
        }
    }
    m_pRgb.reset();
    m_nCachedWidth = nWidth;
    m_nCachedHeight = nHeight;
    m_pHeader->biWidth = nWidth;
    m_pHeader->biHeight = nHeight;
    m_pHeader->biBitCount = 32;
    return true;
}

unsigned char* YV12ViewWrapper::PictureBuffer() {
    if (m_pFunctions->PVGetPictureBuffer != nullptr) {
        if (auto* const pLent = m_pFunctions->PVGetPictureBuffer(m_pView, m_nCachedWidth, m_nCachedHeight)) {
            return pLent;
        }
    }
    if (!m_pRgb) {
        const std::size_t nBytes =
            static_cast<std::size_t>(m_nCachedWidth) * static_cast<std::size_t>(m_nCachedHeight) * 4;
        m_pRgb.reset(static_cast<unsigned char*>(::operator new[](nBytes, kRgbAlignment, std::nothrow)));
    }
    return m_pRgb.get();
}

int YV12ViewWrapper::ShowYUVImage(const tagYUVImage* pImage) {
    if (pImage == nullptr || !HasPlanes(*pImage) || !IsReady() ||
        !FitHeader(pImage->nWidth, pImage->nHeight)) {
        return 0;
    }
    unsigned char* const pRgb = PictureBuffer();
    if (pRgb == nullptr) {
        return 0;
    }
    Yuv420_2_rgb32(m_pHeader.get(), pRgb, pImage->pY, pImage->pU, pImage->pV, pImage->nPitchY,
                   pImage->nPitchU, pImage->nPitchV);
    m_pFunctions->PVShowRGB32Image(m_pView, pImage->nWidth, pImage->nHeight, pRgb);
    return 1;
}

bool YV12ViewWrapper::FindPart(int nWidth, int nHeight, tagRECT& part) {
    if (m_pFunctions->PVGetWantedPart == nullptr || m_pFunctions->PVShowRGB32Part == nullptr) {
        return false;
    }
    const std::uint32_t dwNow = TimeSource::Current().NowMs();
    const bool bSteady = m_bHasShown && dwNow - m_dwShown < kSteadyMs;
    m_dwShown = dwNow;
    m_bHasShown = true;
    if (!bSteady || m_pFunctions->PVGetWantedPart(m_pView, nWidth, nHeight, &part) == 0) {
        return false;
    }
    part.left = std::clamp(part.left, 0, nWidth) / kColumnsAligned * kColumnsAligned;
    part.top = std::clamp(part.top, 0, nHeight) / 2 * 2;
    part.right = std::clamp(part.right, part.left, nWidth);
    part.bottom = std::clamp(part.bottom, part.top, nHeight);
    return part.left > 0 || part.top > 0 || part.right < nWidth || part.bottom < nHeight;
}

bool YV12ViewWrapper::ShowFrame(const MEDIA_FRAME& frame) {
    const kq::image::SourcePicture picture = kq::image::SourceOf(frame);
    if (!kq::image::IsConvertible(picture) || !IsPictureSize({picture.width, picture.height}) || !IsReady()) {
        return false;
    }
    tagRECT part{};
    const bool bIsPart = FindPart(picture.width, picture.height, part);
    if (!bIsPart && IsPlainPlanar(frame)) {
        return ShowYUVImage(&frame.image) != 0;
    }
    if (!FitHeader(picture.width, picture.height)) {
        return false;
    }
    unsigned char* const pRgb = PictureBuffer();
    const std::ptrdiff_t nPitch = std::ptrdiff_t{4} * picture.width;
    if (pRgb == nullptr) {
        return false;
    }
    if (bIsPart) {
        unsigned char* const pFirst = pRgb + part.top * nPitch + std::ptrdiff_t{4} * part.left;
        // An empty part has nothing to be made.
        kq::image::ToRgb32(kq::image::PartOf(picture, part), pFirst, nPitch);
        m_pFunctions->PVShowRGB32Part(m_pView, picture.width, picture.height, pRgb, &part);
        return true;
    }
    if (!kq::image::ToRgb32(picture, pRgb, nPitch)) {
        return false;
    }
    m_pFunctions->PVShowRGB32Image(m_pView, picture.width, picture.height, pRgb);
    return true;
}

bool YV12ViewWrapper::HasDisplay() const {
    return IsReady() && m_pFunctions->PVSetDisplay != nullptr && m_pFunctions->PVGetDisplay != nullptr &&
           m_pFunctions->PVGetMapping != nullptr && m_pFunctions->PVGetShownPixel != nullptr;
}

YV12ViewWrapper::Displayed YV12ViewWrapper::SetDisplay(const KQViewDisplay* pDisplay) {
    switch (m_pFunctions->PVSetDisplay(m_pView, pDisplay)) {
    case 0:
        return Displayed::Refused;
    case 1:
        return Displayed::Drawn;
    default:
        return Displayed::Missing;
    }
}

bool YV12ViewWrapper::GetDisplay(KQViewDisplay& display) {
    return m_pFunctions->PVGetDisplay(m_pView, &display) != 0;
}

bool YV12ViewWrapper::GetMapping(KQViewMapping& mapping) {
    return m_pFunctions->PVGetMapping(m_pView, &mapping) != 0;
}

bool YV12ViewWrapper::GetShownPixel(int nX, int nY, std::uint32_t& nRgb) {
    return m_pFunctions->PVGetShownPixel(m_pView, nX, nY, &nRgb) != 0;
}
