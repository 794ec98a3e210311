/// @file
/// Pictures that the player hands to the recording view library.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <mutex>
#include <vector>

namespace kq::test {

using Clock = std::chrono::steady_clock;

/// Polls until the condition holds. @return whether it did before a generous limit ran out
bool WaitUntil(const std::function<bool()>& condition,
               std::chrono::milliseconds limit = std::chrono::seconds(20));

/// Collects pictures for as long as it lives. One at a time in a process.
class ViewRecorder {
public:
    struct Picture {
        int nView;
        int nWidth;
        int nHeight;
        std::uint32_t nFirstPixel; ///< 0xFFRRGGBB
        Clock::time_point when;
    };

    ViewRecorder();
    ViewRecorder(const ViewRecorder&) = delete;
    ViewRecorder& operator=(const ViewRecorder&) = delete;
    ~ViewRecorder();

    std::vector<Picture> GetPictures(int nView = 0) const;
    /// The frame numbers of FakeVideo that the pictures of a view show; -1 for black.
    std::vector<int> GetFrames(int nView = 0) const;
    std::size_t GetCount(int nView = 0) const;
    void Clear();

    /// Library-side views that exist.
    static int GetAlive();
    /// The aspect pair given last.
    static std::pair<int, int> GetScale();

private:
    static void OnPicture(void* pView, int nView, int nWidth, int nHeight, const unsigned char* pPixels,
                          void* pUserData);

    mutable std::mutex m_lock;
    std::vector<Picture> m_pictures;
};

} // namespace kq::test
