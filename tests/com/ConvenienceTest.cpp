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
    std::int32_t GetStreamInfo(IStreamInfo** ppInfo) override {
        return kq::StreamInfo::Give(AUDIO_STREAM_INFO{48000, 2, 16, 192000, 1.5, 0}, ppInfo);
    }
    std::int32_t Reserved() override { return kq::Failed; }
    double Seek(double /*dSeconds*/, int /*nMode*/) override { return 0; }
    MEDIA_FRAME* GetCurrentFrame() override { return nullptr; }
    int NextFrame() override { return 0; }
    double GetFramePosition() override { return 0; }
    std::int32_t Invoke(std::int32_t /*n0*/, std::int64_t /*llCommand*/, std::int32_t /*n1*/) override {
        return kq::Ok;
    }

    static inline int alive = 0;
};

TEST(ResultText, TellsEveryCodeFromTheOthers) {
    std::set<std::string> texts;
    for (const std::int32_t nCode :
         {kq::Ok, kq::Refused, kq::OutOfMemory, kq::NoInterface, kq::NullPointer, kq::Failed,
          kq::NoAggregation, kq::ClassNotAvailable, std::int32_t{-1}, std::int32_t{2}}) {
        EXPECT_TRUE(texts.insert(kq::ResultText(nCode)).second) << nCode;
    }
}

TEST(ComPtr, GivesBackWhatItHolds) {
    {
        auto pStream = ComPtr<Silence>::Adopt(new Silence);
        ComPtr<IMediaStream> pCopy = pStream;
        auto pShared = ComPtr<IMediaStream>::Share(pStream.Get());
        pCopy = pShared;
        const ComPtr<IMediaStream> pMoved = std::move(pShared);
        IUnknown* const pDetached = ComPtr<IMediaStream>(pMoved).Detach();
        EXPECT_EQ(pDetached->Release(), 3u); // pStream, pCopy and pMoved
        pStream.Reset();
        *pCopy.Out() = nullptr;
        EXPECT_EQ(Silence::alive, 1);
        EXPECT_FALSE(pCopy.As<IMediaStream>());
    }
    EXPECT_EQ(Silence::alive, 0);
}

TEST(ComObject, OffersItsInterfacesUnderOneIdentity) {
    const auto pStream = ComPtr<IMediaStream>::Adopt(new Silence);
    const auto pDispatch = pStream.As<IQLXDispatch>();
    ASSERT_TRUE(pDispatch);
    EXPECT_EQ(pDispatch->Invoke(0, 0, 0), kq::Ok);
    EXPECT_EQ(pDispatch.As<IUnknown>().Get(), pStream.As<IUnknown>().Get());
    EXPECT_FALSE(pDispatch.As<IMediaPlayer>());
    EXPECT_EQ(pStream->QueryInterface(IID_IUnknown, nullptr), kq::NullPointer);

    ComPtr<IStreamInfo> pInfo;
    ASSERT_EQ(pStream->GetStreamInfo(pInfo.Out()), kq::Ok);
    EXPECT_EQ(pInfo->GetVideoFormat(), nullptr);
    EXPECT_EQ(pInfo->GetAudioFormat()->dDuration, 1.5);
    EXPECT_EQ(pStream->GetStreamInfo(nullptr), kq::NullPointer);
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
