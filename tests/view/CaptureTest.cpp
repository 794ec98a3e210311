#include "tests/support/FakeStream.h"
#include "tests/support/PlayerHost.h"
#include "tests/support/Recorder.h"

#include <kqplayer/capture.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <numeric>
#include <vector>

namespace {

using namespace kq::test;

const wchar_t* const kPath = L"picture";

CaptureImageInfo Format(int nFormat) {
    CaptureImageInfo info{};
    info.nFormat = nFormat;
    return info;
}

TEST(Capture, WritesTheCurrentPictureInTheFormatAskedFor) {
    FakeVideo video(5, 25, 15, 9);
    PlayerHost host(&video);
    video.NextFrame();
    const int nMadeBefore = GetImageCounts().nMade;
    const wchar_t* const mimeTypes[] = {L"image/bmp", L"image/jpeg", L"image/png"};
    for (int n = 0; n < 3; ++n) {
        const CaptureImageInfo info = Format(n);
        EXPECT_EQ(host->CaptureCurrentImage(&info, kPath), 0);
        const auto saved = TakeSavedImages();
        ASSERT_EQ(saved.size(), 1u);
        EXPECT_EQ(saved[0].mimeType, mimeTypes[n]);
        EXPECT_EQ(saved[0].path, kPath);
        EXPECT_EQ(saved[0].nWidth, 15);
        const int nGrey = (9536 * FakeVideo::LumaOf(1) + 16532 * 128 - 2268594) >> 13;
        EXPECT_EQ(saved[0].bits[0], nGrey);
        EXPECT_EQ(saved[0].bits[48 * 8 + 14 * 3], nGrey); // the corner of an odd size
    }
    EXPECT_EQ(GetImageCounts().nMade, nMadeBefore + 1);

    FakeVideo larger(1, 25, 33, 9);
    host.GetView(0)->SetVideoInput(1, &larger);
    const CaptureImageInfo info = Format(2);
    EXPECT_EQ(host->CaptureCurrentImage(&info, kPath), 0);
    EXPECT_EQ(TakeSavedImages().at(0).nWidth, 33);
    EXPECT_EQ(GetImageCounts().nMade, nMadeBefore + 2);
    EXPECT_EQ(GetImageCounts().nAlive, 1);
    host.ReleasePlayer();
    EXPECT_EQ(GetImageCounts().nAlive, 0);
}

TEST(Capture, SaysWhyThereIsNoPicture) {
    FakeVideo video(1, 25);
    PlayerHost host;
    const CaptureImageInfo info = Format(0);
    const CaptureImageInfo unknown = Format(3);
    const std::string prefix = "CMediaPlayer::CaptureCurrentImage Faild,for ";
    const auto expectFailure = [&](const CaptureImageInfo* pInfo, const wchar_t* pPath, const char* pReason) {
        TakeLog();
        EXPECT_EQ(host->CaptureCurrentImage(pInfo, pPath), kq::Failed);
        EXPECT_TRUE(HasLogged(prefix + pReason)) << pReason;
    };
    expectFailure(nullptr, kPath, "Input Param Pointer is Null \n");
    expectFailure(&info, nullptr, "Input Param Pointer is Null \n");
    expectFailure(&info, kPath, "Input videostream Pointer is Null \n");
    EXPECT_EQ(host->CaptureCurrentImageEx(), nullptr);
    EXPECT_TRUE(HasLogged("CMediaPlayer::CaptureCurrentImageEx FAILED,For Can't Get Video Stream \n"));
    host.AddView(1, &video);
    expectFailure(&unknown, kPath, " User Request Picture Format no Support  \n");
    EXPECT_EQ(TakeSavedImages().at(0).mimeType, L""); // handed on, with nothing to write
    video.m_bNoFormat = true;
    expectFailure(&info, kPath, "Input videostream Can,t Get NULL Stream Info \n");
    EXPECT_EQ(host->CaptureCurrentImageEx(), nullptr);
    video.m_bNoFormat = false;
    video.m_bInfoFails = true;
    expectFailure(&info, kPath, "Input videostream Can,t Get NULL IStreamInfo \n");
    video.m_bInfoFails = false;
    video.FrameAt(0).nKind = 2;
    expectFailure(&info, kPath, " Input Video Frame Format no Support  \n");
    video.NextFrame();
    expectFailure(&info, kPath, "Input videostream Can,t Get NULL Sample \n");
}

TEST(Capture, TakesPackedPicturesAsTheyAre) {
    FakeVideo video(1, 25, 3, 3);
    std::vector<std::uint8_t> rgb(12 * 3);
    std::iota(rgb.begin(), rgb.end(), static_cast<std::uint8_t>(0));
    MEDIA_FRAME& frame = video.FrameAt(0);
    frame.nKind = KQ_PICTURE_PACKED_RGB;
    frame.image.pRgb = rgb.data();
    PlayerHost host(&video);
    const CaptureImageInfo info = Format(0);
    EXPECT_EQ(host->CaptureCurrentImage(&info, kPath), 0);
    EXPECT_EQ(TakeSavedImages().at(0).bits, rgb);

    std::fill(rgb.begin(), rgb.end(), static_cast<std::uint8_t>(255));
    const MEDIA_FRAME* const pCopy = host->CaptureCurrentImageEx();
    ASSERT_NE(pCopy, nullptr);
    EXPECT_TRUE(std::all_of(pCopy->image.pY, pCopy->image.pY + 9, [](int v) { return v == 235; }));
    EXPECT_TRUE(std::all_of(pCopy->image.pU, pCopy->image.pU + 4, [](int v) { return v == 128; }));
}

TEST(Capture, KeepsOneCopyPerSize) {
    FakeVideo video(5, 25, 16, 8);
    PlayerHost host(&video);
    MEDIA_FRAME* const pFirst = host->CaptureCurrentImageEx();
    ASSERT_NE(pFirst, nullptr);
    video.NextFrame();
    EXPECT_EQ(host->CaptureCurrentImageEx(), pFirst);
    EXPECT_EQ(pFirst->image.pY[100], FakeVideo::LumaOf(1));
    EXPECT_EQ(pFirst->llPTS, 400000);
}

TEST(CopyVideoFrame, HonoursPitchesAndCopiesWholeDestinationRows) {
    FakeVideo wide(1, 25, 12, 4); // stands for a picture of 8 x 4 with a pitch of 12
    MEDIA_FRAME source = wide.FrameAt(0);
    std::iota(source.image.pY, source.image.pY + 48, static_cast<std::uint8_t>(0));
    FakeVideo narrow(1, 25, 8, 4);
    MEDIA_FRAME& target = narrow.FrameAt(0);
    target.llPTS = 5;
    source.nFlags = 9;
    CopyVideoFrame(&target, &source, 0, 0);
    EXPECT_EQ(target.llPTS, 5);
    EXPECT_EQ(target.image.pY[8], 12); // row 1
    EXPECT_EQ(target.image.pY[31], 43);
    CopyVideoFrame(&target, &source, 1, 0);
    EXPECT_EQ(target.llPTS, 0);
    EXPECT_EQ(target.nFlags, 9);
    CopyVideoFrame(nullptr, &source, 1, 0);
    CopyVideoFrame(&target, nullptr, 1, 0);
}

} // namespace
