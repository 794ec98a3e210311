// Input that can be read only once.
#include "StreamTest.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <thread>

namespace kq::streams::test {
namespace {

/// A named pipe, and a thread that writes a clip into it as fast as it is read.
class FedPipe {
public:
    explicit FedPipe(const std::string& clip) {
        std::string pattern = (std::filesystem::temp_directory_path() / "kq-pipe-XXXXXX").string();
        m_folder = mkdtemp(pattern.data());
        mkfifo(Path().c_str(), 0600);
        m_writer = std::thread([this, clip] {
            std::ifstream source(Clip(clip), std::ios::binary);
            std::ofstream(Path(), std::ios::binary) << source.rdbuf();
        });
    }
    ~FedPipe() {
        m_writer.join();
        std::filesystem::remove_all(m_folder);
    }
    FedPipe(const FedPipe&) = delete;
    FedPipe& operator=(const FedPipe&) = delete;

    std::string Path() const { return m_folder + "/pipe"; }

private:
    std::string m_folder;
    std::thread m_writer;
};

TEST(Pipes, PlayPicturesAndSound) {
    FedPipe pipe("program.mpg");
    OpenedFile whole(Clip("program.mpg"));
    OpenedFile file(pipe.Path());
    ASSERT_NE(file.File().video, nullptr);
    ASSERT_NE(file.File().audio, nullptr);
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

TEST(Pipes, AStreamGivenBackDoesNotStopTheOther) {
    FedPipe pipe("program.mpg");
    OpenedFile file(pipe.Path());
    file.File().audio->Release();
    file.File().audio = nullptr;
    EXPECT_EQ(PlayThrough(file.Video()).size(), 100U);
}

TEST(Pipes, ThatFallSilentDoNotHoldUpTheEnd) {
    std::string pattern = (std::filesystem::temp_directory_path() / "kq-pipe-XXXXXX").string();
    const std::string folder = mkdtemp(pattern.data());
    const std::string path = folder + "/pipe";
    mkfifo(path.c_str(), 0600);
    const int end = open(path.c_str(), O_RDWR); // stays open, so that no reader sees an end
    std::thread feeder([end] {
        std::ifstream source(Clip("matroska.mkv"), std::ios::binary);
        const std::string content(std::istreambuf_iterator<char>(source), {});
        EXPECT_EQ(write(end, content.data(), content.size()), static_cast<ssize_t>(content.size()));
    });
    {
        OpenedFile file(path);
        for (int i = 0; i < 80; ++i) {
            EXPECT_GT(file.Video().NextFrame(), 0);
            file.Audio().NextFrame();
        }
        // The twenty pictures left do not fill the queue: the decoder waits for more.
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
    } // the test hangs here if a stream waits for data for ever
    feeder.join();
    close(end);
    std::filesystem::remove_all(folder);
}

} // namespace
} // namespace kq::streams::test
