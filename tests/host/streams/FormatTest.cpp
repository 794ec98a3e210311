// Pictures: what they look like and what is said about them.
#include "StreamTest.h"
#include "host/streams/Demuxer.h"
#include "host/streams/Orientation.h"
#include "host/streams/PictureConverter.h"
#include "host/streams/PictureLayout.h"
#include "tests/support/FakeStream.h"
#include "tests/support/Files.h"

extern "C" {
#include <libavutil/imgutils.h>
#include <libavutil/mastering_display_metadata.h>
}

#include <array>
#include <atomic>
#include <cstdio>
#include <memory>
#include <numeric>

namespace kq::streams::test {
namespace {

/// What the ffmpeg command line tool makes of a clip: all its pictures in a pixel format.
std::string ReferencePixels(const std::string& clip, const std::string& format) {
    const std::string command = "ffmpeg -nostdin -v quiet -i '" + Clip(clip) +
                                "' -map 0:v -vsync passthrough -pix_fmt " + format + " -f rawvideo -";
    const std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(command.c_str(), "r"), pclose);
    std::string pixels;
    std::array<char, 65536> buffer;
    while (const std::size_t count = std::fread(buffer.data(), 1, buffer.size(), pipe.get())) {
        pixels.append(buffer.data(), count);
    }
    return pixels;
}

std::string AllPixels(IMediaStream& video) {
    std::string pixels;
    do {
        pixels += PixelsOf(*video.GetCurrentFrame());
    } while (video.NextFrame() > 0);
    return pixels;
}

constexpr Colour plainColour;

Colour Described(std::int32_t matrix, std::int32_t range = KQ_RANGE_LIMITED,
                 std::int32_t transfer = KQ_TRANSFER_SDR, std::int32_t mastering = 0,
                 std::int32_t content = 0) {
    return {matrix, range, transfer, mastering, content};
}

TEST(Pictures, AreThoseOfTheDecoder) {
    const Colour hd = Described(KQ_MATRIX_BT709);
    const Colour pq = Described(KQ_MATRIX_BT2020, KQ_RANGE_LIMITED, KQ_TRANSFER_PQ);
    const struct {
        const char* clip;
        const char* format;
        std::int32_t kind;
        Colour colour = plainColour;
        const char* filter = "";
    } cases[] = {
        {"bframes.mp4", "yuv420p", KQ_PICTURE_PLANAR_YUV},
        {"editlist.mp4", "yuv420p", KQ_PICTURE_PLANAR_YUV},
        {"rotated.mp4", "yuv420p", KQ_PICTURE_PLANAR_YUV},
        {"program.mpg", "yuv420p", KQ_PICTURE_PLANAR_YUV},
        {"theora.ogg", "yuv420p", KQ_PICTURE_PLANAR_YUV},
        {"vp9.webm", "yuv420p", KQ_PICTURE_PLANAR_YUV},
        {"bt709.mkv", "yuv420p", KQ_PICTURE_PLANAR_YUV, hd},
        {"wide.mkv", "yuv420p", KQ_PICTURE_PLANAR_YUV, hd},
        {"narrow.mkv", "yuv420p", KQ_PICTURE_PLANAR_YUV},
        {"smpte240m.mkv", "yuv420p", KQ_PICTURE_PLANAR_YUV, Described(KQ_MATRIX_SMPTE240M)},
        {"fullrange.avi", "yuvj420p", KQ_PICTURE_PLANAR_YUV, Described(KQ_MATRIX_BT601, KQ_RANGE_FULL)},
        {"bt2020.mkv", "yuv422p10le", KQ_PICTURE_PLANAR_422_10, Described(KQ_MATRIX_BT2020)},
        {"deep422.mkv", "yuv422p10le", KQ_PICTURE_PLANAR_422_10},
        {"odd.mkv", "yuv444p", KQ_PICTURE_PLANAR_444},
        {"h264-422-10.mkv", "yuv422p10le", KQ_PICTURE_PLANAR_422_10, hd},
        {"h264-444-full.mp4", "yuvj444p", KQ_PICTURE_PLANAR_444, Described(KQ_MATRIX_BT709, KQ_RANGE_FULL)},
        {"rotated-444-10.mp4", "yuv444p10le", KQ_PICTURE_PLANAR_444_10},
        {"rotated-422.mp4", "yuv444p", KQ_PICTURE_PLANAR_444},
        {"av1-10.mkv", "yuv420p10le", KQ_PICTURE_PLANAR_420_10},
        {"prores.mov", "yuv422p10le", KQ_PICTURE_PLANAR_422_10},
        {"dnxhd.mov", "yuv422p", KQ_PICTURE_PLANAR_422, hd},
        {"mpeg2-422.ts", "yuv422p", KQ_PICTURE_PLANAR_422},
        {"mjpeg-422.avi", "yuvj422p", KQ_PICTURE_PLANAR_422, Described(KQ_MATRIX_BT601, KQ_RANGE_FULL)},
        {"nv12.nut", "nv12", KQ_PICTURE_NV12},
        {"nv12.nut", "p010le", KQ_PICTURE_P010, plainColour, "format=p010le"},
        {"hdr.mp4", "yuv420p10le", KQ_PICTURE_PLANAR_420_10,
         Described(KQ_MATRIX_BT2020, KQ_RANGE_LIMITED, KQ_TRANSFER_PQ, 1000, 400)},
        {"hdr.mp4", "yuv420p10le", KQ_PICTURE_PLANAR_420_10,
         Described(KQ_MATRIX_BT2020, KQ_RANGE_LIMITED, KQ_TRANSFER_PQ, 1000, 400), "null"},
        {"hdr-plain.mp4", "yuv420p10le", KQ_PICTURE_PLANAR_420_10, pq},
        {"hlg.mp4", "yuv420p10le", KQ_PICTURE_PLANAR_420_10,
         Described(KQ_MATRIX_BT2020, KQ_RANGE_LIMITED, KQ_TRANSFER_HLG)},
    };
    for (const auto& expected : cases) {
        SCOPED_TRACE(std::string(expected.clip) + " " + expected.filter);
        OpenedFile file(Clip(expected.clip), Filtered(expected.filter));
        const OpenedFollower follower(expected.clip, file.Video(), expected.filter);
        for (IMediaStream* video : {&follower.Video(), &file.Video()}) {
            const MEDIA_FRAME& frame = *video->GetCurrentFrame();
            EXPECT_EQ(frame.nKind, expected.kind);
            EXPECT_TRUE(ColourOf(frame) == expected.colour);
            EXPECT_EQ(frame.reserved[0] == 0, expected.colour == plainColour)
                << "nothing new about plain frames";
            EXPECT_EQ(frame.image.pA, nullptr);
        }
        EXPECT_TRUE(AllPixels(file.Video()) == ReferencePixels(expected.clip, expected.format));
    }
}

TEST(Pictures, OfDecodersAreNotCopied) {
    for (const char* clip : {"bframes.mp4", "h264-422-10.mkv", "hdr.mp4"}) {
        OpenedFile file(Clip(clip));
        const tagYUVImage& image = file.Video().GetCurrentFrame()->image;
        const int rowBytes = image.nWidth * LayoutOf(file.Video().GetCurrentFrame()->nKind).sampleBytes;
        EXPECT_GE(image.nPitchY, rowBytes + 16) << "the decoder pads its rows: " << clip;
    }
}

/// What frames have no kind for, and what is read from the size or by a guess.
struct ColourCase {
    const char* clip;
    std::int32_t kind;
    double red, green, blue;
    const char* notice = "";
    const char* filter = "";
    double tolerance = 3;
};

constexpr ColourCase colourCases[] = {
    {"one.mkv", KQ_PICTURE_PLANAR_YUV, 255, 0, 0, "bgr0 is brought to yuv420p"},
    {"odd.mkv", KQ_PICTURE_PLANAR_444, 0, 0, 255},
    {"still-rgb24.png", KQ_PICTURE_PLANAR_YUV, 255, 255, 255, "rgb24 is brought to yuv420p"},
    {"still-rgba.png", KQ_PICTURE_PLANAR_YUV, 255, 255, 255, "alpha is left out"},
    {"still-gray.png", KQ_PICTURE_PLANAR_YUV, 255, 255, 255, "gray is brought to yuv420p"},
    {"still-pal8.png", KQ_PICTURE_PLANAR_YUV, 255, 255, 255, "pal8 is brought to yuv420p"},
    {"still.jpg", KQ_PICTURE_PLANAR_444, 255, 255, 255},
    {"bt709.mkv", KQ_PICTURE_PLANAR_YUV, 0, 0, 255},
    {"bt2020.mkv", KQ_PICTURE_PLANAR_422_10, 0, 0, 255},
    {"smpte240m.mkv", KQ_PICTURE_PLANAR_YUV, 0, 0, 255},
    {"wide.mkv", KQ_PICTURE_PLANAR_YUV, 0, 0, 255},
    {"wide.mkv", KQ_PICTURE_PLANAR_YUV, 0, 0, 255, "", "null"},
    {"wide.mkv", KQ_PICTURE_PLANAR_YUV, 0, 0, 255, "gbrp is brought to yuv420p", "format=gbrp"},
    {"wide.mkv", KQ_PICTURE_PLANAR_YUV, 0, 0, 255, "", "format=gbrp,format=yuv420p"},
    {"rest-yuv420p12.mkv", KQ_PICTURE_PLANAR_420_10, 255, 165, 0, "yuv420p12le is brought to yuv420p10le"},
    {"rest-yuv422p16.mkv", KQ_PICTURE_PLANAR_422_10, 255, 165, 0, "yuv422p16le is brought to yuv422p10le"},
    {"rest-yuv411p.mkv", KQ_PICTURE_PLANAR_422, 255, 165, 0, "yuv411p is brought to yuv422p"},
    {"rest-yuv410p.mkv", KQ_PICTURE_PLANAR_YUV, 255, 165, 0, "yuv410p is brought to yuv420p"},
    {"rest-yuv440p.mkv", KQ_PICTURE_PLANAR_444, 255, 165, 0, "yuv440p is brought to yuv444p"},
    {"rest-yuva420p.mkv", KQ_PICTURE_PLANAR_YUV, 255, 165, 0, "alpha is left out"},
    {"rest-yuva444p10.mkv", KQ_PICTURE_PLANAR_444_10, 255, 165, 0, "alpha is left out"},
    {"rest-gbrp10.mkv", KQ_PICTURE_PLANAR_YUV, 255, 165, 0, "gbrp10le is brought to yuv420p"},
    {"rest-gray.mkv", KQ_PICTURE_PLANAR_YUV, 165, 165, 165, "gray is brought to yuv420p"},
    {"rest-gray10.mkv", KQ_PICTURE_PLANAR_420_10, 165, 165, 165, "gray10le is brought to yuv420p10le"},
    {"rest-yuyv422.nut", KQ_PICTURE_PLANAR_422, 255, 165, 0, "yuyv422 is brought to yuv422p"},
    {"rest-nv21.nut", KQ_PICTURE_PLANAR_YUV, 255, 165, 0, "nv21 is brought to yuv420p"},
    {"rest-xyz12.nut", KQ_PICTURE_PLANAR_YUV, 255, 165, 0, "xyz12le is brought to yuv420p"},
    {"ycgco-yuv420p.mkv", KQ_PICTURE_PLANAR_YUV, 255, 165, 0},
    {"ycgco-yuv444p10.mkv", KQ_PICTURE_PLANAR_444_10, 255, 165, 0},
    {"unknown.mkv", KQ_PICTURE_PLANAR_YUV, 255, 165, 0, "the matrix ictcp is taken for BT.601"},
    {"unknown.mkv", KQ_PICTURE_PLANAR_YUV, 255, 165, 0, "the transfer linear is not converted", "null"},
};

TEST(Pictures, HaveTheColoursOfTheFile) {
    for (const ColourCase& expected : colourCases) {
        for (const bool plain : {false, true}) {
            SCOPED_TRACE(std::string(expected.clip) + " " + expected.filter + (plain ? " plain" : ""));
            OpenOptions options = Filtered(expected.filter);
            options.plainPictures = plain;
            OpenedFile file(Clip(expected.clip), options);
            const MEDIA_FRAME* frame = file.Video().GetCurrentFrame();
            ASSERT_NE(frame, nullptr);
            EXPECT_EQ(frame->nKind, plain ? KQ_PICTURE_PLANAR_YUV : expected.kind);
            EXPECT_FALSE(plain && ColourOf(*frame) != plainColour);
            const int right = frame->image.nWidth - 1, bottom = frame->image.nHeight - 1;
            for (const auto& [x, y] :
                 {std::pair(0, 0), {right, 0}, {right / 2, bottom / 2}, {right, bottom}}) {
                const std::array<double, 3> rgb = RgbAt(*frame, x, y);
                EXPECT_NEAR(rgb[0], expected.red, expected.tolerance) << x << " " << y;
                EXPECT_NEAR(rgb[1], expected.green, expected.tolerance) << x << " " << y;
                EXPECT_NEAR(rgb[2], expected.blue, expected.tolerance) << x << " " << y;
            }
            PlayThrough(file.Video());
            file.Video().Seek(0, 1);
            PlayThrough(file.Video());
            const std::string log = file.Log(), notice = expected.notice;
            if (!plain && notice.empty()) {
                EXPECT_EQ(log.find(": video: "), std::string::npos) << log;
            } else if (!plain) {
                EXPECT_NE(log.find(notice), std::string::npos) << log;
                EXPECT_EQ(log.find(notice), log.rfind(notice)) << "once: " << log;
            }
        }
    }
}

/// Copies a clip's video into Matroska, whose header then tells the peaks of all pictures.
void WriteWithPeaks(const std::string& clip, const std::string& path, int mastering, unsigned content) {
    const auto log = FileLog::Make(clip, {});
    std::string reason;
    const auto demuxer = Demuxer::Open(Clip(clip), log, reason);
    ASSERT_TRUE(demuxer) << reason;
    demuxer->Select(0);
    AVFormatContext* out = nullptr;
    ASSERT_GE(avformat_alloc_output_context2(&out, nullptr, "matroska", path.c_str()), 0);
    AVStream* stream = avformat_new_stream(out, nullptr);
    avcodec_parameters_copy(stream->codecpar, demuxer->Stream(0).codecpar);
    stream->codecpar->codec_tag = 0;
    stream->time_base = demuxer->Stream(0).time_base;
    auto* display = reinterpret_cast<AVMasteringDisplayMetadata*>(av_stream_new_side_data(
        stream, AV_PKT_DATA_MASTERING_DISPLAY_METADATA, sizeof(AVMasteringDisplayMetadata)));
    *display = *std::unique_ptr<AVMasteringDisplayMetadata, void (*)(void*)>(
        av_mastering_display_metadata_alloc(), av_free);
    display->has_luminance = 1;
    display->max_luminance = {mastering, 1};
    display->min_luminance = {1, 1000};
    auto* light = reinterpret_cast<AVContentLightMetadata*>(
        av_stream_new_side_data(stream, AV_PKT_DATA_CONTENT_LIGHT_LEVEL, sizeof(AVContentLightMetadata)));
    light->MaxCLL = content;
    light->MaxFALL = content / 2;
    ASSERT_GE(avio_open(&out->pb, path.c_str(), AVIO_FLAG_WRITE), 0);
    ASSERT_GE(avformat_write_header(out, nullptr), 0);
    const std::atomic<bool> cancelled{false};
    for (const PacketHandle packet(av_packet_alloc()); demuxer->Read(0, *packet, cancelled) == 0;) {
        packet->stream_index = 0;
        av_packet_rescale_ts(packet.get(), demuxer->Stream(0).time_base, stream->time_base);
        av_interleaved_write_frame(out, packet.get());
    }
    av_write_trailer(out);
    avio_closep(&out->pb);
    avformat_free_context(out);
}

TEST(Pictures, TellThePeaksThatTheContainerKnows) {
    const kq::test::TemporaryFolder folder;
    const struct {
        const char* clip;
        int mastering, content;
    } cases[] = {{"hdr-plain.mp4", 4000, 3000}, {"hdr.mp4", 1000, 400}, {"hlg.mp4", 0, 0}};
    for (const auto& expected : cases) { // what the pictures say themselves goes first
        WriteWithPeaks(expected.clip, folder / "peaks.mkv", 4000, 3000);
        OpenedFile file(folder / "peaks.mkv");
        do {
            const Colour colour = ColourOf(*file.Video().GetCurrentFrame());
            EXPECT_EQ(colour.nMasteringPeak, expected.mastering) << expected.clip;
            EXPECT_EQ(colour.nContentPeak, expected.content) << expected.clip;
        } while (file.Video().NextFrame() > 0);
    }
}

TEST(Pictures, AreDescribedInWords) {
    const struct {
        const char* clip;
        const char* text;
        bool plain = false;
    } cases[] = {
        {"bframes.mp4", "file: yuv420p, no matrix, no range; given as 4:2:0, 8 bits, BT.601, limited range"},
        {"wide.mkv", "file: yuv420p, no matrix, no range; given as 4:2:0, 8 bits, BT.709, limited range"},
        {"hdr.mp4",
         "file: yuv420p10le, bt2020nc, limited range, smpte2084, mastering display 1000 cd/m², content "
         "400 cd/m²; given as 4:2:0, 10 bits, BT.2020, limited range, PQ to be tone-mapped"},
        {"rotated-422.mp4",
         "file: yuv422p, no matrix, no range, turned; given as 4:4:4, 8 bits, BT.601, limited "
         "range"},
        {"h264-444-full.mp4",
         "file: yuvj444p, bt709, full range; given as 4:2:0, 8 bits, BT.601, limited range", true},
        {"rest-xyz12.nut", "file: xyz12le; given as 4:2:0, 8 bits, BT.601, limited range"},
    };
    for (const auto& expected : cases) {
        OpenOptions options;
        options.plainPictures = expected.plain;
        OpenedFile file(Clip(expected.clip), options);
        EXPECT_EQ(DescribePicture(file.Video()), expected.text);
        const OpenedFollower follower(expected.clip, file.Video(), "null");
        EXPECT_EQ(DescribePicture(follower.Video()).substr(0, 20), std::string(expected.text).substr(0, 20));
    }
    kq::test::FakeVideo foreign(1, 25);
    EXPECT_EQ(DescribePicture(foreign), "");
    EXPECT_EQ(DescribePicture(OpenedFile(Clip("noise.flac")).Audio()), "");
}

TEST(Pictures, MayChangeTheirSizeAndMeaningOnTheWay) {
    OpenedFile file(Clip("changing.ts"));
    int small = 0;
    int large = 0;
    do {
        const MEDIA_FRAME* frame = file.Video().GetCurrentFrame();
        const bool isFirstPart = frame->image.nWidth == 64;
        EXPECT_EQ(ColourOf(*frame).nMatrix, isFirstPart ? KQ_MATRIX_BT601 : KQ_MATRIX_BT709);
        EXPECT_EQ(DescribePicture(file.Video()).find("bt709") == std::string::npos, isFirstPart);
        small += frame->image.nWidth == 64 && frame->image.nHeight == 48 ? 1 : 0;
        large += frame->image.nWidth == 96 && frame->image.nHeight == 80 ? 1 : 0;
        EXPECT_EQ(static_cast<int>(PixelsOf(*frame).size()),
                  frame->image.nWidth * frame->image.nHeight * 3 / 2);
    } while (file.Video().NextFrame() > 0);
    EXPECT_EQ(small, 25);
    EXPECT_EQ(large, 25);
    EXPECT_NE(file.Log().find("the pictures change to 96x80"), std::string::npos) << file.Log();
}

TEST(Records, PointIntoThePlanes) {
    for (const AVPixelFormat format : {AV_PIX_FMT_YUV420P, AV_PIX_FMT_YUVJ422P, AV_PIX_FMT_YUVA444P,
                                       AV_PIX_FMT_NV12, AV_PIX_FMT_YUV420P10LE, AV_PIX_FMT_P010LE}) {
        FrameHandle picture(av_frame_alloc());
        picture->format = format;
        picture->width = 5;
        picture->height = 3;
        picture->buf[0] = av_buffer_alloc(1000);
        constexpr int pitches[] = {32, 24, 16};
        const int planes = format == AV_PIX_FMT_NV12 || format == AV_PIX_FMT_P010LE ? 2 : 3;
        for (int plane = 0; plane < planes; ++plane) {
            picture->data[plane] = picture->buf[0]->data + 200 * plane;
            picture->linesize[plane] = pitches[plane];
        }
        const std::uint8_t* const memory = picture->buf[0]->data;
        PictureConverter converter({}, false);
        const auto log = FileLog::Make("records", {});
        const FrameHandle converted = converter.Convert(std::move(picture), *log);
        ASSERT_TRUE(converted);
        const MEDIA_FRAME record = RecordOf(*converted, 70);
        EXPECT_EQ(record.llPTS, 70);
        EXPECT_EQ(record.image.nWidth, 5);
        EXPECT_EQ(record.image.nHeight, 3);
        EXPECT_EQ(record.image.pY, memory);
        EXPECT_EQ(record.image.pU, memory + 200);
        EXPECT_EQ(record.image.pV, planes == 3 ? memory + 400 : nullptr);
        EXPECT_EQ(record.image.nPitchY, 32);
        EXPECT_EQ(record.image.nPitchU, 24);
        EXPECT_EQ(record.image.nPitchV, planes == 3 ? 16 : 0);
    }
}

TEST(Records, CountTheMemoryOfTheirPictures) {
    for (const AVPixelFormat format :
         {AV_PIX_FMT_YUV420P, AV_PIX_FMT_YUV422P, AV_PIX_FMT_YUV444P, AV_PIX_FMT_NV12, AV_PIX_FMT_YUV420P10LE,
          AV_PIX_FMT_YUV444P10LE, AV_PIX_FMT_P010LE}) {
        FrameHandle picture(av_frame_alloc());
        picture->format = format;
        picture->width = 7;
        picture->height = 5;
        ASSERT_EQ(av_frame_get_buffer(picture.get(), 1), 0);
        EXPECT_EQ(static_cast<int>(BytesOf(*picture)), av_image_get_buffer_size(format, 7, 5, 1)) << format;
    }
}

TEST(Records, MayBeTurnedInUnitsOfAnySize) {
    std::array<std::uint8_t, 24> source{}; // three columns and two rows of up to four bytes
    std::iota(source.begin(), source.end(), std::uint8_t{0});
    for (const int bytes : {1, 2, 4}) {
        std::array<std::uint8_t, 40> target{};
        const PlaneView view{target.data(), 12, 2, 3, bytes};
        TurnPlane({true, true, false}, source.data(), 3 * bytes, view);
        for (int y = 0; y < 3; ++y) {
            for (int x = 0; x < 2; ++x) {
                for (int i = 0; i < bytes; ++i) {
                    const int from = ((1 - x) * 3 + y) * bytes + i;
                    EXPECT_EQ(target[static_cast<std::size_t>(y * 12 + x * bytes + i)], from) << bytes;
                }
            }
        }
    }
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
