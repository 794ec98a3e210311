// The window on Wayland: keys, mouse, full screen, and what lies above the pictures.
#include "Kqplay.h"
#include "tests/support/FakeCompositor.h"
#include "tests/support/WaitUntil.h"
#include "tests/support/Weston.h"

#include <wayland-client-protocol.h>
#include <xdg-shell-client-protocol.h>

#include <algorithm>

using namespace kqtest;

namespace {

constexpr std::uint32_t played = 0xD0D0D0;
constexpr std::uint32_t notPlayed = 0x404040;
constexpr std::uint32_t divider = 0xF0F0F0;
constexpr std::uint32_t textGround = 0x202020;

class OnWayland : public testing::Test {
protected:
    /// Does what a user would, on the compositor's screen.
    void Use(const Strings& action) {
        const Outcome outcome =
            RunProcess(Joined({"xdotool"}, action), {{"DISPLAY", m_weston.Screen().Display()}});
        EXPECT_EQ(outcome.status, 0) << outcome.err;
    }
    void Press(const std::string& key) { Use({"key", key}); }
    void Point(int x, int y) { Use({"mousemove", std::to_string(x), std::to_string(y)}); }

    template <typename Condition>
    bool WaitFor(Condition isWanted) {
        bool isThere = false;
        m_weston.Screen().WaitFor([&](const Image& screen) { return isThere = isWanted(screen); });
        return isThere;
    }
    static bool IsThere(const Image& screen) {
        return std::find(screen.pixels.begin(), screen.pixels.end(), notPlayed) != screen.pixels.end();
    }
    /// Waits for the window, and gives it the whole screen.
    bool FillScreen() {
        const bool isThere = WaitFor(IsThere); // a new window has the keyboard
        Press("f");
        return isThere && WaitFor([](const Image& screen) {
                   return screen.At(1023, 767) != Weston::background && screen.At(0, 0) != Weston::background;
               });
    }

    Weston m_weston;
    // SDL and libdecor leave memory behind, in part through libraries that are unloaded by then, which nobody
    // can name to the sanitizer. What the surface itself leaves behind is found by the view library's own
    // tests.
    Process::Environment m_environment = {{"WAYLAND_DISPLAY", Weston::socket},
                                          {"XDG_RUNTIME_DIR", m_weston.RuntimeFolder()},
                                          {"ASAN_OPTIONS", "detect_leaks=0"}};
};

TEST_F(OnWayland, ShowsThePictureFillsTheScreenAndTakesKeysAndMouse) {
    AtTerminal kqplay({"--audio", "null", Clip("long.mp4")}, m_environment);
    ASSERT_TRUE(FillScreen());
    const auto isBlack = [](const Image& screen, int x, int y) { return screen.At(x, y) == 0; };
    // 96x64 in 1024x760: 1024x683, between bars of 38 rows.
    EXPECT_TRUE(WaitFor([&](const Image& screen) {
        return isBlack(screen, 500, 36) && !isBlack(screen, 500, 41) && !isBlack(screen, 2, 380) &&
               !isBlack(screen, 1021, 719) && isBlack(screen, 500, 724) && screen.At(1, 764) == played;
    }));
    Press("space");
    kqplay.Press("", "paused  0:");
    Press("4");
    kqplay.Press("", "zoom 400 %"); // 384x256
    EXPECT_TRUE(WaitFor([&](const Image& screen) {
        return isBlack(screen, 318, 380) && !isBlack(screen, 322, 380) && !isBlack(screen, 701, 380) &&
               isBlack(screen, 706, 380) && isBlack(screen, 512, 250) && !isBlack(screen, 512, 254);
    }));
    Point(511, 764);
    Use({"click", "1"});
    kqplay.Press("", "paused  0:29.");
    EXPECT_TRUE(
        WaitFor([](const Image& s) { return s.At(500, 764) == played && s.At(520, 764) == notPlayed; }));
    Press("f");
    EXPECT_TRUE(WaitFor([](const Image& screen) { return screen.At(0, 0) == Weston::background; }));
    Press("q");
    EXPECT_EQ(kqplay.Quit("").states.back(), 0);
}

TEST_F(OnWayland, DividesTwoFilesAndWritesAboveThem) {
    AtTerminal kqplay({"--no-audio", "--loop", "--length", "0.04", // the same picture again and again
                       "--info", "short", "--layout", "wipe", "--filter", "negate", Clip("long.mp4")},
                      m_environment);
    ASSERT_TRUE(FillScreen());
    const auto isDivided = [](const Image& screen, int x) {
        return screen.At(x, 700) == divider && screen.At(x, 735) == divider &&
               screen.At(1, 1) == textGround && screen.At(x + 3, 1) == textGround;
    };
    const auto isSame = [](const Image& a, const Image& b, int x) { return a.At(x, 500) == b.At(x, 500); };
    Image left;
    Point(300, 300);
    EXPECT_TRUE(WaitFor([&](const Image& screen) { return isDivided(left = screen, 300); }));
    Point(700, 300);
    EXPECT_TRUE(WaitFor([&](const Image& screen) {
        return isDivided(screen, 700) && isSame(screen, left, 50) && !isSame(screen, left, 500) &&
               isSame(screen, left, 1000);
    }));
    Press("q");
    kqplay.Quit("");
}

TEST(WithoutWhatAWindowNeeds, TheReasonIsSaidAndPlayGoesOnOffScreen) {
    const wl_interface* const needed[] = {&wl_shm_interface, &wl_subcompositor_interface, &wl_seat_interface,
                                          &xdg_wm_base_interface};
    std::vector<const wl_interface*> offered;
    for (const wl_interface* lacking : needed) {
        const FakeCompositor compositor(offered);
        const Outcome outcome = RunProcess(
            {KQPLAY_PROGRAM, "--no-audio", Clip("one.mp4")},
            {{"WAYLAND_DISPLAY", FakeCompositor::socket}, {"XDG_RUNTIME_DIR", compositor.RuntimeFolder()}});
        EXPECT_EQ(outcome.status, 0);
        EXPECT_EQ(outcome.err, "kqplay: no window (the Wayland compositor has no " +
                                   std::string(lacking->name) +
                                   ": for Xwayland, set DISPLAY): playing off-screen\n");
        offered.push_back(lacking);
    }
}

TEST_F(OnWayland, IsChosenByAnOptionAndEndsWithTheCompositor) {
    m_environment["DISPLAY"] = m_weston.Screen().Display();
    Process kqplay({KQPLAY_PROGRAM, "--wayland", "--audio", "null", Clip("long.mp4")}, m_environment);
    EXPECT_TRUE(WaitFor(IsThere));
    m_weston.Stop();
    const Outcome outcome = kqplay.Finish();
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err, "kqplay: the Wayland compositor has gone\n");
}

} // namespace
