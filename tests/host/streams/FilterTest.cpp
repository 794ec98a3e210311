// Pictures through FFmpeg's filters.
#include "StreamTest.h"

#include <cstdint>
#include <random>

namespace kq::streams::test {
namespace {

TEST(Filters, ThatDoNothingChangeNothing) {
    for (const char* clip :
         {"bframes.mp4", "rotated.mp4", "deep422.mkv", "vfr.mkv", "odd.mkv", "fullrange.avi",
          "anamorphic.mp4", "changing.ts", "relayout.ts", "rotated-422.mp4"}) {
        const std::vector<Shot> plain = AllShots(clip);
        for (const char* graph :
             {"null", "copy", "vflip,vflip", "[in]split[a][b];[a]nullsink;[b]null[out]"}) {
            EXPECT_EQ(AllShots(clip, graph), plain) << clip << " through " << graph;
        }
    }
}

/// @return the planes mirrored and inverted as asked for
std::string Treated(const MEDIA_FRAME& frame, bool mirror, bool invert) {
    const int width = frame.image.nWidth, chromaWidth = (width + 1) / 2;
    const auto luma = static_cast<std::size_t>(width) * static_cast<std::size_t>(frame.image.nHeight);
    std::string pixels = PixelsOf(frame);
    for (std::size_t at = 0; mirror && at < pixels.size();) {
        const auto row = static_cast<std::ptrdiff_t>(at < luma ? width : chromaWidth);
        const auto begin = pixels.begin() + static_cast<std::ptrdiff_t>(at);
        std::reverse(begin, begin + row);
        at += static_cast<std::size_t>(row);
    }
    for (char& value : pixels) {
        value = static_cast<char>(invert ? 255 - static_cast<std::uint8_t>(value) : value);
    }
    return pixels;
}

TEST(Filters, TreatThePicturesOnShow) {
    const struct {
        const char* graph;
        bool mirror, invert;
    } cases[] = {{"hflip", true, false}, {"negate", false, true}, {"hflip,negate", true, true}};
    for (const char* clip : {"bframes.mp4", "rotated.mp4"}) {
        for (const auto& expected : cases) {
            OpenedFile plain(Clip(clip));
            const OpenedFollower after(clip, plain.Video(), expected.graph);
            for (const double time : {0.0, 1.0, 3.96, 0.52}) {
                plain.Video().Seek(time, 1);
                const MEDIA_FRAME* before = plain.Video().GetCurrentFrame();
                EXPECT_TRUE(PixelsOf(*after.Video().GetCurrentFrame()) ==
                            Treated(*before, expected.mirror, expected.invert))
                    << clip << " through " << expected.graph << " at " << time;
            }
        }
    }
}

TEST(Filters, OfOtherFormatsMeanTheSame) {
    const struct {
        const char* graph;
        std::int32_t kind; ///< -1: as before
        std::int32_t range = KQ_RANGE_LIMITED;
        bool plain = false;
    } cases[] = {
        {"format=rgb24", KQ_PICTURE_PLANAR_YUV},
        {"format=yuv444p10", KQ_PICTURE_PLANAR_444_10},
        {"format=nv12", KQ_PICTURE_NV12},
        {"scale=out_range=full", -1, KQ_RANGE_FULL},
        {"format=yuvj422p", KQ_PICTURE_PLANAR_422, KQ_RANGE_FULL},
        {"format=yuvj422p", KQ_PICTURE_PLANAR_YUV, KQ_RANGE_LIMITED, true},
    };
    for (const char* clip : {"bframes.mp4", "h264-422-10.mkv"}) {
        for (const auto& expected : cases) {
            SCOPED_TRACE(std::string(clip) + " through " + expected.graph);
            OpenedFile plain(Clip(clip));
            OpenOptions options = Filtered(expected.graph);
            options.plainPictures = expected.plain;
            const OpenedFile after(Clip(clip), options, &plain.Video());
            const MEDIA_FRAME& before = *plain.Video().GetCurrentFrame();
            const MEDIA_FRAME& treated = *after.Video().GetCurrentFrame();
            EXPECT_EQ(treated.nKind, expected.kind >= 0 ? expected.kind : before.nKind);
            EXPECT_EQ(ColourOf(treated).nRange, expected.range);
            double difference = 0;
            for (int y = 0; y < before.image.nHeight; ++y) {
                for (int x = 0; x < before.image.nWidth; ++x) {
                    for (std::size_t i = 0; i < 3; ++i) {
                        difference += std::abs(std::clamp(RgbAt(before, x, y)[i], 0.0, 255.0) -
                                               std::clamp(RgbAt(treated, x, y)[i], 0.0, 255.0));
                    }
                }
            }
            EXPECT_LT(difference / (3.0 * before.image.nWidth * before.image.nHeight), 5);
        }
    }
}

TEST(Filters, AreBuiltAnewForAnotherLayout) {
    OpenedFile file(Clip("relayout.ts"), Filtered("negate,format=yuv444p"));
    int pictures = 0;
    do {
        const MEDIA_FRAME& frame = *file.Video().GetCurrentFrame();
        ASSERT_EQ(frame.nKind, KQ_PICTURE_PLANAR_444);
        const std::array<double, 3> rgb = RgbAt(frame, 60, 44);
        ASSERT_NEAR(rgb[0] - rgb[2], -210, 60) << "red, inverted, in picture " << pictures;
        ++pictures;
    } while (file.Video().NextFrame() > 0);
    EXPECT_GE(pictures, 48);
}

TEST(Filters, DescribeWhatComesOut) {
    const struct {
        const char* graph;
        int width, height;
        double rate;
        int frames;
        int aspectX, aspectY;
    } cases[] = {
        {"scale=80:60", 80, 60, 25, 100, 4, 3}, {"crop=40:120", 40, 120, 25, 100, 1, 3},
        {"transpose", 120, 160, 25, 100, 3, 4}, {"fps=50", 160, 120, 50, 200, 4, 3},
        {"setsar=2", 160, 120, 25, 100, 8, 3},
    };
    for (const auto& expected : cases) {
        OpenedFile file(Clip("bframes.mp4"), Filtered(expected.graph));
        const VIDEO_STREAM_INFO format = VideoFormat(file.Video());
        EXPECT_EQ(format.nWidth, expected.width) << expected.graph;
        EXPECT_EQ(format.nHeight, expected.height) << expected.graph;
        EXPECT_EQ(format.dFrameRate, expected.rate) << expected.graph;
        EXPECT_EQ(format.nFrameCount, expected.frames) << expected.graph;
        EXPECT_EQ(format.nAspectX * expected.aspectY, format.nAspectY * expected.aspectX) << expected.graph;
        EXPECT_EQ(file.Video().GetCurrentFrame()->image.nWidth, expected.width) << expected.graph;
        EXPECT_EQ(static_cast<int>(PlayThrough(file.Video()).size()), expected.frames) << expected.graph;
    }
}

class TemporalFilters : public testing::TestWithParam<const char*> {};

TEST_P(TemporalFilters, ShowTheSameWhereverASeekComesFrom) {
    OpenedFile file(Clip("opengop.mp4"), Filtered(GetParam()));
    const std::vector<Shot> shots = PlayThrough(file.Video());
    ASSERT_GT(shots.size(), 10U);
    std::mt19937 random(23);
    for (int i = 0; i < 30; ++i) {
        const std::size_t n = random() % shots.size();
        const double time = static_cast<double>(shots[n].time) / 1e7;
        ASSERT_DOUBLE_EQ(file.Video().Seek(time, static_cast<int>(random() % 2)), time);
        ASSERT_EQ(Look(file.Video()), shots[n]) << "sought " << time;
        if (n + 1 < shots.size()) {
            ASSERT_GT(file.Video().NextFrame(), 0);
            ASSERT_EQ(Look(file.Video()), shots[n + 1]) << "the one after " << time;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Graphs, TemporalFilters,
                         testing::Values("fps=10", "fps=60", "tinterlace", "setpts=PTS+1/TB",
                                         "setpts=PTS-0.5/TB", "setpts=0.5*PTS", "setpts=2*PTS",
                                         "setpts=PTS-STARTPTS", "select='not(mod(n,3))'", "framestep=4",
                                         "yadif", "reverse", "minterpolate=fps=50:mi_mode=blend", "trim=1:2",
                                         "drawbox=enable='gt(t,1)'"));

TEST(WrongGraphs, AreOneClearLineWithFfmpegsReason) {
    const struct {
        const char* graph;
        const char* reason;
    } cases[] = {
        {"nosuch", "No such filter: 'nosuch'"},
        {"hflip,,vflip", "No such filter: ''"},
        {" ", "No such filter: ''"},
        {"scale=abc", "Invalid size 'abc'"},
        {"scale=640:foo=1", "Option 'foo' not found"},
        {"hflip=1", "No option name near '1'"},
        {"[in]hflip[out", "Mismatched '['"},
        {"crop=9999:9999", "Invalid too big or non positive size for width '9998' or height '9998'"},
        {"split", "it has 1 open inputs and 2 open outputs, and needs one of each"},
        {"overlay", "it has 2 open inputs and 1 open outputs, and needs one of each"},
        {"color=red", "it has 0 open inputs and 1 open outputs, and needs one of each"},
        {"nullsink", "it has 1 open inputs and 0 open outputs, and needs one of each"},
        {"volume=2", "volume takes sound, and the graph is for pictures"},
        {"showvolume", "showvolume takes sound, and the graph is for pictures"},
    };
    OpenedFile reference(Clip("bframes.mp4"));
    for (const auto& expected : cases) {
        MediaFile file;
        std::string error;
        testing::internal::CaptureStderr();
        EXPECT_FALSE(OpenMediaFile(Clip("bframes.mp4"), Filtered(expected.graph), file, error));
        EXPECT_FALSE(
            OpenFollower(Clip("bframes.mp4"), reference.Video(), Filtered(expected.graph), file, error));
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
        const std::string line = "filter \"" + std::string(expected.graph) + "\": " + expected.reason;
        EXPECT_EQ(error.find(line), 0U) << error;
        EXPECT_EQ(error.find('\n'), std::string::npos) << error;
        EXPECT_EQ(file.video, nullptr);
        EXPECT_EQ(file.audio, nullptr);
    }
    EXPECT_EQ(reference.Log(), "");
}

} // namespace
} // namespace kq::streams::test
