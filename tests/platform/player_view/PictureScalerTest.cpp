// Scaling against the plain formula, on every instruction set that the processor offers.
#include "PictureScaler.h"

#include "Reference.h"

#include <gtest/gtest.h>
#include <hwy/targets.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

using namespace kq::playerview;
using namespace kqtest;

namespace {

double Between(double first, double second, double part) {
    return first + (second - first) * part;
}

TEST(PictureScaler, GivesTheBytesOfThePlainFormulaOnAllTargets) {
    std::mt19937 random(12);
    const auto upTo = [&](int most) { return static_cast<int>(random() % static_cast<unsigned>(most)) + 1; };
    for (const std::int64_t target : hwy::SupportedAndGeneratedTargets()) {
        hwy::SetSupportedTargetsForTest(target);
        PictureScaler scaler;
        for (int i = 0; i < 200; ++i) {
            const TestPicture picture = Random(upTo(70), upTo(40), random);
            const Size size = {picture.width, picture.height};
            const Size window = {upTo(150), upTo(90)};
            DisplaySettings settings;
            settings.displayOn = i % 8 != 0;
            const double left = upTo(size.width * 16) / 16.0 - 2 + (i % 3) / 7.0;
            const double top = upTo(size.height * 16) / 16.0 - 2;
            settings.display.source = {left, top, left + upTo(size.width * 8) / 7.0,
                                       top + upTo(size.height * 8) / 8.0};
            settings.display.nResize = i % 4;
            const PictureLayout layout = LayOut(size, settings, window);
            for (const bool smooth : {false, true}) {
                std::vector<std::uint8_t> expected = Scaled(picture, layout, smooth);
                std::vector<std::uint8_t> got(expected.size() + 64, 0xA5);
                if (!layout.visible.IsEmpty()) {
                    scaler.Scale(picture.pixels.data(), size, layout, smooth, got.data());
                }
                expected.insert(expected.end(), 64, 0xA5); // nothing behind the end is written
                ASSERT_EQ(got, expected) << hwy::TargetName(target) << " " << i << (smooth ? " smooth" : "");
            }
        }
    }
    hwy::SetSupportedTargetsForTest(0);
}

TEST(PictureScaler, BilinearIsAtMostHalfALevelFromTheRealValue) {
    std::mt19937 random(5);
    const TestPicture picture = Random(31, 17, random);
    DisplaySettings settings;
    settings.displayOn = true;
    settings.display.source = {1.3, 2.1, 23.9, 15.7};
    settings.display.nResize = IMAGE_RESIZE_STRETCH;
    const PictureLayout layout = LayOut({31, 17}, settings, {203, 101});
    std::vector<std::uint8_t> got(4 * 203 * 101);
    PictureScaler().Scale(picture.pixels.data(), {31, 17}, layout, true, got.data());
    double worst = 0;
    for (int y = 0; y < 101; ++y) {
        for (int x = 0; x < 203; ++x) {
            const double px = 1.3 + (x + 0.5) * 22.6 / 203 - 0.5;
            const double py = 2.1 + (y + 0.5) * 13.6 / 101 - 0.5;
            const int left = static_cast<int>(px), top = static_cast<int>(py);
            for (int channel = 0; channel < 3; ++channel) {
                const auto level = [&](int column, int row) {
                    return picture.pixels[4 * (31U * row + column) + channel];
                };
                const double upper = Between(level(left, top), level(left + 1, top), px - left);
                const double lower = Between(level(left, top + 1), level(left + 1, top + 1), px - left);
                const double real = Between(upper, lower, py - top);
                worst = std::max(worst, std::abs(got[4 * (203U * y + x) + channel] - real));
            }
        }
    }
    EXPECT_LE(worst, 0.52);
    EXPECT_GT(worst, 0.4) << "rounded to nearest, not more exact than bytes can be";
}

} // namespace
