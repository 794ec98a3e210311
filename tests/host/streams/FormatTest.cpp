// Pictures: what they look like and what is said about them.
#include "StreamTest.h"

#include <array>
#include <cstdio>
#include <memory>

namespace kq::streams::test {
namespace {

/// What the ffmpeg command line tool makes of a clip: all its pictures as planar 4:2:0.
std::string ReferencePixels(const std::string& clip) {
    const std::string command = "ffmpeg -nostdin -v quiet -i '" + Clip(clip) +
                                "' -map 0:v -vsync passthrough -pix_fmt yuv420p -f rawvideo -";
    const std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(command.c_str(), "r"), pclose);
    std::string pixels;
    std::array<char, 65536> buffer;
    while (const std::size_t count = std::fread(buffer.data(), 1, buffer.size(), pipe.get())) {
        pixels.append(buffer.data(), count);
    }
    return pixels;
}

TEST(Pictures, AreThoseOfTheCommandLineTool) {
    for (const char* clip :
         {"bframes.mp4", "opengop.mp4", "editlist.mp4", "rotated.mp4", "program.mpg", "theora.ogg"}) {
        OpenedFile file(Clip(clip));
        std::string pixels;
        do {
            pixels += PixelsOf(*file.Video().GetCurrentFrame());
        } while (file.Video().NextFrame() > 0);
        EXPECT_TRUE(pixels == ReferencePixels(clip)) << clip;
    }
}

TEST(Pictures, OfDecodersAreNotCopied) {
    OpenedFile file(Clip("bframes.mp4"));
    const MEDIA_FRAME* frame = file.Video().GetCurrentFrame();
    EXPECT_EQ(frame->nKind, KQ_PICTURE_PLANAR_YUV);
    EXPECT_GT(frame->image.nPitchY, frame->image.nWidth) << "the decoder pads its rows";
    EXPECT_EQ(frame->image.pA, nullptr);
}

TEST(Pictures, OfAnyKindBecomeVideoRangePlanesByBt601) {
    const struct {
        const char* clip;
        int width, height;
        int y, u, v;
        const char* filter = "";
    } cases[] = {
        {"one.mkv", 1, 1, 81, 90, 240},
        {"odd.mkv", 3, 5, 41, 240, 110},
        {"still-rgb24.png", 31, 17, 235, 128, 128},
        {"still-rgba.png", 31, 17, 235, 128, 128},
        {"still-gray.png", 31, 17, 235, 128, 128},
        {"still-pal8.png", 31, 17, 235, 128, 128},
        {"still.jpg", 32, 16, 235, 128, 128},
        {"fullrange.avi", 96, 64, 235, 128, 128},
        {"bt709.mkv", 96, 64, 41, 240, 110},
        {"bt2020.mkv", 96, 64, 41, 240, 110},
        {"smpte240m.mkv", 7, 5, 41, 240, 110},
        {"wide.mkv", 1280, 16, 41, 240, 110},
        {"narrow.mkv", 1278, 16, 41, 240, 110},
        {"wide.mkv", 1280, 16, 41, 240, 110, "null"},
        {"wide.mkv", 1280, 16, 41, 240, 110, "format=gbrp"},
        {"wide.mkv", 1280, 16, 41, 240, 110, "format=gbrp,format=yuv420p"},
    };
    for (const auto& expected : cases) {
        SCOPED_TRACE(std::string(expected.clip) + " " + expected.filter);
        OpenedFile file(Clip(expected.clip), Filtered(expected.filter));
        const MEDIA_FRAME* frame = file.Video().GetCurrentFrame();
        ASSERT_NE(frame, nullptr);
        const tagYUVImage& image = frame->image;
        EXPECT_EQ(image.nWidth, expected.width);
        EXPECT_EQ(image.nHeight, expected.height);
        const std::string pixels = PixelsOf(*frame);
        const auto luma =
            static_cast<std::size_t>(expected.width) * static_cast<std::size_t>(expected.height);
        const std::size_t chroma = (pixels.size() - luma) / 2;
        for (std::size_t i = 0; i < pixels.size(); ++i) {
            const int want = i < luma ? expected.y : i < luma + chroma ? expected.u : expected.v;
            ASSERT_NEAR(static_cast<std::uint8_t>(pixels[i]), want, 2) << "byte " << i;
        }
    }
}

TEST(Pictures, MayChangeTheirSizeOnTheWay) {
    OpenedFile file(Clip("changing.ts"));
    int small = 0;
    int large = 0;
    do {
        const MEDIA_FRAME* frame = file.Video().GetCurrentFrame();
        small += frame->image.nWidth == 64 && frame->image.nHeight == 48 ? 1 : 0;
        large += frame->image.nWidth == 96 && frame->image.nHeight == 80 ? 1 : 0;
        EXPECT_EQ(static_cast<int>(PixelsOf(*frame).size()),
                  frame->image.nWidth * frame->image.nHeight * 3 / 2);
    } while (file.Video().NextFrame() > 0);
    EXPECT_GE(small, 24);
    EXPECT_GE(large, 24);
}

TEST(VideoFormats, SayWhatIsShown) {
    const struct {
        const char* clip;
        const char* codec;
        int width, height;
        double rate;
        int frames;
        int aspectX, aspectY;
    } cases[] = {
        {"bframes.mp4", "h264 (High)", 160, 120, 25, 100, 4, 3},
        {"anamorphic.mp4", "h264 (High)", 96, 64, 25, 50, 2, 1},
        {"rotated.mp4", "h264 (High)", 120, 160, 25, 100, 3, 4},
        {"opengop.ts", "h264 (High)", 160, 120, 25, 100, 4, 3},
        {"matroska.mkv", "h264 (High)", 160, 120, 25, 100, 4, 3},
        {"program.mpg", "mpeg2video (Main)", 160, 120, 25, 100, 4, 3},
        {"vfr.mkv", "h264 (High)", 160, 120, 25, 100, 4, 3},
        {"still-rgb24.png", "png", 31, 17, 25, 1, 31, 17},
    };
    for (const auto& expected : cases) {
        SCOPED_TRACE(expected.clip);
        OpenedFile file(Clip(expected.clip));
        const VIDEO_STREAM_INFO format = VideoFormat(file.Video());
        EXPECT_EQ(format.nWidth, expected.width);
        EXPECT_EQ(format.nHeight, expected.height);
        EXPECT_DOUBLE_EQ(format.dFrameRate, expected.rate);
        EXPECT_EQ(format.nFrameCount, expected.frames);
        EXPECT_EQ(format.nAspectX, expected.aspectX);
        EXPECT_EQ(format.nAspectY, expected.aspectY);
        const MediaFacts& facts = file.File().facts;
        EXPECT_EQ(facts.videoCodec, expected.codec);
        EXPECT_NEAR(facts.duration, expected.frames / expected.rate, 0.05);
    }
}

TEST(VideoFormats, CoverPicturesAreNoVideo) {
    OpenedFile file(Clip("cover.mp3"));
    EXPECT_EQ(file.File().video, nullptr);
    EXPECT_NE(file.File().audio, nullptr);
}

} // namespace
} // namespace kq::streams::test
