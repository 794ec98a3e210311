// A view library that draws nothing and hands every picture to its sink. Built a second time without one of
// the required functions.
#include <kqplayer/player_view.h>

#include <atomic>
#include <mutex>

namespace kq::test {
namespace {

struct View {
    int number;
};

/// What the library knows of all views.
struct Recording {
    std::mutex lock; ///< guards the sink and the next number
    PVPictureSink sink = nullptr;
    void* userData = nullptr;
    int next = 0;
    std::atomic<int> alive{0};
    std::atomic<int> scaleX{0};
    std::atomic<int> scaleY{0};
    std::atomic<int> expectedWidth{0};
    std::atomic<int> expectedHeight{0};
};
Recording recording;

} // namespace
} // namespace kq::test

using namespace kq::test;

void* PVCreatePlayerView(void* parent, VRECT*) {
    // The parent 2 plays a window that the library refuses.
    if (reinterpret_cast<std::uintptr_t>(parent) == 2) {
        return nullptr;
    }
    const std::lock_guard<std::mutex> lock(recording.lock);
    ++recording.alive;
    return new View{recording.next++};
}

void PVDestroyPlayerView(void* view) {
    delete static_cast<View*>(view);
    --recording.alive;
}

int PVSetCropMode(void*, unsigned int mode) {
    return static_cast<int>(mode);
}
int PVSetMaskMode(void*, unsigned int mode) {
    return static_cast<int>(mode);
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
int PVSetDisplayResizeMode(void*, IMAGE_RESIZE_METHOD method) {
    return method;
}
void PVSetDisplayScale(void*, int x, int y) {
    recording.scaleX = x;
    recording.scaleY = y;
}
int PVExpectPictures(void*, int width, int height) {
    recording.expectedWidth = width;
    recording.expectedHeight = height;
    return 1;
}
int PVUpdate(void*) {
    return 10;
}
void* PVGetHwnd(void* view) {
    return view;
}

#ifndef LACKING
void PVShowRGB32Image(void* view, int width, int height, unsigned char* pixels) {
    const std::lock_guard<std::mutex> lock(recording.lock);
    if (recording.sink != nullptr) {
        const int number = static_cast<View*>(view)->number;
        recording.sink(view, number, width, height, pixels, recording.userData);
    }
}
#endif

void PVSetPictureSink(void*, PVPictureSink sink, void* userData) {
    const std::lock_guard<std::mutex> lock(recording.lock);
    recording.sink = sink;
    recording.userData = userData;
    recording.next = 0;
}

// For tests only.
KQ_EXTERN_C int RecordingViewsAlive() {
    return recording.alive;
}
KQ_EXTERN_C void RecordingViewScale(int* x, int* y) {
    *x = recording.scaleX;
    *y = recording.scaleY;
}
KQ_EXTERN_C void RecordingViewExpected(int* width, int* height) {
    *width = recording.expectedWidth;
    *height = recording.expectedHeight;
}
