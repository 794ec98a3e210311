/// @file
/// Pictures that the player hands to the recording view library.
#pragma once

#include "tests/support/WaitUntil.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <mutex>
#include <utility>
#include <vector>

namespace kq::test {

using Clock = std::chrono::steady_clock;

/// @return a number for a picture of B, G, R, 255 pixels: another one for every other picture, 0 for a black
/// one
std::size_t HashOfPixels(const unsigned char* pixels, int width, int height);

/// Collects pictures for as long as it lives. One at a time in a process.
class ViewRecorder {
public:
    struct Picture {
        int view;
        int width;
        int height;
        std::uint32_t firstPixel; ///< 0xFFRRGGBB
        std::size_t hash;         ///< HashOfPixels()
        Clock::time_point when;
    };

    ViewRecorder();
    ViewRecorder(const ViewRecorder&) = delete;
    ViewRecorder& operator=(const ViewRecorder&) = delete;
    ~ViewRecorder();

    std::vector<Picture> GetAllPictures() const;
    std::vector<Picture> GetPictures(int view = 0) const;
    /// The frame numbers of FakeVideo that the pictures of a view show; -1 for black.
    std::vector<int> GetFrames(int view = 0) const;
    /// Waits for that many pictures of a view. @return the first of them
    std::vector<int> WaitForFrames(std::size_t count, int view = 0) const;
    /// Waits until a frame is the one that the first view shows.
    bool WaitForLast(int frame) const;
    std::size_t GetCount(int view = 0) const;
    void Clear();

    /// Called with the frame number of every picture of any view, on the thread that shows it.
    std::function<void(int frame)> onPicture;

    /// Library-side views that exist.
    static int GetAlive();
    /// The aspect pair given last.
    static std::pair<int, int> GetScale();
    /// The size of pictures that was expected last.
    static std::pair<int, int> GetExpected();

private:
    static void OnPicture(void* handle, int view, int width, int height, const unsigned char* pixels,
                          void* userData);

    mutable std::mutex m_lock;
    std::vector<Picture> m_pictures;
};

} // namespace kq::test
