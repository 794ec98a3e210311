// Where the sound ends before the pictures do, on a device that plays into nothing in real time.
#include "tests/support/FakeStream.h"
#include "tests/support/Hindrance.h"
#include "tests/support/PlayerHost.h"
#include "tests/support/ViewRecorder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <thread>
#include <vector>

namespace {

using namespace kq::test;

/// The longest time between two pictures, and the most pictures in any 100 ms.
struct Pace {
    double longest = 0;
    std::size_t most = 0;
};

Pace PaceOf(const std::vector<ViewRecorder::Picture>& pictures, std::size_t first) {
    using std::chrono::milliseconds;
    Pace pace;
    for (std::size_t i = first; i < pictures.size(); ++i) {
        if (i > first) {
            const std::chrono::duration<double> gap = pictures[i].when - pictures[i - 1].when;
            pace.longest = std::max(pace.longest, gap.count());
        }
        std::size_t end = i;
        while (end < pictures.size() && pictures[end].when - pictures[i].when < milliseconds(100)) {
            ++end;
        }
        pace.most = std::max(pace.most, end - i);
    }
    return pace;
}

TEST(SoundEnd, PicturesKeepTheirPaceBeyondIt) {
    const struct {
        double sound;
        double target; ///< of a seek after a fifth of a second; below 0: none
    } cases[] = {{1.0, 2.0}, {0.3, -1}, {1.0, 0.9}};
    for (const auto& c : cases) {
        FakeVideo video(90, 25);
        FakeAudio audio(c.sound);
        ViewRecorder recorder;
        PlayerHost host(&video, &audio);
        host->SetPlayTime(0, 0);
        host->Play();
        const Hindrance hindrance;
        ASSERT_TRUE(WaitUntil([&] { return recorder.GetCount() >= 5; }));
        if (c.target >= 0) {
            host->SyncSeek(c.target, 1);
        }
        const auto begun = Clock::now();
        ASSERT_TRUE(host.WaitForEnd());
        const std::chrono::duration<double> took = Clock::now() - begun;
        const double lost = hindrance.Lost() / 1000;
        const auto frames = recorder.GetFrames();
        const int target = c.target >= 0 ? static_cast<int>(c.target * 25) : 0;
        const auto landed = std::find(frames.begin(), frames.end(), target);
        const std::ptrdiff_t first = landed - frames.begin();
        EXPECT_GE(std::count_if(landed, frames.end(), [](int n) { return n >= 0; }), 90 - target);
        std::vector<ViewRecorder::Picture> pictures = recorder.GetPictures();
        pictures.pop_back(); // the run's end shows black
        // A quarter of a second and 6 on a machine without other work.
        const Pace pace = PaceOf(pictures, static_cast<std::size_t>(first) + (c.target >= 0 ? 1 : 0));
        EXPECT_LE(pace.longest, 0.5 + lost) << c.target;
        EXPECT_LE(pace.most, 12 + lost * 25) << c.target;
        const double left = 3.6 - (c.target >= 0 ? c.target : 0.2);
        EXPECT_GT(took.count(), left - 0.3 - lost) << c.target;
        EXPECT_LT(took.count(), left + 1.0 + lost) << c.target;
    }
}

TEST(SoundEnd, ARunEndsWithItsRangeAndNoPositionExceedsIt) {
    constexpr double length = 1.13; // behind the last picture, and within the sound or where it ends
    for (const double sound : {length, 2.0}) {
        FakeVideo video(25, 25);
        FakeAudio audio(sound);
        PlayerHost host(&video, &audio);
        host->SetPlayTime(0, length);
        const Hindrance hindrance;
        const auto begun = Clock::now();
        host->Play();
        ASSERT_TRUE(host.WaitForEnd());
        const std::chrono::duration<double> took = Clock::now() - begun;
        EXPECT_NEAR(host.GetLastPosition(), length, 0.002) << sound;
        EXPECT_GT(took.count(), length - 0.05) << sound;
        EXPECT_LT(took.count(), length + 0.5 + hindrance.Lost() / 1000) << sound; // usually 0.15
    }
}

} // namespace
