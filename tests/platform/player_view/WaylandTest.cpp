// Views in a Wayland host's surface, seen on the compositor's screen: with what the compositor offers, and
// without it.
#include "Reference.h"
#include "TestPicture.h"
#include "tests/support/FakeCompositor.h"
#include "tests/support/WaitUntil.h"
#include "tests/support/WaylandHost.h"
#include "tests/support/Weston.h"
#include "wayland/WaylandSurface.h"

#include <kqplayer/player_view.h>

#include <fractional-scale-v1-client-protocol.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <presentation-time-client-protocol.h>
#include <viewporter-client-protocol.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <memory>
#include <optional>
#include <ostream>
#include <random>
#include <thread>
#include <vector>

using namespace kq::playerview;
using namespace kqtest;
using kq::test::WaitUntil;

namespace {

constexpr std::uint32_t grey = 0x808080;

struct Way {
    const char* name;
    int scale;
    WaylandConnection::Extensions extensions;
};

void PrintTo(const Way& way, std::ostream* out) {
    *out << way.name;
}

/// A view of 320x180 at (40, 30) of a host's window; twice as large on the screen at a scale of 2.
class WaylandViews : public testing::TestWithParam<Way> {
protected:
    WaylandViews() : m_weston({1024, 768, GetParam().scale, false}) {
        m_host.emplace();
        std::string error;
        m_view = WaylandSurface::Create({sizeof(KQWaylandParent), m_host->Display(), m_host->Surface(), 0},
                                        {40, 30, 320, 180}, error, GetParam().extensions);
        EXPECT_TRUE(m_view) << error;
        m_host->Commit();
        // It is known which screen the view is on once it is there.
        EXPECT_TRUE(WaitForProbes({{0, 0, black}, {-1, 0, grey}}));
    }
    ~WaylandViews() override { m_view.reset(); }

    int Scale() const { return GetParam().scale; }
    void Show(const TestPicture& picture) {
        m_view->Show({picture.width, picture.height}, picture.pixels.data(),
                     {0, 0, picture.width, picture.height});
    }
    bool Apply(IMAGE_RESIZE_METHOD method) {
        DisplaySettings settings;
        settings.method = method;
        return m_view->Apply(settings);
    }
    /// @param probes in pixels of the screen from the view's first place
    bool WaitForProbes(std::vector<Probe> probes) {
        for (Probe& probe : probes) {
            probe.x += 40 * Scale();
            probe.y += 30 * Scale();
        }
        return kqtest::WaitForProbes(m_weston.Screen(), probes);
    }
    /// @param x,y likewise
    bool WaitForPicture(const TestPicture& picture, int x, int y) {
        return kqtest::WaitForPicture(m_weston.Screen(), picture, 40 * Scale() + x, 30 * Scale() + y);
    }

    Weston m_weston;
    std::optional<WaylandHost> m_host;
    std::unique_ptr<WaylandSurface> m_view;
};

TEST_P(WaylandViews, ShowPicturesOfTheSizeOnTheScreenExactly) {
    for (int i = 0; i < 8; ++i) { // more than there are buffers
        const TestPicture picture = Noise(320 * Scale(), (180 - 20 * (i % 3)) * Scale());
        Show(picture);
        const int top = 10 * (i % 3) * Scale();
        ASSERT_TRUE(WaitForPicture(picture, 0, top)) << i;
        EXPECT_TRUE(top == 0 || WaitForProbes({{5, top - 1, black}, {5, 180 * Scale() - top, black}})) << i;
    }
}

TEST_P(WaylandViews, ResizeInFourWaysAndStayWithinTheirPlace) {
    Show(Quadrants(200, 200));
    const int s = Scale();
    const struct {
        IMAGE_RESIZE_METHOD method;
        std::vector<Probe> probes; ///< the last ones outside of the view
    } cases[] = {
        {IMAGE_RESIZE_FIT,
         {{68 * s, 90 * s, black},
          {75 * s, 5 * s, red},
          {245 * s, 5 * s, green},
          {245 * s, 175 * s, white},
          {252 * s, 90 * s, black}}},
        {IMAGE_RESIZE_STRETCH,
         {{3, 3, red}, {317 * s, 3, green}, {3, 177 * s, blue}, {317 * s, 177 * s, white}}},
        {IMAGE_RESIZE_FILL,
         {{3, 3, red}, {317 * s, 3, green}, {3, 177 * s, blue}, {317 * s, 177 * s, white}}},
        {IMAGE_RESIZE_ORIGINAL, // by the pixels of the screen
         {{160 * s - 103, 90 * s, black},
          {160 * s - 97, 90 * s - 50, red},
          {160 * s + 97, 90 * s + 50, white},
          {160 * s + 103, 90 * s, black}}},
    };
    for (const auto& row : cases) {
        EXPECT_TRUE(Apply(row.method));
        EXPECT_TRUE(WaitForProbes(row.probes)) << row.method;
        EXPECT_TRUE(
            WaitForProbes({{-1, 90, grey}, {320 * s, 90, grey}, {160, -1, grey}, {160, 180 * s, grey}}));
    }
}

TEST_P(WaylandViews, AreMovedCutAndHidden) {
    const int s = Scale();
    Show(Quadrants(320, 180));
    const auto place = [&](const Rect& whole, const Rect& seen) {
        m_view->Place(whole, seen);
        m_host->Commit();
    };
    place({60, 50, 160, 180}, {60, 50, 160, 180}); // lies 20 to the right and below: bars above and below
    EXPECT_TRUE(WaitForProbes({{19 * s, 40 * s, grey},
                               {22 * s, 22 * s, black},
                               {22 * s, 70 * s, red},
                               {178 * s, 150 * s, white},
                               {178 * s, 198 * s, black},
                               {181 * s, 150 * s, grey}}));
    place({40, 30, 320, 180}, {240, 60, 500, 20}); // right of the middle, from 200 and 30 on
    EXPECT_TRUE(WaitForProbes({{198 * s, 40 * s, grey},
                               {201 * s, 31 * s, green},
                               {318 * s, 48 * s, green},
                               {201 * s, 51 * s, grey},
                               {322 * s, 40 * s, grey},
                               {201 * s, 28 * s, grey}}));
    KQViewMapping mapping = {};
    EXPECT_TRUE(m_view->FindMapping(mapping));
    EXPECT_EQ(mapping.nWindowWidth, 320);
    EXPECT_EQ(mapping.target.right, 320) << "in the host's units, whatever is seen of it";
    place({40, 30, 320, 180}, {});
    EXPECT_TRUE(WaitForProbes({{10, 10, grey}, {201 * s, 31 * s, grey}, {310 * s, 170 * s, grey}}));
    Show(Plain(320, 180, white)); // comes when it is seen again
    place({40, 30, 320, 180}, {40, 30, 320, 180});
    EXPECT_TRUE(WaitForProbes({{1, 1, white}, {318 * s, 178 * s, white}}));
}

TEST_P(WaylandViews, MagnifyAPartToTheByteAndOnlyWhatWasMade) {
    std::mt19937 random(3);
    const TestPicture picture = Random(64, 36, random);
    Show(picture);
    DisplaySettings settings;
    settings.displayOn = true;
    settings.displayFor = {64, 36};
    settings.display = {{10.3, 5.75, 42.3, 23.75}, 0, IMAGE_RESIZE_FIT};
    for (const std::int32_t scaling : {KQ_SCALING_NEAREST, KQ_SCALING_BILINEAR}) {
        settings.display.nScaling = scaling;
        EXPECT_TRUE(m_view->Apply(settings));
        const PictureLayout layout = LayOut({64, 36}, settings, {320 * Scale(), 180 * Scale()});
        TestPicture shown(layout.visible.width, layout.visible.height, [](int, int) { return 0; });
        shown.pixels = Scaled(picture, layout, scaling == KQ_SCALING_BILINEAR);
        EXPECT_TRUE(WaitForPicture(shown, layout.visible.x, layout.visible.y)) << scaling;
    }
    const TestPicture next = Plain(64, 36, green);
    m_view->Show({64, 36}, next.pixels.data(), NeededPart({64, 36}, settings));
    EXPECT_TRUE(WaitForProbes({{160, 90, green}}));
    EXPECT_FALSE(Apply(IMAGE_RESIZE_FIT)) << "the rest was not made";
    Show(next);
    EXPECT_TRUE(WaitForProbes({{2, 2, green}, {318 * Scale(), 178 * Scale(), green}}));
}

TEST_P(WaylandViews, LoseNoPictureAndOverwriteNoneThatIsRead) {
    constexpr int pictures = 60;
    const Size size = {320, 180};
    std::vector<std::uint8_t> all(std::size_t{4} * size.width * size.height);
    KQPresentation counts = {};
    const auto waiting = [&] {
        counts = m_view->Presentation();
        return counts.llShown - counts.llCommitted - counts.llSkipped;
    };
    for (int i = 0; i < pictures; ++i) {
        ASSERT_TRUE(WaitUntil([&] { return waiting() < 2; })) << i; // there is room for one more
        std::uint8_t* const pixels = m_view->Lend(size);
        ASSERT_NE(pixels, nullptr) << i;
        std::memset(pixels, i, all.size());
        m_view->Show(size, pixels, {0, 0, size.width, size.height});
        if (i % 10 == 7) { // what is on its way is shown at the new place
            m_view->Place({40, 30, 320, 179}, {40, 30, 320, 179});
            m_view->Place({40, 30, 320, 180}, {40, 30, 320, 180});
        }
        if (i % 10 == 5) {
            const Image screen = m_weston.Screen().Screenshot();
            for (const int row : {30 * Scale(), 210 * Scale() - 1}) {
                EXPECT_EQ(screen.At(40 * Scale(), row), screen.At(200 * Scale(), 120 * Scale()))
                    << "parts of two";
            }
        }
        // Unevenly, as the wall clock's steps of 10 ms have it: 20, 20 and 10 ms for 60 Hz.
        std::this_thread::sleep_for(std::chrono::milliseconds(i % 3 == 2 ? 10 : 20));
    }
    const bool tells = GetParam().extensions.presentation;
    EXPECT_TRUE(WaitUntil([&] { return waiting() == 0 && (!tells || counts.llPresented == pictures); }));
    EXPECT_EQ(counts.llCommitted, pictures);
    EXPECT_EQ(counts.llSkipped, 0);
    EXPECT_EQ(counts.llDiscarded, tells ? 0 : -1) << "given before the one before was taken over";
    EXPECT_EQ(counts.llLastTime > 0, tells);
}

TEST_P(WaylandViews, OutliveTheCompositor) {
    const TestPicture picture = Quadrants(320, 180);
    Show(picture);
    std::uint8_t* const lent = m_view->Lend({320, 180});
    m_weston.Stop();
    EXPECT_TRUE(WaitUntil([&] { return m_view->Handle() == 0; }));
    std::memcpy(lent, picture.pixels.data(), picture.pixels.size());
    m_view->Show({320, 180}, lent, {0, 0, 320, 180});
    Show(picture);
    m_view->Place({0, 0, 10, 10}, {0, 0, 10, 10});
    EXPECT_EQ(m_view->Lend({320, 180}), nullptr);
}

INSTANTIATE_TEST_SUITE_P(Ways, WaylandViews,
                         testing::Values(Way{"all", 1, {true, true}}, Way{"bare", 1, {false, false}},
                                         Way{"scale2", 2, {true, true}},
                                         Way{"bareScale2", 2, {false, false}}),
                         [](const auto& way) { return way.param.name; });

/// A view of a host that does nothing else with its connection.
struct FakedView {
    FakedView() : display(wl_display_connect(nullptr)), registry(wl_display_get_registry(display)) {
        static constexpr wl_registry_listener listener = {
            [](void* self, wl_registry* from, std::uint32_t name, const char* interface, std::uint32_t) {
                if (interface == std::string(wl_compositor_interface.name)) {
                    static_cast<FakedView*>(self)->compositor = static_cast<wl_compositor*>(
                        wl_registry_bind(from, name, &wl_compositor_interface, 1));
                }
            },
            [](void*, wl_registry*, std::uint32_t) {}};
        wl_registry_add_listener(registry, &listener, this);
        wl_display_roundtrip(display);
        surface = compositor != nullptr ? wl_compositor_create_surface(compositor) : nullptr;
        view =
            WaylandSurface::Create({sizeof(KQWaylandParent), display, surface, 0}, {0, 0, 320, 180}, error);
    }
    ~FakedView() {
        view.reset();
        if (surface != nullptr) {
            wl_surface_destroy(surface);
            wl_compositor_destroy(compositor);
        }
        wl_registry_destroy(registry);
        wl_display_disconnect(display);
    }

    wl_display* display;
    wl_registry* registry;
    wl_compositor* compositor = nullptr;
    wl_surface* surface = nullptr;
    std::string error;
    std::unique_ptr<WaylandSurface> view;
};

TEST(LackingCompositor, IsNamedWithWhatToDo) {
    const wl_interface* const needed[] = {&wl_compositor_interface, &wl_subcompositor_interface,
                                          &wl_shm_interface};
    std::vector<const wl_interface*> offered;
    for (const wl_interface* lacking : needed) {
        const FakeCompositor compositor(offered);
        const FakedView faked;
        EXPECT_EQ(faked.view, nullptr) << lacking->name;
        EXPECT_NE(faked.error.find(lacking->name), std::string::npos) << faked.error;
        EXPECT_NE(faked.error.find("let the program use X11"), std::string::npos) << faked.error;
        offered.push_back(lacking);
    }
}

TEST(FractionalScale, IsTakenWhenTheCompositorPrefersOne) {
    for (const std::uint32_t parts : {120u, 150u, 180u, 300u}) {
        const FakeCompositor compositor({&wl_compositor_interface, &wl_subcompositor_interface,
                                         &wl_shm_interface, &wp_viewporter_interface,
                                         &wp_fractional_scale_manager_v1_interface},
                                        [&](const std::string& request, wl_resource* made) {
                                            if (request == "get_fractional_scale") {
                                                wl_resource_post_event(made, 0, parts); // preferred_scale
                                            }
                                        });
        const FakedView faked;
        ASSERT_TRUE(faked.view) << faked.error;
        DisplaySettings settings;
        settings.method = IMAGE_RESIZE_ORIGINAL; // by the pixels of the screen
        faked.view->Apply(settings);
        const TestPicture picture = Plain(300, 150, red);
        faked.view->Show({300, 150}, picture.pixels.data(), {0, 0, 300, 150});
        EXPECT_TRUE(WaitUntil([&] {
            KQViewMapping mapping = {};
            faked.view->FindMapping(mapping);
            return std::abs((mapping.target.right - mapping.target.left) * parts - 300 * 120) < 1e-6 &&
                   mapping.nWindowWidth == 320;
        })) << parts;
    }
}

/// The compositor takes a picture over while the same one is placed anew, and gets the next one before it has
/// shown that.
TEST(Presentation, OfAPictureThatIsPlacedAnewIsThatOfEitherPlace) {
    std::vector<wl_resource*> feedbacks;
    wl_resource* frame = nullptr;
    const FakeCompositor compositor({&wl_compositor_interface, &wl_subcompositor_interface, &wl_shm_interface,
                                     &wp_presentation_interface},
                                    [&](const std::string& request, wl_resource* made) {
                                        frame = request == "frame" ? made : frame;
                                        if (request != "feedback") {
                                            return;
                                        }
                                        feedbacks.push_back(made);
                                        if (feedbacks.size() == 2) { // presented, and the turn of the next
                                            wl_resource_post_event(feedbacks[0], 1, 0u, 7u, 0u, 16'666'666u,
                                                                   0u, 0u, 0u);
                                            wl_resource_destroy(feedbacks[0]);
                                            wl_resource_post_event(frame, 0, 0u);
                                            wl_resource_destroy(frame);
                                        } else if (feedbacks.size() == 3) {
                                            wl_resource_post_event(feedbacks[1], 2); // discarded
                                            wl_resource_destroy(feedbacks[1]);
                                        }
                                    });
    const FakedView faked;
    ASSERT_TRUE(faked.view) << faked.error;
    faked.view->Presentation(); // asked for from here on
    const TestPicture picture = Plain(320, 180, red);
    const auto show = [&] { faked.view->Show({320, 180}, picture.pixels.data(), {0, 0, 320, 180}); };
    show();
    show(); // waits
    faked.view->Place({1, 0, 320, 180}, {1, 0, 320, 180});
    EXPECT_TRUE(WaitUntil([&] { return faked.view->Presentation().llCommitted == 2; }));
    EXPECT_TRUE(WaitUntil([&] { return faked.view->Presentation().llPresented == 1; }));
    wl_display_roundtrip(faked.display); // what the compositor has said by then is there
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_EQ(faked.view->Presentation().llPresented, 1);
    EXPECT_EQ(faked.view->Presentation().llDiscarded, 0);
}

TEST(Presentation, IsRequestedFromTheFirstQuestionOn) {
    std::atomic<int> requested{0};
    const FakeCompositor compositor({&wl_compositor_interface, &wl_subcompositor_interface, &wl_shm_interface,
                                     &wp_presentation_interface},
                                    [&](const std::string& request, wl_resource* made) {
                                        requested += request == "feedback" ? 1 : 0;
                                        if (request == "frame") {
                                            wl_resource_post_event(made, 0, 0u); // done
                                            wl_resource_destroy(made);
                                        }
                                    });
    const FakedView faked;
    ASSERT_TRUE(faked.view) << faked.error;
    const TestPicture picture = Plain(320, 180, red);
    const auto show = [&] { faked.view->Show({320, 180}, picture.pixels.data(), {0, 0, 320, 180}); };
    show();
    wl_display_roundtrip(faked.display);
    EXPECT_EQ(requested, 0);
    EXPECT_EQ(faked.view->Presentation().llCommitted, 1);
    show();
    EXPECT_TRUE(WaitUntil([&] { return requested == 1; }));
}

/// Reads a host's connection as toolkits do, on a thread beside the one that makes and destroys views.
class ReadingHost {
public:
    explicit ReadingHost(wl_display* display) : m_display(display), m_thread([this] { Run(); }) {}
    ~ReadingHost() {
        m_isOver = true;
        m_thread.join();
    }
    ReadingHost(const ReadingHost&) = delete;
    ReadingHost& operator=(const ReadingHost&) = delete;

private:
    void Run() {
        while (!m_isOver) {
            while (wl_display_prepare_read(m_display) != 0) {
                wl_display_dispatch_pending(m_display);
            }
            wl_display_flush(m_display);
            pollfd source = {wl_display_get_fd(m_display), POLLIN, 0};
            if (poll(&source, 1, 1) > 0) {
                wl_display_read_events(m_display);
            } else {
                wl_display_cancel_read(m_display);
            }
        }
    }

    wl_display* const m_display;
    std::atomic<bool> m_isOver{false};
    std::thread m_thread;
};

TEST(DestroyedViews, HearNothingMoreAndWaitForNoReader) {
    const FakeCompositor compositor(
        {&wl_compositor_interface, &wl_subcompositor_interface, &wl_shm_interface},
        [](const std::string& request, wl_resource* made) {
            for (int i = 0; request == "create_buffer" && i < 300; ++i) { // dispatched while the view goes
                wl_resource_post_event(made, 0);                          // release
            }
        });
    FakedView faked;
    ASSERT_TRUE(faked.view) << faked.error;
    const ReadingHost reader(faked.display);
    const TestPicture picture = Plain(320, 180, red);
    for (int i = 0; i < 200; ++i) {
        faked.view = WaylandSurface::Create({sizeof(KQWaylandParent), faked.display, faked.surface, 0},
                                            {0, 0, 320, 180}, faked.error);
        ASSERT_TRUE(faked.view) << faked.error;
        faked.view->Show({320, 180}, picture.pixels.data(), {0, 0, 320, 180});
        std::this_thread::sleep_for(std::chrono::microseconds(10 * (i % 20)));
        faked.view.reset();
    }
}

/// A host that goes through the library's exported functions.
TEST(WaylandParent, IsNeverTakenForAnX11WindowNorTheOtherWayRound) {
    Weston weston;
    const WaylandHost host;
    VRECT rect{0, 0, 64, 48};
    const KQWaylandParent surface = {sizeof surface, host.Display(), host.Surface(), 0};
    void* const parent = PVAddWaylandParent(&surface);
    ASSERT_GT(reinterpret_cast<std::uintptr_t>(parent), 0x1FFFFFFFu) << "could be an X11 window's id";
    void* const view = PVCreatePlayerView(parent, &rect);
    ASSERT_NE(view, nullptr);
    host.Commit();
    EXPECT_TRUE(WaitForProbes(weston.Screen(), {{1, 1, black}, {63, 47, black}, {65, 1, grey}}));
    EXPECT_EQ(PVPlaceWaylandView(PVGetHwnd(view), &rect, nullptr), 1);
    EXPECT_EQ(PVPlaceWaylandView(view, &rect, nullptr), 0) << "the handle is no window";
    EXPECT_EQ(PVRemoveWaylandParent(parent), 1);
    EXPECT_EQ(PVRemoveWaylandParent(parent), 0);
    KQPresentation presentation = {};
    EXPECT_EQ(PVGetPresentation(PVGetHwnd(view), &presentation), 1) << "views stay";
    void* const window = PVGetHwnd(view);
    PVDestroyPlayerView(view);
    EXPECT_EQ(PVGetPresentation(window, &presentation), 0);
    // What is no registered surface is an X11 window, and there is no X server.
    for (const std::uintptr_t other : {reinterpret_cast<std::uintptr_t>(parent), std::uintptr_t{0x400001},
                                       reinterpret_cast<std::uintptr_t>(host.Surface())}) {
        EXPECT_EQ(PVCreatePlayerView(reinterpret_cast<void*>(other), &rect), nullptr) << other;
    }
    setenv("DISPLAY", weston.Screen().Display().c_str(), 1);
    EXPECT_EQ(PVCreatePlayerView(parent, &rect), nullptr) << "nor has the X server such a window";
    unsetenv("DISPLAY");
    const KQWaylandParent lacking = {sizeof lacking, host.Display(), nullptr, 0};
    EXPECT_EQ(PVAddWaylandParent(&lacking), nullptr);
}

} // namespace
