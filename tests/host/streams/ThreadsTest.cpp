// Several threads at one stream, for the sanitizers to watch.
#include "StreamTest.h"

#include <atomic>
#include <random>
#include <thread>

namespace kq::streams::test {
namespace {

/// Reads the whole frame, so that memory freed too early is noticed.
std::size_t Touch(const MEDIA_FRAME* frame, bool isVideo) {
    if (frame == nullptr) {
        return 0;
    }
    const auto* sound = reinterpret_cast<const char*>(frame->image.pU);
    return std::hash<std::string>()(
        isVideo ? PixelsOf(*frame) : std::string(sound, static_cast<std::size_t>(frame->image.nAudioLength)));
}

void UseAtRandom(IMediaStream& stream, unsigned seed, bool isVideo) {
    std::mt19937 random(seed);
    for (int i = 0; i < 60; ++i) {
        const MEDIA_FRAME* frame = stream.GetCurrentFrame();
        const std::size_t before = Touch(frame, isVideo);
        std::this_thread::yield();
        EXPECT_EQ(Touch(frame, isVideo), before) << "changed while in use";
        switch (random() % 6) {
        case 0:
            stream.Seek(static_cast<double>(random() % 4000) / 1000, static_cast<int>(random() % 2));
            break;
        case 1:
            EXPECT_GE(stream.GetFramePosition(), 0);
            break;
        case 2:
            InfoOf(stream);
            break;
        default:
            stream.NextFrame();
        }
    }
}

TEST(Threads, MayUseOneStreamTogether) {
    for (const char* clip : {"opengop.mp4", "program.mpg", "noise.flac"}) {
        OpenedFile file(Clip(clip));
        const bool isVideo = file.File().video != nullptr;
        IMediaStream& stream = isVideo ? file.Video() : file.Audio();
        std::vector<std::thread> threads;
        for (unsigned seed = 0; seed < 4; ++seed) {
            threads.emplace_back([&stream, seed, isVideo] { UseAtRandom(stream, seed, isVideo); });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
    }
}

TEST(Threads, MayGiveStreamsBackAtAnyMoment) {
    for (int i = 0; i < 12; ++i) {
        OpenedFile file(Clip(i % 2 == 0 ? "bframes.mp4" : "program.mpg"));
        file.Video().AddRef();
        std::thread other([&stream = file.Video(), i] {
            for (int n = 0; n < i; ++n) {
                stream.NextFrame();
            }
            stream.Release();
        });
        if (i % 3 == 0) {
            file.Video().Seek(2, 1);
        }
        file.File().Release();
        other.join();
    }
}

} // namespace
} // namespace kq::streams::test
