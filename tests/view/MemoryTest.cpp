// Views and captures where memory runs out at any moment: a result says so, and afterwards all is as before.
// With the libraries as they are shipped.
#include "tests/support/FailingAllocation.h"
#include "tests/support/FakeStream.h"
#include "tests/support/Files.h"

#include <kqplayer/convenience.h>
#include <kqplayer/log.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <utility>

namespace {

using namespace kq::test;

class WithoutMemory : public testing::Test {
protected:
    WithoutMemory() {
        KQLogSetSink([](const char*, void* lines) { ++*static_cast<int*>(lines); }, &m_lines);
        EXPECT_EQ(kq::CreatePlayer(m_player), kq::Ok);
        m_player->GetPlayerViewMgr(m_views.Out());
    }
    ~WithoutMemory() override {
        m_player.Reset();
        m_views.Reset();
        KQLogSetSink(nullptr, nullptr);
    }
    kq::ComPtr<IPlayerView> MakeView() {
        return kq::ComPtr<IPlayerView>::Adopt(
            m_views->CreatePlayView(kq::OffScreenParent(), tagRECT{0, 0, 64, 36}));
    }

    int m_lines = 0;
    kq::ComPtr<IMediaPlayer> m_player;
    kq::ComPtr<IPlayerViewMgr> m_views;
};

TEST_F(WithoutMemory, NoViewIsMadeAndNoNumberIsLost) {
    for (int index = 0; index < 2; ++index) { // the first one loads the view library
        const int failures =
            FailEachAllocation([&] { return MakeView(); },
                               [&](const kq::ComPtr<IPlayerView>& view, bool hasFailed) {
                                   EXPECT_EQ(!view, hasFailed);
                                   EXPECT_EQ(m_views->GetCount(), index + (hasFailed ? 0 : 1));
                                   EXPECT_TRUE(!view || view->GetIndex() == index);
                               });
        EXPECT_GT(failures, 3);
    }
}

TEST_F(WithoutMemory, AStreamIsNotAttachedHalf) {
    FakeVideo video(1, 25);
    const auto view = MakeView();
    const int failures = FailEachAllocation([&] { return view->SetVideoInput(1, &video); },
                                            [&](std::int32_t result, bool hasFailed) {
                                                EXPECT_EQ(result != kq::Ok, hasFailed) << result;
                                                EXPECT_EQ(video.GetRefCount(), hasFailed ? 1 : 2);
                                            });
    EXPECT_EQ(failures, 3); // the information, and the black picture's record and planes

    // A picture that cannot be converted is left out, and the next one is not.
    FailEachAllocation([&] { return m_player->Update(1); }, [](std::int32_t, bool) {});
    view->SetVideoInput(1, nullptr);
}

TEST_F(WithoutMemory, ACaptureFailsAndTheNextOneSucceeds) {
    const TemporaryFolder folder;
    FakeVideo video(1, 25, 33, 17);
    const auto view = MakeView();
    view->SetVideoInput(1, &video);
    const CaptureImageInfo bmp{};
    const std::string name = folder / "picture.bmp";
    const std::wstring path(name.begin(), name.end());
    const auto capture = [&] { return m_player->CaptureCurrentImage(&bmp, path.c_str()); };
    const int failures = FailEachAllocation(capture, [&](std::int32_t result, bool hasFailed) {
        const bool isLogged = std::exchange(m_lines, 0) > 0;
        const bool isWritten = std::filesystem::remove(name);
        EXPECT_EQ(isWritten, !hasFailed);
        EXPECT_EQ(isLogged, hasFailed);
        EXPECT_TRUE(result == kq::Ok || hasFailed) << result;
        EXPECT_EQ(folder.CountFiles(), 0u);
    });
    EXPECT_GT(failures, 1);
    const int copyFailures = FailEachAllocation(
        [&] { return m_player->CaptureCurrentImageEx(); },
        [](const MEDIA_FRAME* copy, bool hasFailed) { EXPECT_EQ(copy == nullptr, hasFailed); });
    EXPECT_EQ(copyFailures, 3);
    view->SetVideoInput(1, nullptr);
}

} // namespace
