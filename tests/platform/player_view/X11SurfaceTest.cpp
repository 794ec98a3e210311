// The ways of drawing, one after the other: whatever the server can or cannot do, the window shows the same.
#include "x11/X11Surface.h"

#include "TestPicture.h"
#include "tests/support/WaitUntil.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

using namespace kqtest;
using kq::test::WaitUntil;

namespace {

struct Way {
    const char* name;
    bool shm, sharedPixmaps, render, present;
};

void PrintTo(const Way& way, std::ostream* out) {
    *out << way.name;
}

class X11SurfaceTest : public testing::TestWithParam<Way> {
protected:
    X11SurfaceTest() {
        const Way& way = GetParam();
        auto connection = XConnection::open({way.shm, way.sharedPixmaps, way.render, true, way.present});
        const XFeatures& found = connection->features();
        EXPECT_EQ(found.shm, way.shm);
        EXPECT_EQ(found.sharedPixmaps, way.shm && way.sharedPixmaps);
        EXPECT_EQ(found.render, way.render);
        EXPECT_EQ(found.present, way.present);
        m_surface = X11Surface::create(std::move(connection), 0, {40, 30, 320, 180});
    }
    void show(const TestPicture& picture) {
        m_surface->Show({picture.width, picture.height}, picture.pixels.data());
    }
    xcb_window_t window() { return static_cast<xcb_window_t>(m_surface->Handle()); }
    void showLent(const TestPicture& picture) {
        const Size size = {picture.width, picture.height};
        std::uint8_t* const pixels = m_surface->Lend(size);
        std::memcpy(pixels, picture.pixels.data(), picture.pixels.size());
        m_surface->Show(size, pixels);
    }
    bool waitForPicture(const TestPicture& picture, int x, int y) {
        return kqtest::waitForPicture(m_server, picture, x, y, window());
    }
    bool waitForProbes(const std::vector<Probe>& probes) {
        return kqtest::waitForProbes(m_server, probes, window());
    }

    Xvfb m_server;
    std::unique_ptr<X11Surface> m_surface;
};

TEST_P(X11SurfaceTest, ShowsUnscaledPicturesExactly) {
    for (int i = 0; i < 5; ++i) {
        const TestPicture picture = noise(320, 180 - 20 * i);
        show(picture);
        const int top = (180 - picture.height) / 2;
        ASSERT_TRUE(waitForPicture(picture, 0, top)) << picture.height;
        EXPECT_TRUE(top == 0 || waitForProbes({{5, top - 1, Black}, {5, 180 - top, Black}}));
    }
}

TEST_P(X11SurfaceTest, ScalesSmoothPictures) {
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
    EXPECT_TRUE(isScaled(m_server.waitFor(isScaled, window())));
}

TEST_P(X11SurfaceTest, CutsAndCrops) {
    show(quadrants(160, 160)); // fitted: 180 x 180, bars of 70 beside it
    EXPECT_TRUE(
        waitForProbes({{69, 90, Black}, {72, 2, Red}, {247, 2, Green}, {72, 177, Blue}, {250, 9, Black}}));
    DisplaySettings settings;
    settings.method = IMAGE_RESIZE_FILL; // 320 x 320, 70 cut above and below
    m_surface->Apply(settings);
    EXPECT_TRUE(
        waitForProbes({{0, 0, Red}, {319, 0, Green}, {0, 179, Blue}, {319, 179, White}, {150, 80, Red}}));
    settings.cropOn = true;
    settings.crop = {80, 0, 160, 80};
    m_surface->Apply(settings);
    EXPECT_TRUE(waitForProbes({{2, 2, Green}, {317, 177, Green}, {160, 90, Green}}));
    const TestPicture picture = noise(600, 400);
    settings.method = IMAGE_RESIZE_ORIGINAL;
    settings.crop = {101, 103, 101 + 340, 103 + 60}; // 10 columns lost on each side, bars of 60
    m_surface->Apply(settings);
    show(picture);
    const TestPicture part(320, 60, [&](int x, int y) { return picture.at(x + 111, y + 103); });
    EXPECT_TRUE(waitForPicture(part, 0, 60));
    EXPECT_TRUE(waitForProbes({{160, 59, Black}, {160, 120, Black}}));
}

TEST_P(X11SurfaceTest, DrawsAgainAfterResizeAndExpose) {
    const TestPicture picture = quadrants(320, 180);
    EXPECT_TRUE(waitForProbes({{0, 0, Black}, {319, 179, Black}})); // before the first picture
    show(picture);
    m_server.resizeWindow(window(), 640, 480);
    const std::vector<Probe> resized = {
        {5, 55, Black}, {5, 65, Red}, {635, 65, Green}, {5, 415, Blue}, {635, 425, Black}};
    ASSERT_TRUE(waitForProbes(resized));
    const xcb_window_t cover = m_server.makeWindow(0, 0, 400, 400, 0x123456);
    ASSERT_EQ(m_server.screenshot().at(100, 100), 0x123456u);
    m_server.destroyWindow(cover);
    EXPECT_TRUE(waitForProbes(resized));
    m_server.resizeWindow(window(), 160, 90);
    EXPECT_TRUE(waitForProbes({{2, 2, Red}, {157, 2, Green}, {2, 87, Blue}, {157, 87, White}}));
}

TEST_P(X11SurfaceTest, DrawsAgainWhenExposeComesWithConfigure) {
    show(quadrants(320, 180));
    const std::vector<Probe> drawn = {{2, 2, Red}, {317, 2, Green}, {2, 177, Blue}, {317, 177, White}};
    ASSERT_TRUE(waitForProbes(drawn));
    for (int i = 0; i < 20; ++i) { // the two may be read one by one, where nothing can go wrong
        m_server.fill(window(), 0x123456);
        m_server.sendExposeAndConfigure(window(), 320, 180);
        ASSERT_TRUE(waitForProbes(drawn)) << i;
    }
}

/// Pictures are drawn from two pieces of shared memory in turn. With a server that reads nothing for a while,
/// the piece that it has not read yet is not given out again.
TEST_P(X11SurfaceTest, LeavesMemoryAloneThatTheServerStillReads) {
    if (!GetParam().shm) {
        return; // pictures are sent, and the memory is free at once
    }
    for (const Size size : {Size{320, 180}, Size{160, 90}}) { // as it is, and scaled
        // What is scaled here for want of RENDER goes through a single piece.
        const int free = size.width == 320 || GetParam().render ? 2 : 1;
        const TestPicture first = plain(size.width, size.height, Red);
        const TestPicture second = plain(size.width, size.height, Green);
        const TestPicture third = plain(size.width, size.height, Blue);
        for (const bool lends : {false, true}) {
            show(first);
            show(second); // both pieces exist
            ASSERT_TRUE(waitForProbes({{160, 90, Green}}));
            std::atomic<int> done = 0;
            std::thread shower;
            {
                const Xvfb::Paused paused(m_server);
                shower = std::thread([&] {
                    show(first);
                    ++done;
                    show(second);
                    ++done;
                    lends ? showLent(third) : show(third);
                    ++done;
                });
                EXPECT_TRUE(WaitUntil([&] { return done == free; }));
                std::this_thread::sleep_for(std::chrono::milliseconds(50));
                EXPECT_EQ(done, free)
                    << "the piece of the first picture is written while the server waits to read it";
            }
            shower.join();
            EXPECT_TRUE(waitForProbes({{160, 90, Blue}}));
        }
    }
}

TEST_P(X11SurfaceTest, ShowsTheLastOfManyPictures) {
    for (std::uint32_t i = 0; i < 80; ++i) {
        show(plain(320 - (i / 20) * 2, 180, i));
    }
    const TestPicture last = noise(320, 180);
    show(last);
    EXPECT_TRUE(waitForPicture(last, 0, 0));
}

const std::vector<Way> Ways = {
    {"Everything", true, true, true, false},
    {"NoSharedPixmaps", true, false, true, false},
    {"NoShm", false, true, true, false},
    {"NoRender", true, true, false, false},
    {"CoreProtocolOnly", false, false, false, false},
    {"Present", true, true, true, true},
    {"PresentWithoutShm", false, false, true, true},
    {"PresentWithoutRender", true, false, false, true},
};

INSTANTIATE_TEST_SUITE_P(Ways, X11SurfaceTest, testing::ValuesIn(Ways),
                         [](const auto& info) { return std::string(info.param.name); });

} // namespace
