#include <kqplayer/convenience.h>

#include <gtest/gtest.h>

#include <set>
#include <string>

namespace {

using kq::ComPtr;

/// Counts how many of it are alive.
class Silence final : public kq::ComObject<IMediaStream, IQLXDispatch> {
public:
    Silence() { ++alive; }
    ~Silence() override { --alive; }
    std::int32_t GetStreamInfo(IStreamInfo** info) override {
        return kq::StreamInfo::Give(AUDIO_STREAM_INFO{48000, 2, 16, 192000, 1.5, 0}, info);
    }
    std::int32_t Reserved() override { return kq::Failed; }
    double Seek(double /*seconds*/, int /*mode*/) override { return 0; }
    MEDIA_FRAME* GetCurrentFrame() override { return nullptr; }
    int NextFrame() override { return 0; }
    double GetFramePosition() override { return 0; }
    std::int32_t Invoke(std::int32_t /*n0*/, std::int64_t /*command*/, std::int32_t /*n1*/) override {
        return kq::Ok;
    }

    static inline int alive = 0;
};

TEST(ResultText, TellsEveryCodeFromTheOthers) {
    std::set<std::string> texts;
    for (const std::int32_t code :
         {kq::Ok, kq::Refused, kq::OutOfMemory, kq::NoInterface, kq::NullPointer, kq::Failed,
          kq::NoAggregation, kq::ClassNotAvailable, std::int32_t{-1}, std::int32_t{2}}) {
        EXPECT_TRUE(texts.insert(kq::ResultText(code)).second) << code;
    }
}

TEST(ComPtr, GivesBackWhatItHolds) {
    {
        auto stream = ComPtr<Silence>::Adopt(new Silence);
        ComPtr<IMediaStream> copy = stream;
        auto shared = ComPtr<IMediaStream>::Share(stream.Get());
        copy = shared;
        const ComPtr<IMediaStream> moved = std::move(shared);
        IUnknown* const detached = ComPtr<IMediaStream>(moved).Detach();
        EXPECT_EQ(detached->Release(), 3u); // stream, copy and moved
        stream.Reset();
        *copy.Out() = nullptr;
        EXPECT_EQ(Silence::alive, 1);
        EXPECT_FALSE(copy.As<IMediaStream>());
    }
    EXPECT_EQ(Silence::alive, 0);
}

TEST(ComObject, OffersItsInterfacesUnderOneIdentity) {
    const auto stream = ComPtr<IMediaStream>::Adopt(new Silence);
    const auto dispatch = stream.As<IQLXDispatch>();
    ASSERT_TRUE(dispatch);
    EXPECT_EQ(dispatch->Invoke(0, 0, 0), kq::Ok);
    EXPECT_EQ(dispatch.As<IUnknown>().Get(), stream.As<IUnknown>().Get());
    EXPECT_FALSE(dispatch.As<IMediaPlayer>());
    EXPECT_EQ(stream->QueryInterface(IID_IUnknown, nullptr), kq::NullPointer);

    ComPtr<IStreamInfo> info;
    ASSERT_EQ(stream->GetStreamInfo(info.Out()), kq::Ok);
    EXPECT_EQ(info->GetVideoFormat(), nullptr);
    EXPECT_EQ(info->GetAudioFormat()->dDuration, 1.5);
    EXPECT_EQ(stream->GetStreamInfo(nullptr), kq::NullPointer);
}

/// Frames are described word by word by hosts that know nothing of the helpers, and badly by some.
TEST(FrameColour, IsReadAsTheWordsSay) {
    const struct {
        std::uint32_t nDescription;
        std::int32_t nMasteringPeak, nContentPeak;
        kq::Colour want;
    } cases[] = {
        {0, 4000, 4000, {}},
        {0xCDCDCDCD, 4000, 4000, {}},
        {0x00014B51, 4000, 4000, {}},
        {0x4B510000, 0, 0, {}},
        {0x4B510011, 0, 0, {KQ_MATRIX_BT709, KQ_RANGE_FULL, KQ_TRANSFER_SDR, 0, 0}},
        {0x4B510102, 1000, 600, {KQ_MATRIX_BT2020, KQ_RANGE_LIMITED, KQ_TRANSFER_PQ, 1000, 600}},
        {0x4B510203, -1, 10001, {KQ_MATRIX_SMPTE240M, KQ_RANGE_LIMITED, KQ_TRANSFER_HLG, 0, 0}},
        {0x4B51F3F4, 0, 10000, {KQ_MATRIX_BT601, KQ_RANGE_FULL, KQ_TRANSFER_SDR, 0, 10000}},
    };
    for (const auto& c : cases) {
        MEDIA_FRAME frame{};
        frame.reserved[0] = static_cast<std::int32_t>(c.nDescription);
        frame.reserved[1] = c.nMasteringPeak;
        frame.reserved[2] = c.nContentPeak;
        EXPECT_TRUE(kq::ColourOf(frame) == c.want) << std::hex << c.nDescription;
        MEDIA_FRAME described{};
        kq::DescribeColour(described, c.want);
        EXPECT_TRUE(kq::ColourOf(described) == c.want) << std::hex << c.nDescription;
    }
}

} // namespace
