// The queue between a source of frames and the player, with a source that the test controls.
#include "host/streams/QueuedStream.h"

#include "tests/support/WaitUntil.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

namespace kq::streams::test {
namespace {

using kq::test::WaitUntil;

constexpr Ticks step = TicksPerSecond / 10;
constexpr std::size_t frameBytes = 100;

/// What the test sees of its source, which the stream owns.
struct Studio {
    std::atomic<int> frames{20};    ///< in the whole stream
    std::atomic<int> allowed{1000}; ///< frames that may be made; the source waits for more
    std::atomic<int> made{0};
    std::atomic<int> seeks{0};
    std::atomic<int> alive{0}; ///< frames that have not been destroyed
    std::atomic<bool> cancelled{false};

    /// Waits until so many frames have been made, and whether more are. @return the number
    int Settled(int expected) {
        WaitUntil([&] { return made >= expected; });
        std::this_thread::sleep_for(std::chrono::milliseconds(60));
        return made;
    }
};

class FakeSource : public FrameSource {
public:
    explicit FakeSource(Studio& studio) : m_studio(studio) {}

    FramePtr Next() override {
        while (!m_studio.cancelled && m_studio.made >= m_studio.allowed) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        if (m_studio.cancelled || m_next >= m_studio.frames) {
            return nullptr;
        }
        ++m_studio.made;
        return Make(m_next++);
    }
    Landing Seek(Ticks time, bool /*exact*/) override {
        ++m_studio.seeks;
        m_next = std::min(static_cast<int>(time / step), m_studio.frames - 1);
        return {true, Make(m_next++)};
    }
    Ticks Tolerance() const override { return 0; }
    FramePtr From(FramePtr frame, Ticks /*time*/) const override { return frame; }
    void Notice(const std::string& /*text*/) const override {}
    void Cancel() override { m_studio.cancelled = true; }

private:
    FramePtr Make(int index) {
        ++m_studio.alive;
        FramePtr frame(new Frame, [alive = &m_studio.alive](Frame* gone) {
            --*alive;
            delete gone;
        });
        frame->time = frame->record.llPTS = index * step;
        frame->position = index;
        frame->endPosition = index + 1;
        frame->bytes = frameBytes;
        return frame;
    }

    Studio& m_studio;
    int m_next = 0;
};

ComPtr<IMediaStream> Play(Studio& studio, std::size_t queueBytes = 1'000'000,
                          const StreamFormat& format = VIDEO_STREAM_INFO{}) {
    return ComPtr<IMediaStream>::Adopt(
        new QueuedStream(std::make_unique<FakeSource>(studio), format, queueBytes));
}

TEST(FrameQueue, IsBoundedInBytesAndFrames) {
    const struct {
        std::size_t bytes;
        int frames;
    } cases[] = {{0, 3}, {frameBytes * 5, 5}, {1'000'000, 32}};
    for (const auto& expected : cases) {
        Studio studio;
        studio.frames = 1000;
        const auto stream = Play(studio, expected.bytes);
        EXPECT_EQ(studio.Settled(expected.frames), expected.frames);
        stream->NextFrame();
        EXPECT_EQ(studio.Settled(expected.frames + 1), expected.frames + 1)
            << "what was taken is made up for";
    }
}

TEST(FrameQueue, IsBoundedAfterEverySeek) {
    Studio studio;
    studio.frames = 1000;
    const auto stream = Play(studio, frameBytes * 5);
    int made = 5;
    EXPECT_EQ(studio.Settled(made), made);
    const struct {
        double time;
        int seeks, madeAnew; ///< a seek gives the first of the five itself
    } cases[] = {{60, 1, 4}, {3, 1, 4}, {50, 1, 4}, {50.3, 0, 3}, {0, 1, 4}};
    for (const auto& expected : cases) {
        const int before = studio.seeks;
        stream->Seek(expected.time, 1);
        made += expected.madeAnew;
        EXPECT_EQ(studio.Settled(made), made) << expected.time;
        EXPECT_EQ(studio.seeks - before, expected.seeks) << expected.time;
    }
}

TEST(FrameQueue, GivesFrameAfterFrameAndHoldsTheLastPictureButNoSound) {
    const struct {
        StreamFormat format;
        bool holds;
        double endPosition;
    } cases[] = {{VIDEO_STREAM_INFO{}, true, 2}, {AUDIO_STREAM_INFO{}, false, 3}};
    for (const auto& expected : cases) {
        Studio studio;
        studio.frames = 3;
        const auto stream = Play(studio, 1'000'000, expected.format);
        const MEDIA_FRAME* first = stream->GetCurrentFrame();
        EXPECT_EQ(stream->GetCurrentFrame(), first) << "the same until it moves";
        EXPECT_EQ(stream->GetFramePosition(), 0);
        EXPECT_GT(stream->NextFrame(), 0);
        EXPECT_EQ(stream->GetCurrentFrame()->llPTS, step);
        EXPECT_GT(stream->NextFrame(), 0);
        for (int again = 0; again < 2; ++again) {
            EXPECT_EQ(stream->NextFrame(), 0);
        }
        const MEDIA_FRAME* last = stream->GetCurrentFrame();
        EXPECT_EQ(last != nullptr, expected.holds);
        EXPECT_EQ(last != nullptr ? last->llPTS : 2 * step, 2 * step);
        EXPECT_EQ(stream->GetFramePosition(), expected.endPosition);
        EXPECT_DOUBLE_EQ(stream->Seek(0.1, 1), 0.1) << "alive again";
        EXPECT_EQ(stream->GetCurrentFrame()->llPTS, step);
    }
}

TEST(FrameQueue, WaitsForALateDecoder) {
    Studio studio;
    studio.frames = 2;
    studio.allowed = 0;
    const auto stream = Play(studio);
    std::thread late([&studio] {
        for (int count = 1; count <= 3; ++count) { // the third is the end
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
            studio.allowed = count;
        }
    });
    EXPECT_NE(stream->GetCurrentFrame(), nullptr);
    EXPECT_GT(stream->NextFrame(), 0);
    EXPECT_EQ(stream->NextFrame(), 0);
    late.join();
}

TEST(FrameQueue, NearSeeksOnlyDropFrames) {
    Studio studio;
    const auto stream = Play(studio, frameBytes * 10);
    EXPECT_EQ(studio.Settled(10), 10);
    EXPECT_DOUBLE_EQ(stream->Seek(0.55, 1), 0.5);
    EXPECT_DOUBLE_EQ(stream->Seek(0.5, 1), 0.5);
    EXPECT_EQ(studio.seeks, 0);
    EXPECT_DOUBLE_EQ(stream->Seek(0.4, 1), 0.4) << "gone already";
    EXPECT_DOUBLE_EQ(stream->Seek(0.4, 0), 0.4) << "only the source knows key frames";
    EXPECT_EQ(studio.seeks, 2);
}

TEST(FrameQueue, EndsWhileTheDecoderWaits) {
    Studio studio;
    studio.allowed = 1;
    auto stream = Play(studio);
    EXPECT_NE(stream->GetCurrentFrame(), nullptr);
    stream.Reset(); // the test hangs here if the thread is not told to end
    EXPECT_EQ(studio.alive, 0);
}

TEST(FramePinning, KeepsAFrameForTheThreadThatGotIt) {
    Studio studio;
    const auto stream = Play(studio);
    const MEDIA_FRAME* mine = stream->GetCurrentFrame();
    std::thread([&stream] {
        for (int i = 0; i < 10; ++i) {
            stream->NextFrame();
        }
        stream->Seek(0.3, 1);
        EXPECT_EQ(stream->GetCurrentFrame()->llPTS, 3 * step);
    }).join();
    EXPECT_EQ(mine->llPTS, 0) << "freed memory under the sanitizers if not kept";
    const int before = studio.alive;
    EXPECT_EQ(stream->GetCurrentFrame()->llPTS, 3 * step);
    EXPECT_EQ(studio.alive, before - 1) << "let go when the thread comes back";
}

TEST(FramePinning, IsBounded) {
    Studio studio;
    studio.frames = 1000;
    const auto stream = Play(studio, 0);
    std::vector<std::thread> threads; // an ended one that has not been joined keeps its identity
    std::atomic<int> asked{0};
    for (int i = 0; i < 100; ++i) {
        threads.emplace_back([&] {
            stream->GetCurrentFrame();
            ++asked;
        });
        WaitUntil([&] { return asked > i; });
        stream->NextFrame();
    }
    studio.Settled(103);
    EXPECT_LE(studio.alive, 32 + 3);
    for (std::thread& thread : threads) {
        thread.join();
    }
}

} // namespace
} // namespace kq::streams::test
