#include "PictureLayout.h"

#include <gtest/gtest.h>

#include <numeric>
#include <ostream>
#include <vector>

bool operator==(const Rect& a, const Rect& b) {
    return a.x == b.x && a.y == b.y && a.width == b.width && a.height == b.height;
}
std::ostream& operator<<(std::ostream& out, const Rect& r) {
    return out << r.width << 'x' << r.height << " at " << r.x << ',' << r.y;
}

namespace {

struct LayoutCase {
    const char* pName;
    Size picture;
    DisplaySettings settings;
    Size window;
    Rect source;
    Rect target;
};

DisplaySettings method(IMAGE_RESIZE_METHOD m, int aspectX = 0, int aspectY = 0) {
    DisplaySettings s;
    s.method = m;
    s.aspectX = aspectX;
    s.aspectY = aspectY;
    return s;
}

DisplaySettings crop(tagRECT rect, IMAGE_RESIZE_METHOD m = IMAGE_RESIZE_FIT, int aspectX = 0,
                     int aspectY = 0) {
    DisplaySettings s = method(m, aspectX, aspectY);
    s.cropOn = true;
    s.crop = rect;
    return s;
}

std::ostream& operator<<(std::ostream& out, const LayoutCase& c) {
    return out << c.pName;
}

class PictureLayoutTest : public testing::TestWithParam<LayoutCase> {};

TEST_P(PictureLayoutTest, PlacesThePicture) {
    const LayoutCase& c = GetParam();
    const PictureLayout layout = layOut(c.picture, c.settings, c.window);
    EXPECT_EQ(layout.source, c.source);
    EXPECT_EQ(layout.target, c.target);
    EXPECT_EQ(layout.visible, intersect(c.target, {0, 0, c.window.width, c.window.height}));
}

const std::vector<LayoutCase> LayoutCases = {
    {"SameSize", {640, 360}, {}, {640, 360}, {0, 0, 640, 360}, {0, 0, 640, 360}},
    {"FitBarsAbove", {640, 360}, {}, {640, 480}, {0, 0, 640, 360}, {0, 60, 640, 360}},
    {"FitBarsBeside", {640, 480}, {}, {1280, 720}, {0, 0, 640, 480}, {160, 0, 960, 720}},
    {"FitDown", {1920, 1080}, {}, {100, 100}, {0, 0, 1920, 1080}, {0, 22, 100, 56}},
    {"Stretch",
     {640, 480},
     method(IMAGE_RESIZE_STRETCH, 16, 9),
     {99, 501},
     {0, 0, 640, 480},
     {0, 0, 99, 501}},
    {"FillCutsSides",
     {640, 360},
     method(IMAGE_RESIZE_FILL),
     {480, 480},
     {0, 0, 640, 360},
     {-186, 0, 853, 480}},
    {"FillCutsTop", {480, 480}, method(IMAGE_RESIZE_FILL), {640, 360}, {0, 0, 480, 480}, {0, -140, 640, 640}},
    {"Original",
     {100, 50},
     method(IMAGE_RESIZE_ORIGINAL, 4, 3),
     {300, 200},
     {0, 0, 100, 50},
     {100, 75, 100, 50}},
    {"OriginalTooLarge",
     {300, 200},
     method(IMAGE_RESIZE_ORIGINAL),
     {100, 50},
     {0, 0, 300, 200},
     {-100, -75, 300, 200}},
    {"AspectWide",
     {720, 576},
     method(IMAGE_RESIZE_FIT, 16, 9),
     {1024, 576},
     {0, 0, 720, 576},
     {0, 0, 1024, 576}},
    {"AspectNarrow",
     {720, 576},
     method(IMAGE_RESIZE_FIT, 4, 3),
     {1024, 576},
     {0, 0, 720, 576},
     {128, 0, 768, 576}},
    {"AspectPartZero",
     {400, 300},
     method(IMAGE_RESIZE_FIT, 16, 0),
     {400, 300},
     {0, 0, 400, 300},
     {0, 0, 400, 300}},
    {"AspectNegative",
     {400, 300},
     method(IMAGE_RESIZE_FIT, -16, 9),
     {400, 300},
     {0, 0, 400, 300},
     {0, 0, 400, 300}},
    {"AspectFill",
     {720, 576},
     method(IMAGE_RESIZE_FILL, 16, 9),
     {576, 576},
     {0, 0, 720, 576},
     {-224, 0, 1024, 576}},
    {"Crop", {640, 480}, crop({100, 50, 420, 290}), {320, 240}, {100, 50, 320, 240}, {0, 0, 320, 240}},
    {"CropKeepsPixelShape",
     {720, 576},
     crop({0, 0, 360, 576}, IMAGE_RESIZE_FIT, 16, 9),
     {1024, 576},
     {0, 0, 360, 576},
     {256, 0, 512, 576}},
    {"CropReachesOut",
     {640, 480},
     crop({-10, 240, 9999, 9999}),
     {640, 240},
     {0, 240, 640, 240},
     {0, 0, 640, 240}},
    {"CropOutside", {640, 480}, crop({700, 0, 800, 100}), {640, 480}, {0, 0, 640, 480}, {0, 0, 640, 480}},
    {"CropInverted", {640, 480}, crop({400, 0, 100, 100}), {640, 480}, {0, 0, 640, 480}, {0, 0, 640, 480}},
    {"OnePixelWindow", {1920, 1080}, {}, {1, 1}, {0, 0, 1920, 1080}, {0, 0, 1, 1}},
    {"ExtremeAspect",
     {2, 2},
     method(IMAGE_RESIZE_FIT, 2147483647, 1),
     {500, 400},
     {0, 0, 2, 2},
     {0, 199, 500, 1}},
    {"ExtremeFill",
     {2, 2},
     method(IMAGE_RESIZE_FILL, 2147483647, 1),
     {500, 400},
     {0, 0, 2, 2},
     {-524038, 0, 1048576, 400}},
};

INSTANTIATE_TEST_SUITE_P(Cases, PictureLayoutTest, testing::ValuesIn(LayoutCases),
                         [](const auto& info) { return std::string(info.param.pName); });

TEST(PictureLayoutBars, CoverWhatThePictureLeavesFree) {
    const Size window = {20, 10};
    for (const Rect& visible :
         {Rect{0, 0, 20, 10}, Rect{5, 0, 10, 10}, Rect{0, 3, 20, 4}, Rect{7, 2, 5, 6}}) {
        std::vector<int> covered(static_cast<std::size_t>(window.width) * window.height);
        const Bars bars = barsAround(visible, window);
        std::vector<Rect> all(bars.rects, bars.rects + bars.count);
        all.push_back(visible); // together they cover every pixel exactly once
        for (const Rect& r : all) {
            for (int y = r.y; y < r.y + r.height; ++y) {
                for (int x = r.x; x < r.x + r.width; ++x) {
                    ++covered.at(static_cast<std::size_t>(y) * window.width + x);
                }
            }
        }
        EXPECT_EQ(covered, std::vector<int>(covered.size(), 1)) << visible;
    }
}

} // namespace
