// Pictures as no usual file has them: every pixel format, unknown values, and changes from one to the next.
#include "StreamTest.h"
#include "host/streams/PictureConverter.h"
#include "host/streams/PictureLayout.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

#include <algorithm>
#include <string>
#include <vector>

namespace kq::streams::test {
namespace {

using Rgb = std::array<double, 3>;
constexpr Rgb orange = {255, 165, 0};

FrameHandle Empty(int format, int width, int height) {
    FrameHandle picture(av_frame_alloc());
    picture->format = format;
    picture->width = width;
    picture->height = height;
    EXPECT_EQ(av_frame_get_buffer(picture.get(), 0), 0);
    return picture;
}

/// @return an orange picture, in BT.601 and limited range unless the format says otherwise
FrameHandle Orange(int format, int width, int height) {
    constexpr int least = 32; // the scaler spoils what is smaller or odd
    const int columns = std::max((width + 3) / 4 * 4, least), rows = std::max((height + 3) / 4 * 4, least);
    const FrameHandle source = Empty(AV_PIX_FMT_RGB24, columns, rows);
    for (int i = 0; i < 3 * columns * rows; ++i) {
        source->data[0][i / 3 / columns * source->linesize[0] + i % (3 * columns)] =
            static_cast<std::uint8_t>(orange[static_cast<std::size_t>(i % 3)]);
    }
    const FrameHandle large = Empty(format, columns, rows);
    const ScalerHandle scaler(sws_getContext(columns, rows, AV_PIX_FMT_RGB24, columns, rows,
                                             static_cast<AVPixelFormat>(format), SWS_POINT | SWS_ACCURATE_RND,
                                             nullptr, nullptr, nullptr));
    EXPECT_TRUE(scaler);
    sws_scale(scaler.get(), source->data, source->linesize, 0, rows, large->data, large->linesize);
    FrameHandle picture = Empty(format, width, height);
    large->width = width;
    large->height = height;
    EXPECT_GE(av_frame_copy(picture.get(), large.get()), 0);
    return picture;
}

bool CanBeMade(const AVPixFmtDescriptor& descriptor) {
    const AVPixelFormat format = av_pix_fmt_desc_get_id(&descriptor);
    return sws_isSupportedInput(format) != 0 && sws_isSupportedOutput(format) != 0;
}

/// What came of a picture, and what was said about it.
struct Conversion {
    FrameHandle picture;
    MEDIA_FRAME record{};
};

class Converting {
public:
    explicit Converting(bool plain) : m_converter({}, plain) {}

    Conversion Convert(FrameHandle picture) {
        Conversion result;
        result.picture = m_converter.Convert(std::move(picture), *m_log);
        if (result.picture) {
            result.record = RecordOf(*result.picture, 0);
        }
        return result;
    }
    const std::vector<std::string>& Lines() const { return m_lines; }

private:
    std::vector<std::string> m_lines;
    std::shared_ptr<FileLog> m_log =
        FileLog::Make("picture", [this](const std::string& line) { m_lines.push_back(line); });
    PictureConverter m_converter;
};

void ExpectColour(const MEDIA_FRAME& frame, const Rgb& expected, double tolerance) {
    const int right = frame.image.nWidth - 1, bottom = frame.image.nHeight - 1;
    for (const auto& [x, y] : {std::pair(0, 0), {right, 0}, {right / 2, bottom / 2}, {right, bottom}}) {
        const Rgb rgb = RgbAt(frame, x, y);
        for (std::size_t i = 0; i < 3; ++i) {
            EXPECT_NEAR(rgb[i], expected[i], tolerance) << x << " " << y << " channel " << i;
        }
    }
}

TEST(PixelFormats, AllComeWithTheirColour) {
    int formats = 0;
    for (const AVPixFmtDescriptor* descriptor = av_pix_fmt_desc_next(nullptr); descriptor != nullptr;
         descriptor = av_pix_fmt_desc_next(descriptor)) {
        if (!CanBeMade(*descriptor)) {
            continue;
        }
        ++formats;
        const AVPixelFormat format = av_pix_fmt_desc_get_id(descriptor);
        const bool isGray = descriptor->nb_components < 3 && (descriptor->flags & AV_PIX_FMT_FLAG_PAL) == 0;
        int bits = descriptor->comp[0].depth;
        for (int i = 1; i < std::min<int>(descriptor->nb_components, 3); ++i) {
            bits = std::min(bits, descriptor->comp[i].depth);
        }
        const double tolerance = bits == 1 ? 255
                                 : isGray  ? 9
                                           : 5 + (bits < 8 ? 255.0 / ((1 << bits) - 1) : 0);
        for (const auto& [width, height] : {std::pair(34, 20), {33, 21}, {7, 5}, {1, 1}}) {
            for (const bool plain : {false, true}) {
                SCOPED_TRACE(std::string(descriptor->name) + " " + std::to_string(width) +
                             (plain ? " plain" : ""));
                Converting converting(plain);
                const Conversion made = converting.Convert(Orange(format, width, height));
                ASSERT_TRUE(made.picture);
                EXPECT_EQ(made.record.image.nWidth, width);
                EXPECT_EQ(made.record.image.nHeight, height);
                EXPECT_LE(converting.Lines().size(),
                          (descriptor->flags & AV_PIX_FMT_FLAG_ALPHA) != 0 ? 2u : 1u);
                ExpectColour(made.record, isGray ? Rgb{173, 173, 173} : orange, tolerance);
            }
        }
    }
    EXPECT_GT(formats, 120);
}

TEST(PixelFormats, UnknownValuesGetTheNearestReadingAndOneNotice) {
    const struct {
        AVColorSpace matrix;
        AVColorRange range;
        AVColorTransferCharacteristic transfer;
        AVColorPrimaries primaries;
        Colour colour;
        const char* notice = nullptr;
    } cases[] = {
        {AVCOL_SPC_UNSPECIFIED, AVCOL_RANGE_UNSPECIFIED, AVCOL_TRC_UNSPECIFIED, AVCOL_PRI_UNSPECIFIED, {}},
        {AVCOL_SPC_RGB, AVCOL_RANGE_NB, AVCOL_TRC_RESERVED, AVCOL_PRI_RESERVED, {}},
        {AVCOL_SPC_FCC, AVCOL_RANGE_JPEG, AVCOL_TRC_BT709, AVCOL_PRI_NB, {KQ_MATRIX_BT601, KQ_RANGE_FULL}},
        {AVCOL_SPC_NB,
         AVCOL_RANGE_MPEG,
         AVCOL_TRC_BT709,
         AVCOL_PRI_NB,
         {},
         "the matrix unknown is taken for BT.601"},
        {AVCOL_SPC_NB,
         AVCOL_RANGE_MPEG,
         AVCOL_TRC_BT709,
         AVCOL_PRI_BT2020,
         {KQ_MATRIX_BT2020},
         "the matrix unknown is taken for BT.2020"},
        {AVCOL_SPC_BT2020_CL,
         AVCOL_RANGE_MPEG,
         AVCOL_TRC_BT2020_10,
         AVCOL_PRI_BT709,
         {KQ_MATRIX_BT2020},
         "the matrix bt2020c is taken for BT.2020"},
        {AVCOL_SPC_CHROMA_DERIVED_NCL,
         AVCOL_RANGE_MPEG,
         AVCOL_TRC_BT709,
         AVCOL_PRI_BT709,
         {},
         "the matrix chroma-derived-nc is taken for BT.601"},
        {AVCOL_SPC_SMPTE170M,
         AVCOL_RANGE_MPEG,
         AVCOL_TRC_NB,
         AVCOL_PRI_BT709,
         {},
         "the transfer unknown is not converted"},
        {AVCOL_SPC_SMPTE170M,
         AVCOL_RANGE_MPEG,
         AVCOL_TRC_LOG_SQRT,
         AVCOL_PRI_BT709,
         {},
         "the transfer log316 is not converted"},
        {AVCOL_SPC_BT709,
         AVCOL_RANGE_MPEG,
         AVCOL_TRC_SMPTEST428_1,
         AVCOL_PRI_SMPTEST428_1,
         {KQ_MATRIX_BT709},
         "the transfer smpte428 is not converted"},
    };
    for (const auto& expected : cases) {
        SCOPED_TRACE(&expected - cases);
        Converting converting(false);
        for (int i = 0; i < 3; ++i) {
            FrameHandle picture = Orange(AV_PIX_FMT_YUV420P, 34, 20);
            picture->colorspace = expected.matrix;
            picture->color_range = expected.range;
            picture->color_trc = expected.transfer;
            picture->color_primaries = expected.primaries;
            const std::uint8_t* const plane = picture->data[0];
            const Conversion made = converting.Convert(std::move(picture));
            EXPECT_TRUE(ColourOf(made.record) == expected.colour);
            EXPECT_EQ(made.record.image.pY, plane) << "handed through";
        }
        const std::vector<std::string> lines = converting.Lines();
        ASSERT_EQ(lines.size(), expected.notice != nullptr ? 1u : 0u) << testing::PrintToString(lines);
        if (expected.notice != nullptr) {
            EXPECT_NE(lines[0].find(expected.notice), std::string::npos) << lines[0];
        }
    }
}

TEST(PixelFormats, MayChangeWithEveryPicture) {
    const struct {
        AVPixelFormat format;
        int width, height;
        std::int32_t kind;
    } pictures[] = {
        {AV_PIX_FMT_YUV420P, 34, 20, KQ_PICTURE_PLANAR_YUV},
        {AV_PIX_FMT_YUV422P10LE, 7, 5, KQ_PICTURE_PLANAR_422_10},
        {AV_PIX_FMT_RGB24, 1, 1, KQ_PICTURE_PLANAR_YUV},
        {AV_PIX_FMT_YUVJ444P, 161, 3, KQ_PICTURE_PLANAR_444},
        {AV_PIX_FMT_YUYV422, 33, 21, KQ_PICTURE_PLANAR_422},
        {AV_PIX_FMT_YUYV422, 34, 20, KQ_PICTURE_PLANAR_422},
        {AV_PIX_FMT_P010LE, 3, 161, KQ_PICTURE_P010},
        {AV_PIX_FMT_YUVA444P16BE, 34, 20, KQ_PICTURE_PLANAR_444_10},
        {AV_PIX_FMT_XYZ12LE, 34, 20, KQ_PICTURE_PLANAR_YUV},
        {AV_PIX_FMT_NV12, 5, 7, KQ_PICTURE_NV12},
    };
    for (const bool plain : {false, true}) {
        Converting converting(plain);
        for (int round = 0; round < 2; ++round) {
            for (const auto& expected : pictures) {
                SCOPED_TRACE(std::string(av_get_pix_fmt_name(expected.format)) + (plain ? " plain" : ""));
                const Conversion made =
                    converting.Convert(Orange(expected.format, expected.width, expected.height));
                ASSERT_TRUE(made.picture);
                EXPECT_EQ(made.record.nKind, plain ? KQ_PICTURE_PLANAR_YUV : expected.kind);
                EXPECT_EQ(made.record.image.nWidth, expected.width);
                ExpectColour(made.record, orange, 5);
            }
        }
    }
}

} // namespace
} // namespace kq::streams::test
