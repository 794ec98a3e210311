// The store of pictures: of real clips, and over a decoder that the test controls.
#include "SourceTest.h"
#include "host/streams/PictureStore.h"
#include "host/streams/QueuedStream.h"
#include "host/streams/TimelineVideo.h"
#include "tests/support/Files.h"
#include "tests/support/WaitUntil.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstring>
#include <random>
#include <set>
#include <thread>

namespace kq::streams::test {
namespace {

constexpr std::size_t plenty = std::size_t{256} << 20;

/// A clip, how its pictures are kept, and what decoding from the start gives.
struct Opened {
    explicit Opened(const std::string& path, std::size_t bytes = plenty, int threads = 0)
        : store(
              SourceOf(path, threads), [path, threads] { return SourceOf(path, threads); }, bytes),
          shots(DecodeAll(path, threads)) {}

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
                                         "still-rgb24.png", "longgop.mp4", "untimed.avi", "undelayed.avi",
                                         "plain.m2v", "hidden.webm", "baseless.mkv"),
                         [](const auto& info) { return NameOf(info.param); });

/// Where a file is damaged a way back may end or leave out, but what it gives elsewhere is right.
TEST(DamagedClips, GiveNoOtherPicturesBackwards) {
    const kq::test::TemporaryFolder folder;
    for (const char* name : {"opengop.ts", "program.mpg", "vp9.webm", "plain.h264"}) {
        SCOPED_TRACE(name);
        std::string content = kq::test::ReadFile(Clip(name));
        std::fill_n(content.begin() + static_cast<std::ptrdiff_t>(content.size() / 3), content.size() / 20,
                    'x');
        Opened clip(kq::test::WriteFile(folder / name, content), plenty, 1);
        const std::vector<Shot> whole = DecodeAll(Clip(name));
        FramePtr picture = clip.store.At(clip.shots.back().time);
        ASSERT_EQ(LookAt(picture), clip.shots.back());
        std::size_t same = 0, given = 0;
        for (Ticks after = picture->time + 1; picture && picture->time < after; ++given) {
            const Shot shot = LookAt(picture);
            const bool isWhole = std::find(whole.begin(), whole.end(), shot) != whole.end();
            same +=
                isWhole || std::find(clip.shots.begin(), clip.shots.end(), shot) != clip.shots.end() ? 1 : 0;
            after = picture->time;
            picture = clip.store.Before(picture);
        }
        EXPECT_EQ(picture, nullptr) << "time goes back";
        EXPECT_EQ(same, given);
        EXPECT_GT(given, clip.shots.size() / 2);
    }
}

constexpr Ticks step = TicksPerSecond / 25;
constexpr std::size_t pictureBytes = 32 * 16 + 2 * 32 * 8; ///< of the studio's pictures, with their padding

/// What the test sees of its decoders, which the store owns.
struct Studio {
    int pictures = 1000;
    int group = 50; ///< from one key picture to the next
    bool seekable = true;
    std::set<int> lost;     ///< pictures that no decoder gives
    std::set<int> unsought; ///< pictures that end what is decoded after a seek
    std::atomic<int> decoders{0};
    std::atomic<int> decoded{0};
    std::atomic<int> allowed{1'000'000}; ///< pictures that may be decoded; decoders wait for more
    std::atomic<int> interrupts{0};
    std::atomic<int> alive{0}; ///< pictures that have not been destroyed

    /// Waits until nothing is decoded any more. @return the number of pictures that were
    int Settled() const {
        for (int before = -1; before != decoded;) {
            before = decoded;
            std::this_thread::sleep_for(std::chrono::milliseconds(300));
        }
        return decoded;
    }
};

class FakeDecoder : public Decoder {
public:
    explicit FakeDecoder(Studio& studio) : m_studio(studio) { ++m_studio.decoders; }

    bool Next(Decoded& frame) override {
        while (m_studio.lost.count(m_next) != 0) {
            ++m_next;
        }
        while (m_studio.decoded >= m_studio.allowed && !Stops()) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        const bool ends = m_next >= m_studio.pictures || (m_sought && m_studio.unsought.count(m_next) != 0);
        if (ends || Stops()) {
            return false;
        }
        ++m_studio.decoded;
        frame.data = Make(m_next);
        frame.time = m_next * step;
        frame.duration = step;
        frame.key = m_next % m_studio.group == 0;
        ++m_next;
        return true;
    }
    bool SeekAtOrBefore(Ticks time, Decoded& first, bool& nearest) override {
        const int picture = std::min(static_cast<int>((time + Tolerance()) / step), m_studio.pictures - 1);
        m_next = picture - picture % m_studio.group;
        nearest = m_sought = true;
        return Next(first);
    }
    bool ForwardIsShorter(Ticks from, Ticks to) const override {
        return !m_studio.seekable || to / step / m_studio.group == from / step / m_studio.group;
    }
    void LeaveOutBefore(Ticks /*time*/) override {}
    bool Seekable() const override { return m_studio.seekable; }
    bool HasKeyFrames() const override { return true; }
    Ticks Tolerance() const override { return 10; }
    const std::shared_ptr<FileLog>& Log() const override { return m_log; }
    void Cancel() override { m_cancelled = true; }
    bool Cancelled() const override { return m_cancelled; }
    void Interrupt(bool on) override {
        m_interrupted = on;
        m_studio.interrupts += on ? 1 : 0;
    }
    bool Stops() const override { return m_cancelled || m_interrupted; }

private:
    FrameHandle Make(int number) {
        FrameHandle picture(av_frame_alloc());
        picture->format = AV_PIX_FMT_YUV420P;
        picture->width = picture->height = 16;
        ++m_studio.alive;
        picture->buf[0] = av_buffer_create(
            static_cast<std::uint8_t*>(av_mallocz(pictureBytes)), pictureBytes,
            [](void* alive, std::uint8_t* data) {
                --*static_cast<std::atomic<int>*>(alive);
                av_free(data);
            },
            &m_studio.alive, 0);
        std::uint8_t* data = picture->buf[0]->data;
        for (int plane = 0; plane < 3; ++plane) {
            picture->linesize[plane] = 32;
            picture->data[plane] = data + (plane > 0 ? 32 * 16 + (plane - 1) * 32 * 8 : 0);
        }
        std::memcpy(data, &number, sizeof number);
        return picture;
    }

    Studio& m_studio;
    const std::shared_ptr<FileLog> m_log = FileLog::Make({}, {});
    int m_next = 0;
    bool m_sought = false;
    std::atomic<bool> m_cancelled{false};
    std::atomic<bool> m_interrupted{false};
};

std::unique_ptr<VideoSource> SourceOf(Studio& studio) {
    return std::make_unique<VideoSource>(std::make_unique<FakeDecoder>(studio), PictureConverter({}, false),
                                         25, 1e-7);
}

/// @return what the studio wrote into a picture, -1 for none
int NumberOf(const FramePtr& picture) {
    int number = -1;
    if (picture) {
        std::memcpy(&number, picture->record.image.pY, sizeof number);
        EXPECT_EQ(picture->time, number * step);
    }
    return number;
}

/// A store with room for so many of a studio's pictures.
class FakeStore : public PictureStore {
public:
    FakeStore(Studio& studio, std::size_t room)
        : PictureStore(
              SourceOf(studio), [&studio] { return SourceOf(studio); }, room * pictureBytes) {}

    /// @return the numbers of what is kept around a picture: the first, and the one behind the last
    std::pair<int, int> Around(int number) const {
        for (const TimeSpan& span : Kept()) {
            if (span.begin <= number * step && number * step < span.end) {
                return {static_cast<int>(span.begin / step), static_cast<int>(span.end / step)};
            }
        }
        return {0, 0};
    }
};

TEST(PictureStoring, PlayingForwardDecodesEachPictureOnceAndKeepsWhatWasSeen) {
    Studio studio;
    FakeStore store(studio, 100);
    FramePtr picture = store.At(0);
    for (int n = 0; n < 400; ++n, picture = store.After(picture)) {
        ASSERT_EQ(NumberOf(picture), n);
        store.Aim(picture->time, true);
        ASSERT_LE(store.Bytes(), 100 * pictureBytes);
    }
    EXPECT_EQ(studio.decoded, 401);
    EXPECT_EQ(studio.decoders, 1) << "the second one is opened when it is needed";
    EXPECT_EQ(store.Around(399), std::make_pair(301, 401));
    for (int n = 400; n > 301; --n) {
        ASSERT_EQ(NumberOf(picture), n);
        picture = store.Before(picture);
    }
    EXPECT_EQ(NumberOf(store.At(350 * step)), 350);
    EXPECT_EQ(studio.decoders, 1);
}

TEST(PictureStoring, APauseFillsWhatIsBehindAndThenRests) {
    for (const int group : {1, 25, 1000}) {
        SCOPED_TRACE(group);
        Studio studio;
        studio.group = group;
        FakeStore store(studio, 80);
        for (const int place : {500, 800, 600}) {
            store.At(place * step);
            store.Aim(place * step, true);
            ASSERT_TRUE(kq::test::WaitUntil([&] { return store.Around(place).first <= place - 50; }));
            const int decoded = studio.Settled();
            EXPECT_GE(store.Around(place).first, place - 80);
            EXPECT_LE(studio.alive, 80 + 3) << "the decoders hold the rest";
            for (int n = 0; n < 50; ++n) {
                ASSERT_EQ(NumberOf(store.At((place - n) * step)), place - n);
            }
            EXPECT_EQ(studio.decoded, decoded);
        }
    }
}

TEST(PictureStoring, BackwardsTheNextPartIsMadeWhileOneIsShown) {
    Studio studio;
    studio.group = 1000; // one key picture
    FakeStore store(studio, 100);
    FramePtr picture = store.At(900 * step);
    int most = 0;
    for (int n = 900; n >= 0; --n) {
        ASSERT_EQ(NumberOf(picture), n);
        store.Aim(picture->time, false);
        if (n > 0) {
            ASSERT_TRUE(kq::test::WaitUntil([&] { return store.Around(n).first <= std::max(n - 30, 0); }))
                << n;
        }
        ASSERT_LE(store.Bytes(), 100 * pictureBytes);
        most = std::max(most, studio.alive.load());
        picture = store.Before(picture);
    }
    EXPECT_EQ(picture, nullptr);
    EXPECT_LE(most, 100 + 6);
    EXPECT_LT(studio.decoded, 15'000) << "a part is decoded once";
}

TEST(PictureStoring, WhoeverGoesElsewhereDoesNotWaitForTheWayBack) {
    Studio studio;
    studio.group = 1000;
    FakeStore store(studio, 100);
    const FramePtr far = store.At(500 * step);
    store.At(100 * step);
    studio.allowed = studio.decoded + 20;
    FramePtr next = far;
    std::thread reader([&] { next = store.After(far); }); // has to decode five hundred pictures once more
    EXPECT_TRUE(kq::test::WaitUntil([&] { return studio.decoded == studio.allowed; }));
    store.ExpectSeek(true);
    reader.join();
    EXPECT_EQ(next, nullptr);
    EXPECT_EQ(store.After(far), nullptr) << "nothing is begun";
    store.ExpectSeek(false);
    studio.allowed = 1'000'000;
    EXPECT_EQ(NumberOf(store.At(120 * step)), 120);
    EXPECT_EQ(NumberOf(store.After(far)), 501) << "it is not the last one";
}

TEST(PictureStoring, WhatWasSteppedOverStays) {
    Studio studio;
    FakeStore store(studio, 86);
    FramePtr picture = store.At(500 * step);
    store.Aim(picture->time, true);
    ASSERT_TRUE(kq::test::WaitUntil([&] { return store.Around(500).first <= 450; }));
    for (int n = 499; n >= 450; --n) {
        picture = store.Before(picture);
        store.Aim(picture->time, true);
    }
    studio.Settled();
    EXPECT_EQ(store.Around(450).second, 501);
    EXPECT_LE(store.Around(450).first, 450 - 15) << "and more is made";
    for (int n = 449; n >= 300; --n) {
        picture = store.Before(picture);
        store.Aim(picture->time, true);
    }
    studio.Settled();
    EXPECT_LE(store.Around(300).first, 300 - 50) << "nobody turns round any more";
}

TEST(PictureStoring, FollowsAFileThatStandsBesideAnother) {
    Studio studio;
    studio.group = 1000;
    auto store = std::make_shared<FakeStore>(studio, 40);
    const VideoFacts facts{25, true, std::make_shared<FrameNumbers>(nullptr), true};
    VIDEO_STREAM_INFO format{};
    format.dFrameRate = facts.rate;
    const auto stream =
        ComPtr<QueuedStream>::Adopt(new QueuedStream(std::make_unique<StoredVideo>(store, facts), format, 0));
    stream->GoTo(500 * step);
    stream->GoTo(499 * step); // it is shifted by a picture, and goes on
    for (int n = 500; n < 700; ++n) {
        ASSERT_EQ(stream->GoTo(n * step).begin, n * step);
        ASSERT_TRUE(kq::test::WaitUntil([&] { return store->Around(n).second == n + 3; }))
            << n << ": what was made ahead";
    }
    const int decoded = studio.decoded;
    EXPECT_EQ(stream->GoTo(698 * step).begin, 698 * step);
    EXPECT_LE(studio.decoded - decoded, 1) << "it was on show just now";
}

TEST(PictureStoring, APartIsLeftWhenNobodyLooksThereAnyMore) {
    const struct {
        Ticks place;
        bool forward;
        bool isLeft;
    } cases[] = {{501 * step, true, true},
                 {100 * step, false, true},
                 {499 * step, false, false},
                 {500 * step, true, false}};
    for (const auto& expected : cases) {
        Studio studio;
        studio.group = 1000;
        FakeStore store(studio, 160);
        store.At(500 * step);
        const int decoded = studio.decoded;
        studio.allowed = decoded + 100;
        store.Aim(500 * step, true);
        ASSERT_TRUE(kq::test::WaitUntil([&] { return studio.decoded == studio.allowed; }));
        store.Aim(expected.place, expected.forward);
        EXPECT_EQ(studio.interrupts > 0, expected.isLeft) << expected.place / step;
        studio.allowed = 1'000'000;
        EXPECT_EQ(NumberOf(store.Before(store.At(300 * step))), 299);
    }
}

TEST(PictureStoring, WaitingEndsWhenItIsCancelled) {
    Studio studio;
    FakeStore store(studio, 80);
    const FramePtr picture = store.At(500 * step);
    studio.allowed = studio.decoded.load();
    std::thread waiting([&] { EXPECT_EQ(store.Before(picture), nullptr); });
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    store.Cancel();
    waiting.join();
    EXPECT_EQ(store.At(800 * step), nullptr);
}

TEST(PictureStoring, DamageIsPassedOrEndsTheWayBack) {
    Studio studio;
    studio.lost = {480, 481, 482, 450, 330};
    studio.unsought = {420}; // only who decodes on from 400 without a seek comes past it
    FakeStore store(studio, 60);
    FramePtr picture = store.At(499 * step);
    for (int n = 499; n > 450; --n) {
        if (studio.lost.count(n) == 0) {
            ASSERT_EQ(NumberOf(picture), n);
            picture = store.Before(picture);
        }
    }
    EXPECT_EQ(NumberOf(picture), -1) << "what is right before it cannot be had";
    EXPECT_EQ(NumberOf(store.At(419 * step)), 419) << "what comes earlier can";
    EXPECT_EQ(NumberOf(store.Before(store.At(331 * step))), 329);
}

TEST(PictureStoring, AnInputThatIsReadOnceGivesWhatIsKept) {
    Studio studio;
    studio.seekable = false;
    PictureStore store(SourceOf(studio), {}, 40 * pictureBytes);
    FramePtr picture = store.At(100 * step);
    EXPECT_EQ(NumberOf(picture), 100) << "by decoding on";
    for (int n = 101; n <= 200; ++n) {
        store.Aim(picture->time, true);
        picture = store.After(picture);
        ASSERT_EQ(NumberOf(picture), n);
    }
    EXPECT_EQ(NumberOf(store.Before(picture)), 199);
    EXPECT_EQ(NumberOf(store.At(180 * step)), 180);
    EXPECT_EQ(store.At(50 * step), nullptr);
    EXPECT_EQ(NumberOf(store.After(picture)), 201) << "still there";
}

TEST(PictureStoring, ASecondDecoderThatCannotBeOpenedIsMissedOnlyBackwards) {
    Studio studio;
    PictureStore store(
        SourceOf(studio), [] { return nullptr; }, 40 * pictureBytes);
    const FramePtr picture = store.At(500 * step);
    EXPECT_EQ(store.Before(picture), nullptr);
    EXPECT_EQ(NumberOf(store.After(picture)), 501);
    EXPECT_EQ(NumberOf(store.At(499 * step)), 499);
}

/// Loops of two seconds, while somebody else looks anywhere.
TEST(PictureStoring, StaysWithinItsBoundWhoeverAsks) {
    Studio studio;
    FakeStore store(studio, 64);
    std::atomic<int> looks{0};
    std::atomic<bool> ends{false};
    std::thread host([&] {
        std::mt19937 random(4);
        while (!ends) {
            store.Aim(static_cast<Ticks>(random() % 1000) * step, random() % 2 == 0);
            EXPECT_LE(store.Bytes(), 64 * pictureBytes);
            Ticks end = -1;
            for (const TimeSpan& span : store.Kept()) {
                EXPECT_LT(end, span.begin + 1);
                end = span.end;
            }
            ++looks;
            std::this_thread::sleep_for(std::chrono::microseconds(500));
        }
    });
    for (int n = 0; looks < 1000; ++n) {
        FramePtr picture = store.At((300 + n % 50) * step);
        ASSERT_EQ(NumberOf(picture), 300 + n % 50);
        ASSERT_EQ(NumberOf(n % 7 == 0 ? store.Before(picture) : store.After(picture)),
                  300 + n % 50 + (n % 7 == 0 ? -1 : 1));
    }
    ends = true;
    host.join();
}

} // namespace
} // namespace kq::streams::test
