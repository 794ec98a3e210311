#include "tests/support/FakeStream.h"
#include "tests/support/PlayerHost.h"
#include "tests/support/Recorder.h"
#include "view/YV12ViewWrapper.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace {

#ifdef HAS_LIBRARY
constexpr bool hasLibrary = true;
#else
constexpr bool hasLibrary = false;
#endif

TEST(ViewLibrary, ThatCannotServeGivesNoView) {
    YV12ViewWrapper view;
    testing::internal::CaptureStdout();
    EXPECT_EQ(view.Create(nullptr, VRECT{0, 0, 16, 8}, 0, 0), 0);
    const std::string output = testing::internal::GetCapturedStdout();
    if (hasLibrary) {
        EXPECT_EQ(output.rfind("Failed to Load ", 0), 0u) << output;
        EXPECT_NE(output.find("lacking/PlayerView.so Library!\r\n"), std::string::npos) << output;
    } else {
        EXPECT_EQ(output, "");
        const auto log = kq::test::TakeLog();
        ASSERT_EQ(log.size(), 1u);
        EXPECT_EQ(log[0].rfind("No view can be made: /", 0), 0u) << log[0];
        EXPECT_NE(log[0].find("missing/PlayerView.so: cannot open"), std::string::npos) << log[0];
    }
    EXPECT_EQ(view.GetHwnd(), nullptr);
    kq::test::FakeVideo video(1, 25);
    EXPECT_EQ(view.ShowYUVImage(&video.FrameAt(0).image), 0);
    view.SetSrcAspectRatio(4, 3);
    EXPECT_EQ(view.Update(), 0);

    kq::test::PlayerHost host;
    EXPECT_EQ(host.GetManager()->CreatePlayView(nullptr, tagRECT{0, 0, 16, 8}), nullptr);
    EXPECT_EQ(host.GetManager()->GetCount(), 0);
}

} // namespace
