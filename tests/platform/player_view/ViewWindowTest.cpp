// The ways of drawing, one after the other: whatever the server can or cannot do, the window shows the same.
#include "ViewWindow.h"

#include "TestPicture.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

using namespace kqtest;

namespace {

struct Way {
    const char* pName;
    XFeatures allowed;
};

std::ostream& operator<<(std::ostream& out, const Way& way) {
    return out << way.pName;
}

XFeatures features(bool shm, bool sharedPixmaps, bool render, bool present) {
    return {shm, sharedPixmaps, render, true, present};
}

class ViewWindowTest : public testing::TestWithParam<Way> {
protected:
    ViewWindowTest() {
        auto pConnection = XConnection::open(GetParam().allowed);
        const XFeatures& found = pConnection->features();
        const XFeatures& allowed = GetParam().allowed;
        EXPECT_EQ(found.shm, allowed.shm);
        EXPECT_EQ(found.sharedPixmaps, allowed.shm && allowed.sharedPixmaps);
        EXPECT_EQ(found.render, allowed.render);
        EXPECT_EQ(found.present, allowed.imitatedPresent);
        m_pView = ViewWindow::create(std::move(pConnection), 0, {40, 30, 320, 180});
    }
    void show(const TestPicture& picture) {
        m_pView->show({picture.width, picture.height}, picture.pixels.data());
    }
    Image waitFor(const std::function<bool(const Image&)>& isWanted) {
        return m_server.waitFor(isWanted, m_pView->window());
    }
    bool waitForProbes(const std::vector<Probe>& probes) {
        return showsProbes(waitFor([&](const Image& i) { return showsProbes(i, probes); }), probes);
    }

    Xvfb m_server;
    std::unique_ptr<ViewWindow> m_pView;
};

TEST_P(ViewWindowTest, ShowsUnscaledPicturesExactly) {
    for (int i = 0; i < 5; ++i) {
        const TestPicture picture = noise(320, 180 - 20 * i);
        show(picture);
        const int top = (180 - picture.height) / 2;
        const Image image = waitFor([&](const Image& im) { return showsAt(im, picture, 0, top); });
        ASSERT_TRUE(showsAt(image, picture, 0, top)) << picture.height;
        EXPECT_TRUE(top == 0 || (image.at(5, top - 1) == Black && image.at(5, 180 - top) == Black));
    }
}

TEST_P(ViewWindowTest, ScalesSmoothPictures) {
    // Levels rise by one a pixel: scaled up by two they lie within half a pixel of the exact value.
    show({160, 90, [](int x, int y) { return static_cast<std::uint32_t>(x << 16 | y << 8 | 77); }});
    const auto isScaled = [](const Image& image) {
        for (int y = 0; y < image.height; ++y) {
            for (int x = 0; x < image.width; ++x) {
                const std::uint32_t rgb = image.at(x, y);
                const int red = static_cast<int>(rgb >> 16);
                const int green = static_cast<int>(rgb >> 8 & 0xFF);
                if (std::abs(2 * red - x) > 2 || std::abs(2 * green - y) > 2 || (rgb & 0xFF) != 77) {
                    return false;
                }
            }
        }
        return image.width == 320;
    };
    EXPECT_TRUE(isScaled(waitFor(isScaled)));
}

TEST_P(ViewWindowTest, CutsAndCrops) {
    show(quadrants(160, 160)); // fitted: 180 x 180, bars of 70 beside it
    EXPECT_TRUE(
        waitForProbes({{69, 90, Black}, {72, 2, Red}, {247, 2, Green}, {72, 177, Blue}, {250, 9, Black}}));
    DisplaySettings settings;
    settings.method = IMAGE_RESIZE_FILL; // 320 x 320, 70 cut above and below
    m_pView->apply(settings);
    EXPECT_TRUE(
        waitForProbes({{0, 0, Red}, {319, 0, Green}, {0, 179, Blue}, {319, 179, White}, {150, 80, Red}}));
    settings.cropOn = true;
    settings.crop = {80, 0, 160, 80};
    m_pView->apply(settings);
    EXPECT_TRUE(waitForProbes({{2, 2, Green}, {317, 177, Green}, {160, 90, Green}}));
    const TestPicture picture = noise(600, 400);
    settings.method = IMAGE_RESIZE_ORIGINAL;
    settings.crop = {101, 103, 101 + 340, 103 + 60}; // 10 columns lost on each side, bars of 60
    m_pView->apply(settings);
    show(picture);
    const TestPicture part(320, 60, [&](int x, int y) { return picture.at(x + 111, y + 103); });
    const auto isPart = [&](const Image& image) { return showsAt(image, part, 0, 60); };
    const Image image = waitFor(isPart);
    EXPECT_TRUE(isPart(image));
    EXPECT_TRUE(showsProbes(image, {{160, 59, Black}, {160, 120, Black}}));
}

TEST_P(ViewWindowTest, DrawsAgainAfterResizeAndExpose) {
    const TestPicture picture = quadrants(320, 180);
    EXPECT_TRUE(waitForProbes({{0, 0, Black}, {319, 179, Black}})); // before the first picture
    show(picture);
    m_server.resizeWindow(m_pView->window(), 640, 480);
    const std::vector<Probe> resized = {
        {5, 55, Black}, {5, 65, Red}, {635, 65, Green}, {5, 415, Blue}, {635, 425, Black}};
    ASSERT_TRUE(waitForProbes(resized));
    const xcb_window_t cover = m_server.makeWindow(0, 0, 400, 400, 0x123456);
    ASSERT_EQ(m_server.screenshot().at(100, 100), 0x123456u);
    m_server.destroyWindow(cover);
    EXPECT_TRUE(waitForProbes(resized));
    m_server.resizeWindow(m_pView->window(), 160, 90);
    EXPECT_TRUE(waitForProbes({{2, 2, Red}, {157, 2, Green}, {2, 87, Blue}, {157, 87, White}}));
}

TEST_P(ViewWindowTest, ShowsTheLastOfManyPictures) {
    for (std::uint32_t i = 0; i < 80; ++i) {
        show(plain(320 - (i / 20) * 2, 180, i));
    }
    const TestPicture last = noise(320, 180);
    show(last);
    const auto isLast = [&](const Image& image) { return showsAt(image, last, 0, 0); };
    EXPECT_TRUE(isLast(waitFor(isLast)));
}

const std::vector<Way> Ways = {
    {"Everything", features(true, true, true, false)},
    {"NoSharedPixmaps", features(true, false, true, false)},
    {"NoShm", features(false, true, true, false)},
    {"NoRender", features(true, true, false, false)},
    {"CoreProtocolOnly", features(false, false, false, false)},
    {"Present", features(true, true, true, true)},
    {"PresentWithoutShm", features(false, false, true, true)},
    {"PresentWithoutRender", features(true, false, false, true)},
};

INSTANTIATE_TEST_SUITE_P(Ways, ViewWindowTest, testing::ValuesIn(Ways),
                         [](const auto& info) { return std::string(info.param.pName); });

} // namespace
