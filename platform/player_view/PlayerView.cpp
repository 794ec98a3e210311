#include "SigpipeGuard.h"
#include "View.h"
#include "ViewRegistry.h"

#include <kqplayer/log.h>
#include <kqplayer/player_view.h>

#include <exception>
#include <memory>
#include <new>
#include <utility>

namespace {

constexpr std::uintptr_t OffScreenParent = 1;

View* asView(void* pView) {
    return static_cast<View*>(pView);
}

/// @return the new view, or null when the parent is not a window
std::unique_ptr<View> makeView(std::uintptr_t parent, const VRECT& rect) {
    if (parent == OffScreenParent) {
        return std::make_unique<View>(nullptr);
    }
    std::unique_ptr<XConnection> pConnection = XConnection::open();
    if (!pConnection) {
        KQLogEx(L"PlayerView: no display that can be drawn on, the view is off-screen");
        return std::make_unique<View>(nullptr);
    }
    const auto window = static_cast<xcb_window_t>(parent);
    std::unique_ptr<ViewWindow> pWindow;
    if (window == parent) {
        pWindow = ViewWindow::create(std::move(pConnection), window, rect);
    }
    if (!pWindow) {
        KQLogEx(L"PlayerView: the parent 0x%zx is not a window", static_cast<std::size_t>(parent));
        return nullptr;
    }
    return std::make_unique<View>(std::move(pWindow));
}

/// @return what the functions return that change a view: 1, or 0 without a view
int isView(const void* pView) {
    return pView != nullptr ? 1 : 0;
}

/// Changes the settings of a view. @return 1, or 0 without a view
template <typename Change>
int changeView(void* pView, Change change) {
    if (pView == nullptr) {
        return 0;
    }
    asView(pView)->change(change);
    return 1;
}

} // namespace

void* PVCreatePlayerView(void* pParent, VRECT* pRect) {
    const SigpipeGuard noSigpipe;
    try {
        return makeView(reinterpret_cast<std::uintptr_t>(pParent), pRect != nullptr ? *pRect : VRECT{})
            .release();
    } catch (const std::exception& e) { // no memory or no thread
        KQLogEx(L"PlayerView: a view cannot be made: %s", e.what());
        return nullptr;
    }
}

void PVDestroyPlayerView(void* pView) {
    delete asView(pView);
}

int PVSetCropMode(void* pView, unsigned int nMode) {
    return changeView(pView, [nMode](DisplaySettings& s) { s.cropOn = nMode != 0; });
}

int PVSetMaskMode(void* pView, unsigned int /*nMode*/) {
    return isView(pView);
}

int PVSetCallbackWnd(void* pView, void* /*pWindow*/) {
    return isView(pView);
}

int PVSetCropRect(void* pView, tagRECT* pRect) {
    return changeView(pView, [pRect](DisplaySettings& s) { s.crop = pRect != nullptr ? *pRect : tagRECT{}; });
}

int PVGetCropRect(void* pView, tagRECT* pRect) {
    if (pView == nullptr || pRect == nullptr) {
        return 0;
    }
    *pRect = asView(pView)->cropRect();
    return 1;
}

int PVSetDisplayResizeMode(void* pView, IMAGE_RESIZE_METHOD eMethod) {
    if (eMethod < IMAGE_RESIZE_FIT || eMethod > IMAGE_RESIZE_ORIGINAL) {
        return 0;
    }
    return changeView(pView, [eMethod](DisplaySettings& s) { s.method = eMethod; });
}

void PVSetDisplayScale(void* pView, int x, int y) {
    changeView(pView, [x, y](DisplaySettings& s) {
        s.aspectX = x;
        s.aspectY = y;
    });
}

int PVUpdate(void* pView) {
    if (pView == nullptr) {
        return 0;
    }
    asView(pView)->update();
    return 1;
}

void* PVGetHwnd(void* pView) {
    if (pView == nullptr) {
        return nullptr;
    }
    return reinterpret_cast<void*>(static_cast<std::uintptr_t>(asView(pView)->window()));
}

void PVShowRGB32Image(void* pView, int nWidth, int nHeight, unsigned char* pPixels) {
    if (pView != nullptr) {
        asView(pView)->show(nWidth, nHeight, pPixels);
    }
}

unsigned char* PVGetPictureBuffer(void* pView, int nWidth, int nHeight) {
    return pView != nullptr ? asView(pView)->lend(nWidth, nHeight) : nullptr;
}

void PVSetPictureSink(void* pView, PVPictureSink pfnSink, void* pUserData) {
    const PictureSink sink = {pfnSink, pUserData};
    if (pView == nullptr) {
        ViewRegistry::instance().setCommonSink(sink);
        return;
    }
    asView(pView)->sinks().setOwn(sink);
}
