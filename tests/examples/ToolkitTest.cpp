// The players for toolkits, used as a person would: by keys, mouse and window manager, with a look at the
// screen.
#include "tests/host/kqplay/Process.h"
#include "tests/support/WaitUntil.h"
#include "tests/support/Weston.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

using namespace kqtest;

namespace {

constexpr int width = 1024;
constexpr int height = 768;
constexpr int lastPicture = 99;

struct Case {
    const char* toolkit;
    bool isWayland;
};

/// @return the number of the clip's picture whose colour a pixel has; -1 for any other colour
int PictureOf(std::uint32_t pixel) {
    const std::uint32_t grey = pixel & 0xFF;
    const int number = static_cast<int>(std::lround(grey * 219 / 255.0 / 2));
    return pixel == grey * 0x010101 && number <= lastPicture ? number : -1;
}
int CentreOf(const Image& screen) {
    return PictureOf(screen.At(width / 2, height / 2));
}
/// @return true when a pixel of the middle column, which each window covers wherever it was put, is as wanted
template <typename Condition>
bool AnyInMiddle(const Image& screen, Condition isWanted) {
    for (int y = 0; y < height; ++y) {
        if (isWanted(screen.At(width / 2, y))) {
            return true;
        }
    }
    return false;
}
bool Shows(const Image& screen, int number) {
    return AnyInMiddle(screen, [&](std::uint32_t pixel) { return PictureOf(pixel) == number; });
}

class Toolkit : public testing::TestWithParam<Case> {
protected:
    Toolkit() {
        if (GetParam().isWayland) {
            m_weston = std::make_unique<Weston>();
            m_environment["WAYLAND_DISPLAY"] = Weston::socket;
            m_environment["XDG_RUNTIME_DIR"] = m_weston->RuntimeFolder();
            m_display["DISPLAY"] = m_weston->Screen().Display();
        } else {
            m_server = std::make_unique<Xvfb>(std::vector<std::string>{"-screen", "0", "1024x768x24"});
            m_display["DISPLAY"] = m_environment["DISPLAY"] = m_server->Display();
            m_manager =
                std::make_unique<Process>(std::vector<std::string>{"openbox", "--sm-disable"}, m_display);
            // Windows that come while it starts may never be shown.
            EXPECT_TRUE(kq::test::WaitUntil([&] {
                return RunProcess({"xdotool", "get_num_desktops"}, m_display).status == 0;
            }));
        }
        Use({"mousemove", "5", "5"}); // out of the way of the picture
        m_background = Screen().Screenshot().At(0, 0);
    }

    static std::string Program() { return std::string(KQ_BIN) + "/" + GetParam().toolkit + "_player"; }
    std::unique_ptr<Process> Start(const std::string& clip) {
        auto player = std::make_unique<Process>(
            std::vector<std::string>{Program(), std::string(KQ_TOOLKIT_CLIPS) + "/" + clip}, m_environment);
        EXPECT_TRUE(WaitFor([&](const Image& screen) {
            return AnyInMiddle(screen, [&](std::uint32_t pixel) { return pixel != m_background; });
        })) << "no window";
        // A key that comes before the keyboard is the window's is lost.
        EXPECT_TRUE(m_weston || kq::test::WaitUntil([&] {
                        return RunProcess({"xdotool", "getactivewindow"}, m_display).status == 0;
                    }));
        return player;
    }

    Xvfb& Screen() { return m_weston ? m_weston->Screen() : *m_server; }
    void Use(std::vector<std::string> action) {
        action.insert(action.begin(), "xdotool");
        const Outcome outcome = RunProcess(action, m_display);
        EXPECT_EQ(outcome.status, 0) << outcome.err;
    }
    void Press(const std::string& key) { Use({"key", key}); }

    template <typename Condition>
    bool WaitFor(Condition isWanted) {
        bool isThere = false;
        Screen().WaitFor([&](const Image& screen) { return isThere = isWanted(screen); });
        return isThere;
    }
    testing::AssertionResult WaitForPicture(int number) {
        int seen = -1;
        return WaitFor([&](const Image& screen) { return (seen = CentreOf(screen)) == number; })
                   ? testing::AssertionSuccess()
                   : testing::AssertionFailure() << seen << " instead of " << number;
    }
    /// Waits until the picture has stood still for as long as several pictures would take.
    int StillPicture() {
        int number = -1;
        auto since = std::chrono::steady_clock::now();
        WaitFor([&](const Image& screen) {
            const auto now = std::chrono::steady_clock::now();
            if (number != CentreOf(screen)) {
                number = CentreOf(screen);
                since = now;
            }
            return now - since > std::chrono::milliseconds(800);
        });
        return number;
    }

    std::unique_ptr<Weston> m_weston; ///< or the two below
    std::unique_ptr<Xvfb> m_server;
    std::unique_ptr<Process> m_manager;
    Process::Environment m_display; ///< where keys, mouse and pixels are
    // Without a graphics processor GTK would take long to find that out.
    Process::Environment m_environment = {
        {"ALSOFT_DRIVERS", "null"}, {"GSK_RENDERER", "cairo"}, {"GTK_A11Y", "none"}};
    std::uint32_t m_background = 0;
};

TEST_P(Toolkit, PlaysStepsSeeksAndFillsTheScreen) {
    const auto player = Start(GetParam().isWayland ? "silent.mp4" : "both.mp4");
    ASSERT_TRUE(WaitFor([](const Image& screen) {
        return AnyInMiddle(screen, [](std::uint32_t pixel) { return PictureOf(pixel) > 0; });
    })) << "no picture";
    Press("f");
    ASSERT_TRUE(WaitFor([&](const Image& screen) {
        return screen.At(width - 2, height - 2) != m_background && screen.At(1, height - 2) != m_background;
    })) << "does not fill the screen";
    Press("space");
    const int paused = StillPicture();
    ASSERT_GT(paused, 0);
    ASSERT_LT(paused, lastPicture) << "was not paused";

    Press("period");
    ASSERT_TRUE(WaitForPicture(paused + 1));
    Press("comma");
    ASSERT_TRUE(WaitForPicture(paused));
    Press("comma");
    ASSERT_TRUE(WaitForPicture(paused - 1));
    // The sliders reach from column 0, 120 or 170 to the screen's right edge.
    Use({"mousemove", "800", "757", "click", "1"});
    EXPECT_TRUE(WaitFor([](const Image& screen) { return CentreOf(screen) >= 70; }));
    const int sought = StillPicture();
    EXPECT_NEAR(sought, 75, 4);

    Press("f");
    EXPECT_TRUE(WaitFor([&](const Image& screen) {
        return screen.At(0, height - 1) == m_background && Shows(screen, sought);
    })) << "a window again, with the picture it had";
    Press("space");
    EXPECT_TRUE(WaitFor([&](const Image& screen) { return !Shows(screen, sought); }));
    Press(GetParam().isWayland ? "q" : "alt+F4"); // while it plays
    const Outcome outcome = player->Finish();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err.find("CRITICAL"), std::string::npos) << outcome.err;
}

/// Here it is known when a window has the keyboard, though it shows nothing.
class ToolkitOnX11 : public Toolkit {};

TEST_P(ToolkitOnX11, PlaysSoundAloneAndRefusesWhatIsNoFile) {
    const auto player = Start("sound.m4a");
    Press("period");
    Press("q");
    EXPECT_EQ(player->Finish().status, 0);

    const Outcome outcome = RunProcess({Program(), "missing.mp4"}, m_environment);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err,
              std::string(GetParam().toolkit) + "_player: missing.mp4: No such file or directory\n");
}

constexpr Case cases[] = {
#ifdef KQ_WITH_QT
    {"qt", false},  {"qt", true},
#endif
#ifdef KQ_WITH_GTK
    {"gtk", false}, {"gtk", true},
#endif
#ifdef KQ_WITH_SDL
    {"sdl", false}, {"sdl", true},
#endif
};
std::vector<Case> CasesOnX11() {
    std::vector<Case> onX11;
    std::copy_if(std::begin(cases), std::end(cases), std::back_inserter(onX11),
                 [](const Case& each) { return !each.isWayland; });
    return onX11;
}
std::string NameOf(const testing::TestParamInfo<Case>& info) {
    return std::string(info.param.toolkit) + (info.param.isWayland ? "OnWayland" : "OnX11");
}
INSTANTIATE_TEST_SUITE_P(Examples, Toolkit, testing::ValuesIn(cases), NameOf);
INSTANTIATE_TEST_SUITE_P(Examples, ToolkitOnX11, testing::ValuesIn(CasesOnX11()), NameOf);

} // namespace
