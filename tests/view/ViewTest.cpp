#include "tests/support/FakeStream.h"
#include "tests/support/PlayerHost.h"
#include "tests/support/ViewRecorder.h"
#include "tests/view/ColourPicture.h"
#include "view/PlanarFrame.h"
#include "view/PlayerView.h"
#include "view/PlayerViewMgr.h"
#include "view/YV12ViewWrapper.h"

#include <kqplayer/convenience.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

namespace {

using namespace kq::test;

void* const offScreen = kq::OffScreenParent();
void* const refusedWindow = reinterpret_cast<void*>(2);
constexpr tagRECT place{10, 20, 110, 70};

class ViewManager : public testing::Test {
protected:
    ViewManager() : m_manager(kq::ComPtr<CPlayerViewMgr>::Share(new CPlayerViewMgr)) {}

    kq::ComPtr<IPlayerView> MakeView(void* parent = offScreen) {
        return kq::ComPtr<IPlayerView>::Adopt(m_manager->CreatePlayView(parent, place));
    }

    ViewRecorder m_recorder;
    kq::ComPtr<CPlayerViewMgr> m_manager;
};

TEST_F(ViewManager, NumbersViewsAndNeverReusesAnIndex) {
    auto first = MakeView();
    auto second = MakeView();
    EXPECT_FALSE(MakeView(refusedWindow));
    EXPECT_EQ(first->GetIndex(), 0);
    EXPECT_EQ(second->GetIndex(), 1);
    EXPECT_EQ(m_manager->Remove(-1), 1);
    EXPECT_EQ(m_manager->Remove(7), 0);
    EXPECT_EQ(m_manager->GetCount(), 2);
    EXPECT_EQ(m_manager->Remove(0), 0);
    const auto third = MakeView();
    EXPECT_EQ(third->GetIndex(), 2);
    EXPECT_EQ(m_manager->GetCount(), 2);

    IPlayerView* item = second.Get();
    EXPECT_EQ(m_manager->GetItem(0, &item), kq::Failed);
    EXPECT_EQ(m_manager->GetItem(-1, &item), kq::Failed);
    EXPECT_EQ(item, second.Get());
    EXPECT_EQ(m_manager->GetItem(2, &item), 0);
    EXPECT_EQ(item, third.Get());
    EXPECT_EQ(item->Release(), 2u);
    EXPECT_EQ(first->GetIndex(), 0); // removed, yet alive while the host holds it
    EXPECT_EQ(ViewRecorder::GetAlive(), 3);
    first.Reset();
    EXPECT_EQ(ViewRecorder::GetAlive(), 2);
}

TEST_F(ViewManager, RectangleComesBackAsTheHostGaveIt) {
    const auto view = MakeView();
    EXPECT_EQ(view->GetRect().bottom, place.bottom);
    for (const tagRECT& rect : {place, tagRECT{1, 2, 3, 4}}) {
        view->SetRect(rect);
        const tagRECT got = view->GetRect();
        EXPECT_EQ(std::memcmp(&got, &rect, sizeof(rect)), 0);
    }
    EXPECT_EQ(view->GetParentWND(), offScreen);
    EXPECT_NE(view->GetWND(), nullptr);
    EXPECT_EQ(view->SetParentWND(nullptr), 1);
}

TEST_F(ViewManager, LooksCloselyOnlyWithALibraryThatCan) {
    const auto view = MakeView();
    const auto closer = view.As<IPlayerView2>();
    ASSERT_TRUE(closer);
    EXPECT_EQ(closer.As<IPlayerView>().Get(), view.Get());
    EXPECT_EQ(closer.As<IUnknown>().Get(), view.As<IUnknown>().Get());
    EXPECT_EQ(closer->GetIndex(), 0);
    FakeVideo video(1, 25);
    view->SetVideoInput(1, &video);
    m_manager->ShowCurrentImage(nullptr, 0);
    KQViewDisplay display{{1, 1, 2, 2}, KQ_SCALING_NEAREST, IMAGE_RESIZE_FIT};
    KQViewMapping mapping{};
    KQPointF position{};
    std::uint32_t rgb = 0;
    for (const bool isShell : {false, true}) {
        if (isShell) {
            m_manager.Reset();
        }
        EXPECT_EQ(closer->SetDisplay(&display), kq::Failed);
        EXPECT_EQ(closer->GetDisplay(&display), kq::Failed);
        EXPECT_EQ(closer->GetMapping(&mapping), kq::Failed);
        EXPECT_EQ(closer->WindowToPicture(0, 0, &position), kq::Failed);
        EXPECT_EQ(closer->PictureToWindow(0, 0, &position), kq::Failed);
        EXPECT_EQ(closer->GetShownPixel(0, 0, &rgb), kq::Failed);
        EXPECT_EQ(closer->GetShownPixel(0, 0, nullptr), kq::NullPointer);
    }
    EXPECT_EQ(m_recorder.GetFrames(), std::vector<int>{0});
}

TEST_F(ViewManager, StreamsAreHeldOnceAndRefusedWithoutInformation) {
    FakeVideo video(3, 25, 7, 5);
    video.format.nAspectX = 16;
    video.format.nAspectY = 9;
    FakeVideo failing(3, 25);
    failing.infoFails = true;
    FakeVideo formatless(3, 25);
    formatless.noFormat = true;
    {
        const auto view = MakeView();
        EXPECT_EQ(view->SetVideoInput(1, &video), 0);
        EXPECT_EQ(ViewRecorder::GetScale(), (std::pair<int, int>{16, 9}));
        EXPECT_EQ(ViewRecorder::GetExpected(), (std::pair<int, int>{7, 5}));
        EXPECT_EQ(m_manager->GetViewDecoder(1), &video);
        EXPECT_EQ(m_manager->GetViewDecoder(0), nullptr);
        EXPECT_EQ(m_manager->GetViewDecoder(-1), nullptr);
        EXPECT_EQ(video.GetRefCount(), 2);
        EXPECT_EQ(view->SetVideoInput(1, &video), 0);
        EXPECT_EQ(video.GetRefCount(), 2);
        for (FakeVideo* bad : {&failing, &formatless}) {
            EXPECT_EQ(view->SetVideoInput(1, bad), 1);
            EXPECT_EQ(m_manager->GetViewDecoder(1), nullptr);
            EXPECT_EQ(bad->GetRefCount(), 1);
        }
        EXPECT_EQ(video.GetRefCount(), 1);
        m_manager->ShowCurrentImage(nullptr, 0);
        EXPECT_EQ(m_recorder.GetFrames(), std::vector<int>{-1}); // the black picture of the last good stream
        EXPECT_EQ(m_recorder.GetPictures()[0].width, 7);
        EXPECT_EQ(view->SetVideoInput(1, &video), 0);
    }
    m_manager.Reset(); // destroys the view
    EXPECT_EQ(video.GetRefCount(), 1);
    EXPECT_EQ(ViewRecorder::GetAlive(), 0);
}

TEST_F(ViewManager, GivesFramesToMatchingViewsAndOwnPicturesToTheRest) {
    FakeVideo reference(10, 25);
    FakeVideo other(10, 25);
    other.Seek(7.0 / 25, 1);
    auto first = MakeView();
    auto second = MakeView();
    m_manager->ShowCurrentImage(&reference.FrameAt(3), 1); // nothing attached: nothing to show
    EXPECT_EQ(m_recorder.GetCount(0), 0u);
    first->SetVideoInput(1, &reference);
    second->SetVideoInput(0, &other);

    m_manager->ShowCurrentImage(&reference.FrameAt(3), 1);
    m_manager->ShowCurrentImage(nullptr, 0);
    MEDIA_FRAME packed = reference.FrameAt(3);
    packed.nKind = KQ_PICTURE_PACKED_RGB;
    m_manager->ShowCurrentImage(&packed, 1);
    MEDIA_FRAME planeless = reference.FrameAt(3);
    planeless.image.pY = nullptr;
    m_manager->ShowCurrentImage(&planeless, 1);
    m_manager->ShowUserFrame();
    first->SetVideoInput(1, nullptr);
    m_manager->ShowCurrentImage(&reference.FrameAt(3), 1);

    EXPECT_EQ(m_recorder.GetFrames(0), (std::vector<int>{3, 0, -1, -1, -1, -1}));
    EXPECT_EQ(m_recorder.GetFrames(1), (std::vector<int>{7, 7, 7, 7, -1, 7}));
    first.Reset();
    second.Reset();
    m_manager.Reset(); // before the streams go
}

TEST_F(ViewManager, ShowsEveryColourInItsPlace) {
    FakeVideo video(1, 25);
    const auto view = MakeView();
    view->SetVideoInput(1, &video);
    // Twice the same size, then the width or the height alone is another one, and back.
    const struct {
        int width, height;
    } sizes[] = {{16, 8}, {16, 8}, {16, 7}, {15, 7}, {15, 8}, {16, 8}, {1, 1}, {2, 1}, {131, 67}};
    std::vector<std::size_t> expected;
    for (const auto& size : sizes) {
        const ColourPicture picture(size.width, size.height, static_cast<unsigned>(expected.size()));
        const MEDIA_FRAME frame = picture.Frame();
        m_manager->ShowCurrentImage(&frame, 1);
        expected.push_back(HashOfPixels(picture.Rgb(4).data(), size.width, size.height));
    }
    const auto pictures = m_recorder.GetPictures();
    ASSERT_EQ(pictures.size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        EXPECT_EQ(pictures[i].hash, expected[i]) << "picture " << i;
        EXPECT_EQ(pictures[i].width, sizes[i].width);
        EXPECT_EQ(pictures[i].height, sizes[i].height);
    }
    view->SetVideoInput(1, nullptr);
}

TEST_F(ViewManager, ShowsBlackForWhatCannotBeShown) {
    FakeVideo video(2, 25);
    const auto view = MakeView();
    view->SetVideoInput(1, &video);
    const MEDIA_FRAME good = video.FrameAt(1);
    void (*const faults[])(tagYUVImage&) = {
        [](tagYUVImage& image) { image.pY = nullptr; },
        [](tagYUVImage& image) { image.pU = nullptr; },
        [](tagYUVImage& image) { image.pV = nullptr; },
        [](tagYUVImage& image) { image.nWidth = 0; },
        [](tagYUVImage& image) { image.nHeight = 0; },
        [](tagYUVImage& image) { image.nWidth = -16; },
        [](tagYUVImage& image) { image.nHeight = INT32_MIN; },
        [](tagYUVImage& image) { image.nWidth = 1 << 30; },
    };
    std::vector<int> expected;
    for (const auto& spoil : faults) {
        MEDIA_FRAME bad = good;
        spoil(bad.image);
        video.FrameAt(0) = bad;
        m_manager->ShowCurrentImage(&bad, 1);    // the frame that is presented
        m_manager->ShowCurrentImage(nullptr, 0); // the stream's own
        m_manager->ShowCurrentImage(&good, 1);
        expected.insert(expected.end(), {-1, -1, 1});
    }
    EXPECT_EQ(m_recorder.GetFrames(), expected);

    // A stream that does not know its size shows black as well, in some size.
    FakeVideo sizeless(1, 25);
    sizeless.format.nWidth = sizeless.format.nHeight = 0;
    EXPECT_EQ(view->SetVideoInput(1, &sizeless), 0);
    m_recorder.Clear();
    m_manager->ShowUserFrame();
    EXPECT_EQ(m_recorder.GetFrames(), std::vector<int>{-1});
    view->SetVideoInput(1, nullptr);
}

TEST_F(ViewManager, LeavesAnEmptyShellOfAViewThatIsStillHeld) {
    FakeVideo video(1, 25);
    auto view = MakeView();
    const auto removed = MakeView();
    view->SetVideoInput(1, &video);
    m_manager->Remove(1);
    m_manager.Reset();
    EXPECT_EQ(ViewRecorder::GetAlive(), 1) << "the removed one is the host's alone";
    EXPECT_EQ(video.GetRefCount(), 1);
    EXPECT_EQ(view->GetWND(), nullptr);
    EXPECT_EQ(view->SetVideoInput(1, &video), 1);
    EXPECT_EQ(view->SetVideoInput(1, nullptr), 0);
    EXPECT_EQ(video.GetRefCount(), 1);
    EXPECT_EQ(view->SetRect(tagRECT{1, 2, 3, 4}), 0);
    EXPECT_EQ(view->GetRect().right, 3);
    EXPECT_EQ(view->GetIndex(), 0);
    EXPECT_EQ(view->GetParentWND(), offScreen);
    EXPECT_TRUE(kq::ComPtr<IUnknown>(view.As<IPlayerView>()));
    EXPECT_EQ(view.Detach()->Release(), 0u);
}

TEST(BlackFrame, HasItsPlanesInOneBuffer) {
    const auto frame = MakeBlackFrame({7, 5});
    ASSERT_NE(frame, nullptr);
    const tagYUVImage& image = frame->image;
    EXPECT_EQ(image.pV - image.pY, 35);
    EXPECT_EQ(image.pU - image.pV, 12);
    EXPECT_EQ(image.pA - image.pU, 12);
    EXPECT_EQ(image.nPitchU, 4);
    EXPECT_EQ(frame->llPTS, -1);
    EXPECT_TRUE(std::all_of(image.pY, image.pV, [](int v) { return v == 0x10; }));
    EXPECT_TRUE(std::all_of(image.pV, image.pA, [](int v) { return v == 0x80; }));
    EXPECT_TRUE(std::all_of(image.pA, image.pA + 35, [](int v) { return v == 0xFF; }));
    EXPECT_EQ(MakeBlackFrame({0, 5}), nullptr);
    EXPECT_EQ(MakeBlackFrame({1 << 20, 1 << 20}), nullptr);
}

TEST(ViewWrapper, ForwardsToOneViewOfTheLibrary) {
    {
        YV12ViewWrapper view;
        EXPECT_EQ(view.SetCropMode(3), 0); // not created yet
        EXPECT_NE(view.Create(offScreen, VRECT{0, 0, 16, 8}, 0, 0), 0);
        EXPECT_NE(view.Create(offScreen, VRECT{0, 0, 16, 8}, 0, 0), 0);
        EXPECT_EQ(ViewRecorder::GetAlive(), 1);
        tagRECT rect{};
        EXPECT_EQ(view.SetCropMode(3), 3);
        EXPECT_EQ(view.SetMaskMode(4), 4);
        EXPECT_EQ(view.SetCallbackWnd(nullptr), 7);
        EXPECT_EQ(view.SetCropRect(&rect), 8);
        EXPECT_EQ(view.GetCropRect(&rect), 9);
        EXPECT_EQ(view.SetDisplayResizeMode(IMAGE_RESIZE_FILL), 2);
        EXPECT_EQ(view.Update(), 10);
        EXPECT_EQ(view.ShowYV12Image(nullptr, nullptr), 0);
        EXPECT_EQ(view.ShowYUVImage(nullptr), 0);
    }
    EXPECT_EQ(ViewRecorder::GetAlive(), 0);
}

} // namespace
