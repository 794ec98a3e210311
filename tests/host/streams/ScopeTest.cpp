// Scopes put light where a picture's samples are.
#include "StreamTest.h"

#include <kqplayer/scope.h>

#include <cmath>
#include <functional>

namespace kq::streams::test {
namespace {

constexpr int width = 128;
constexpr int height = 64;

/// A sample of luma and those of chroma, in 8 bits.
struct Sample {
    int y, cb, cr;
};

/// A picture in memory, whose two halves have one sample each.
struct Halves {
    Halves(std::int32_t kind, const Sample& left, const Sample& right) {
        const Layout layout = LayoutOf(kind);
        const int chromaWidth = width / layout.columns;
        const auto put = [&](std::vector<std::uint8_t>& plane, int value) {
            const int word = layout.sampleBytes == 1 ? value : value << 2 << (layout.highBits ? 6 : 0);
            plane.push_back(static_cast<std::uint8_t>(word));
            if (layout.sampleBytes == 2) {
                plane.push_back(static_cast<std::uint8_t>(word >> 8));
            }
        };
        for (int row = 0; row < height; ++row) {
            for (int x = 0; x < width; ++x) {
                put(planes[0], x < width / 2 ? left.y : right.y);
            }
        }
        for (int i = 0; i < chromaWidth * (height / layout.rows); ++i) {
            const Sample& sample = i % chromaWidth < chromaWidth / 2 ? left : right;
            put(planes[1], sample.cb);
            put(planes[layout.pairs ? 1 : 2], sample.cr);
        }
        frame.nKind = kind;
        frame.image.nWidth = width;
        frame.image.nHeight = height;
        frame.image.nPitchY = width * layout.sampleBytes;
        frame.image.nPitchU = frame.image.nPitchV = chromaWidth * layout.sampleBytes * (layout.pairs ? 2 : 1);
        frame.image.pY = planes[0].data();
        frame.image.pU = planes[1].data();
        frame.image.pV = planes[2].data();
    }

    std::vector<std::uint8_t> planes[3];
    MEDIA_FRAME frame{};
};

/// A drawn scope, by places of 256 by 256.
class Drawn {
public:
    Drawn(ScopeKind kind, const MEDIA_FRAME& frame) {
        std::string error;
        const auto scope = Scope::Make(kind, error);
        EXPECT_TRUE(scope) << error;
        const std::shared_ptr<const MEDIA_FRAME> picture(&frame, [](const MEDIA_FRAME*) {});
        EXPECT_TRUE(scope->Draw(picture, m_drawn));
        EXPECT_EQ(picture.use_count(), 1) << "the picture is given back";
        EXPECT_EQ(m_drawn.pixels.size(), std::size_t{4} * Scope::side * Scope::side);
    }

    /// @return the brightest of the colours within a rectangle, both ends included
    int Brightest(int left, int top, int right, int bottom) const {
        constexpr int each = Scope::side / 256;
        int brightest = 0;
        for (int y = top * each; y < (bottom + 1) * each; ++y) {
            for (int x = left * each; x < (right + 1) * each; ++x) {
                const std::uint8_t* pixel =
                    &m_drawn.pixels[4 * static_cast<std::size_t>(y * Scope::side + x)];
                brightest = std::max({brightest, int{pixel[0]}, int{pixel[1]}, int{pixel[2]}});
                EXPECT_EQ(pixel[3], 255);
            }
        }
        return brightest;
    }

private:
    ScopePicture m_drawn;
};

constexpr std::int32_t kinds[] = {
    KQ_PICTURE_PLANAR_YUV,    KQ_PICTURE_PLANAR_422,    KQ_PICTURE_PLANAR_444,    KQ_PICTURE_NV12,
    KQ_PICTURE_PLANAR_420_10, KQ_PICTURE_PLANAR_422_10, KQ_PICTURE_PLANAR_444_10, KQ_PICTURE_P010,
};

TEST(Scopes, WaveformHasLumaAboveItsColumns) {
    for (const std::int32_t kind : kinds) {
        const Halves picture(kind, {60, 128, 128}, {190, 100, 150});
        const Drawn drawn(ScopeKind::Waveform, picture.frame);
        EXPECT_GT(drawn.Brightest(10, 255 - 61, 117, 255 - 59), 150) << kind;
        EXPECT_GT(drawn.Brightest(138, 255 - 191, 245, 255 - 189), 150) << kind;
        EXPECT_LT(drawn.Brightest(138, 255 - 70, 245, 255 - 50), 100) << kind << ": beyond its columns";
        EXPECT_LT(drawn.Brightest(10, 255 - 200, 117, 255 - 180), 100) << kind;
    }
}

TEST(Scopes, VectorscopeHasCbToTheRightAndCrUpwards) {
    for (const std::int32_t kind : kinds) {
        const Halves picture(kind, {120, 170, 60}, {120, 128, 128});
        const Drawn drawn(ScopeKind::Vectorscope, picture.frame);
        EXPECT_GT(drawn.Brightest(169, 255 - 61, 171, 255 - 59), 80) << kind;
        EXPECT_GT(drawn.Brightest(127, 126, 129, 129), 80) << kind;
        EXPECT_LT(drawn.Brightest(150, 255 - 90, 160, 255 - 70), 60) << kind << ": between them";
    }
}

TEST(Scopes, HistogramCountsEachComponent) {
    const Halves picture(KQ_PICTURE_PLANAR_YUV, {40, 90, 200}, {220, 90, 200});
    const Drawn drawn(ScopeKind::Histogram, picture.frame);
    const struct {
        int part; ///< of luma, Cb and Cr, one below the other
        int value;
        bool isThere;
    } rows[] = {{0, 40, true},  {0, 220, true}, {0, 130, false}, {1, 90, true},
                {1, 40, false}, {2, 200, true}, {2, 90, false}};
    for (const auto& row : rows) {
        const int top = row.part * 256 / 3 + 8;
        const int brightest = drawn.Brightest(row.value, top, row.value, top + 60);
        EXPECT_EQ(brightest > 150, row.isThere) << row.part << " " << row.value << ": " << brightest;
    }
}

TEST(Scopes, RefuseWhatIsNoPictureAndGoOn) {
    std::string error;
    const auto scope = Scope::Make(ScopeKind::Waveform, error);
    ScopePicture drawn;
    EXPECT_FALSE(scope->Draw(nullptr, drawn));
    EXPECT_FALSE(scope->Draw(std::make_shared<MEDIA_FRAME>(), drawn));
    const OpenedFile clips[] = {OpenedFile(Clip("bframes.mp4")),
                                OpenedFile(Clip("hevc.mp4"))}; // of two sizes
    for (const OpenedFile& clip : clips) {
        const std::shared_ptr<const MEDIA_FRAME> frame(clip.Video().GetCurrentFrame(), [](auto*) {});
        EXPECT_TRUE(scope->Draw(frame, drawn));
    }
}

} // namespace
} // namespace kq::streams::test
