// What the component shows of the streams, against a plain decode of the same files.
#include "StreamTest.h"
#include "tests/support/PlayerHost.h"
#include "tests/support/ViewRecorder.h"

#include <kqplayer/bitmap.h>
#include <kqplayer/image.h>

#include <map>
#include <random>
#include <thread>

namespace kq::streams::test {
namespace {

using kq::test::ViewRecorder;
using kq::test::WaitUntil;

/// 260 frames, five a second so that each one stays for a while, with B-frames and a key frame every 250
/// frames.
constexpr const char* longGop = "longgop.mp4";
constexpr double rate = 5;
constexpr int frameCount = 260;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr int stride = 9; ///< the sanitizers see a sample of the frames
#else
constexpr int stride = 1;
#endif

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
    return kq::test::HashOfPixels(pixels.data(), image.nWidth, image.nHeight);
}

/// A file's pictures, each with its place in the file.
struct PlainDecode {
    std::map<std::size_t, int> places; ///< by the hash of the picture on show
    std::vector<std::int64_t> times;

    explicit PlainDecode(const std::string& clip) {
        OpenedFile file(Clip(clip));
        do {
            const MEDIA_FRAME* frame = file.Video().GetCurrentFrame();
            places[ShownHash(*frame)] = static_cast<int>(times.size());
            times.push_back(frame->llPTS);
        } while (file.Video().NextFrame() > 0);
    }
    /// @return the picture's place, -1 for one that is not from the file
    int PlaceOf(std::size_t hash) const {
        const auto found = places.find(hash);
        return found == places.end() ? -1 : found->second;
    }
};

/// A player with off-screen views, and what it has shown in them.
class Host : public kq::test::PlayerHost {
public:
    /// @return the pictures since the last Forget()
    std::vector<ViewRecorder::Picture> Pictures() const { return m_recorder.GetAllPictures(); }
    void Forget() { m_recorder.Clear(); }
    /// Opens a paused run and waits until its first picture has been shown.
    void LoadAndWait() {
        Forget();
        (*this)->Load();
        EXPECT_TRUE(WaitUntil([&] { return !Pictures().empty() && Pictures().back().hash != 0; }));
    }

private:
    ViewRecorder m_recorder;
};

class LongGops : public testing::Test {
protected:
    LongGops() : m_plain(longGop), m_file(Clip(longGop)) { m_host.AddView(1, &m_file.Video()); }

    void SetUp() override {
        ASSERT_EQ(m_plain.times.size(), static_cast<std::size_t>(frameCount));
        ASSERT_EQ(m_plain.places.size(), m_plain.times.size()) << "all pictures differ";
    }

    static std::vector<int> InRandomOrder() {
        std::vector<int> order;
        for (int n = 0; n < frameCount; n += stride) {
            order.push_back(n);
        }
        order.push_back(frameCount - 1);
        std::shuffle(order.begin(), order.end(), std::mt19937(29));
        return order;
    }
    int LastShown() const {
        const auto pictures = m_host.Pictures();
        return pictures.empty() ? -1 : m_plain.PlaceOf(pictures.back().hash);
    }
    bool WaitForFrame(int n) const {
        return WaitUntil([&] { return LastShown() == n; });
    }
    void KeepPlaying() {
        if (m_host->IsActivate() == KQ_ACTIVATE_PLAYING) {
            return;
        }
        m_host.Forget();
        m_host->Play();
        ASSERT_TRUE(WaitForFrame(0));
    }
    bool WaitForEnd() const {
        return WaitUntil([&] { return m_host->IsActivate() == KQ_ACTIVATE_ENDED; });
    }

    const PlainDecode m_plain;
    OpenedFile m_file;
    Host m_host;
};

TEST_F(LongGops, SeeksWhilePausedShowExactlyTheFrame) {
    m_host.LoadAndWait();
    for (const int n : InRandomOrder()) {
        m_host.Forget();
        ASSERT_EQ(m_host->SyncSeek(n / rate, 1), 0);
        ASSERT_EQ(LastShown(), n) << "shown before the call returns";
    }
}

TEST_F(LongGops, SeeksWhileStoppedGoToExactlyTheFrame) {
    for (const int n : InRandomOrder()) {
        ASSERT_EQ(m_host->SyncSeek(n / rate, 1), 0);
        const MEDIA_FRAME* captured = m_host->CaptureCurrentImageEx();
        ASSERT_NE(captured, nullptr);
        ASSERT_EQ(m_plain.PlaceOf(ShownHash(*captured)), n);
    }
    for (const int n : {1, 130, 249, 250, 259}) {
        m_host->SyncSeek(n / rate, 1);
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
        ASSERT_EQ(m_host->SyncSeek(n / rate, 1), 0);
        ASSERT_TRUE(WaitForFrame(n)) << "at " << LastShown();
        // Up to the seek the clip may have gone on; then nothing may be seen but the frame.
        int expected = before;
        for (const auto& picture : m_host.Pictures()) {
            const int shown = m_plain.PlaceOf(picture.hash);
            if (shown == n) {
                break;
            }
            ASSERT_EQ(shown, ++expected) << "on the way to " << n;
        }
        if (n == frameCount - 1) {
            ASSERT_TRUE(WaitForEnd());
        }
    }
}

TEST_F(LongGops, StepsShowExactlyTheNextFrame) {
    m_host.LoadAndWait();
    ASSERT_EQ(LastShown(), 0);
    const auto stepTo = [&](int n) {
        ASSERT_EQ(m_host->SyncForward(), 0);
        ASSERT_TRUE(WaitForFrame(n)) << "at " << LastShown();
    };
    for (int n = 1; n < frameCount && !HasFatalFailure(); ++n) {
        stepTo(n);
    }
    for (int n = 259; n > 0 && !HasFatalFailure(); n -= 37) { // and back, as hosts step back
        ASSERT_EQ(m_host->SyncSeek((n - 1) / rate, 1), 0);
        ASSERT_EQ(LastShown(), n - 1);
        stepTo(n);
    }
}

TEST_F(LongGops, EndWithTheirLastPicture) {
    m_host->SetPlayTime(0, 100);
    m_host->SyncSeek(frameCount / rate - 0.5, 1);
    m_host->Play();
    ASSERT_TRUE(WaitForEnd());
    EXPECT_EQ(LastShown(), frameCount - 1);
}

TEST(TimelinesInThePlayer, LoopAndTurnRoundWithoutASeam) {
    const PlainDecode plain("bframes.mp4");
    OpenedTimeline timeline(Clip("bframes.mp4"));
    Host host;
    host.AddView(1, &timeline.Video());
    ASSERT_TRUE(timeline.Time().SetRange(1, 1.4, 0));
    host->SyncSeek(1, 1);
    host->Play();
    const auto waitFor = [&host](std::size_t count) {
        return WaitUntil([&] { return host.Pictures().size() >= count; });
    };
    ASSERT_TRUE(waitFor(25));
    timeline.Time().SetRate(-1);
    ASSERT_TRUE(waitFor(60));
    host->Stop();

    const auto pictures = host.Pictures();
    int turns = 0, direction = 1;
    for (std::size_t i = 1; i < 60; ++i) {
        const int before = plain.PlaceOf(pictures[i - 1].hash);
        const int shown = plain.PlaceOf(pictures[i].hash);
        if (before < 0 || before == shown) {
            continue; // what stood there before the start, and pictures shown anew
        }
        const auto next = [before](int step) { return 25 + (before - 25 + step + 10) % 10; };
        if (shown != next(direction)) {
            ++turns;
            direction = -direction;
        }
        ASSERT_EQ(shown, next(direction)) << "after " << before;
    }
    EXPECT_EQ(turns, 1);
    const auto played = pictures[59].when - pictures[9].when;
    EXPECT_GT(played, std::chrono::milliseconds(1800)) << "50 pictures";
    EXPECT_LT(played, std::chrono::milliseconds(3000));
}

class Comparisons : public testing::TestWithParam<Pair> {};

TEST_P(Comparisons, HoldBothViewsOnOneTime) {
    const PlainDecode left(GetParam().first);
    const PlainDecode right(GetParam().second);
    OpenedFile file(Clip(GetParam().first));
    const OpenedFollower follower(GetParam().second, file.Video());
    Host host;
    host.AddView(0, &file.Video()); // with two views, mode 0 is the reference
    host.AddView(1, &follower.Video());
    host->SetPlayTime(0, 1.9);

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
    const auto pictures = host.Pictures();
    for (const auto& picture : pictures) {
        if (picture.hash == 0 && pairs == 0) {
            continue; // stopped still
        }
        const bool isReference = picture.view == pictures.front().view;
        const int place = (isReference ? left : right).PlaceOf(picture.hash);
        ASSERT_GE(place, 0) << "view " << picture.view << " shows something else";
        if (isReference) {
            time = left.times[static_cast<std::size_t>(place)];
            continue;
        }
        constexpr std::int64_t rounding = 10'000; // half a millisecond for each clock
        const auto after = std::upper_bound(right.times.begin(), right.times.end(), time + rounding);
        ASSERT_EQ(place, std::max<std::ptrdiff_t>(after - right.times.begin() - 1, 0)) << "with " << time;
        ++pairs;
    }
    EXPECT_GE(pairs, 24) << "each seek and step while paused shows one";
}

INSTANTIATE_TEST_SUITE_P(Clips, Comparisons,
                         testing::Values(Pair("hevc.mp4", "opengop.mp4"), Pair("opengop.mp4", "hevc.mp4"),
                                         Pair("bframes.mp4", "vfr.mkv"), Pair("vfr.mkv", "bframes.mp4")),
                         NameOfPair);

} // namespace
} // namespace kq::streams::test
