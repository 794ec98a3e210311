#include "tests/support/FakeStream.h"
#include "tests/support/PlayerHost.h"
#include "view/YV12ViewWrapper.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace {

#ifdef HAS_LIBRARY
constexpr bool kHasLibrary = true;
#else
constexpr bool kHasLibrary = false;
#endif

TEST(ViewLibrary, ThatCannotServeGivesNoView) {
    YV12ViewWrapper view;
    testing::internal::CaptureStdout();
    EXPECT_EQ(view.Create(nullptr, VRECT{0, 0, 16, 8}, 0, 0), 0);
    const std::string output = testing::internal::GetCapturedStdout();
    if (kHasLibrary) {
        EXPECT_EQ(output.rfind("Failed to Load ", 0), 0u) << output;
        EXPECT_NE(output.find("lacking/PlayerView.so Library!\r\n"), std::string::npos) << output;
    } else {
        EXPECT_EQ(output, "");
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
