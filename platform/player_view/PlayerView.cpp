#include "OffScreenSurface.h"
#include "ParentRegistry.h"
#include "Surface.h"
#include "View.h"
#include "ViewRegistry.h"

#include <kqplayer/log.h>
#include <kqplayer/player_view.h>

#include <exception>
#include <memory>
#include <new>
#include <utility>

namespace kq::playerview {
namespace {

View* AsView(void* view) {
    return static_cast<View*>(view);
}

/// @return what the functions return that change a view: 1, or 0 without a view
int IsView(const void* view) {
    return view != nullptr ? 1 : 0;
}

/// Changes the settings of a view. @return 1, or 0 without a view
template <typename Change>
int ChangeView(void* view, Change change) {
    if (view == nullptr) {
        return 0;
    }
    AsView(view)->Change(change);
    return 1;
}

void SetSink(void* view, const PictureSink& sink) {
    if (view == nullptr) {
        ViewRegistry::Instance().SetCommonSink(sink);
        return;
    }
    AsView(view)->Sinks().SetOwn(sink);
}

/// Hosts that draw by themselves.
using PictureReceivers = ParentRegistry<KQPictureReceiver, 0xC0000001>;

/// @throw std::bad_alloc
View* MakeReceivedView(const KQPictureReceiver& receiver, const VRECT& rect) {
    auto* const view = new View(std::make_unique<OffScreenSurface>(rect, receiver));
    view->Sinks().SetOwn({receiver.pfnReceive, receiver.pUserData, true});
    return view;
}

} // namespace
} // namespace kq::playerview

using namespace kq::playerview;

void* PVCreatePlayerView(void* parent, VRECT* rect) {
    const auto value = reinterpret_cast<std::uintptr_t>(parent);
    const VRECT place = rect != nullptr ? *rect : VRECT{};
    try {
        if (const auto receiver = PictureReceivers::Instance().Find(value)) {
            return MakeReceivedView(*receiver, place);
        }
        std::unique_ptr<Surface> surface = MakeSurface(value, place);
        return surface ? new View(std::move(surface)) : nullptr;
    } catch (const std::exception& e) { // no memory or no thread
        KQLogEx(L"PlayerView: a view cannot be made: %s", e.what());
        return nullptr;
    }
}

void PVDestroyPlayerView(void* view) {
    delete AsView(view);
}

int PVSetCropMode(void* view, unsigned int mode) {
    return ChangeView(view, [mode](DisplaySettings& s) { s.cropOn = mode != 0; });
}

int PVSetMaskMode(void* view, unsigned int /*mode*/) {
    return IsView(view);
}

int PVSetCallbackWnd(void* view, void* /*window*/) {
    return IsView(view);
}

int PVSetCropRect(void* view, tagRECT* rect) {
    return ChangeView(view, [rect](DisplaySettings& s) { s.crop = rect != nullptr ? *rect : tagRECT{}; });
}

int PVGetCropRect(void* view, tagRECT* rect) {
    if (view == nullptr || rect == nullptr) {
        return 0;
    }
    *rect = AsView(view)->CropRect();
    return 1;
}

int PVSetDisplayResizeMode(void* view, IMAGE_RESIZE_METHOD method) {
    if (method < IMAGE_RESIZE_FIT || method > IMAGE_RESIZE_ORIGINAL) {
        return 0;
    }
    return ChangeView(view, [method](DisplaySettings& s) { s.method = method; });
}

void PVSetDisplayScale(void* view, int x, int y) {
    ChangeView(view, [x, y](DisplaySettings& s) {
        s.aspectX = x;
        s.aspectY = y;
    });
}

int PVUpdate(void* view) {
    if (view == nullptr) {
        return 0;
    }
    AsView(view)->Update();
    return 1;
}

void* PVGetHwnd(void* view) {
    if (view == nullptr) {
        return nullptr;
    }
    return reinterpret_cast<void*>(AsView(view)->Handle());
}

void PVShowRGB32Image(void* view, int width, int height, unsigned char* pixels) {
    if (view != nullptr) {
        AsView(view)->Show(width, height, pixels, nullptr);
    }
}

void PVShowRGB32Part(void* view, int width, int height, unsigned char* pixels, const tagRECT* part) {
    if (view != nullptr) {
        AsView(view)->Show(width, height, pixels, part);
    }
}

int PVGetWantedPart(void* view, int width, int height, tagRECT* part) {
    return view != nullptr && part != nullptr && AsView(view)->FindWantedPart(width, height, *part) ? 1 : 0;
}

int PVSetDisplay(void* view, const KQViewDisplay* display) {
    return view != nullptr ? AsView(view)->SetDisplay(display) : 0;
}

int PVGetDisplay(void* view, KQViewDisplay* display) {
    if (view == nullptr || display == nullptr) {
        return 0;
    }
    *display = AsView(view)->Display();
    return 1;
}

int PVGetMapping(void* view, KQViewMapping* mapping) {
    return view != nullptr && mapping != nullptr && AsView(view)->FindMapping(*mapping) ? 1 : 0;
}

int PVGetShownPixel(void* view, int x, int y, std::uint32_t* rgb) {
    return view != nullptr && rgb != nullptr && AsView(view)->ReadPixel(x, y, *rgb) ? 1 : 0;
}

unsigned char* PVGetPictureBuffer(void* view, int width, int height) {
    return view != nullptr ? AsView(view)->Lend(width, height) : nullptr;
}

int PVExpectPictures(void* view, int width, int height) {
    return view != nullptr && AsView(view)->Expect(width, height) ? 1 : 0;
}

void PVSetPictureSink(void* view, PVPictureSink function, void* userData) {
    SetSink(view, {function, userData, true});
}

void PVSetPictureWatch(void* view, PVPictureSink function, void* userData) {
    SetSink(view, {function, userData, false});
}

void* PVAddPictureReceiver(const KQPictureReceiver* receiver) {
    if (receiver == nullptr || receiver->cbSize < sizeof(KQPictureReceiver) ||
        receiver->pfnReceive == nullptr) {
        return nullptr;
    }
    try {
        return PictureReceivers::Instance().Add(*receiver);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

int PVRemovePictureReceiver(void* value) {
    return PictureReceivers::Instance().Remove(value) ? 1 : 0;
}
