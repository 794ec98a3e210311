// What fixes the formulas themselves: worked values, every input a formula can see, and the preconditions.
#include "Trial.h"
#include "image/Arithmetic.h"
#include "image/Tables.h"

#include <kqplayer/image.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

namespace {

using namespace kq::image;
using namespace kq::image::test;
using Bytes = std::vector<std::uint8_t>;

/// A 2x2 picture of one colour through a routine with eight parameters: Y, U, V.
template <class Routine>
Bytes ToYuv(Routine routine, int bits, Bgr colour) {
    Bytes pixels;
    for (int row = 0; row < 2; ++row) {
        for (int column = 0; column < 2; ++column) {
            pixels.insert(pixels.end(), {colour.b, colour.g, colour.r});
            if (bits == 32) {
                pixels.push_back(77);
            }
        }
        pixels.resize(static_cast<std::size_t>((row + 1) * 8));
    }
    Bytes y(4), u(1), v(1);
    auto header = Header(2, 2, bits);
    routine(y.data(), u.data(), v.data(), 2, 1, 1, &header, pixels.data());
    return {y[0], u[0], v[0]};
}

TEST(ImageValues, ColoursBecomeTheirYuv) {
    const struct {
        Bgr colour;
        Bytes full, simple;
    } cases[] = {
        {{255, 255, 255}, {235, 128, 128}, {235, 128, 128}},
        {{0, 0, 0}, {16, 128, 128}, {16, 128, 128}},
        {{0, 0, 255}, {81, 90, 239}, {81, 90, 240}},
        {{255, 0, 0}, {40, 239, 109}, {41, 240, 110}},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(c.full, ToYuv(Rgb32_2_yuv420, 32, c.colour));
        EXPECT_EQ(c.full, ToYuv(EightParameters{Argb_2_yuv420}, 32, c.colour));
        EXPECT_EQ(c.full, ToYuv(Rgb24_2_yuv420, 24, c.colour));
        EXPECT_EQ(c.simple, ToYuv(Rgb24_2_yuv420Simple, 24, c.colour));
    }
}

TEST(ImageValues, GreysBecomeTheirRgb) {
    init_yuv2rgb();
    Bytes u(1, 128), v(1, 128);
    const auto convert = [&](int luma, auto call, std::size_t bytes) {
        Bytes y(4, static_cast<std::uint8_t>(luma)), out(16, 9);
        call(y.data(), out.data());
        out.resize(bytes);
        return out;
    };
    auto header = Header(2, 2, 32);
    const auto toBitmap = [&](auto* routine) {
        return [&, routine](std::uint8_t* y, std::uint8_t* out) {
            routine(&header, out, y, u.data(), v.data(), 2, 1, 1);
        };
    };
    const auto output = [&](KQ_CONVERT_YUV* routine, int stride) {
        return [&, routine, stride](std::uint8_t* y, std::uint8_t* out) {
            routine(y, 2, u.data(), v.data(), 1, out, 2, 2, stride);
        };
    };
    EXPECT_EQ((Bytes{0, 0, 0, 255}), convert(16, toBitmap(Yuv420_2_Argb), 4));
    EXPECT_EQ((Bytes{254, 254, 254, 255}), convert(235, toBitmap(Yuv420_2_Argb), 4));
    EXPECT_EQ((Bytes{0, 0, 0}), convert(16, toBitmap(Yuv420_2_rgb24Simple), 3));
    EXPECT_EQ((Bytes{255, 255, 255}), convert(235, toBitmap(Yuv420_2_rgb24Simple), 3));
    EXPECT_EQ((Bytes{0, 0, 0, 0}), convert(16, output(yuv2rgb_32, 2), 4));
    EXPECT_EQ((Bytes{255, 255, 255, 0}), convert(235, output(yuv2rgb_32, 2), 4));
    EXPECT_EQ((Bytes{254, 254, 254}), convert(235, output(yuv2rgb_24, 6), 3));
    EXPECT_EQ((Bytes{0xFF, 0x7F}), convert(235, output(yuv2rgb_555, 2), 2));
    EXPECT_EQ((Bytes{0xFF, 0xFF}), convert(235, output(yuv2rgb_565, 2), 2));
}

TEST(ImageValues, TablesAndEdges) {
    init_yuv2rgb();
    const auto& lut = Tables().lut;
    EXPECT_EQ(0, lut[0][0]);
    EXPECT_EQ(0, lut[0][16]);
    EXPECT_EQ(66752, lut[0][240]);
    EXPECT_EQ(66752, lut[0][255]);
    EXPECT_EQ(0, lut[1][128]);
    EXPECT_EQ(-57904, lut[4][0]);
    EXPECT_EQ(nullptr, convert_yuv);

    // The corner of 3x3 stays, through Yuv420_2_Argb and back; Yuv420_2_rgb32 writes it.
    Bytes y(9, 235), u(4, 128), v(4, 128), out(36, 9);
    auto header = Header(3, 3, 32);
    Yuv420_2_Argb(&header, out.data(), y.data(), u.data(), v.data(), 3, 2, 2);
    EXPECT_EQ(Bytes(4, 9), Bytes(out.begin() + 32, out.end()));
    EXPECT_EQ((Bytes{254, 254, 254, 255}), Bytes(out.begin() + 28, out.begin() + 32));
    EXPECT_EQ(0, Yuv420_2_rgb32(&header, out.data(), y.data(), u.data(), v.data(), 3, 2, 2));
    EXPECT_EQ((Bytes{254, 254, 254, 255}), Bytes(out.begin() + 32, out.end()));

    Bytes wideY(4 * 3, 7), newU(4, 7), newV(4, 7), white(36, 255);
    auto header24 = Header(3, 3, 24);
    Rgb24_2_yuv420(wideY.data(), newU.data(), newV.data(), 4, 2, 2, &header24, white.data());
    EXPECT_EQ((Bytes{235, 235, 235, 235, 235, 235, 235, 235, 235, 235, 7, 7}), wideY);
    EXPECT_EQ((Bytes{128, 128, 128, 7}), newU);

    // Truncated vertical mean, and a rectangle below ySrc + cy of the source.
    Bytes packed = {1, 10, 2, 20, 3, 13, 4, 21}, planes(200, 0);
    YUY2_2_Yuv420(planes.data(), planes.data() + 100, planes.data() + 150, 2, 1, 1, 0, 40, 2, 2,
                  packed.data(), 4, 1, 0, 0);
    EXPECT_EQ(11, planes[120]);
    EXPECT_EQ(20, planes[170]);

    // With xDst = 3 one more pixel is converted, from byte 4 on.
    Bytes pixels(3 * 8, 255), macropixels(20, 9);
    Rgb24_2_YUY2(macropixels.data(), 20, 3, 0, 4, 1, 1, pixels.data(), 1, 24, 0, 0);
    EXPECT_EQ((Bytes{9, 9, 9, 9, 235, 128, 235, 128, 235, 128, 235, 128, 235, 128, 235, 128, 9, 9, 9, 9}),
              macropixels);
}

TEST(ImageValues, NothingIsWrittenForEmptySizes) {
    Bytes y(64, 1), out(256, 9);
    std::uint8_t* p = y.data();
    for (const auto& [width, height] : {std::pair{0, 4}, {4, 0}, {-4, 4}}) {
        auto header = Header(width, height, 32);
        EXPECT_NE(0, Yuv420_2_rgb32(&header, out.data(), p, p, p, 4, 2, 2));
        Yuv420_2_Argb(&header, out.data(), p, p, p, 4, 2, 2);
        Rgb32_2_yuv420(out.data(), out.data(), out.data(), 4, 2, 2, &header, p);
        YUY2_Blt_fast(out.data(), 8, 0, 0, width, height, 1, p, 8, 0, 0, 0);
        yuv2rgb_32(p, 4, p, p, 2, out.data(), width, height, 4);
        Rgb24_2_YUY2(out.data(), 64, 2, 0, width, height, 1, p, 4, 24, 0, 0);
        EXPECT_EQ(Bytes(256, 9), out) << width << "x" << height;
    }
}

class EveryInput : public testing::Test {
protected:
    void SetUp() override { init_yuv2rgb(); }
    void TearDown() override { UseTarget(0); }
};

constexpr int side = 512;
constexpr int halfSide = side / 2;

/// Runs a routine over all (y, u, v) on every target: columns hold u, rows v, and each 2x2 block four values
/// of y.
template <class Formula, class Routine>
void CheckEveryYuv(int pixelBytes, Formula formula, Routine routine) {
    Bytes y(side * side), u(halfSide * halfSide), v(u.size()), want, out(y.size() * 4);
    for (std::size_t i = 0; i < u.size(); ++i) {
        u[i] = static_cast<std::uint8_t>(i % 256);
        v[i] = static_cast<std::uint8_t>(i / 256);
    }
    for (int first = 0; first < 256; first += 4) {
        want.clear();
        for (std::size_t i = 0; i < y.size(); ++i) {
            y[i] = static_cast<std::uint8_t>(first + i % 2 + i / side % 2 * 2);
            const Bgr colour = formula(y[i], static_cast<int>(i % side / 2), static_cast<int>(i / side / 2));
            want.insert(want.end(), {colour.b, colour.g, colour.r});
        }
        for (const std::int64_t target : DispatchTargets()) {
            UseTarget(target);
            routine(y.data(), u.data(), v.data(), out.data());
            const auto step = static_cast<std::size_t>(pixelBytes);
            for (std::size_t i = 0; i < y.size(); ++i) {
                ASSERT_EQ(0, std::memcmp(&out[i * step], &want[i * 3], 3))
                    << TargetName(target) << ": y " << int{y[i]} << ", u " << i % side / 2 << ", v "
                    << i / side / 2;
            }
        }
    }
}

TEST_F(EveryInput, OfYuvGivesTheFormula) {
    auto header = Header(side, side, 24);
    CheckEveryYuv(3, YuvToBgr13, [&](auto y, auto u, auto v, auto out) {
        Yuv420_2_rgb24(&header, out, y, u, v, side, halfSide, halfSide);
    });
    CheckEveryYuv(3, YuvToBgr10, [&](auto y, auto u, auto v, auto out) {
        // Writes bottom-up: the planes are read from the last row up instead.
        Yuv420_2_rgb24Simple(&header, out, y + (side - 1) * side, u + (halfSide - 1) * halfSide,
                             v + (halfSide - 1) * halfSide, -side, -halfSide, -halfSide);
    });
    CheckEveryYuv(4, YuvToComponents13, [&](auto y, auto u, auto v, auto out) {
        yuv2rgb_32(y, side, u, v, halfSide, out, side, side, side);
    });
    const auto& lut = Tables().lut;
    const auto byTables = [&](int y, int u, int v) {
        return Bgr{SaturateTableSum(lut[0][y] + lut[1][u]),
                   SaturateTableSum(lut[0][y] + lut[2][u] + lut[3][v]),
                   SaturateTableSum(lut[0][y] + lut[4][v])};
    };
    CheckEveryYuv(3, byTables, [&](auto y, auto u, auto v, auto out) {
        yuv2rgb_24(y, side, u, v, halfSide, out, side, side, side * 3);
    });
}

/// Runs a routine over all colours, each in a 2x2 block of its own, so that U and V show its chroma terms.
void CheckEveryRgb(EightParameters routine, YuvTerms (*formula)(Bgr), int chromaOffset) {
    constexpr int row = side * 3;
    Bytes pixels(side * row), y(side * side), u(halfSide * halfSide), v(u.size());
    auto header = Header(side, side, 24);
    for (int blue = 0; blue < 256; ++blue) {
        for (int i = 0; i < side * side; ++i) {
            pixels[static_cast<std::size_t>(i * 3)] = static_cast<std::uint8_t>(blue);
            pixels[static_cast<std::size_t>(i * 3 + 1)] = static_cast<std::uint8_t>(255 - i / side / 2);
            pixels[static_cast<std::size_t>(i * 3 + 2)] = static_cast<std::uint8_t>(i % side / 2);
        }
        for (const std::int64_t target : DispatchTargets()) {
            UseTarget(target);
            routine(y.data(), u.data(), v.data(), side, halfSide, halfSide, &header, pixels.data());
            for (std::size_t i = 0; i < u.size(); ++i) {
                const auto green = static_cast<std::uint8_t>(i / 256),
                           red = static_cast<std::uint8_t>(i % 256);
                const YuvTerms want = formula({static_cast<std::uint8_t>(blue), green, red});
                const std::size_t luma = i / 256 * 2 * side + i % 256 * 2;
                ASSERT_TRUE(y[luma] == want.y && y[luma + side + 1] == want.y &&
                            u[i] == want.u + chromaOffset && v[i] == want.v + chromaOffset)
                    << TargetName(target) << ": " << blue << ", " << int{green} << ", " << int{red};
            }
        }
    }
}

TEST_F(EveryInput, OfRgbGivesTheFormula) {
    CheckEveryRgb(Rgb24_2_yuv420, BgrToYuv14, 128);
    CheckEveryRgb(Rgb24_2_yuv420Simple, BgrToYuv10, 0);
}

TEST(ImagePreconditionsDeathTest, StopTheProcessWithTheExpression) {
    // An emulated program cannot start itself anew.
    testing::FLAGS_gtest_death_test_style = std::getenv("KQ_EMULATED") ? "fast" : "threadsafe";
    auto h32 = Header(2, 2, 32), h24 = Header(2, 2, 24);
    tagBITMAPINFO palette{};
    Bytes memory(64);
    std::uint8_t* p = memory.data();
    const struct {
        std::function<void()> call;
        std::string message; // the line reads "routine: Common/Image/ImageConvert:line: ... expression"
    } cases[] = {
        {[&] { Yuv420_2_rgb24(&h32, p, p, p, p, 2, 1, 1); },
         "Yuv420_2_rgb24.*lpDstBmi && lpDstBmi->biBitCount == 24"},
        {[&] { Yuv420_2_rgb24(&h24, p, p, p, nullptr, 2, 1, 1); },
         "Yuv420_2_rgb24: Common/Image/ImageConvert:[0-9]+: .*lpDstBits && pY && pU && pV"},
        {[&] { Yuv420_2_rgb32(&h24, p, p, p, p, 2, 1, 1); }, "Yuv420_2_rgb32.*lpDstBmi->biBitCount == 32"},
        {[&] { Yuv420_2_rgb32(nullptr, nullptr, p, p, p, 2, 1, 1); },
         "lpDstBmi && lpDstBmi->biBitCount == 32"},
        {[&] { Yuv420_2_Argb(&h24, p, p, p, p, 2, 1, 1); }, "Yuv420_2_Argb.*lpDstBmi->biBitCount == 32"},
        {[&] { Rgb32_2_yuv420(p, p, p, 2, 1, 1, &h24, p); }, "Rgb32_2_yuv420.*lpSrcBmi->biBitCount == 32"},
        {[&] { Rgb32_2_yuv420A(p, nullptr, p, p, 2, 1, 1, &h32, p); }, "lpSrcBits && pY && pU && pV"},
        {[&] { Argb_2_yuv420(p, p, p, 2, 1, 1, &h24, p); }, "Argb_2_yuv420.*biBitCount == 32"},
        {[&] { Argb_2_yuv420(p, p, p, 2, 1, 1, &h32, nullptr, 8); }, "Argb_2_yuv420.*lpSrcBits && pY"},
        {[&] { Rgb24_2_yuv420(p, p, p, 2, 1, 1, &h32, p); }, "Rgb24_2_yuv420.*biBitCount == 24"},
        {[&] { Rgb8_2_YUV420(p, p, p, 2, 1, 1, &palette, p); },
         "Rgb8_2_YUV420.*lpBitmapInfo && lpBitmapInfo->bmiHeader.biBitCount == 8"},
        {[&] { Rgb24_2_YUY2(p, 8, 0, 0, 2, 1, 1, nullptr, 1, 8, 0, 0); },
         "Rgb24_2_YUY2.*lpBitsDst && lpBitsSrc"},
        {[&] { Rgb24_2_YUY2(p, 8, 3, 0, 2, 1, 1, p, 1, 30, 0, 0); },
         "\\(xDst \\+ cxDst\\) \\* 2 <= nPitchDst"},
        {[&] { Rgb24_2_YUY2(p, 8, 0, 0, 4, 1, 1, p, 1, 12, 1, 0); }, "nPitchSrc / 3 - xSrc >= cxDst"},
        {[&] { YUY2_2_Rgb24(nullptr, 1, 8, 0, 0, 2, 1, p, 8, 1, 0, 0); },
         "YUY2_2_Rgb24.*lpBitsDst && lpBitsSrc"},
        {[&] { YUY2_2_Yuv420(p, p, p, 2, 1, 1, 30, 0, 2, 2, p, 8, 1, 0, 0); },
         "YUY2_2_Yuv420.*\\(char\\*\\)V <= "},
    };
    for (const auto& c : cases) {
        EXPECT_DEATH(c.call(), c.message);
    }
}

} // namespace
