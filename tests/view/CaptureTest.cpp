#include "tests/support/FakeStream.h"
#include "tests/support/PlayerHost.h"
#include "tests/support/Recorder.h"
#include "tests/view/ColourPicture.h"

#include <kqplayer/capture.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <numeric>
#include <utility>
#include <vector>

namespace {

using namespace kq::test;

const wchar_t* const somewhere = L"picture";

CaptureImageInfo Format(int format) {
    CaptureImageInfo info{};
    info.nFormat = format;
    return info;
}

TEST(Capture, WritesTheCurrentPictureInTheFormatAskedFor) {
    FakeVideo video(5, 25, 15, 9);
    PlayerHost host(&video);
    video.NextFrame();
    const int madeBefore = GetImageCounts().made;
    const wchar_t* const mimeTypes[] = {L"image/bmp", L"image/jpeg", L"image/png"};
    for (int n = 0; n < 3; ++n) {
        const CaptureImageInfo info = Format(n);
        EXPECT_EQ(host->CaptureCurrentImage(&info, somewhere), 0);
        const auto saved = TakeSavedImages();
        ASSERT_EQ(saved.size(), 1u);
        EXPECT_EQ(saved[0].mimeType, mimeTypes[n]);
        EXPECT_EQ(saved[0].path, somewhere);
        EXPECT_EQ(saved[0].bits[0], (9536 * FakeVideo::LumaOf(1) + 16532 * 128 - 2268594) >> 13);
    }
    EXPECT_EQ(GetImageCounts().made, madeBefore + 1);
    EXPECT_EQ(GetImageCounts().alive, 1);
    host.ReleasePlayer();
    EXPECT_EQ(GetImageCounts().alive, 0);
}

TEST(Capture, SaysWhyThereIsNoPicture) {
    FakeVideo video(1, 25);
    PlayerHost host;
    const CaptureImageInfo info = Format(0);
    const CaptureImageInfo unknown = Format(3);
    const std::string prefix = "CMediaPlayer::CaptureCurrentImage Faild,for ";
    const auto expectFailure = [&](const CaptureImageInfo* request, const wchar_t* path, const char* reason) {
        TakeLog();
        EXPECT_EQ(host->CaptureCurrentImage(request, path), kq::Failed);
        EXPECT_TRUE(HasLogged(prefix + reason)) << reason;
    };
    expectFailure(nullptr, somewhere, "Input Param Pointer is Null \n");
    expectFailure(&info, nullptr, "Input Param Pointer is Null \n");
    expectFailure(&info, somewhere, "Input videostream Pointer is Null \n");
    EXPECT_EQ(host->CaptureCurrentImageEx(), nullptr);
    EXPECT_TRUE(HasLogged("CMediaPlayer::CaptureCurrentImageEx FAILED,For Can't Get Video Stream \n"));
    host.AddView(1, &video);
    expectFailure(&unknown, somewhere, " User Request Picture Format no Support  \n");
    EXPECT_EQ(TakeSavedImages().at(0).mimeType, L""); // handed on, with nothing to write
    video.noFormat = true;
    expectFailure(&info, somewhere, "Input videostream Can,t Get NULL Stream Info \n");
    EXPECT_EQ(host->CaptureCurrentImageEx(), nullptr);
    video.noFormat = false;
    video.infoFails = true;
    expectFailure(&info, somewhere, "Input videostream Can,t Get NULL IStreamInfo \n");
    video.infoFails = false;
    video.NextFrame();
    expectFailure(&info, somewhere, "Input videostream Can,t Get NULL Sample \n");
}

/// Random pixels of a packed sample, B, G, R in padded rows.
Bytes RandomBgr(int width, int height, unsigned seed) {
    return ColourPicture(width, height, seed).Rgb(3);
}

/// The rows of a plane without what lies between them.
Bytes Rows(const std::uint8_t* plane, int pitch, int width, int height) {
    Bytes rows;
    for (int row = 0; row < height; ++row) {
        rows.insert(rows.end(), plane + std::ptrdiff_t{pitch} * row,
                    plane + std::ptrdiff_t{pitch} * row + width);
    }
    return rows;
}

/// The three planes of a picture, one after the other.
Bytes Planes(const tagYUVImage& image) {
    const int chromaWidth = (image.nWidth + 1) / 2;
    const int chromaHeight = (image.nHeight + 1) / 2;
    Bytes planes = Rows(image.pY, image.nPitchY, image.nWidth, image.nHeight);
    for (const Bytes& chroma : {Rows(image.pU, image.nPitchU, chromaWidth, chromaHeight),
                                Rows(image.pV, image.nPitchV, chromaWidth, chromaHeight)}) {
        planes.insert(planes.end(), chroma.begin(), chroma.end());
    }
    return planes;
}

/// BT.601 in video range, by its definition: of a pixel, or of the mean of a block.
struct Yuv {
    double y, u, v;
};
Yuv YuvOf(double r, double g, double b) {
    const double luma = 0.299 * r + 0.587 * g + 0.114 * b;
    return {16 + 219 * luma / 255, 128 + 224 * (b - luma) / (2 * 0.886 * 255),
            128 + 224 * (r - luma) / (2 * 0.701 * 255)};
}

/// A planar picture is that of packed pixels: luma of each pixel, chroma of the mean of each block, which the
/// edges of the picture cut.
void ExpectPlanarOf(const tagYUVImage& image, const Bytes& bgr) {
    const int rowBytes = (image.nWidth * 3 + 3) / 4 * 4;
    for (int row = 0; row < image.nHeight; row += 2) {
        for (int column = 0; column < image.nWidth; column += 2) {
            double r = 0, g = 0, b = 0;
            int count = 0;
            for (int y = row; y < std::min(row + 2, image.nHeight); ++y) {
                for (int x = column; x < std::min(column + 2, image.nWidth); ++x, ++count) {
                    const std::uint8_t* const pixel =
                        bgr.data() + std::ptrdiff_t{rowBytes} * y + std::ptrdiff_t{3} * x;
                    b += pixel[0];
                    g += pixel[1];
                    r += pixel[2];
                    EXPECT_NEAR(image.pY[y * image.nPitchY + x], YuvOf(pixel[2], pixel[1], pixel[0]).y, 1.01);
                }
            }
            const Yuv mean = YuvOf(r / count, g / count, b / count);
            const int u = image.pU[row / 2 * image.nPitchU + column / 2];
            const int v = image.pV[row / 2 * image.nPitchV + column / 2];
            EXPECT_NEAR(u, mean.u, 2) << column << ',' << row;
            EXPECT_NEAR(v, mean.v, 2) << column << ',' << row;
        }
    }
}

/// Sizes of pictures that a stream shows one after the other: twice the same, then the width or the height
/// alone is another one, and back.
constexpr struct {
    int width, height;
} sizes[] = {{15, 9}, {15, 9}, {15, 10}, {14, 10}, {14, 9}, {15, 9}, {1, 1}, {2, 1}, {1, 2}, {33, 18}};

TEST(Capture, KeepsEveryColourOfPlanarPictures) {
    FakeVideo video(1, 25);
    PlayerHost host(&video);
    MEDIA_FRAME* copy = nullptr;
    for (unsigned n = 0; n < std::size(sizes); ++n) {
        const ColourPicture picture(sizes[n].width, sizes[n].height, n);
        video.FrameAt(0) = picture.Frame();
        video.FrameAt(0).llPTS = n;
        const CaptureImageInfo info = Format(0);
        EXPECT_EQ(host->CaptureCurrentImage(&info, somewhere), 0);
        const auto saved = TakeSavedImages();
        ASSERT_EQ(saved.size(), 1u);
        EXPECT_EQ(saved[0].width, sizes[n].width);
        EXPECT_EQ(saved[0].height, sizes[n].height);
        EXPECT_EQ(saved[0].bits, picture.Rgb(3)) << "picture " << n;
        EXPECT_EQ(GetImageCounts().alive, 1);

        MEDIA_FRAME* const former = std::exchange(copy, host->CaptureCurrentImageEx());
        ASSERT_NE(copy, nullptr);
        EXPECT_TRUE(n != 1 || copy == former) << "the same size";
        EXPECT_EQ(copy->image.nHeight, sizes[n].height);
        EXPECT_EQ(copy->llPTS, n);
        EXPECT_EQ(Planes(copy->image), Planes(picture.Image())) << "picture " << n;
    }
}

TEST(Capture, KeepsEveryColourOfPackedPictures) {
    FakeVideo video(1, 25);
    MEDIA_FRAME& frame = video.FrameAt(0);
    frame.nKind = KQ_PICTURE_PACKED_RGB;
    PlayerHost host(&video);
    for (unsigned n = 0; n < std::size(sizes); ++n) {
        Bytes bgr = RandomBgr(sizes[n].width, sizes[n].height, n);
        video.format.nWidth = sizes[n].width;
        video.format.nHeight = n % 2 == 0 ? sizes[n].height : -sizes[n].height;
        frame.image.pRgb = bgr.data();
        frame.llPTS = n;
        const CaptureImageInfo info = Format(0);
        EXPECT_EQ(host->CaptureCurrentImage(&info, somewhere), 0);
        EXPECT_EQ(TakeSavedImages().at(0).bits, bgr);
        const MEDIA_FRAME* const copy = host->CaptureCurrentImageEx();
        ASSERT_NE(copy, nullptr);
        ASSERT_EQ(copy->image.nHeight, sizes[n].height);
        EXPECT_EQ(copy->llPTS, n);
        ExpectPlanarOf(copy->image, bgr);
    }
}

TEST(Capture, RefusesFramesThatCannotBeShown) {
    FakeVideo video(1, 25);
    PlayerHost host(&video);
    const MEDIA_FRAME good = video.FrameAt(0);
    void (*const faults[])(MEDIA_FRAME&) = {
        [](MEDIA_FRAME& frame) { frame.image.pY = nullptr; },
        [](MEDIA_FRAME& frame) { frame.image.pU = nullptr; },
        [](MEDIA_FRAME& frame) { frame.image.pV = nullptr; },
        [](MEDIA_FRAME& frame) { frame.image.nWidth = 0; },
        [](MEDIA_FRAME& frame) { frame.image.nHeight = 0; },
        [](MEDIA_FRAME& frame) { frame.image.nHeight = -8; },
        [](MEDIA_FRAME& frame) {
            frame.nKind = KQ_PICTURE_PACKED_RGB;
            frame.image.pRgb = nullptr;
        },
        [](MEDIA_FRAME& frame) { frame.nKind = 2; },
    };
    const CaptureImageInfo info = Format(0);
    for (const auto& spoil : faults) {
        video.FrameAt(0) = good;
        spoil(video.FrameAt(0));
        TakeLog();
        EXPECT_EQ(host->CaptureCurrentImage(&info, somewhere), kq::Failed);
        EXPECT_TRUE(HasLogged(
            "CMediaPlayer::CaptureCurrentImage Faild,for  Input Video Frame Format no Support  \n"));
        EXPECT_EQ(host->CaptureCurrentImageEx(), nullptr);
        EXPECT_TRUE(
            HasLogged("CMediaPlayer::CaptureCurrentImageEx FAILED,For Can't Get Video Stream inof \n"));
        EXPECT_TRUE(TakeSavedImages().empty());
        video.FrameAt(0) = good;
        EXPECT_EQ(host->CaptureCurrentImage(&info, somewhere), kq::Ok);
        EXPECT_EQ(TakeSavedImages().size(), 1u);
        EXPECT_NE(host->CaptureCurrentImageEx(), nullptr);
    }
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
    const std::uint8_t before = target.image.pU[0];
    source.image.pU = source.image.pV = nullptr; // nothing to copy
    CopyVideoFrame(&target, &source, 1, 0);
    EXPECT_EQ(target.image.pU[0], before);
}

} // namespace
