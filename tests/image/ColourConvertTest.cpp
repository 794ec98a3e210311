// Pictures of every layout, matrix and range: the vectorised loops beside the plain ones, and all beside the
// standard's formula in real numbers.
#include "image/ColourConvert.h"

#include "Comparisons.h"
#include "Trial.h"
#include "image/Kernels.h"
#include "image/ToneMap.h"

#include <kqplayer/image.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <string>
#include <vector>

namespace {

using namespace kq::image;
using namespace kq::image::test;

class ColourConvert : public testing::Test {
protected:
    void TearDown() override {
        UseTarget(0);
        streamBytes = usualStreamBytes;
    }

private:
    static inline const std::ptrdiff_t usualStreamBytes = streamBytes;
};

TEST_F(ColourConvert, WritesThePlainBytesOnEveryTarget) {
    for (const std::int64_t target : DispatchTargets()) {
        UseTarget(target);
        for (std::uint32_t seed = 0; seed < 1600; ++seed) {
            Trial trial(seed);
            const bool pastCaches = seed % 16 >= 8;
            streamBytes = pastCaches ? 1 : 4 << 20;
            if (pastCaches) {
                trial.AlignDestinations();
            }
            const PictureKind& kind = pictureKinds[seed % 8];
            ASSERT_EQ("", CompareWithPlain(trial, kind))
                << TargetName(target) << ", kind " << kind.kind << ", seed " << seed;
        }
    }
}

/// B, G and R of a pixel as the standard has them, out of bounds if they are.
struct RealColour {
    double parts[3];
};

RealColour FormulaAt(const SourcePicture& p, const PictureKind& kind, int row, int column) {
    constexpr double red[] = {0.299, 0.2126, 0.2627, 0.212}, blue[] = {0.114, 0.0722, 0.0593, 0.087};
    const auto sample = [&](int plane, int r, int at) -> double {
        const std::uint8_t* line = p.planes[plane] + r * p.pitches[plane] + at * kind.SampleBytes();
        if (kind.SampleBytes() == 1) {
            return *line;
        }
        const int word = line[0] | line[1] << 8;
        return kind.layout.depth == SampleDepth::TenLow ? word & 1023 : word >> 6;
    };
    const int r = kind.layout.rowsShareChroma ? row / 2 : row, c = kind.Halved() ? column / 2 : column;
    const double scale = kind.SampleBytes() == 1 ? 1 : 4, all = 256 * scale - 1;
    const bool full = p.range == KQ_RANGE_FULL;
    const double y = (sample(0, row, column) - (full ? 0 : 16 * scale)) / (full ? all : 219 * scale);
    const double chromaSpan = full ? all : 224 * scale;
    const double u = (sample(1, r, kind.InTurn() ? 2 * c : c) - 128 * scale) / chromaSpan;
    const double v = ((kind.InTurn() ? sample(1, r, 2 * c + 1) : sample(2, r, c)) - 128 * scale) / chromaSpan;
    const double kr = red[p.matrix], kb = blue[p.matrix];
    const double b = y + 2 * (1 - kb) * u, rr = y + 2 * (1 - kr) * v;
    return {{255 * b, 255 * (y - kr * rr - kb * b) / (1 - kr - kb), 255 * rr}};
}

TEST_F(ColourConvert, IsTheStandardsFormulaRounded) {
    constexpr int width = 301, height = 37;
    for (int run = 0; run < 8 * 4 * 2 * 2; ++run) {
        const PictureKind& kind = pictureKinds[run % 8];
        Trial trial(static_cast<std::uint32_t>(run));
        SourcePicture p = RandomPicture(trial, kind, width, height);
        p.matrix = run / 8 % 4;
        p.range = run / 32 % 2;
        const bool usual = kind.kind == KQ_PICTURE_PLANAR_YUV && p.matrix == 0 && p.range == 0;
        const std::size_t bytes = run < 64 ? 4 : 3;
        std::vector<std::uint8_t> out(width * height * 4);
        for (const std::int64_t target : DispatchTargets()) {
            UseTarget(target);
            ASSERT_TRUE(
                (bytes == 4 ? ToRgb32 : ToRgb24)(p, out.data(), static_cast<std::ptrdiff_t>(width * bytes)));
            double largest = 0, sum = 0;
            for (int i = 0; i < width * height; ++i) {
                const std::size_t pixel = static_cast<std::size_t>(i) * bytes;
                const RealColour want = FormulaAt(p, kind, i / width, i % width);
                for (std::size_t part = 0; part < 3; ++part) {
                    const double error =
                        std::abs(out[pixel + part] - std::clamp(want.parts[part], 0.0, 255.0));
                    largest = std::max(largest, error);
                    sum += error;
                }
                ASSERT_TRUE(bytes == 3 || out[pixel + 3] == 255);
            }
            EXPECT_LE(largest, usual ? 1.3 : 0.55) << "kind " << kind.kind << ", run " << run;
            EXPECT_LE(sum / (width * height * 3), usual ? 0.6 : 0.27)
                << "kind " << kind.kind << ", run " << run;
        }
    }
}

/// Display light of an encoded component, 1 for SDR white: BT.2100's PQ with the EETF of BT.2390.
double PqLight(double encoded, double peakNits) {
    const auto inverse = [](double nits) {
        const double p = std::pow(nits / 10000, 0.1593017578125);
        return std::pow((0.8359375 + 18.8515625 * p) / (1 + 18.6875 * p), 78.84375);
    };
    const double peak = inverse(peakNits), e = std::min(encoded / peak, 1.0), top = inverse(203) / peak;
    const double knee = 1.5 * top - 0.5;
    double mapped = encoded;
    if (top < 1 && e >= knee) {
        const double t = (e - knee) / (1 - knee);
        mapped = peak * ((2 * t * t * t - 3 * t * t + 1) * knee + (t * t * t - 2 * t * t + t) * (1 - knee) +
                         (3 * t * t - 2 * t * t * t) * top);
    }
    const double p = std::pow(mapped, 1 / 78.84375);
    return std::min(std::pow(std::max(p - 0.8359375, 0.0) / (18.8515625 - 18.6875 * p), 1 / 0.1593017578125) *
                        10000 / 203,
                    1.0);
}

double HlgScene(double encoded) {
    return encoded <= 0.5 ? encoded * encoded / 3
                          : (std::exp((encoded - 0.55991073) / 0.17883277) + 0.28466892) / 12;
}

RealColour ToneMappedReference(const SourcePicture& p, RealColour colour) {
    double light[3];
    for (int i = 0; i < 3; ++i) {
        const double encoded = std::clamp(colour.parts[i] / 255, 0.0, 1.0);
        light[i] =
            p.transfer == KQ_TRANSFER_PQ ? PqLight(encoded, p.peak == 0 ? 1000 : p.peak) : HlgScene(encoded);
    }
    if (p.transfer == KQ_TRANSFER_HLG) {
        const double luminance = 0.0593 * light[0] + 0.678 * light[1] + 0.2627 * light[2];
        const double gamma = 1.2 * std::pow(1.111, std::log2(0.203));
        for (double& part : light) {
            part *= luminance > 0 ? std::pow(luminance, gamma - 1) : 0;
        }
    }
    constexpr double to709[3][3] = {
        {1.118730, -0.100579, -0.018151}, {-0.008349, 1.132900, -0.124550}, {-0.072850, -0.587641, 1.660491}};
    RealColour result{};
    for (int i = 0; i < 3; ++i) {
        const double sum = to709[i][0] * light[0] + to709[i][1] * light[1] + to709[i][2] * light[2];
        const double l = std::clamp(sum, 0.0, 1.0);
        result.parts[i] = 255 * (l <= 0.0031308 ? 12.92 * l : 1.055 * std::pow(l, 1 / 2.4) - 0.055);
    }
    return result;
}

TEST_F(ColourConvert, ShowsHdrAsTheCurvesHaveIt) {
    constexpr int width = 301, height = 37;
    constexpr int peaks[] = {0, 150, 400, 4000, 10000};
    for (int run = 0; run < 8 * 2 * 5; ++run) {
        const PictureKind& kind = pictureKinds[run % 8];
        Trial trial(static_cast<std::uint32_t>(run));
        SourcePicture p = RandomPicture(trial, kind, width, height);
        p.matrix = KQ_MATRIX_BT2020;
        p.transfer = run / 8 % 2 == 0 ? KQ_TRANSFER_PQ : KQ_TRANSFER_HLG;
        p.peak = peaks[run / 16];
        const std::size_t bytes = run % 3 == 0 ? 3 : 4;
        std::vector<std::uint8_t> out(width * height * 4);
        ASSERT_TRUE(
            (bytes == 4 ? ToRgb32 : ToRgb24)(p, out.data(), static_cast<std::ptrdiff_t>(width * bytes)));
        double largest = 0;
        for (int i = 0; i < width * height; ++i) {
            const RealColour want = ToneMappedReference(p, FormulaAt(p, kind, i / width, i % width));
            for (std::size_t part = 0; part < 3; ++part) {
                largest = std::max(
                    largest, std::abs(out[static_cast<std::size_t>(i) * bytes + part] - want.parts[part]));
            }
        }
        EXPECT_LE(largest, 1.0) << "kind " << kind.kind << ", run " << run;
    }
}

TEST_F(ColourConvert, KeepsTheBytesOfFramesWithoutADescription) {
    Trial trial(5);
    MEDIA_FRAME frame{};
    SourcePicture p = RandomPicture(trial, pictureKinds[0], 33, 7);
    const auto plane = [&](int i) { return const_cast<std::uint8_t*>(p.planes[i]); };
    const auto pitch = [&](int i) { return static_cast<std::int32_t>(p.pitches[i]); };
    frame.nKind = KQ_PICTURE_PLANAR_YUV;
    frame.image.pY = plane(0), frame.image.pU = plane(1), frame.image.pV = plane(2);
    frame.image.nPitchY = pitch(0), frame.image.nPitchU = pitch(1), frame.image.nPitchV = pitch(2);
    frame.image.nWidth = 33, frame.image.nHeight = 7;
    std::vector<std::uint8_t> want(33 * 7 * 4), got(want.size());
    auto header = Header(33, 7, 32);
    Yuv420_2_rgb32(&header, want.data(), plane(0), plane(1), plane(2), pitch(0), pitch(1), pitch(2));
    ASSERT_TRUE(ToRgb32(SourceOf(frame), got.data(), 33 * 4));
    EXPECT_EQ(want, got);

    kq::DescribeColour(frame, KQ_MATRIX_BT709, KQ_RANGE_FULL);
    p.matrix = KQ_MATRIX_BT709;
    p.range = KQ_RANGE_FULL;
    ToRgb32(p, want.data(), 33 * 4);
    ASSERT_TRUE(ToRgb32(SourceOf(frame), got.data(), 33 * 4));
    EXPECT_EQ(want, got);
}

TEST_F(ColourConvert, WritesNothingForWhatIsNoPicture) {
    std::vector<std::uint8_t> plane(64, 99), out(64, 7);
    const std::uint8_t* s = plane.data();
    const SourcePicture bad[] = {
        {{nullptr, s, s}, {4, 2, 2}, 4, 2, KQ_PICTURE_PLANAR_YUV, 1, 0},
        {{s, nullptr, s}, {4, 4, 4}, 4, 2, KQ_PICTURE_NV12, 1, 0},
        {{s, s, nullptr}, {4, 2, 2}, 4, 2, KQ_PICTURE_PLANAR_422, 1, 0},
        {{s, s, s}, {4, 2, 2}, 0, 2, KQ_PICTURE_PLANAR_YUV, 1, 0},
        {{s, s, s}, {4, 2, 2}, 4, -2, KQ_PICTURE_PLANAR_YUV, 1, 0},
        {{s, s, s}, {4, 2, 2}, 4, 2, KQ_PICTURE_PACKED_RGB, 1, 0},
        {{s, s, s}, {4, 2, 2}, 4, 2, 0x114, 1, 0},
    };
    for (const SourcePicture& p : bad) {
        EXPECT_FALSE(ToRgb32(p, out.data(), 16) || ToRgb24(p, out.data(), 12));
        EXPECT_EQ(std::vector<std::uint8_t>(64, 7), out);
    }
    const SourcePicture good = {{s, s, nullptr}, {4, 4, 0}, 4, 2, KQ_PICTURE_NV12, 77, -1};
    EXPECT_FALSE(ToRgb32(good, nullptr, 16));
    EXPECT_TRUE(ToRgb32(good, out.data(), 16));
}

} // namespace
