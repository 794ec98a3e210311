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
Function* Find(const char* pName) {
    const auto program = std::filesystem::read_symlink("/proc/self/exe");
    static void* const viewLibrary = dlopen((program.parent_path() / "PlayerView.so").c_str(), RTLD_NOW);
    void* const pFound = viewLibrary != nullptr ? dlsym(viewLibrary, pName) : nullptr;
    if (pFound == nullptr) {
        throw std::runtime_error(std::string("the recording view library lacks ") + pName);
    }
    return reinterpret_cast<Function*>(pFound);
}

void SetSink(PVPictureSink pfnSink, void* pUserData) {
    Find<decltype(PVSetPictureSink)>("PVSetPictureSink")(nullptr, pfnSink, pUserData);
}

/// What picture n of FakeVideo looks like once it is RGB: a grey.
int GreyOf(int nFrame) {
    return (9536 * FakeVideo::LumaOf(nFrame) + 16532 * 128 - 2268594) >> 13;
}

int FrameOf(std::uint32_t nPixel) {
    for (int n = 0; n < 200; ++n) {
        if (GreyOf(n) == static_cast<int>(nPixel & 0xFF)) {
            return n;
        }
    }
    return -1;
}

} // namespace

std::size_t HashOfPixels(const unsigned char* pPixels, int nWidth, int nHeight) {
    const std::size_t nBytes = static_cast<std::size_t>(nWidth) * static_cast<std::size_t>(nHeight) * 4;
    const auto isLit = [](unsigned char n) { return n != 0 && n != 255; };
    return std::any_of(pPixels, pPixels + nBytes, isLit)
               ? std::hash<std::string_view>()({reinterpret_cast<const char*>(pPixels), nBytes})
               : 0;
}

ViewRecorder::ViewRecorder() {
    SetSink(&ViewRecorder::OnPicture, this);
}

ViewRecorder::~ViewRecorder() {
    SetSink(nullptr, nullptr);
}

void ViewRecorder::OnPicture(void*, int nView, int nWidth, int nHeight, const unsigned char* pPixels,
                             void* pUserData) {
    auto& self = *static_cast<ViewRecorder*>(pUserData);
    Picture picture{nView, nWidth, nHeight, 0, HashOfPixels(pPixels, nWidth, nHeight), Clock::now()};
    std::memcpy(&picture.nFirstPixel, pPixels, sizeof(picture.nFirstPixel));
    std::unique_lock<std::mutex> lock(self.m_lock);
    self.m_pictures.push_back(picture);
    lock.unlock();
    if (self.onPicture) {
        self.onPicture(FrameOf(picture.nFirstPixel));
    }
}

std::vector<ViewRecorder::Picture> ViewRecorder::GetAllPictures() const {
    const std::lock_guard<std::mutex> lock(m_lock);
    return m_pictures;
}

std::vector<ViewRecorder::Picture> ViewRecorder::GetPictures(int nView) const {
    std::vector<Picture> pictures = GetAllPictures();
    const auto isOther = [nView](const Picture& picture) { return picture.nView != nView; };
    pictures.erase(std::remove_if(pictures.begin(), pictures.end(), isOther), pictures.end());
    return pictures;
}

std::vector<int> ViewRecorder::GetFrames(int nView) const {
    std::vector<int> frames;
    for (const Picture& picture : GetPictures(nView)) {
        frames.push_back(FrameOf(picture.nFirstPixel));
    }
    return frames;
}

std::vector<int> ViewRecorder::WaitForFrames(std::size_t nCount, int nView) const {
    WaitUntil([&] { return GetCount(nView) >= nCount; });
    std::vector<int> frames = GetFrames(nView);
    frames.resize(std::min(frames.size(), nCount));
    return frames;
}

bool ViewRecorder::WaitForLast(int nFrame) const {
    return WaitUntil([&] {
        const auto frames = GetFrames();
        return !frames.empty() && frames.back() == nFrame;
    });
}

std::size_t ViewRecorder::GetCount(int nView) const {
    return GetPictures(nView).size();
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

} // namespace kq::test
