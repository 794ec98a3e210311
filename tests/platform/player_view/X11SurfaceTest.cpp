// The ways of drawing, one after the other: whatever the server can or cannot do, the window shows the same.
#include "x11/X11Surface.h"

#include "Reference.h"
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
#include <random>
#include <string>
#include <thread>
#include <vector>

using namespace kq::playerview;
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
        auto connection = XConnection::Open({way.shm, way.sharedPixmaps, way.render, true, way.present});
        const XFeatures& found = connection->Features();
        EXPECT_EQ(found.shm, way.shm);
        EXPECT_EQ(found.sharedPixmaps, way.shm && way.sharedPixmaps);
        EXPECT_EQ(found.render, way.render);
        EXPECT_EQ(found.present, way.present);
        m_surface = X11Surface::Create(std::move(connection), 0, {40, 30, 320, 180});
    }
    void Show(const TestPicture& picture) {
        m_surface->Show({picture.width, picture.height}, picture.pixels.data(),
                        {0, 0, picture.width, picture.height});
    }
    xcb_window_t Window() { return static_cast<xcb_window_t>(m_surface->Handle()); }
    void ShowLent(const TestPicture& picture) {
        const Size size = {picture.width, picture.height};
        std::uint8_t* const pixels = m_surface->Lend(size);
        std::memcpy(pixels, picture.pixels.data(), picture.pixels.size());
        m_surface->Show(size, pixels, {0, 0, size.width, size.height});
    }
    bool WaitForPicture(const TestPicture& picture, int x, int y) {
        return kqtest::WaitForPicture(m_server, picture, x, y, Window());
    }
    bool WaitForProbes(const std::vector<Probe>& probes) {
        return kqtest::WaitForProbes(m_server, probes, Window());
    }

    Xvfb m_server;
    std::unique_ptr<X11Surface> m_surface;
};

TEST_P(X11SurfaceTest, ShowsUnscaledPicturesExactly) {
    for (int i = 0; i < 5; ++i) {
        const TestPicture picture = Noise(320, 180 - 20 * i);
        Show(picture);
        const int top = (180 - picture.height) / 2;
        ASSERT_TRUE(WaitForPicture(picture, 0, top)) << picture.height;
        EXPECT_TRUE(top == 0 || WaitForProbes({{5, top - 1, black}, {5, 180 - top, black}}));
    }
}

TEST_P(X11SurfaceTest, ScalesSmoothPictures) {
    // Levels rise by one a pixel: scaled up by two they lie within half a pixel of the exact value.
    Show({160, 90, [](int x, int y) { return static_cast<std::uint32_t>(x << 16 | y << 8 | 77); }});
    const auto isScaled = [](const Image& image) {
        for (int y = 0; y < image.height; ++y) {
            for (int x = 0; x < image.width; ++x) {
                const std::uint32_t rgb = image.At(x, y);
                const int red = static_cast<int>(rgb >> 16);
                const int green = static_cast<int>(rgb >> 8 & 0xFF);
                if (std::abs(2 * red - x) > 2 || std::abs(2 * green - y) > 2 || (rgb & 0xFF) != 77) {
                    return false;
                }
            }
        }
        return image.width == 320;
    };
    EXPECT_TRUE(isScaled(m_server.WaitFor(isScaled, Window())));
}

TEST_P(X11SurfaceTest, ScalesToTheByteAndKeepsAPlaceWhenSizesChange) {
    std::mt19937 random(3);
    const Size window = {320, 180};
    DisplaySettings settings;
    settings.displayOn = true;
    settings.display = {{10.3, 5.75, 42.3, 23.75}, 0, IMAGE_RESIZE_FIT};
    settings.displayFor = {64, 36};
    for (const int size : {1, 2}) { // the second picture is twice as large
        const TestPicture picture = Random(64 * size, 36 * size, random);
        Show(picture);
        for (const std::int32_t scaling : {KQ_SCALING_NEAREST, KQ_SCALING_BILINEAR}) {
            settings.display.nScaling = scaling;
            EXPECT_TRUE(m_surface->Apply(settings));
            const PictureLayout layout = LayOut({picture.width, picture.height}, settings, window);
            const std::vector<std::uint8_t> pixels = Scaled(picture, layout, scaling == KQ_SCALING_BILINEAR);
            TestPicture shown(layout.visible.width, layout.visible.height, [](int, int) { return 0; });
            shown.pixels = pixels;
            EXPECT_TRUE(WaitForPicture(shown, layout.visible.x, layout.visible.y)) << size << " " << scaling;
        }
    }
    // What reaches beyond the picture is black, whatever was there.
    settings.display = {{-64, -36, 192, 108}, KQ_SCALING_DEFAULT, IMAGE_RESIZE_STRETCH};
    settings.displayFor = {128, 72};
    m_surface->Apply(settings);
    Show(Plain(128, 72, red));
    EXPECT_TRUE(
        WaitForProbes({{79, 90, black}, {82, 90, red}, {237, 90, red}, {240, 90, black}, {160, 44, black}}));
    settings.display.source = {200, 0, 300, 50};
    m_surface->Apply(settings);
    EXPECT_TRUE(WaitForProbes({{0, 0, black}, {160, 90, black}, {319, 179, black}}));
}

TEST_P(X11SurfaceTest, CutsAndCrops) {
    Show(Quadrants(160, 160)); // fitted: 180 x 180, bars of 70 beside it
    EXPECT_TRUE(
        WaitForProbes({{69, 90, black}, {72, 2, red}, {247, 2, green}, {72, 177, blue}, {250, 9, black}}));
    DisplaySettings settings;
    settings.method = IMAGE_RESIZE_FILL; // 320 x 320, 70 cut above and below
    m_surface->Apply(settings);
    EXPECT_TRUE(
        WaitForProbes({{0, 0, red}, {319, 0, green}, {0, 179, blue}, {319, 179, white}, {150, 80, red}}));
    settings.cropOn = true;
    settings.crop = {80, 0, 160, 80};
    m_surface->Apply(settings);
    EXPECT_TRUE(WaitForProbes({{2, 2, green}, {317, 177, green}, {160, 90, green}}));
    const TestPicture picture = Noise(600, 400);
    settings.method = IMAGE_RESIZE_ORIGINAL;
    settings.crop = {101, 103, 101 + 340, 103 + 60}; // 10 columns lost on each side, bars of 60
    m_surface->Apply(settings);
    Show(picture);
    const TestPicture part(320, 60, [&](int x, int y) { return picture.At(x + 111, y + 103); });
    EXPECT_TRUE(WaitForPicture(part, 0, 60));
    EXPECT_TRUE(WaitForProbes({{160, 59, black}, {160, 120, black}}));
}

TEST_P(X11SurfaceTest, DrawsAgainAfterResizeAndExpose) {
    const TestPicture picture = Quadrants(320, 180);
    EXPECT_TRUE(WaitForProbes({{0, 0, black}, {319, 179, black}})); // before the first picture
    Show(picture);
    m_server.ResizeWindow(Window(), 640, 480);
    const std::vector<Probe> resized = {
        {5, 55, black}, {5, 65, red}, {635, 65, green}, {5, 415, blue}, {635, 425, black}};
    ASSERT_TRUE(WaitForProbes(resized));
    const xcb_window_t cover = m_server.MakeWindow(0, 0, 400, 400, 0x123456);
    ASSERT_EQ(m_server.Screenshot().At(100, 100), 0x123456u);
    m_server.DestroyWindow(cover);
    EXPECT_TRUE(WaitForProbes(resized));
    m_server.ResizeWindow(Window(), 160, 90);
    EXPECT_TRUE(WaitForProbes({{2, 2, red}, {157, 2, green}, {2, 87, blue}, {157, 87, white}}));
}

TEST_P(X11SurfaceTest, DrawsAgainWhenExposeComesWithConfigure) {
    Show(Quadrants(320, 180));
    const std::vector<Probe> drawn = {{2, 2, red}, {317, 2, green}, {2, 177, blue}, {317, 177, white}};
    ASSERT_TRUE(WaitForProbes(drawn));
    for (int i = 0; i < 20; ++i) { // the two may be read one by one, where nothing can go wrong
        m_server.Fill(Window(), 0x123456);
        m_server.SendExposeAndConfigure(Window(), 320, 180);
        ASSERT_TRUE(WaitForProbes(drawn)) << i;
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
        const TestPicture first = Plain(size.width, size.height, red);
        const TestPicture second = Plain(size.width, size.height, green);
        const TestPicture third = Plain(size.width, size.height, blue);
        for (const bool lends : {false, true}) {
            Show(first);
            Show(second); // both pieces exist
            ASSERT_TRUE(WaitForProbes({{160, 90, green}}));
            // A server takes a new connection when it has sent all clients what it had for them: by then it
            // has told the surface that it has read the pictures.
            xcb_disconnect(xcb_connect(m_server.Display().c_str(), nullptr));
            std::atomic<int> done = 0;
            std::thread shower;
            {
                const Xvfb::Paused paused(m_server);
                shower = std::thread([&] {
                    Show(first);
                    ++done;
                    Show(second);
                    ++done;
                    lends ? ShowLent(third) : Show(third);
                    ++done;
                });
                EXPECT_TRUE(WaitUntil([&] { return done == free; }));
                std::this_thread::sleep_for(std::chrono::milliseconds(50));
                EXPECT_EQ(done, free)
                    << "the piece of the first picture is written while the server waits to read it";
            }
            shower.join();
            EXPECT_TRUE(WaitForProbes({{160, 90, blue}}));
        }
    }
}

TEST_P(X11SurfaceTest, ShowsTheLastOfManyPictures) {
    for (std::uint32_t i = 0; i < 80; ++i) {
        Show(Plain(320 - (i / 20) * 2, 180, i));
    }
    const TestPicture last = Noise(320, 180);
    Show(last);
    EXPECT_TRUE(WaitForPicture(last, 0, 0));
}

const std::vector<Way> ways = {
    {"Everything", true, true, true, false},
    {"NoSharedPixmaps", true, false, true, false},
    {"NoShm", false, true, true, false},
    {"NoRender", true, true, false, false},
    {"CoreProtocolOnly", false, false, false, false},
    {"Present", true, true, true, true},
    {"PresentWithoutShm", false, false, true, true},
    {"PresentWithoutRender", true, false, false, true},
};

INSTANTIATE_TEST_SUITE_P(Ways, X11SurfaceTest, testing::ValuesIn(ways),
                         [](const auto& info) { return std::string(info.param.name); });

} // namespace
