#include "view/YV12ViewWrapper.h"

#include "view/PlanarFrame.h"

#include <kqplayer/image.h>
#include <kqplayer/log.h>

#include <dlfcn.h>
#include <unistd.h>

#include <array>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <new>

struct YV12ViewWrapper::Functions {
    void* (*PVCreatePlayerView)(void*, VRECT*);
    void (*PVDestroyPlayerView)(void*);
    int (*PVSetCropMode)(void*, unsigned int);
    int (*PVSetMaskMode)(void*, unsigned int);
    int (*PVSetCallbackWnd)(void*, void*);
    int (*PVSetCropRect)(void*, tagRECT*);
    int (*PVGetCropRect)(void*, tagRECT*);
    int (*PVSetDisplayResizeMode)(void*, IMAGE_RESIZE_METHOD);
    void (*PVSetDisplayScale)(void*, int, int);
    int (*PVUpdate)(void*);
    void* (*PVGetHwnd)(void*);
    void (*PVShowRGB32Image)(void*, int, int, unsigned char*);
    unsigned char* (*PVGetPictureBuffer)(void*, int, int); ///< null when the library has none
};

namespace {

constexpr const char* kLibraryName = "PlayerView.so";
constexpr std::align_val_t kRgbAlignment{64};

std::string FolderOf(const std::string& path) {
    return path.substr(0, path.rfind('/') + 1);
}

std::string ExecutableFolder() {
    std::array<char, PATH_MAX> path{};
    const ssize_t nLength = readlink("/proc/self/exe", path.data(), path.size() - 1);
    return nLength > 0 ? FolderOf(std::string(path.data(), static_cast<std::size_t>(nLength)))
                       : std::string();
}

std::string ComponentFolder() {
    Dl_info info{};
    if (dladdr(reinterpret_cast<void*>(&MakeYv12View), &info) == 0 || info.dli_fname == nullptr) {
        return {};
    }
    return FolderOf(info.dli_fname);
}

struct OpenedLibrary {
    void* pHandle = nullptr;
    std::string path;
    std::string error; ///< why there is no handle
};

/// A library beside the executable, which is a host's own choice, goes before the one beside the component.
OpenedLibrary OpenPlayerView() {
    const std::array<std::string, 2> folders = {ExecutableFolder(), ComponentFolder()};
    OpenedLibrary library;
    for (const std::string& folder : folders) {
        const std::string path = folder + kLibraryName;
        if (path == library.path) {
            continue;
        }
        library.path = path;
        library.pHandle = dlopen(library.path.c_str(), RTLD_NOW | RTLD_LOCAL);
        if (library.pHandle != nullptr) {
            break;
        }
        library.error += (library.error.empty() ? "" : "; ") + std::string(dlerror());
    }
    return library;
}

template <class Function>
bool Resolve(void* pLibrary, const char* pName, Function& function) {
    function = reinterpret_cast<Function>(dlsym(pLibrary, pName));
    return function != nullptr;
}

} // namespace

IYv12View* MakeYv12View() {
    // Keeps the library loaded for the rest of the process, whatever the wrappers close.
    static void* const s_pKept = OpenPlayerView().pHandle;
    (void)s_pKept;
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

int YV12ViewWrapper::LoadPlayerView() {
    UnloadPlayerView();
    OpenedLibrary library = OpenPlayerView();
    m_pLibrary = library.pHandle;
    if (m_pLibrary == nullptr) {
        KQLogEx(
            L"No view can be made: %s. PlayerView.so is installed beside libKQPlayer.so; a host may have one "
            L"of its own beside its program.\r\n",
            library.error.c_str());
        return 0;
    }
    m_pFunctions = std::make_unique<Functions>();
    Functions& f = *m_pFunctions;
    const bool bComplete = Resolve(m_pLibrary, "PVCreatePlayerView", f.PVCreatePlayerView) &&
                           Resolve(m_pLibrary, "PVDestroyPlayerView", f.PVDestroyPlayerView) &&
                           Resolve(m_pLibrary, "PVSetCropMode", f.PVSetCropMode) &&
                           Resolve(m_pLibrary, "PVSetMaskMode", f.PVSetMaskMode) &&
                           Resolve(m_pLibrary, "PVSetCallbackWnd", f.PVSetCallbackWnd) &&
                           Resolve(m_pLibrary, "PVSetCropRect", f.PVSetCropRect) &&
                           Resolve(m_pLibrary, "PVGetCropRect", f.PVGetCropRect) &&
                           Resolve(m_pLibrary, "PVSetDisplayResizeMode", f.PVSetDisplayResizeMode) &&
                           Resolve(m_pLibrary, "PVSetDisplayScale", f.PVSetDisplayScale) &&
                           Resolve(m_pLibrary, "PVUpdate", f.PVUpdate) &&
                           Resolve(m_pLibrary, "PVGetHwnd", f.PVGetHwnd) &&
                           Resolve(m_pLibrary, "PVShowRGB32Image", f.PVShowRGB32Image);
    if (!bComplete) {
        UnloadPlayerView();
        std::printf("Failed to Load %s Library!\r\n", library.path.c_str());
        return 0;
    }
    Resolve(m_pLibrary, "PVGetPictureBuffer", f.PVGetPictureBuffer);
    std::printf("Successed to Load %s Library!\r\n", library.path.c_str());
    return 1;
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
