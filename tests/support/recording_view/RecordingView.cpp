// A view library that draws nothing and hands every picture to its sink. Built a second time without one of
// the required functions.
#include <kqplayer/player_view.h>

#include <atomic>
#include <mutex>

namespace {

struct View {
    int nNumber;
};

std::mutex s_lock;
PVPictureSink s_pfnSink = nullptr;
void* s_pUserData = nullptr;
int s_nNext = 0;
std::atomic<int> s_nAlive{0};
std::atomic<int> s_nScaleX{0};
std::atomic<int> s_nScaleY{0};

} // namespace

void* PVCreatePlayerView(void* pParent, VRECT*) {
    // The parent 2 plays a window that the library refuses.
    if (reinterpret_cast<std::uintptr_t>(pParent) == 2) {
        return nullptr;
    }
    const std::lock_guard<std::mutex> lock(s_lock);
    ++s_nAlive;
    return new View{s_nNext++};
}

void PVDestroyPlayerView(void* pView) {
    delete static_cast<View*>(pView);
    --s_nAlive;
}

int PVSetCropMode(void*, unsigned int nMode) {
    return static_cast<int>(nMode);
}
int PVSetMaskMode(void*, unsigned int nMode) {
    return static_cast<int>(nMode);
}
int PVSetCallbackWnd(void*, void*) {
    return 7;
}
int PVSetCropRect(void*, tagRECT*) {
    return 8;
}
int PVGetCropRect(void*, tagRECT*) {
    return 9;
}
int PVSetDisplayResizeMode(void*, IMAGE_RESIZE_METHOD eMethod) {
    return eMethod;
}
void PVSetDisplayScale(void*, int x, int y) {
    s_nScaleX = x;
    s_nScaleY = y;
}
int PVUpdate(void*) {
    return 10;
}
void* PVGetHwnd(void* pView) {
    return pView;
}

#ifndef LACKING
void PVShowRGB32Image(void* pView, int nWidth, int nHeight, unsigned char* pPixels) {
    const std::lock_guard<std::mutex> lock(s_lock);
    if (s_pfnSink != nullptr) {
        s_pfnSink(pView, static_cast<View*>(pView)->nNumber, nWidth, nHeight, pPixels, s_pUserData);
    }
}
#endif

void PVSetPictureSink(void*, PVPictureSink pfnSink, void* pUserData) {
    const std::lock_guard<std::mutex> lock(s_lock);
    s_pfnSink = pfnSink;
    s_pUserData = pUserData;
    s_nNext = 0;
}

// For tests only.
KQ_EXTERN_C int RecordingViewsAlive() {
    return s_nAlive;
}
KQ_EXTERN_C void RecordingViewScale(int* px, int* py) {
    *px = s_nScaleX;
    *py = s_nScaleY;
}
