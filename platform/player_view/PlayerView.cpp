#include "Surface.h"
#include "View.h"
#include "ViewRegistry.h"

#include <kqplayer/log.h>
#include <kqplayer/player_view.h>

#include <exception>
#include <memory>
#include <new>
#include <utility>

namespace {

View* asView(void* view) {
    return static_cast<View*>(view);
}

/// @return what the functions return that change a view: 1, or 0 without a view
int isView(const void* view) {
    return view != nullptr ? 1 : 0;
}

/// Changes the settings of a view. @return 1, or 0 without a view
template <typename Change>
int changeView(void* view, Change change) {
    if (view == nullptr) {
        return 0;
    }
    asView(view)->change(change);
    return 1;
}

} // namespace

void* PVCreatePlayerView(void* parent, VRECT* rect) {
    try {
        std::unique_ptr<Surface> surface =
            MakeSurface(reinterpret_cast<std::uintptr_t>(parent), rect != nullptr ? *rect : VRECT{});
        return surface ? new View(std::move(surface)) : nullptr;
    } catch (const std::exception& e) { // no memory or no thread
        KQLogEx(L"PlayerView: a view cannot be made: %s", e.what());
        return nullptr;
    }
}

void PVDestroyPlayerView(void* view) {
    delete asView(view);
}

int PVSetCropMode(void* view, unsigned int mode) {
    return changeView(view, [mode](DisplaySettings& s) { s.cropOn = mode != 0; });
}

int PVSetMaskMode(void* view, unsigned int /*mode*/) {
    return isView(view);
}

int PVSetCallbackWnd(void* view, void* /*window*/) {
    return isView(view);
}

int PVSetCropRect(void* view, tagRECT* rect) {
    return changeView(view, [rect](DisplaySettings& s) { s.crop = rect != nullptr ? *rect : tagRECT{}; });
}

int PVGetCropRect(void* view, tagRECT* rect) {
    if (view == nullptr || rect == nullptr) {
        return 0;
    }
    *rect = asView(view)->cropRect();
    return 1;
}

int PVSetDisplayResizeMode(void* view, IMAGE_RESIZE_METHOD method) {
    if (method < IMAGE_RESIZE_FIT || method > IMAGE_RESIZE_ORIGINAL) {
        return 0;
    }
    return changeView(view, [method](DisplaySettings& s) { s.method = method; });
}

void PVSetDisplayScale(void* view, int x, int y) {
    changeView(view, [x, y](DisplaySettings& s) {
        s.aspectX = x;
        s.aspectY = y;
    });
}

int PVUpdate(void* view) {
    if (view == nullptr) {
        return 0;
    }
    asView(view)->update();
    return 1;
}

void* PVGetHwnd(void* view) {
    if (view == nullptr) {
        return nullptr;
    }
    return reinterpret_cast<void*>(asView(view)->handle());
}

void PVShowRGB32Image(void* view, int width, int height, unsigned char* pixels) {
    if (view != nullptr) {
        asView(view)->show(width, height, pixels);
    }
}

unsigned char* PVGetPictureBuffer(void* view, int width, int height) {
    return view != nullptr ? asView(view)->lend(width, height) : nullptr;
}

void PVSetPictureSink(void* view, PVPictureSink function, void* userData) {
    const PictureSink sink = {function, userData};
    if (view == nullptr) {
        ViewRegistry::instance().setCommonSink(sink);
        return;
    }
    asView(view)->sinks().setOwn(sink);
}
