#include "tests/support/ViewRecorder.h"

#include "tests/support/FakeStream.h"

#include <kqplayer/player_view.h>

#include <dlfcn.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <functional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace kq::test {

namespace {

/// @return a function of the view library beside the executable, which the player has loaded or will load
template <class Function>
Function* Find(const char* name) {
    const auto program = std::filesystem::read_symlink("/proc/self/exe");
    static void* const viewLibrary = dlopen((program.parent_path() / "PlayerView.so").c_str(), RTLD_NOW);
    void* const found = viewLibrary != nullptr ? dlsym(viewLibrary, name) : nullptr;
    if (found == nullptr) {
        throw std::runtime_error(std::string("the recording view library lacks ") + name);
    }
    return reinterpret_cast<Function*>(found);
}

void SetSink(PVPictureSink pfnSink, void* userData) {
    Find<decltype(PVSetPictureSink)>("PVSetPictureSink")(nullptr, pfnSink, userData);
}

/// What picture n of FakeVideo looks like once it is RGB: a grey.
int GreyOf(int frame) {
    return (9536 * FakeVideo::LumaOf(frame) + 16532 * 128 - 2268594) >> 13;
}

int FrameOf(std::uint32_t pixel) {
    for (int n = 0; n < 200; ++n) {
        if (GreyOf(n) == static_cast<int>(pixel & 0xFF)) {
            return n;
        }
    }
    return -1;
}

} // namespace

std::size_t HashOfPixels(const unsigned char* pixels, int width, int height) {
    const std::size_t bytes = static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 4;
    const auto isLit = [](unsigned char n) { return n != 0 && n != 255; };
    return std::any_of(pixels, pixels + bytes, isLit)
               ? std::hash<std::string_view>()({reinterpret_cast<const char*>(pixels), bytes})
               : 0;
}

ViewRecorder::ViewRecorder() {
    SetSink(&ViewRecorder::OnPicture, this);
}

ViewRecorder::~ViewRecorder() {
    SetSink(nullptr, nullptr);
}

void ViewRecorder::OnPicture(void*, int view, int width, int height, const unsigned char* pixels,
                             void* userData) {
    auto& self = *static_cast<ViewRecorder*>(userData);
    Picture picture{view, width, height, 0, HashOfPixels(pixels, width, height), Clock::now()};
    std::memcpy(&picture.firstPixel, pixels, sizeof(picture.firstPixel));
    std::unique_lock<std::mutex> lock(self.m_lock);
    self.m_pictures.push_back(picture);
    lock.unlock();
    if (self.onPicture) {
        self.onPicture(FrameOf(picture.firstPixel));
    }
}

std::vector<ViewRecorder::Picture> ViewRecorder::GetAllPictures() const {
    const std::lock_guard<std::mutex> lock(m_lock);
    return m_pictures;
}

std::vector<ViewRecorder::Picture> ViewRecorder::GetPictures(int view) const {
    std::vector<Picture> pictures = GetAllPictures();
    const auto isOther = [view](const Picture& picture) { return picture.view != view; };
    pictures.erase(std::remove_if(pictures.begin(), pictures.end(), isOther), pictures.end());
    return pictures;
}

std::vector<int> ViewRecorder::GetFrames(int view) const {
    std::vector<int> frames;
    for (const Picture& picture : GetPictures(view)) {
        frames.push_back(FrameOf(picture.firstPixel));
    }
    return frames;
}

std::vector<int> ViewRecorder::WaitForFrames(std::size_t count, int view) const {
    WaitUntil([&] { return GetCount(view) >= count; });
    std::vector<int> frames = GetFrames(view);
    frames.resize(std::min(frames.size(), count));
    return frames;
}

bool ViewRecorder::WaitForLast(int frame) const {
    return WaitUntil([&] {
        const auto frames = GetFrames();
        return !frames.empty() && frames.back() == frame;
    });
}

std::size_t ViewRecorder::GetCount(int view) const {
    return GetPictures(view).size();
}

void ViewRecorder::Clear() {
    const std::lock_guard<std::mutex> lock(m_lock);
    m_pictures.clear();
}

int ViewRecorder::GetAlive() {
    return Find<int()>("RecordingViewsAlive")();
}

std::pair<int, int> ViewRecorder::GetScale() {
    std::pair<int, int> scale{};
    Find<void(int*, int*)>("RecordingViewScale")(&scale.first, &scale.second);
    return scale;
}

std::pair<int, int> ViewRecorder::GetExpected() {
    std::pair<int, int> size{};
    Find<void(int*, int*)>("RecordingViewExpected")(&size.first, &size.second);
    return size;
}

} // namespace kq::test
