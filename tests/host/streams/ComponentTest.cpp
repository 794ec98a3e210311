// What the component shows of the streams, against a plain decode of the same files.
#include "ComponentHost.h"
#include "StreamTest.h"

#include <kqplayer/bitmap.h>
#include <kqplayer/image.h>

#include <algorithm>
#include <map>
#include <random>
#include <string_view>
#include <thread>

namespace kq::streams::test {
namespace {

/// 260 frames, five a second so that each one stays for a while, with B-frames and a key frame every 250
/// frames.
constexpr const char* LongGop = "longgop.mp4";
constexpr double Rate = 5;
constexpr int FrameCount = 260;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr int Stride = 9; ///< the sanitizers see a sample of the frames
#else
constexpr int Stride = 1;
#endif

std::size_t Hash(const unsigned char* pixels, std::size_t bytes) {
    const auto isLit = [](unsigned char value) { return value != 0 && value != 255; };
    if (std::none_of(pixels, pixels + bytes, isLit))
        return 0;
    return std::hash<std::string_view>()({reinterpret_cast<const char*>(pixels), bytes});
}

/// @return the hash of a frame as the component hands it to a view
std::size_t ShownHash(const MEDIA_FRAME& frame) {
    const tagYUVImage& image = frame.image;
    tagBITMAPINFOHEADER header{};
    header.biSize = sizeof header;
    header.biWidth = image.nWidth;
    header.biHeight = image.nHeight;
    header.biPlanes = 1;
    header.biBitCount = 32;
    std::vector<unsigned char> pixels(static_cast<std::size_t>(image.nWidth * image.nHeight) * 4);
    Yuv420_2_rgb32(&header, pixels.data(), image.pY, image.pU, image.pV, image.nPitchY, image.nPitchU,
                   image.nPitchV);
    return Hash(pixels.data(), pixels.size());
}

/// A file's pictures, each with its place in the file.
struct PlainDecode {
    std::map<std::size_t, int> places; ///< by the hash of the picture on show
    std::vector<std::int64_t> times;
    std::vector<std::size_t> planes; ///< hashes of the planes

    explicit PlainDecode(const std::string& clip) {
        OpenedFile file(Clip(clip));
        do {
            const MEDIA_FRAME* frame = file.Video().GetCurrentFrame();
            places[ShownHash(*frame)] = static_cast<int>(times.size());
            times.push_back(frame->llPTS);
            planes.push_back(std::hash<std::string>()(PixelsOf(*frame)));
        } while (file.Video().NextFrame() > 0);
    }
    int Count() const { return static_cast<int>(times.size()); }
    /// @return the picture's place, -1 for one that is not from the file
    int PlaceOf(std::size_t hash) const {
        const auto found = places.find(hash);
        return found == places.end() ? -1 : found->second;
    }
};

class LongGops : public testing::Test {
protected:
    LongGops() : m_plain(LongGop), m_file(Clip(LongGop)), m_host(Hash) { m_host.AddView(1, m_file.Video()); }

    void SetUp() override {
        ASSERT_EQ(m_plain.Count(), FrameCount);
        ASSERT_EQ(m_plain.places.size(), m_plain.times.size()) << "all pictures differ";
    }

    static std::vector<int> InRandomOrder() {
        std::vector<int> order;
        for (int n = 0; n < FrameCount; n += Stride)
            order.push_back(n);
        order.push_back(FrameCount - 1);
        std::mt19937 random(29);
        std::shuffle(order.begin(), order.end(), random);
        return order;
    }
    int LastShown() {
        const auto pictures = m_host.Pictures();
        return pictures.empty() ? -1 : m_plain.PlaceOf(pictures.back().mark);
    }
    bool WaitForFrame(int n) {
        return m_host.WaitForPicture([&](const auto& pictures) {
            return !pictures.empty() && m_plain.PlaceOf(pictures.back().mark) == n;
        });
    }
    void KeepPlaying() {
        if (m_host->IsActivate() == KQ_ACTIVATE_PLAYING)
            return;
        m_host.Forget();
        m_host->Play();
        ASSERT_TRUE(WaitForFrame(0));
    }

    const PlainDecode m_plain;
    OpenedFile m_file;
    ComponentHost m_host;
};

TEST_F(LongGops, SeeksWhilePausedShowExactlyTheFrame) {
    m_host.LoadAndWait();
    for (const int n : InRandomOrder()) {
        m_host.Forget();
        ASSERT_EQ(m_host->SyncSeek(n / Rate, 1), 0);
        ASSERT_EQ(LastShown(), n) << "shown before the call returns";
    }
}

TEST_F(LongGops, SeeksWhileStoppedGoToExactlyTheFrame) {
    for (const int n : InRandomOrder()) {
        ASSERT_EQ(m_host->SyncSeek(n / Rate, 1), 0);
        const MEDIA_FRAME* captured = m_host->CaptureCurrentImageEx();
        ASSERT_NE(captured, nullptr);
        ASSERT_EQ(std::hash<std::string>()(PixelsOf(*captured)), m_plain.planes[static_cast<std::size_t>(n)])
            << "frame " << n;
    }
    for (const int n : {1, 130, 249, 250, 259}) {
        m_host->SyncSeek(n / Rate, 1);
        m_host.LoadAndWait();
        EXPECT_TRUE(WaitForFrame(n)) << "the run begins with frame " << LastShown();
        m_host->Stop();
    }
}

TEST_F(LongGops, SeeksWhilePlayingShowExactlyTheFrame) {
    for (const int n : InRandomOrder()) {
        KeepPlaying();
        const int before = LastShown();
        m_host.Forget();
        ASSERT_EQ(m_host->SyncSeek(n / Rate, 1), 0);
        ASSERT_TRUE(WaitForFrame(n)) << "at " << LastShown();
        // Up to the seek the clip may have gone on; then nothing may be seen but the frame.
        int expected = before;
        for (const auto& picture : m_host.Pictures()) {
            const int shown = m_plain.PlaceOf(picture.mark);
            if (shown == n)
                break;
            ASSERT_EQ(shown, ++expected) << "on the way to " << n;
        }
        if (n == FrameCount - 1) {
            ASSERT_TRUE(m_host.WaitForEnd());
        }
    }
}

TEST_F(LongGops, StepsShowExactlyTheNextFrame) {
    m_host.LoadAndWait();
    ASSERT_EQ(LastShown(), 0);
    for (int n = 1; n < FrameCount; ++n) {
        ASSERT_EQ(m_host->SyncForward(), 0);
        ASSERT_TRUE(WaitForFrame(n)) << "at " << LastShown();
    }
    for (int n = 259; n > 0; n -= 37) { // and back, as hosts step back
        ASSERT_EQ(m_host->SyncSeek((n - 1) / Rate, 1), 0);
        ASSERT_EQ(LastShown(), n - 1);
        ASSERT_EQ(m_host->SyncForward(), 0);
        ASSERT_TRUE(WaitForFrame(n)) << "at " << LastShown();
    }
}

TEST_F(LongGops, EndWithTheirLastPicture) {
    m_host->SetPlayTime(0, 100);
    m_host->SyncSeek(FrameCount / Rate - 0.5, 1);
    m_host->Play();
    ASSERT_TRUE(m_host.WaitForEnd());
    EXPECT_EQ(LastShown(), FrameCount - 1);
}

struct Comparison {
    const char* reference;
    const char* follower;
};

TEST(Comparisons, HoldBothViewsOnOneTime) {
    for (const Comparison& clips :
         {Comparison{"hevc.mp4", "opengop.mp4"}, Comparison{"opengop.mp4", "hevc.mp4"},
          Comparison{"bframes.mp4", "vfr.mkv"}, Comparison{"vfr.mkv", "bframes.mp4"}}) {
        SCOPED_TRACE(std::string(clips.reference) + " with " + clips.follower);
        const PlainDecode left(clips.reference);
        const PlainDecode right(clips.follower);
        OpenedFile file(Clip(clips.reference));
        const OpenedFollower follower(clips.follower, file.Video());
        ComponentHost host(Hash);
        host.AddView(0, file.Video()); // with two views, mode 0 is the reference
        host.AddView(1, follower.Video());

        std::mt19937 random(31);
        host.LoadAndWait();
        for (int i = 0; i < 12; ++i) {
            host->SyncSeek(static_cast<double>(random() % 1900) / 1000, static_cast<int>(random() % 2));
            host->SyncForward();
        }
        host->Play();
        for (int i = 0; i < 6; ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(90));
            host->SyncSeek(static_cast<double>(random() % 1500) / 1000, 1);
        }
        ASSERT_TRUE(host.WaitForEnd());

        int pairs = 0;
        std::int64_t time = -1;
        for (const auto& picture : host.Pictures()) {
            if (picture.mark == 0 && pairs == 0)
                continue; // stopped still
            const int place = (picture.view == 0 ? left : right).PlaceOf(picture.mark);
            ASSERT_GE(place, 0) << "view " << picture.view << " shows something else";
            if (picture.view == 0) {
                time = left.times[static_cast<std::size_t>(place)];
                continue;
            }
            constexpr std::int64_t Rounding = 10'000; // half a millisecond for each clock
            const auto after = std::upper_bound(right.times.begin(), right.times.end(), time + Rounding);
            ASSERT_EQ(place, std::max<std::ptrdiff_t>(after - right.times.begin() - 1, 0)) << "with " << time;
            ++pairs;
        }
        EXPECT_GT(pairs, 50);
    }
}

} // namespace
} // namespace kq::streams::test
