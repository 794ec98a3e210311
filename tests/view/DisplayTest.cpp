// Looking closely, through the component and the view library as they are shipped.
#include "tests/support/WaitUntil.h"
#include "tests/support/Xvfb.h"
#include "view/PlayerViewMgr.h"

#include <kqplayer/convenience.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <thread>
#include <vector>

namespace {

using kq::test::WaitUntil;
using kqtest::Xvfb;

constexpr int width = 71;
constexpr int height = 51;

/// One picture of random samples, in any kind.
class RandomStream final : public kq::MediaStream {
public:
    explicit RandomStream(std::int32_t kind) : MediaStream(VIDEO_STREAM_INFO{width, height, 25, 1, 0, 0}) {
        std::mt19937 random(static_cast<unsigned>(kind));
        for (auto& plane : m_planes) {
            plane.resize(std::size_t{pitch} * height);
            for (std::uint8_t& byte : plane) {
                byte = static_cast<std::uint8_t>(random() >> 8);
            }
        }
        frame.nKind = kind;
        frame.image.pY = m_planes[0].data();
        frame.image.pU = m_planes[1].data();
        frame.image.pV = m_planes[2].data();
        frame.image.nWidth = width;
        frame.image.nHeight = height;
        frame.image.nPitchY = frame.image.nPitchU = frame.image.nPitchV = pitch;
    }
    double Seek(double, int) override { return 0; }
    MEDIA_FRAME* GetCurrentFrame() override { return &frame; }
    int NextFrame() override { return 0; }
    double GetFramePosition() override { return 0; }

    MEDIA_FRAME frame{};

private:
    static constexpr int pitch = 300;
    std::vector<std::uint8_t> m_planes[3];
};

class Display : public testing::Test {
protected:
    ~Display() override {
        m_view.Reset();
        m_manager.Reset();
    }
    void MakeView(void* parent, int viewWidth, int viewHeight, IMediaStream* stream) {
        const auto view = kq::ComPtr<IPlayerView>::Adopt(
            m_manager->CreatePlayView(parent, tagRECT{0, 0, viewWidth, viewHeight}));
        ASSERT_EQ(view->SetVideoInput(1, stream), kq::Ok);
        m_view = view.As<IPlayerView2>();
        ASSERT_TRUE(m_view);
    }
    /// @return the pixels of a part of the picture on show, -1 where it has none
    std::vector<std::int64_t> Pixels(const tagRECT& part) {
        std::vector<std::int64_t> pixels;
        for (int y = part.top; y < part.bottom; ++y) {
            for (int x = part.left; x < part.right; ++x) {
                std::uint32_t rgb = 0;
                pixels.push_back(m_view->GetShownPixel(x, y, &rgb) == kq::Ok ? std::int64_t{rgb} : -1);
            }
        }
        return pixels;
    }
    bool HasPixel(int x, int y) { return Pixels({x, y, x + 1, y + 1})[0] >= 0; }

    kq::ComPtr<CPlayerViewMgr> m_manager = kq::ComPtr<CPlayerViewMgr>::Share(new CPlayerViewMgr);
    kq::ComPtr<IPlayerView2> m_view;
};

TEST_F(Display, APartThatIsMadeAloneEqualsTheWholeInEveryKind) {
    Xvfb server;
    for (const std::int32_t kind :
         {KQ_PICTURE_PLANAR_YUV, KQ_PICTURE_PLANAR_422, KQ_PICTURE_PLANAR_444, KQ_PICTURE_NV12,
          KQ_PICTURE_PLANAR_420_10, KQ_PICTURE_PLANAR_422_10, KQ_PICTURE_PLANAR_444_10, KQ_PICTURE_P010}) {
        SCOPED_TRACE(kind);
        const auto stream = kq::ComPtr<RandomStream>::Adopt(new RandomStream(kind));
        ASSERT_NO_FATAL_FAILURE(MakeView(nullptr, width, height, stream.Get()));
        if (kind == KQ_PICTURE_PLANAR_422) {
            kq::DescribeColour(stream->frame, KQ_MATRIX_BT709, KQ_RANGE_FULL);
        }
        m_manager->ShowCurrentImage(&stream->frame, 1);
        const std::vector<std::int64_t> whole = Pixels({0, 0, width, height});
        const tagRECT part = {35, 17, 64, 40};
        const std::vector<std::int64_t> expected = Pixels(part);
        const KQViewDisplay display = {{36.4, 18.2, 63, 39}, KQ_SCALING_NEAREST, IMAGE_RESIZE_FIT};
        EXPECT_EQ(m_view->SetDisplay(&display), kq::Ok);
        EXPECT_TRUE(WaitUntil([&] { // a steady row of pictures
            m_manager->ShowCurrentImage(&stream->frame, 1);
            return !HasPixel(0, 0);
        }));
        EXPECT_EQ(Pixels(part), expected);

        // While the picture on show is the stream's own, as in a pause, the rest comes at once …
        EXPECT_EQ(m_view->SetDisplay(nullptr), kq::Ok);
        EXPECT_TRUE(WaitUntil([&] { return HasPixel(0, 0); }));
        EXPECT_EQ(Pixels({0, 0, width, height}), whole);
        // … and with the next picture when the stream has gone on.
        EXPECT_EQ(m_view->SetDisplay(&display), kq::Ok);
        EXPECT_TRUE(WaitUntil([&] {
            m_manager->ShowCurrentImage(&stream->frame, 1);
            return !HasPixel(0, 0);
        }));
        stream->frame.llPTS += 1;
        EXPECT_EQ(m_view->SetDisplay(nullptr), kq::Ok);
        EXPECT_FALSE(HasPixel(0, 0));
        m_manager->ShowCurrentImage(&stream->frame, 1);
        EXPECT_EQ(Pixels({0, 0, width, height}), whole);
        m_manager->Remove(m_view->GetIndex());
        m_view->SetVideoInput(1, nullptr);
        m_view.Reset();
    }
}

TEST_F(Display, APlacementKeepsPartAndScaling) {
    const auto stream = kq::ComPtr<RandomStream>::Adopt(new RandomStream(KQ_PICTURE_PLANAR_YUV));
    ASSERT_NO_FATAL_FAILURE(MakeView(kq::OffScreenParent(), width, height, stream.Get()));
    m_manager->ShowCurrentImage(&stream->frame, 1);
    const KQViewDisplay display = {{1, 2, 30, 20}, KQ_SCALING_NEAREST, IMAGE_RESIZE_FIT};
    for (const KQViewDisplay* set : {static_cast<const KQViewDisplay*>(nullptr), &display}) {
        m_view->SetDisplay(set);
        EXPECT_EQ(m_manager->SetResize(m_view.Get(), IMAGE_RESIZE_FILL), kq::Ok);
        KQViewDisplay got{};
        EXPECT_EQ(m_view->GetDisplay(&got), kq::Ok);
        EXPECT_EQ(got.nResize, IMAGE_RESIZE_FILL);
        EXPECT_EQ(got.nScaling, set != nullptr ? KQ_SCALING_NEAREST : KQ_SCALING_DEFAULT);
        EXPECT_EQ(got.source.right, set != nullptr ? 30 : 0);
    }
}

TEST_F(Display, CrossesWithPicturesAndResizes) {
    Xvfb server;
    const auto stream = kq::ComPtr<RandomStream>::Adopt(new RandomStream(KQ_PICTURE_PLANAR_YUV));
    ASSERT_NO_FATAL_FAILURE(MakeView(nullptr, width, height, stream.Get()));
    const auto window = static_cast<xcb_window_t>(reinterpret_cast<std::uintptr_t>(m_view->GetWND()));
    std::atomic<bool> stop = false;
    std::thread shower([&] {
        while (!stop) {
            m_manager->ShowCurrentImage(&stream->frame, 1);
            std::this_thread::sleep_for(std::chrono::microseconds(200));
        }
    });
    std::mt19937 random(8);
    const auto upTo = [&](unsigned most) { return static_cast<int>(random() % most); };
    for (int i = 0; i < 400; ++i) {
        KQViewDisplay display{};
        display.source.left = upTo(80) - 10;
        display.source.top = upTo(60) - 10;
        display.source.right = display.source.left + 1 + upTo(90);
        display.source.bottom = display.source.top + 1 + upTo(70);
        display.nScaling = upTo(3);
        display.nResize = upTo(4);
        EXPECT_EQ(m_view->SetDisplay(i % 5 == 0 ? nullptr : &display), kq::Ok);
        KQPointF position{};
        m_view->WindowToPicture(3, 4, &position);
        if (i % 8 == 0) {
            server.ResizeWindow(window, 20 + upTo(200), 20 + upTo(150));
        }
    }
    server.ResizeWindow(window, width, height);
    EXPECT_EQ(m_view->SetDisplay(nullptr), kq::Ok);
    stop = true;
    shower.join();
    m_manager->ShowCurrentImage(&stream->frame, 1);
    const std::vector<std::int64_t> expected = Pixels({0, 0, width, height});
    const auto isWhole = [&](const kqtest::Image& image) {
        return image.width == width && std::equal(expected.begin(), expected.end(), image.pixels.begin());
    };
    EXPECT_TRUE(isWhole(server.WaitFor(isWhole, window)));
    m_view->SetVideoInput(1, nullptr);
}

TEST_F(Display, MapsPositionsBothWays) {
    const auto stream = kq::ComPtr<RandomStream>::Adopt(new RandomStream(KQ_PICTURE_PLANAR_YUV));
    ASSERT_NO_FATAL_FAILURE(MakeView(kq::OffScreenParent(), 2 * width, 2 * height + 20, stream.Get()));
    KQPointF position{};
    EXPECT_EQ(m_view->WindowToPicture(1, 1, &position), kq::Refused) << "nothing is on show";
    KQViewDisplay display{};
    EXPECT_EQ(m_view->GetDisplay(&display), kq::Ok);
    EXPECT_EQ(display.source.right, 0);
    m_manager->ShowCurrentImage(&stream->frame, 1);
    const struct {
        KQViewDisplay display;
        KQPointF window, picture;
    } rows[] = {
        {{}, {0, 10}, {0, 0}},
        {{}, {0.5, 10.5}, {0.25, 0.25}},
        {{}, {142, 112}, {71, 51}},
        {{}, {-2, 0}, {-1, -5}},
        {{{10, 20, 10 + 35.5, 20 + 30.5}, KQ_SCALING_NEAREST, IMAGE_RESIZE_STRETCH},
         {71, 61},
         {27.75, 35.25}},
        {{{-71, -61, 142, 122}, KQ_SCALING_BILINEAR, IMAGE_RESIZE_STRETCH}, {0, 122}, {-71, 122}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << row.window.x << "," << row.window.y);
        ASSERT_EQ(m_view->SetDisplay(&row.display), kq::Ok);
        ASSERT_EQ(m_view->WindowToPicture(row.window.x, row.window.y, &position), kq::Ok);
        EXPECT_NEAR(position.x, row.picture.x, 1e-9);
        EXPECT_NEAR(position.y, row.picture.y, 1e-9);
        ASSERT_EQ(m_view->PictureToWindow(row.picture.x, row.picture.y, &position), kq::Ok);
        EXPECT_NEAR(position.x, row.window.x, 1e-9);
        EXPECT_NEAR(position.y, row.window.y, 1e-9);
    }
    EXPECT_EQ(m_view->GetDisplay(&display), kq::Ok);
    EXPECT_EQ(display.nScaling, KQ_SCALING_BILINEAR);

    // A picture of another size shows the same place, and back again exactly what was set.
    stream->frame.image.nWidth = 35;
    stream->frame.image.nHeight = 17;
    m_manager->ShowCurrentImage(&stream->frame, 1);
    EXPECT_EQ(m_view->GetDisplay(&display), kq::Ok);
    EXPECT_DOUBLE_EQ(display.source.right, 70);
    EXPECT_DOUBLE_EQ(display.source.bottom, 122.0 / 3);
    KQViewMapping mapping{};
    EXPECT_EQ(m_view->GetMapping(&mapping), kq::Ok);
    EXPECT_EQ(mapping.nPictureHeight, 17);
    EXPECT_EQ(mapping.nWindowHeight, 122);
    stream->frame.image.nWidth = width;
    stream->frame.image.nHeight = height;
    m_manager->ShowCurrentImage(&stream->frame, 1);
    EXPECT_EQ(m_view->GetDisplay(&display), kq::Ok);
    EXPECT_EQ(display.source.right, 142);

    constexpr double none = std::numeric_limits<double>::quiet_NaN();
    const KQViewDisplay bad[] = {{{0, 0, 0, 5}, 0, 0},        {{5, 0, 4, 5}, 0, 0},  {{0, 0, none, 5}, 0, 0},
                                 {{0, 0, HUGE_VAL, 5}, 0, 0}, {{0, 0, 1, 1}, 3, 0},  {{0, 0, 1, 1}, -1, 0},
                                 {{0, 0, 1, 1}, 0, 4},        {{0, 0, 3e6, 5}, 0, 0}};
    for (const KQViewDisplay& refused : bad) {
        EXPECT_EQ(m_view->SetDisplay(&refused), kq::Refused);
    }
    EXPECT_EQ(m_view->GetDisplay(&display), kq::Ok);
    EXPECT_EQ(display.source.right, 142);
    EXPECT_EQ(m_view->GetMapping(nullptr), kq::NullPointer);
    m_view->SetVideoInput(1, nullptr);
}

} // namespace
