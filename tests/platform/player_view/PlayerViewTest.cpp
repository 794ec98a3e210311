#include "TestPicture.h"
#include "tests/support/FailingAllocation.h"
#include "tests/support/WaitUntil.h"

#include <kqplayer/picture_receiver.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

using namespace kqtest;
using namespace kq::test;

namespace {

void* AsParent(xcb_window_t window) {
    return reinterpret_cast<void*>(static_cast<std::uintptr_t>(window));
}
void* const offScreen = AsParent(1);

/// A view that is destroyed at the end of its scope.
struct TestView {
    TestView(void* parent, VRECT rect) : mView(PVCreatePlayerView(parent, &rect)) {}
    ~TestView() { PVDestroyPlayerView(mView); }
    TestView(const TestView&) = delete;
    TestView& operator=(const TestView&) = delete;

    operator void*() const { return mView; }
    xcb_window_t Window() const {
        return static_cast<xcb_window_t>(reinterpret_cast<std::uintptr_t>(PVGetHwnd(mView)));
    }
    void Show(const TestPicture& picture) const {
        PVShowRGB32Image(mView, picture.width, picture.height,
                         const_cast<std::uint8_t*>(picture.pixels.data()));
    }

    void* const mView;
};

struct SeenPicture {
    void* view;
    int number;
    std::vector<std::uint8_t> pixels;
};

void KeepPicture(void* view, int number, int width, int height, const unsigned char* pixels, void* userData) {
    const std::size_t bytes = std::size_t{4} * width * height;
    static_cast<std::vector<SeenPicture>*>(userData)->push_back({view, number, {pixels, pixels + bytes}});
}

void KeepNothing(void* view, int number, int, int, const unsigned char* pixels, void* userData) {
    EXPECT_EQ(pixels, nullptr);
    static_cast<std::vector<SeenPicture>*>(userData)->push_back({view, number, {}});
}

TEST(PlayerView, ShowsPictureInChildWindow) {
    Xvfb server;
    const xcb_window_t parent = server.MakeWindow(100, 50, 400, 300, 0xABCDEF);
    const TestView view(AsParent(parent), {30, 20, 160, 90});
    const TestPicture picture = Noise(160, 90);
    view.Show(picture);
    EXPECT_TRUE(WaitForPicture(server, picture, 30, 20, parent));
    const std::vector<Probe> around = {
        {29, 20, 0xABCDEF}, {30, 19, 0xABCDEF}, {190, 20, 0xABCDEF}, {30, 110, 0xABCDEF}};
    EXPECT_TRUE(ShowsProbes(server.Screenshot(parent), around));
}

TEST(PlayerView, ShowsPicturesMadeInLentMemory) {
    Xvfb server;
    const xcb_window_t parent = server.MakeWindow(0, 0, 320, 240);
    const TestView view(AsParent(parent), {0, 0, 160, 90});
    const auto showLent = [&](const TestPicture& picture) {
        std::uint8_t* const lent = PVGetPictureBuffer(view, picture.width, picture.height);
        ASSERT_NE(lent, nullptr);
        std::memcpy(lent, picture.pixels.data(), picture.pixels.size());
        PVShowRGB32Image(view, picture.width, picture.height, lent);
    };
    for (int i = 0; i < 4; ++i) { // both buffers, and a copied picture between lent ones
        const TestPicture picture = Noise(160 - i % 2, 90);
        i == 2 ? view.Show(picture) : showLent(picture);
    }
    const TestPicture picture = Noise(160, 90);
    showLent(picture);
    EXPECT_TRUE(WaitForPicture(server, picture, 0, 0, parent));

    // What is lent stays there when the window goes.
    std::uint8_t* const lent = PVGetPictureBuffer(view, 160, 90);
    ASSERT_NE(lent, nullptr);
    server.DestroyWindow(parent);
    EXPECT_TRUE(WaitUntil([&] { return view.Window() == 0; }));
    std::memcpy(lent, picture.pixels.data(), picture.pixels.size());
    PVShowRGB32Image(view, 160, 90, lent);
    EXPECT_EQ(PVGetPictureBuffer(view, 160, 90), nullptr);
    EXPECT_EQ(PVGetPictureBuffer(view, 0, 90), nullptr);
}

/// @return how many pictures of a view lie in memory that is shared with a server
long SharedPictures() {
    std::ifstream maps("/proc/self/maps");
    long count = 0;
    for (std::string line; std::getline(maps, line);) {
        count += line.find("kqplayer-picture") != std::string::npos ? 1 : 0;
    }
    return count;
}

TEST(PlayerView, HasItsMemoryBeforeTheFirstPicture) {
    Xvfb server;
    const TestView view(AsParent(server.MakeWindow(0, 0, 320, 240)), {0, 0, 160, 90});
    EXPECT_EQ(PVExpectPictures(view, 0, 90), 0);
    EXPECT_EQ(SharedPictures(), 0);
    EXPECT_EQ(PVExpectPictures(view, 160, 90), 1);
    EXPECT_EQ(SharedPictures(), 2);
    for (int i = 0; i < 3; ++i) {
        view.Show(Noise(160, 90));
    }
    EXPECT_EQ(SharedPictures(), 2);
    EXPECT_EQ(PVExpectPictures(view, 80, 60), 1); // another stream
    EXPECT_TRUE(WaitForPicture(server, Noise(160, 90), 0, 0, view.Window()));
}

TEST(PlayerView, TopLevelWindowSurvivesItsCloseButtonAndGoesWithItsView) {
    Xvfb server;
    xcb_window_t window = 0;
    {
        const TestView view(nullptr, {200, 100, 160, 90});
        window = view.Window();
        const TestPicture picture = Noise(160, 90);
        view.Show(picture);
        EXPECT_TRUE(WaitForPicture(server, picture, 200, 100));
        server.RequestClose(window);
        EXPECT_TRUE(WaitUntil([&] { return !server.IsShown(window); }));
        EXPECT_TRUE(server.Exists(window));
        view.Show(picture);
        EXPECT_EQ(PVUpdate(view), 1);
    }
    EXPECT_FALSE(server.Exists(window));
}

TEST(PlayerView, HostsSettingsTakeEffectAtOnce) {
    Xvfb server;
    const TestView view(nullptr, {0, 0, 200, 200});
    view.Show(Quadrants(200, 100));
    const auto expect = [&](const char* what, const std::vector<Probe>& probes) {
        EXPECT_TRUE(WaitForProbes(server, probes, view.Window())) << what;
    };
    expect("fit", {{100, 49, black}, {1, 50, red}, {199, 149, white}, {100, 150, black}});
    EXPECT_EQ(PVSetDisplayResizeMode(view, IMAGE_RESIZE_STRETCH), 1);
    expect("stretch", {{0, 0, red}, {199, 0, green}, {0, 199, blue}, {199, 199, white}});
    EXPECT_EQ(PVSetDisplayResizeMode(view, static_cast<IMAGE_RESIZE_METHOD>(4)), 0);
    EXPECT_EQ(PVSetDisplayResizeMode(view, IMAGE_RESIZE_FIT), 1);
    PVSetDisplayScale(view, 1, 2);
    expect("aspect", {{49, 100, black}, {51, 1, red}, {148, 198, white}, {151, 100, black}});
    PVSetDisplayScale(view, 0, 0);
    tagRECT crop = {100, 0, 200, 50};
    tagRECT stored = {};
    EXPECT_EQ(PVSetCropRect(view, &crop), 1);
    EXPECT_EQ(PVGetCropRect(view, &stored), 1);
    EXPECT_EQ(std::memcmp(&stored, &crop, sizeof(crop)), 0);
    expect("crop rectangle without crop mode", {{1, 50, red}, {199, 149, white}});
    EXPECT_EQ(PVSetCropMode(view, 1), 1);
    expect("crop", {{100, 49, black}, {1, 52, green}, {198, 148, green}});
    EXPECT_EQ(PVSetCropRect(view, nullptr), 1);
    expect("no crop rectangle", {{1, 50, red}, {199, 149, white}});
}

TEST(PlayerView, TakesAPartThatReachesFarBeyondThePictureForAllOfIt) {
    VRECT rect = {0, 0, 8, 8};
    void* const view = PVCreatePlayerView(reinterpret_cast<void*>(1), &rect);
    int shown = 0;
    PVSetPictureSink(
        view, [](void*, int, int, int, const unsigned char*, void* p) { ++*static_cast<int*>(p); }, &shown);
    std::vector<unsigned char> pixels(8 * 8 * 4);
    const tagRECT all = {INT_MIN, INT_MIN, INT_MAX, INT_MAX}, none = {1, 1, INT_MIN, INT_MIN};
    PVShowRGB32Part(view, 8, 8, pixels.data(), &all);
    EXPECT_EQ(shown, 1);
    PVShowRGB32Part(view, 8, 8, pixels.data(), &none);
    EXPECT_EQ(shown, 1) << "a picture of which nothing was made";
    PVDestroyPlayerView(view);
}

TEST(PlayerView, NeverShowsWhatWasNotMade) {
    Xvfb server;
    const TestView view(nullptr, {0, 0, 160, 90});
    const KQViewDisplay corner = {{80, 45, 160, 90}, KQ_SCALING_NEAREST, IMAGE_RESIZE_FIT};
    const KQViewDisplay middle = {{40, 20, 80, 40}, KQ_SCALING_NEAREST, IMAGE_RESIZE_FIT};
    tagRECT part = {};
    EXPECT_EQ(PVSetDisplay(view, &corner), 1);
    ASSERT_EQ(PVGetWantedPart(view, 160, 90, &part), 1);
    EXPECT_EQ(part.left, 79);
    EXPECT_EQ(part.bottom, 90);
    std::vector<SeenPicture> seen;
    PVSetPictureSink(view, KeepPicture, &seen);
    ASSERT_EQ(PVGetWantedPart(view, 160, 90, &part), 1);
    EXPECT_EQ(part.left, 0) << "a sink reads all of it";
    PVSetPictureWatch(view, KeepNothing, &seen);
    ASSERT_EQ(PVGetWantedPart(view, 160, 90, &part), 1);

    TestPicture picture = Plain(160, 90, green);
    PVShowRGB32Part(view, 160, 90, picture.pixels.data(), &part);
    EXPECT_TRUE(WaitForProbes(server, {{0, 0, green}, {159, 89, green}}, view.Window()));
    std::uint32_t rgb = 0;
    EXPECT_EQ(PVGetShownPixel(view, 90, 60, &rgb), 1);
    EXPECT_EQ(rgb, green);
    EXPECT_EQ(PVGetShownPixel(view, 10, 10, &rgb), 0);
    EXPECT_EQ(PVSetDisplay(view, &middle), 2);
    EXPECT_EQ(PVUpdate(view), 1);
    KQViewMapping mapping = {};
    EXPECT_EQ(PVGetMapping(view, &mapping), 1);
    EXPECT_EQ(mapping.source.left, 80) << "as it is still shown";
    EXPECT_TRUE(WaitForProbes(server, {{0, 0, green}, {159, 89, green}}, view.Window()));
    picture = Plain(160, 90, blue);
    PVShowRGB32Part(view, 160, 90, picture.pixels.data(), &part); // still made for the corner
    EXPECT_TRUE(WaitForProbes(server, {{0, 0, blue}, {159, 89, blue}}, view.Window()));
    view.Show(Plain(160, 90, red));
    EXPECT_TRUE(WaitForProbes(server, {{0, 10, red}, {159, 79, red}}, view.Window()));
    EXPECT_EQ(PVGetMapping(view, &mapping), 1);
    EXPECT_EQ(mapping.source.left, 40);
    EXPECT_EQ(PVSetDisplay(view, nullptr), 1);
    EXPECT_EQ(seen.size(), 3u);
    PVSetPictureSink(view, KeepPicture, &seen);
    PVShowRGB32Part(view, 160, 90, picture.pixels.data(), &part);
    EXPECT_EQ(seen.size(), 3u) << "sinks get whole pictures only";
}

TEST(PlayerView, BadArgumentsAreRefused) {
    tagRECT rect = {};
    for (int (*function)(void*, unsigned) : {PVSetCropMode, PVSetMaskMode}) {
        EXPECT_EQ(function(nullptr, 1), 0);
    }
    EXPECT_EQ(PVSetCallbackWnd(nullptr, nullptr), 0);
    EXPECT_EQ(PVSetCropRect(nullptr, &rect), 0);
    EXPECT_EQ(PVGetCropRect(nullptr, &rect), 0);
    EXPECT_EQ(PVSetDisplayResizeMode(nullptr, IMAGE_RESIZE_FIT), 0);
    EXPECT_EQ(PVUpdate(nullptr), 0);
    EXPECT_EQ(PVGetHwnd(nullptr), nullptr);
    KQViewDisplay display = {};
    KQViewMapping mapping = {};
    std::uint32_t rgb = 0;
    EXPECT_EQ(PVSetDisplay(nullptr, &display) + PVGetDisplay(nullptr, &display), 0);
    EXPECT_EQ(PVGetMapping(nullptr, &mapping) + PVGetShownPixel(nullptr, 0, 0, &rgb), 0);
    EXPECT_EQ(PVGetWantedPart(nullptr, 1, 1, &rect), 0);
    PVShowRGB32Part(nullptr, 1, 1, nullptr, nullptr);
    PVSetDisplayScale(nullptr, 1, 1);
    PVShowRGB32Image(nullptr, 1, 1, nullptr);
    PVDestroyPlayerView(nullptr);

    Xvfb server;
    const TestView view(nullptr, {0, 0, 64, 64});
    EXPECT_EQ(PVGetCropRect(view, nullptr), 0);
    std::atomic<int> shown = 0;
    PVSetPictureSink(
        view,
        [](void*, int, int, int, const unsigned char*, void* p) { ++*static_cast<std::atomic<int>*>(p); },
        &shown);
    std::vector<std::uint8_t> pixels(4 * 16385);
    PVShowRGB32Image(view, 1, 1, nullptr);
    for (const auto& [width, height] : {std::pair{0, 1}, {1, 0}, {-1, 1}, {1, -1}, {16385, 1}, {1, 16385}}) {
        PVShowRGB32Image(view, width, height, pixels.data());
    }
    EXPECT_EQ(shown, 0);
    PVShowRGB32Image(view, 16384, 1, pixels.data());
    PVShowRGB32Image(view, 1, 16384, pixels.data());
    EXPECT_EQ(shown, 2);
}

TEST(PlayerView, ParentMustBeAWindowAndTheScreenTrueColour) {
    {
        Xvfb server;
        VRECT rect = {0, 0, 10, 10};
        EXPECT_EQ(PVCreatePlayerView(AsParent(0x1FFFFFFF), &rect), nullptr);
        EXPECT_NE(server.Screenshot().width, 0);
    }
    Xvfb server({"-screen", "0", "800x600x16"});
    const TestView view(nullptr, {10, 10, 320, 240});
    ASSERT_TRUE(view);
    EXPECT_EQ(view.Window(), 0u);
    view.Show(Quadrants(160, 120));
}

TEST(PlayerView, WithoutMemoryThereIsNoViewAndNoWindow) {
    Xvfb server;
    const xcb_window_t parent = server.MakeWindow(0, 0, 64, 48, white);
    for (void* place : {AsParent(parent), offScreen}) {
        VRECT rect = {0, 0, 64, 48};
        const int failures =
            FailEachAllocation([&] { return PVCreatePlayerView(place, &rect); },
                               [&](void* view, bool hasFailed) {
                                   EXPECT_EQ(view == nullptr, hasFailed);
                                   EXPECT_TRUE(!hasFailed || WaitForProbes(server, {{9, 9, white}}, parent));
                                   PVDestroyPlayerView(view);
                               });
        EXPECT_GT(failures, 0);
    }
    const TestView view(AsParent(parent), {0, 0, 64, 48});
    const TestPicture picture = Noise(64, 48);
    const auto show = [&] {
        view.Show(picture);
        return 0;
    };
    FailEachAllocation(show, [](int, bool) {});
    EXPECT_TRUE(WaitForPicture(server, picture, 0, 0, parent));
}

TEST(PlayerView, WithoutDisplayTheViewIsOffScreen) {
    const TestPicture picture = Noise(64, 48);
    for (const char* display : {"", ":987", "nonsense"}) {
        *display != '\0' ? setenv("DISPLAY", display, 1) : unsetenv("DISPLAY");
        for (void* parent : {AsParent(0), offScreen, AsParent(0x400001)}) {
            const TestView view(parent, {0, 0, 64, 48});
            ASSERT_TRUE(view);
            EXPECT_EQ(view.Window(), 0u);
            view.Show(picture);
            EXPECT_EQ(PVUpdate(view), 1);
        }
    }
    unsetenv("DISPLAY");
}

TEST(PlayerView, SinksReceiveEveryPicture) {
    const TestView first(offScreen, {});
    std::vector<SeenPicture> common;
    std::vector<SeenPicture> own;
    PVSetPictureSink(nullptr, KeepPicture, &common);
    const TestView second(offScreen, {});
    PVSetPictureSink(second, KeepPicture, &own);
    const TestPicture a = Noise(31, 17);
    const TestPicture b = Plain(5, 3, green);
    first.Show(a);
    second.Show(b);
    PVSetPictureSink(nullptr, nullptr, nullptr);
    first.Show(a);
    second.Show(a);
    PVSetPictureSink(second, nullptr, nullptr);
    second.Show(b);

    ASSERT_EQ(common.size(), 2u);
    EXPECT_EQ(common[0].view, first);
    EXPECT_EQ(common[0].pixels, a.pixels);
    EXPECT_EQ(common[1].view, second);
    EXPECT_EQ(common[1].number, common[0].number + 1);
    ASSERT_EQ(own.size(), 2u);
    EXPECT_EQ(own[0].pixels, b.pixels);
    EXPECT_EQ(own[1].pixels, a.pixels);
    EXPECT_EQ(own[1].number, common[1].number);
}

/// Lends all of what it has, and keeps what it is given back.
struct Receiver {
    std::vector<unsigned char> memory = std::vector<unsigned char>(4 * 31 * 17);
    std::vector<const unsigned char*> received;

    KQPictureReceiver Record() {
        return {sizeof(KQPictureReceiver),
                [](int width, int height, void* self) {
                    std::vector<unsigned char>& memory = static_cast<Receiver*>(self)->memory;
                    return std::size_t{4} * width * height <= memory.size() ? memory.data() : nullptr;
                },
                [](void*, int, int, int, const unsigned char* pixels, void* self) {
                    static_cast<Receiver*>(self)->received.push_back(pixels);
                },
                this};
    }
};

TEST(PlayerView, ReceiversLendTheirMemoryAndGetWholePictures) {
    Receiver receiver;
    KQPictureReceiver record = receiver.Record();
    void* const parent = PVAddPictureReceiver(&record);
    ASSERT_NE(parent, nullptr);
    record.pfnReceive = nullptr;
    EXPECT_EQ(PVAddPictureReceiver(&record), nullptr);
    const TestView view(parent, {0, 0, 64, 48});
    EXPECT_EQ(PVRemovePictureReceiver(parent), 1);
    EXPECT_EQ(PVRemovePictureReceiver(parent), 0);

    unsigned char* const lent = PVGetPictureBuffer(view, 31, 17);
    EXPECT_EQ(lent, receiver.memory.data());
    PVShowRGB32Image(view, 31, 17, lent);
    EXPECT_EQ(PVGetPictureBuffer(view, 32, 17), nullptr);
    const KQViewDisplay corner = {{0, 0, 4, 4}, KQ_SCALING_NEAREST, IMAGE_RESIZE_FIT};
    EXPECT_EQ(PVSetDisplay(view, &corner), 1);
    tagRECT part = {};
    ASSERT_EQ(PVGetWantedPart(view, 32, 17, &part), 1);
    EXPECT_EQ(part.right, 32);
    const TestPicture larger = Noise(32, 17);
    view.Show(larger);
    EXPECT_EQ(receiver.received, (std::vector<const unsigned char*>{lent, larger.pixels.data()}));
}

TEST(PlayerView, ReplacingASinkWaitsUntilItNoLongerRuns) {
    struct Flags {
        std::atomic<bool> entered = false;
        std::atomic<bool> left = false;
    };
    const auto slowSink = [](void*, int, int, int, const unsigned char*, void* userData) {
        auto* flags = static_cast<Flags*>(userData);
        flags->entered = true;
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        flags->left = true;
    };
    const TestView view(offScreen, {});
    for (void* target : std::initializer_list<void*>{nullptr, view}) {
        Flags flags;
        PVSetPictureSink(target, slowSink, &flags);
        std::thread shower([&] { view.Show(Plain(2, 2, red)); });
        EXPECT_TRUE(WaitUntil([&] { return flags.entered.load(); }));
        PVSetPictureSink(target, nullptr, nullptr);
        EXPECT_TRUE(flags.left);
        shower.join();
    }
}

TEST(PlayerView, DestroyedParentLeavesAnOffScreenView) {
    Xvfb server;
    const TestPicture picture = Noise(160, 90);
    const xcb_window_t parent = server.MakeWindow(0, 0, 320, 240);
    const TestView view(AsParent(parent), {0, 0, 320, 180});
    std::vector<SeenPicture> seen;
    PVSetPictureSink(view, KeepPicture, &seen);
    view.Show(picture);
    server.DestroyWindow(parent);
    view.Show(picture); // may still cross with the news
    EXPECT_TRUE(WaitUntil([&] { return view.Window() == 0; }));
    view.Show(picture);
    EXPECT_EQ(PVUpdate(view), 1);
    PVSetDisplayScale(view, 4, 3);
    EXPECT_EQ(seen.size(), 3u);
}

TEST(PlayerView, LostDisplayLeavesOffScreenViews) {
    Xvfb server;
    const TestPicture picture = Noise(320, 180);
    const TestView scaled(nullptr, {0, 0, 200, 200});
    const TestView unscaled(nullptr, {0, 0, 320, 180});
    std::atomic<bool> stop = false;
    std::thread showers([&] {
        RunThreads(2, [&](int i) {
            while (!stop) {
                (i == 0 ? scaled : unscaled).Show(picture);
            }
        });
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    server.Stop();
    EXPECT_TRUE(WaitUntil([&] { return scaled.Window() == 0 && unscaled.Window() == 0; }));
    stop = true;
    showers.join();
}

TEST(PlayerView, DrawsOnPoorServersToo) {
    const std::vector<std::vector<std::string>> servers = {
        {"-extension", "MIT-SHM"}, {"-render"}, {"-extension", "MIT-SHM", "-render"}};
    for (const auto& arguments : servers) {
        Xvfb server(arguments);
        const TestView view(nullptr, {10, 10, 320, 240});
        view.Show(Quadrants(160, 120));
        const std::vector<Probe> probes = {{2, 2, red}, {317, 2, green}, {2, 237, blue}, {317, 237, white}};
        EXPECT_TRUE(WaitForProbes(server, probes, view.Window())) << arguments.back();
    }
}

TEST(PlayerView, SixteenViewsFromSixteenThreads) {
    constexpr int count = 16;
    constexpr int side = 128;
    Xvfb server;
    const xcb_window_t parent = server.MakeWindow(0, 0, count * side / 4, 4 * side);
    std::vector<std::unique_ptr<TestView>> views(count);
    std::vector<Probe> probes(count);
    RunThreads(count, [&](int i) {
        const int x = i % 4 * side, y = i / 4 * side;
        views[i] = std::make_unique<TestView>(AsParent(parent), VRECT{x, y, side, side});
        for (int n = 0; n < 60; ++n) {
            views[i]->Show(n % 3 == 0 ? Plain(side, side, black) : Plain(50 + n, 40, white));
            PVSetDisplayResizeMode(*views[i], static_cast<IMAGE_RESIZE_METHOD>(n % 4));
        }
        PVSetDisplayResizeMode(*views[i], IMAGE_RESIZE_STRETCH);
        probes[i] = {x + 3, y + 124, 0x0F0B07u * (i + 1)};
        views[i]->Show(Plain(64, 64, probes[i].rgb));
    });
    EXPECT_TRUE(WaitForProbes(server, probes, parent));
}

} // namespace
