#include "PictureLayout.h"

#include <gtest/gtest.h>

#include <numeric>
#include <ostream>
#include <vector>

namespace kq::playerview {

bool operator==(const Rect& a, const Rect& b) {
    return a.x == b.x && a.y == b.y && a.width == b.width && a.height == b.height;
}
std::ostream& operator<<(std::ostream& out, const Rect& r) {
    return out << r.width << 'x' << r.height << " at " << r.x << ',' << r.y;
}

} // namespace kq::playerview

namespace {

using namespace kq::playerview;

constexpr auto fit = IMAGE_RESIZE_FIT, stretch = IMAGE_RESIZE_STRETCH, fill = IMAGE_RESIZE_FILL,
               original = IMAGE_RESIZE_ORIGINAL;
constexpr int huge = 2147483647;

/// @return a part of whole pixels
Rect Whole(const RectF& r) {
    const Rect whole = {static_cast<int>(r.x), static_cast<int>(r.y), static_cast<int>(r.width),
                        static_cast<int>(r.height)};
    EXPECT_TRUE(r.x == whole.x && r.y == whole.y && r.width == whole.width && r.height == whole.height);
    return whole;
}

TEST(PictureLayout, PlacesThePicture) {
    const struct {
        const char* name;
        Size picture;
        IMAGE_RESIZE_METHOD method;
        Size aspect, window;
        Rect target;
        tagRECT crop = {};
        Rect source = {}; ///< empty: the whole picture
    } cases[] = {
        {"same size", {640, 360}, fit, {}, {640, 360}, {0, 0, 640, 360}},
        {"bars above", {640, 360}, fit, {}, {640, 480}, {0, 60, 640, 360}},
        {"bars beside", {640, 480}, fit, {}, {1280, 720}, {160, 0, 960, 720}},
        {"down", {1920, 1080}, fit, {}, {100, 100}, {0, 22, 100, 56}},
        {"rounds up", {640, 360}, fit, {}, {101, 100}, {0, 21, 101, 57}},
        {"stretch", {640, 480}, stretch, {16, 9}, {99, 501}, {0, 0, 99, 501}},
        {"fill cuts sides", {640, 360}, fill, {}, {480, 480}, {-186, 0, 853, 480}},
        {"fill cuts top", {480, 480}, fill, {}, {640, 360}, {0, -140, 640, 640}},
        {"original", {100, 50}, original, {4, 3}, {300, 200}, {100, 75, 100, 50}},
        {"too large", {300, 200}, original, {}, {100, 50}, {-100, -75, 300, 200}},
        {"wide", {720, 576}, fit, {16, 9}, {1024, 576}, {0, 0, 1024, 576}},
        {"narrow", {720, 576}, fit, {4, 3}, {1024, 576}, {128, 0, 768, 576}},
        {"half an aspect", {400, 300}, fit, {16, 0}, {400, 300}, {0, 0, 400, 300}},
        {"negative", {400, 300}, fit, {-16, 9}, {400, 300}, {0, 0, 400, 300}},
        {"wide fill", {720, 576}, fill, {16, 9}, {576, 576}, {-224, 0, 1024, 576}},
        {"crop", {640, 480}, fit, {}, {320, 240}, {0, 0, 320, 240}, {100, 50, 420, 290}, {100, 50, 320, 240}},
        {"pixel shape", {90, 72}, fit, {16, 9}, {128, 72}, {32, 0, 64, 72}, {0, 0, 45, 72}, {0, 0, 45, 72}},
        {"beyond", {64, 48}, fit, {}, {64, 24}, {0, 0, 64, 24}, {-9, 24, 999, 999}, {0, 24, 64, 24}},
        {"outside", {640, 480}, fit, {}, {640, 480}, {0, 0, 640, 480}, {700, 0, 800, 100}},
        {"inverted", {640, 480}, fit, {}, {640, 480}, {0, 0, 640, 480}, {400, 0, 100, 100}},
        {"one pixel", {1920, 1080}, fit, {}, {1, 1}, {0, 0, 1, 1}},
        {"extreme", {2, 2}, fit, {huge, 1}, {500, 400}, {0, 199, 500, 1}},
        {"extreme fill", {2, 2}, fill, {huge, 1}, {500, 400}, {-524038, 0, 1048576, 400}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        DisplaySettings settings;
        settings.method = c.method;
        settings.aspectX = c.aspect.width;
        settings.aspectY = c.aspect.height;
        settings.cropOn = c.crop.right != 0;
        settings.crop = c.crop;
        const PictureLayout layout = LayOut(c.picture, settings, c.window);
        const Rect whole = {0, 0, c.picture.width, c.picture.height};
        EXPECT_EQ(Whole(layout.source), c.source.IsEmpty() ? whole : c.source);
        EXPECT_EQ(layout.target, c.target);
        EXPECT_EQ(layout.visible, Intersect(c.target, {0, 0, c.window.width, c.window.height}));
    }
}

TEST(PictureLayout, PlacesWhatIsDisplayed) {
    const struct {
        const char* name;
        KQRectF display;
        std::int32_t resize;
        Size aspect, set, picture, window; ///< set: the size of the picture that the display counts in
        Rect target, visible, needed;
        bool isCopy = false;
    } cases[] = {
        {"all", {}, fit, {}, {8, 4}, {8, 4}, {16, 10}, {0, 1, 16, 8}, {0, 1, 16, 8}, {0, 0, 8, 4}},
        {"part", {2, 1, 4, 2}, fit, {}, {8, 4}, {8, 4}, {8, 4}, {0, 0, 8, 4}, {0, 0, 8, 4}, {1, 0, 4, 3}},
        {"fractions",
         {2.25, 1.5, 4.25, 2.5},
         stretch,
         {},
         {8, 4},
         {8, 4},
         {9, 9},
         {0, 0, 9, 9},
         {0, 0, 9, 9},
         {1, 0, 5, 4}},
        {"twice the size",
         {2, 1, 4, 2},
         fit,
         {},
         {8, 4},
         {16, 8},
         {8, 4},
         {0, 0, 8, 4},
         {0, 0, 8, 4},
         {3, 1, 6, 4}},
        {"beyond",
         {-4, -2, 12, 6},
         fit,
         {},
         {8, 4},
         {8, 4},
         {32, 16},
         {0, 0, 32, 16},
         {8, 4, 16, 8},
         {0, 0, 8, 4}},
        {"half a pixel beyond",
         {-0.5, 0, 7.5, 4},
         stretch,
         {},
         {8, 4},
         {8, 4},
         {16, 8},
         {0, 0, 16, 8},
         {1, 0, 15, 8},
         {0, 0, 8, 4}},
        {"outside", {20, 0, 28, 4}, fit, {}, {8, 4}, {8, 4}, {16, 8}, {0, 0, 16, 8}, {}, {}},
        {"actual",
         {2, 1, 6, 3},
         stretch,
         {},
         {8, 4},
         {8, 4},
         {4, 2},
         {0, 0, 4, 2},
         {0, 0, 4, 2},
         {1, 0, 6, 4},
         true},
        {"actual, between",
         {2.5, 1, 6.5, 3},
         stretch,
         {},
         {8, 4},
         {8, 4},
         {4, 2},
         {0, 0, 4, 2},
         {0, 0, 4, 2},
         {1, 0, 7, 4}},
        {"wide pixels",
         {2, 0, 6, 4},
         fit,
         {4, 1},
         {8, 4},
         {8, 4},
         {40, 10},
         {10, 0, 20, 10},
         {10, 0, 20, 10},
         {1, 0, 6, 4}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        DisplaySettings settings;
        settings.aspectX = c.aspect.width;
        settings.aspectY = c.aspect.height;
        settings.cropOn = true; // a display stands above it
        settings.crop = {1, 1, 2, 2};
        settings.displayOn = true;
        settings.display = {c.display, KQ_SCALING_NEAREST, c.resize};
        settings.displayFor = c.set;
        const PictureLayout layout = LayOut(c.picture, settings, c.window);
        EXPECT_EQ(layout.target, c.target);
        EXPECT_EQ(layout.visible, c.visible);
        EXPECT_EQ(layout.IsCopy(), c.isCopy);
        EXPECT_EQ(NeededPart(c.picture, settings), c.needed);
    }
}

TEST(PictureLayoutBars, CoverWhatThePictureLeavesFree) {
    const Size window = {20, 10};
    for (const Rect& visible :
         {Rect{0, 0, 20, 10}, Rect{5, 0, 10, 10}, Rect{0, 3, 20, 4}, Rect{7, 2, 5, 6}}) {
        std::vector<int> covered(static_cast<std::size_t>(window.width) * window.height);
        const Bars bars = BarsAround(visible, window);
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
