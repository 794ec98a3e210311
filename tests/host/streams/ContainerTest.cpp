// What single containers make of times and of amounts of data.
#include "StreamTest.h"
#include "tests/support/Files.h"

extern "C" {
#include <libavutil/bswap.h>
#include <libavutil/crc.h>
}

#include <algorithm>
#include <chrono>
#include <fstream>
#include <map>
#include <thread>

namespace kq::streams::test {
namespace {

using namespace kq::test;

/// Puts empty packets before those of an Ogg file's sound, as some encoders do: on each page of the stream
/// from the third on, as many as fit.
std::string WithEmptyPackets(const std::string& ogg, std::size_t streamOrder) {
    constexpr std::size_t headerBytes = 27, checksumAt = 22, serialAt = 14, mostSegments = 255;
    std::string result;
    std::vector<std::string> serials;
    std::map<std::string, int> pages;
    for (std::size_t at = 0; at < ogg.size();) {
        const auto count = static_cast<unsigned char>(ogg[at + headerBytes - 1]);
        const std::string lacing = ogg.substr(at + headerBytes, count);
        std::size_t bodyBytes = 0;
        for (const char part : lacing) {
            bodyBytes += static_cast<unsigned char>(part);
        }
        std::string header = ogg.substr(at, headerBytes);
        const std::string serial = header.substr(serialAt, 4);
        if (pages[serial]++ == 0) {
            serials.push_back(serial);
        }
        std::string laced = lacing;
        const bool isSound =
            serials.size() > streamOrder && serial == serials[streamOrder] && pages[serial] > 2;
        for (std::size_t i = laced.size(); isSound && i-- > 1 && laced.size() + 3 <= mostSegments;) {
            if (laced[i - 1] != '\xFF') {
                laced.insert(i, i % 3, '\0');
            }
        }
        header[headerBytes - 1] = static_cast<char>(laced.size());
        header.replace(checksumAt, 4, 4, '\0');
        std::string page = header + laced + ogg.substr(at + headerBytes + count, bodyBytes);
        const std::uint32_t checksum =
            av_bswap32(av_crc(av_crc_get_table(AV_CRC_32_IEEE), 0,
                              reinterpret_cast<const std::uint8_t*>(page.data()), page.size()));
        for (std::size_t i = 0; i < 4; ++i) {
            page[checksumAt + i] = static_cast<char>(checksum >> (8 * i));
        }
        result += page;
        at += headerBytes + count + bodyBytes;
    }
    return result;
}

TEST(OggFiles, LoseNoSoundToEmptyPackets) {
    const TemporaryFolder folder;
    const std::string path =
        WriteFile(folder / "empty.ogg", WithEmptyPackets(ReadFile(Clip("theora.ogg")), 1));
    OpenedFile plain(Clip("theora.ogg"));
    OpenedFile laced(path);
    const std::vector<std::int16_t> expected = Listen(plain.Audio());
    EXPECT_EQ(Listen(laced.Audio()), expected);
    for (const double time : {1.5, 0.25, 0.0, 1.0}) {
        plain.Audio().Seek(time, 1);
        laced.Audio().Seek(time, 1);
        EXPECT_EQ(Listen(laced.Audio()), Listen(plain.Audio())) << time;
    }
    EXPECT_EQ(laced.Log(), "");
}

TEST(FineClocks, ATimeShortlyBeforeAFrameIsStillThatOfTheOneBefore) {
    for (const char* clip : {"theora.ogg", "bframes.mp4", "program.mpg"}) {
        OpenedFile file(Clip(clip));
        const std::vector<Shot> shots = PlayThrough(file.Video());
        for (const std::size_t n : {20U, 7U, 8U, 41U, 20U}) {
            const double time = static_cast<double>(shots[n].time) / 1e7;
            file.Video().Seek(time - 2e-5, 1);
            EXPECT_EQ(Look(file.Video()), shots[n - 1]) << clip << " before " << time;
            file.Video().Seek(time, 1);
            EXPECT_EQ(Look(file.Video()), shots[n]) << clip << " " << time;
        }
    }
}

/// More than may wait for a stream that is not read, in a file that takes no room on the disk: all pictures
/// are green, and the last row of each tells its number.
TEST(LargeFiles, GiveEveryPicture) {
    constexpr int width = 1272, height = 576, count = 66;
    constexpr std::streamoff bytes = width * height * 3 / 2;
    const TemporaryFolder folder;
    const std::string path = folder / "large.y4m";
    std::ofstream out(path, std::ios::binary);
    out << "YUV4MPEG2 W" << width << " H" << height << " F25:1 Ip A1:1 C420mpeg2\n";
    for (int n = 0; n < count; ++n) {
        out << "FRAME\n";
        const std::streamoff begin = out.tellp();
        out.seekp(begin + width * height - 1).put(static_cast<char>(16 + n));
        out.seekp(begin + bytes - 1).put('\0');
    }
    out.close();
    OpenedFile file(path);
    for (int round = 0; round < 2; ++round) {
        for (int n = 0; n < count; ++n) {
            const MEDIA_FRAME& frame = *file.Video().GetCurrentFrame();
            const tagYUVImage& image = frame.image;
            ASSERT_EQ(frame.llPTS, n * 400'000);
            ASSERT_EQ(image.pY[std::ptrdiff_t{height - 1} * image.nPitchY + width - 1], 16 + n);
            EXPECT_EQ(file.Video().NextFrame(), n + 1 < count ? 1 : 0);
        }
        file.Video().Seek(0, 1);
    }
}

/// Its sound begins a second after its pictures, which is more than the queue holds.
TEST(LateSound, IsNotSilentAfterASeekOutOfTheSilence) {
    OpenedFile file(Clip("latesound.mkv"));
    for (const double time : {2.0, 0.0, 3.0}) {
        std::this_thread::sleep_for(std::chrono::milliseconds(100)); // until the queue is full
        file.Audio().Seek(time, 1);
        const MEDIA_FRAME& frame = *file.Audio().GetCurrentFrame();
        const auto* samples = reinterpret_cast<const std::int16_t*>(frame.image.pU);
        const bool isSilent = std::all_of(samples, samples + frame.image.nAudioLength / 2,
                                          [](std::int16_t sample) { return sample == 0; });
        EXPECT_EQ(isSilent, time == 0) << time;
    }
}

TEST(OpenGroups, AreNoDamageToASeek) {
    for (const char* clip : {"opengop.mp4", "opengop.ts", "hevc.mp4"}) {
        OpenedFile file(Clip(clip));
        for (const double time : {1.93, 1.0, 0.5, 1.44, 0.96, 0.0, 1.9}) {
            for (const int mode : {0, 1}) {
                file.Video().Seek(time, mode);
                for (int step = 0; step < 5; ++step) {
                    file.Video().NextFrame();
                }
            }
        }
        EXPECT_EQ(file.Log().find("left out"), std::string::npos) << file.Log();
    }
}

} // namespace
} // namespace kq::streams::test
