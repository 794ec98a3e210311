// Input that can be read only once.
#include "StreamTest.h"
#include "tests/support/Files.h"
#include "tests/support/WaitUntil.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <thread>

namespace kq::streams::test {
namespace {

/// A named pipe, and a thread that writes a clip into it as fast as it is read.
class FedPipe {
public:
    /// @param staysOpen no reader sees an end
    explicit FedPipe(const std::string& clip, bool staysOpen = false) {
        mkfifo(Path().c_str(), 0600);
        m_end = staysOpen ? open(Path().c_str(), O_RDWR) : -1;
        m_writer = std::thread([this, clip] {
            std::ofstream(Path(), std::ios::binary) << std::ifstream(Clip(clip), std::ios::binary).rdbuf();
        });
    }
    ~FedPipe() {
        m_writer.join();
        close(m_end);
    }
    FedPipe(const FedPipe&) = delete;
    FedPipe& operator=(const FedPipe&) = delete;

    std::string Path() const { return m_folder / "pipe"; }

private:
    kq::test::TemporaryFolder m_folder;
    int m_end = -1;
    std::thread m_writer;
};

TEST(Pipes, PlayPicturesAndSound) {
    FedPipe pipe("program.mpg");
    OpenedFile whole(Clip("program.mpg"));
    OpenedFile file(pipe.Path());
    EXPECT_EQ(PlayThrough(file.Video()), PlayThrough(whole.Video()));
    EXPECT_TRUE(Listen(file.Audio()) == Listen(whole.Audio()));
}

TEST(Pipes, SeekForwardOnly) {
    FedPipe pipe("opengop.ts");
    OpenedFile whole(Clip("opengop.ts"));
    OpenedFile file(pipe.Path());
    const std::vector<Shot> shots = PlayThrough(whole.Video());
    EXPECT_DOUBLE_EQ(file.Video().Seek(3, 1), 3);
    EXPECT_EQ(Look(file.Video()), shots[75]);
    EXPECT_DOUBLE_EQ(file.Video().Seek(1, 1), 3) << "stays where it is";
    EXPECT_EQ(Look(file.Video()), shots[75]);
    EXPECT_NE(file.Log().find("cannot be sought backwards"), std::string::npos) << file.Log();
    EXPECT_DOUBLE_EQ(file.Video().Seek(3.2, 1), 3.2);
    EXPECT_EQ(Look(file.Video()), shots[80]);
}

TEST(Pipes, PlayAtOtherSpeedsButOnlyForward) {
    FedPipe pipe("program.mpg");
    OpenedTimeline timeline(pipe.Path());
    EXPECT_EQ(timeline.Time().FrameCount(), 0) << "nobody knows, and nobody waits";
    EXPECT_EQ(timeline.Time().SetRate(-2), 1);
    EXPECT_FALSE(timeline.Time().SetRange(1, 2, 0));
    EXPECT_NE(timeline.Log().find("cannot be played backwards"), std::string::npos) << timeline.Log();
    EXPECT_NE(timeline.Log().find("cannot be played in parts"), std::string::npos) << timeline.Log();
    EXPECT_EQ(timeline.Time().SetRate(0.5), 0.5);
    EXPECT_DOUBLE_EQ(timeline.Seek(0), 0);
    std::thread listener(
        [&timeline] { EXPECT_NEAR(static_cast<double>(Listen(timeline.Audio()).size()), 8 * 44100, 8000); });
    for (int number = 0; number < 100; ++number) {
        // Known as soon as the next one has come.
        EXPECT_TRUE(kq::test::WaitUntil([&] { return PlaceIn(timeline.Video()).number == number; }));
        EXPECT_EQ(timeline.Video().GetCurrentFrame()->llPTS, number * 800'000);
        EXPECT_EQ(timeline.Video().NextFrame(), number < 99 ? 1 : 0);
    }
    listener.join();
}

TEST(Pipes, AStreamGivenBackDoesNotStopTheOther) {
    FedPipe pipe("program.mpg");
    OpenedFile file(pipe.Path());
    file.File().audio->Release();
    file.File().audio = nullptr;
    EXPECT_EQ(PlayThrough(file.Video()).size(), 100U);
}

TEST(Pipes, ThatFallSilentDoNotHoldUpTheEnd) {
    FedPipe pipe("matroska.mkv", true);
    OpenedFile file(pipe.Path());
    for (int i = 0; i < 80; ++i) {
        EXPECT_GT(file.Video().NextFrame(), 0);
        file.Audio().NextFrame();
    }
    // The twenty pictures left do not fill the queue: the decoder waits for more. The test hangs at the end
    // of the file's life if a stream waits for data for ever.
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
}

} // namespace
} // namespace kq::streams::test
