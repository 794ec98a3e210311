// Frames that say what their samples mean, on their way to views and captures.
#include "tests/support/FakeStream.h"
#include "tests/support/PlayerHost.h"
#include "tests/support/Recorder.h"
#include "tests/support/ViewRecorder.h"

#include <kqplayer/capture.h>
#include <kqplayer/convenience.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <vector>

namespace {

using namespace kq::test;

struct Sample {
    int luma, cb, cr; ///< 8-bit values; kinds with 10 bits get four times as much
};

/// One picture of a single colour, in any kind, with planes that lie apart.
class UniformStream final : public kq::ComObject<IMediaStream> {
public:
    UniformStream(int kind, Sample sample) { Fill(kind, sample); }

    void Fill(int kind, Sample sample) {
        const bool wide = kind >= KQ_PICTURE_PLANAR_420_10;
        const bool together = kind == KQ_PICTURE_NV12 || kind == KQ_PICTURE_P010;
        const int scale = kind == KQ_PICTURE_P010 ? 256 : wide ? 4 : 1;
        const auto fill = [&](std::vector<std::uint16_t>& plane, int first, int second) {
            plane.resize(64 * 16);
            if (wide) {
                for (std::size_t i = 0; i < plane.size(); ++i) {
                    plane[i] = static_cast<std::uint16_t>(scale * (i % 2 == 0 ? first : second));
                }
                return;
            }
            auto* const bytes = reinterpret_cast<std::uint8_t*>(plane.data());
            for (std::size_t i = 0; i < plane.size() * 2; ++i) {
                bytes[i] = static_cast<std::uint8_t>(i % 2 == 0 ? first : second);
            }
        };
        fill(m_planes[0], sample.luma, sample.luma);
        fill(m_planes[1], sample.cb, together ? sample.cr : sample.cb);
        fill(m_planes[2], sample.cr, sample.cr);
        frame.nKind = kind;
        tagYUVImage& image = frame.image;
        image.pY = reinterpret_cast<std::uint8_t*>(m_planes[0].data());
        image.pU = reinterpret_cast<std::uint8_t*>(m_planes[1].data());
        image.pV = together ? nullptr : reinterpret_cast<std::uint8_t*>(m_planes[2].data());
        image.nWidth = 15;
        image.nHeight = 7;
        image.nPitchY = 64;
        image.nPitchU = 72;
        image.nPitchV = 80;
    }

    std::int32_t GetStreamInfo(IStreamInfo** info) override {
        return kq::StreamInfo::Give(VIDEO_STREAM_INFO{15, 7, 25, 1, 15, 7}, info);
    }
    std::int32_t Reserved() override { return 0; }
    double Seek(double, int) override { return 0; }
    MEDIA_FRAME* GetCurrentFrame() override { return &frame; }
    int NextFrame() override { return 0; }
    double GetFramePosition() override { return 0; }

    MEDIA_FRAME frame{};

private:
    std::array<std::vector<std::uint16_t>, 3> m_planes;
};

/// What the standard's formula gives, B, G, R.
std::array<double, 3> Formula(Sample s, double kr, double kb, bool full) {
    const double y = full ? s.luma : (s.luma - 16) * 255.0 / 219;
    const double pb = (s.cb - 128) * (full ? 1.0 : 255.0 / 224);
    const double pr = (s.cr - 128) * (full ? 1.0 : 255.0 / 224);
    const double red = y + 2 * (1 - kr) * pr;
    const double blue = y + 2 * (1 - kb) * pb;
    const double green = (y - kr * red - kb * blue) / (1 - kr - kb);
    return {std::clamp(blue, 0.0, 255.0), std::clamp(green, 0.0, 255.0), std::clamp(red, 0.0, 255.0)};
}

TEST(Colour, ViewsAndCapturesShowWhatEveryKindAndDescriptionSays) {
    constexpr std::array<int, 8> kinds{
        KQ_PICTURE_PLANAR_YUV,    KQ_PICTURE_PLANAR_422,    KQ_PICTURE_PLANAR_444,    KQ_PICTURE_NV12,
        KQ_PICTURE_PLANAR_420_10, KQ_PICTURE_PLANAR_422_10, KQ_PICTURE_PLANAR_444_10, KQ_PICTURE_P010};
    const struct {
        int matrix;
        double kr, kb;
    } matrices[] = {{KQ_MATRIX_BT601, 0.299, 0.114},
                    {KQ_MATRIX_BT709, 0.2126, 0.0722},
                    {KQ_MATRIX_BT2020, 0.2627, 0.0593},
                    {KQ_MATRIX_SMPTE240M, 0.212, 0.087}};
    const Sample sample{100, 90, 170};
    ViewRecorder recorder;
    PlayerHost host; // one for all: nothing of a picture stays for the next one
    UniformStream stream(KQ_PICTURE_PLANAR_YUV, sample);
    host.AddView(1, &stream);
    for (const int kind : kinds) {
        for (const auto& matrix : matrices) {
            for (const int range : {KQ_RANGE_LIMITED, KQ_RANGE_FULL}) {
                SCOPED_TRACE(testing::Message()
                             << "kind " << kind << " matrix " << matrix.matrix << " range " << range);
                stream.Fill(kind, sample);
                kq::DescribeColour(stream.frame, matrix.matrix, range);
                host->Seek(0, 1);
                const std::uint32_t pixel = recorder.GetAllPictures().back().firstPixel;
                CaptureImageInfo info{};
                ASSERT_EQ(host->CaptureCurrentImage(&info, L"picture"), kq::Ok);
                const auto saved = TakeSavedImages().at(0);
                const auto expected = Formula(sample, matrix.kr, matrix.kb, range == KQ_RANGE_FULL);
                for (std::size_t channel = 0; channel < 3; ++channel) {
                    const auto shown = static_cast<std::uint8_t>(pixel >> 8 * channel);
                    EXPECT_NEAR(shown, expected[channel], 1.0) << channel;
                    EXPECT_EQ(saved.bits[channel], shown);
                    EXPECT_EQ(saved.bits[48 * 6 + 14 * 3 + channel], shown); // the corner of an odd size
                }
                const MEDIA_FRAME* const copy = host->CaptureCurrentImageEx();
                ASSERT_NE(copy, nullptr);
                EXPECT_EQ(copy->nKind, KQ_PICTURE_PLANAR_YUV);
                const kq::Colour colour = kq::ColourOf(*copy);
                const bool isSameKind = kind == KQ_PICTURE_PLANAR_YUV;
                EXPECT_EQ(colour.nMatrix, isSameKind ? matrix.matrix : KQ_MATRIX_BT601);
                EXPECT_EQ(colour.nRange, isSameKind ? range : KQ_RANGE_LIMITED);
                if (isSameKind) {
                    EXPECT_EQ(copy->image.pY[0], sample.luma);
                }
            }
        }
    }
}

TEST(Colour, WhatCannotBeReadIsBlackAndNotCaptured) {
    const Sample sample{100, 90, 170};
    for (const int kind : {7, 0xFF, 0x103, 0x7FFFFFFF, -1}) {
        UniformStream stream(kind, sample);
        ViewRecorder recorder;
        PlayerHost host(&stream);
        host->Seek(0, 1);
        EXPECT_EQ(recorder.GetAllPictures().back().firstPixel & 0xFFFFFF, 0u) << kind;
        CaptureImageInfo info{};
        EXPECT_EQ(host->CaptureCurrentImage(&info, L"picture"), kq::Failed) << kind;
        EXPECT_EQ(host->CaptureCurrentImageEx(), nullptr) << kind;
    }
    // A word that happens to lie there is no description.
    UniformStream stream(KQ_PICTURE_PLANAR_YUV, sample);
    ViewRecorder recorder;
    std::vector<std::uint32_t> pixels;
    for (const std::uint32_t word : {0u, 0xCDCDCDCDu, 0x4B500001u}) {
        stream.frame.reserved[0] = static_cast<std::int32_t>(word);
        PlayerHost host(&stream);
        host->Seek(0, 1);
        pixels.push_back(recorder.GetAllPictures().back().firstPixel);
    }
    EXPECT_EQ(pixels[0], pixels[1]);
    EXPECT_EQ(pixels[0], pixels[2]);
}

} // namespace
