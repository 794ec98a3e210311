// The store of pictures: of real clips, and over a decoder that the test controls.
#include "SourceTest.h"
#include "host/streams/PictureStore.h"

#include <chrono>
#include <random>
#include <thread>

namespace kq::streams::test {
namespace {

constexpr std::size_t plenty = std::size_t{256} << 20;

/// A clip, how its pictures are kept, and what decoding from the start gives.
struct Opened {
    explicit Opened(const std::string& path, std::size_t bytes = plenty)
        : store(
              SourceOf(path), [path] { return SourceOf(path); }, bytes),
          shots(DecodeAll(path)) {}

    PictureStore store;
    const std::vector<Shot> shots;
};

class StoredClips : public testing::TestWithParam<const char*> {};

/// @return a bound for so many pictures of the clip
std::size_t RoomFor(const std::string& clip, std::size_t pictures) {
    return SourceOf(Clip(clip))->Next()->bytes * pictures;
}

TEST_P(StoredClips, GiveTheSamePicturesBackwards) {
    for (const std::size_t room : {10U, 40U, 1000U}) {
        Opened clip(Clip(GetParam()), RoomFor(GetParam(), room));
        const std::size_t count = clip.shots.size();
        FramePtr picture = clip.store.At(clip.shots.back().time);
        for (std::size_t n = count; n-- > 0; picture = clip.store.Before(picture)) {
            ASSERT_EQ(LookAt(picture), clip.shots[n]) << n << " with room for " << room;
            clip.store.Aim(picture->time, false);
        }
        ASSERT_EQ(picture, nullptr);
        picture = clip.store.At(0);
        for (std::size_t n = 0; n < count; ++n, picture = clip.store.After(picture)) {
            ASSERT_EQ(LookAt(picture), clip.shots[n]) << n << " with room for " << room;
        }
        ASSERT_EQ(picture, nullptr);
    }
}

TEST_P(StoredClips, GiveTheSamePicturesInAnyOrder) {
    Opened clip(Clip(GetParam()), RoomFor(GetParam(), 20));
    const auto count = static_cast<int>(clip.shots.size());
    std::mt19937 random(11);
    int n = 0;
    FramePtr picture = clip.store.At(0);
    for (int i = 0; i < 300; ++i) {
        ASSERT_EQ(LookAt(picture), clip.shots[static_cast<std::size_t>(n)]) << "move " << i;
        clip.store.Aim(picture->time, random() % 3 != 0);
        const auto move = random() % 10;
        if (move < 4 && n + 1 < count) {
            ++n;
            picture = clip.store.After(picture);
        } else if (move < 8 && n > 0) {
            --n;
            picture = clip.store.Before(picture);
        } else {
            n = static_cast<int>(random() % static_cast<unsigned>(count));
            picture = clip.store.At(clip.shots[static_cast<std::size_t>(n)].time);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Clips, StoredClips,
                         testing::Values("bframes.mp4", "opengop.mp4", "opengop.ts", "hevc.mp4",
                                         "editlist.mp4", "matroska.mkv", "flash.flv", "program.mpg",
                                         "packets.avi", "theora.ogg", "vp9.webm", "plain.h264", "vfr.mkv",
                                         "still-rgb24.png", "longgop.mp4"),
                         [](const auto& info) { return NameOf(info.param); });

} // namespace
} // namespace kq::streams::test
