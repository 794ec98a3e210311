// Files beside another one: their pictures, their sound, and the differences.
#include "StreamTest.h"
#include "tests/support/Files.h"

#include <kqplayer/comparison.h>

#include <cmath>
#include <optional>
#include <random>

namespace kq::streams::test {
namespace {

/// A timeline and a file beside it.
class Beside {
public:
    Beside(const std::string& first, const std::string& path) : reference(Clip(first)) {
        options.log = [](const std::string&) {};
        std::string error;
        timeline = std::shared_ptr<Timeline>(&reference.Time(), [](Timeline*) {});
        EXPECT_TRUE(OpenCompanion(path, timeline, reference.File(), options, file, companion, error))
            << error;
    }
    ~Beside() { file.Release(); }
    Beside(const Beside&) = delete;
    Beside& operator=(const Beside&) = delete;

    /// @return what is shown beside the reference's picture, nothing for the sign
    std::optional<std::size_t> Shown() const {
        const MEDIA_FRAME* frame = file.video->GetCurrentFrame();
        EXPECT_NE(frame, nullptr);
        EXPECT_EQ(companion->LacksPicture(), frame->llPTS == KQ_NO_PTS);
        PicturePlace place;
        EXPECT_NE(companion->LacksPicture(), PlaceOfPicture(*file.video, place));
        return companion->LacksPicture() ? std::nullopt
                                         : std::optional(std::hash<std::string>()(PixelsOf(*frame)));
    }

    OpenOptions options;
    OpenedTimeline reference;
    std::shared_ptr<Timeline> timeline;
    MediaFile file;
    std::shared_ptr<Companion> companion;
};

struct Case {
    Pair clips;
    double offset; ///< seconds
};

class Companions : public testing::TestWithParam<Case> {};

TEST_P(Companions, ShowTheSameTimeOrTheSignWhereverTheReferenceGoes) {
    const Pair& clips = GetParam().clips;
    const double offset = GetParam().offset;
    const std::vector<Shot> shots = AllShots(clips.second);
    const double rate = OpenedFile(Clip(clips.second)).File().facts.frameRate;
    Beside beside(clips.first, Clip(clips.second));
    IMediaStream& video = beside.reference.Video();
    beside.companion->SetOffset(offset);
    const auto expect = [&](const std::string& move) {
        const double time = PlaceIn(video).time + offset + 0.001; // what two clocks round off
        const auto ticks = static_cast<std::int64_t>(std::llround(time * TicksPerSecond));
        const auto end = shots.back().time + std::llround(TicksPerSecond / rate);
        const bool has = ticks >= shots.front().time && ticks < end;
        const auto shown = beside.Shown();
        ASSERT_EQ(shown.has_value(), has) << move << " at " << time;
        ASSERT_TRUE(!has || *shown == shots[ShotAt(shots, ticks)].hash) << move << " at " << time;
    };
    std::mt19937 random(5);
    beside.reference.Time().SetRange(0.4, 3, 0);
    for (const double speed : {1.0, -1.0, 2.0, 0.5}) {
        beside.reference.Time().SetRate(speed);
        for (int i = 0; i < 50 && !HasFatalFailure(); ++i) {
            if (i % 10 == 0) {
                beside.reference.Seek(static_cast<double>(random() % 3500) / 1000);
            } else {
                video.NextFrame();
            }
            expect(std::to_string(speed) + " x, move " + std::to_string(i));
        }
    }
}

const Case cases[] = {
    {{"bframes.mp4", "bframes.mp4"}, 0},     {{"bframes.mp4", "opengop.ts"}, 0.12},
    {{"bframes.mp4", "matroska.mkv"}, -2.4}, {{"opengop.mp4", "hevc.mp4"}, 1.0},
    {{"matroska.mkv", "bframes.mp4"}, 2.2},  {{"bframes.mp4", "vfr.mkv"}, 0.52},
    {{"vfr.mkv", "opengop.mp4"}, -0.04},     {{"hevc.mp4", "program.mpg"}, 0.2},
    {{"bframes.mp4", "theora.ogg"}, -0.28},  {{"opengop.mp4", "longgop.mp4"}, 20},
};
INSTANTIATE_TEST_SUITE_P(Clips, Companions, testing::ValuesIn(cases), [](const auto& info) {
    return NameOf(info.param.clips.first + "With" + info.param.clips.second);
});

TEST(Companions, ShowTheSignWhereAHoleIsInTheFile) {
    const kq::test::TemporaryFolder folder;
    std::string content = kq::test::ReadFile(Clip("opengop.ts"));
    content.erase(content.size() / 188 / 3 * 188, content.size() / 188 / 3 * 188); // a third, by packets
    const std::string path = kq::test::WriteFile(folder / "hole.ts", content);
    Beside beside("opengop.mp4", path);
    int lacking = 0;
    for (int n = 0; n < 100; ++n) {
        const auto shown = beside.Shown();
        lacking += shown ? 0 : 1;
        if (shown) {
            EXPECT_NEAR(PlaceIn(*beside.file.video).time, n / 25.0, 2.1 / 25) << n;
        }
        beside.reference.Video().NextFrame();
    }
    EXPECT_GT(lacking, 15);
    EXPECT_LT(lacking, 60);
}

TEST(Companions, AreHeardInPlaceOfTheReferenceAtTheirOffset) {
    for (const char* first : {"bframes.mp4", "opengop.mp4"}) { // with sound, and without
        Beside beside(first, Clip("beeps.mkv"));
        beside.companion->SetOffset(-0.5);
        beside.companion->Hear();
        beside.reference.Seek(0);
        const AUDIO_STREAM_INFO format = AudioFormat(beside.reference.Audio());
        std::vector<std::int16_t> sound = Listen(beside.reference.Audio());
        const auto loudest = [&](double from, double to) {
            int most = 0;
            for (auto i = static_cast<std::size_t>(from * format.nSampleRate * format.nChannels);
                 i < static_cast<std::size_t>(to * format.nSampleRate * format.nChannels); ++i) {
                most = std::max(most, std::abs(int{sound.at(i)}));
            }
            return most;
        };
        EXPECT_GT(loudest(2.5, 2.58), 10'000) << first << ": the beep of the third second";
        EXPECT_LT(loudest(2.6, 3.48), 200) << first;
        HearReference(beside.reference.Time());
        beside.reference.Seek(0);
        sound = Listen(beside.reference.Audio());
        EXPECT_EQ(loudest(2.6, 3.48) > 1000, std::string(first) == "bframes.mp4");
    }
}

/// A stream of one picture of even planes.
class Even : public MediaStream {
public:
    Even(std::int32_t kind, int width, int height, std::array<int, 3> samples, Colour colour = {})
        : MediaStream(VIDEO_STREAM_INFO{width, height, 25, 1, width, height}), m_layout(LayoutOf(kind)) {
        m_frame.nKind = kind;
        tagYUVImage& image = m_frame.image;
        image.nWidth = width;
        image.nHeight = height;
        for (int plane = 0; plane < 3; ++plane) {
            const std::size_t count = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
            for (std::size_t i = 0; i < count * 2; ++i) {
                const int number = m_layout.pairs && plane == 1 && i % 2 == 1 ? 2 : plane;
                const int sample = samples[static_cast<std::size_t>(number)] << (m_layout.highBits ? 6 : 0);
                m_planes[plane].push_back(static_cast<std::uint8_t>(sample));
                if (m_layout.sampleBytes == 2) {
                    m_planes[plane].push_back(static_cast<std::uint8_t>(sample >> 8));
                }
            }
        }
        image.pY = m_planes[0].data();
        image.pU = m_planes[1].data();
        image.pV = m_planes[2].data();
        image.nPitchY = width * m_layout.sampleBytes;
        image.nPitchU = image.nPitchV = width * m_layout.sampleBytes;
        DescribeColour(m_frame, colour);
    }
    double Seek(double, int) override { return 0; }
    MEDIA_FRAME* GetCurrentFrame() override { return &m_frame; }
    int NextFrame() override { return 0; }
    double GetFramePosition() override { return 0; }

private:
    const Layout m_layout;
    MEDIA_FRAME m_frame{};
    std::vector<std::uint8_t> m_planes[3];
};

/// @return the first samples of the planes
std::array<int, 3> Samples(const MEDIA_FRAME& frame) {
    const auto sample = [&](const std::uint8_t* plane) {
        return LayoutOf(frame.nKind).sampleBytes == 1 ? plane[0] : plane[0] + 256 * plane[1];
    };
    return {sample(frame.image.pY), sample(frame.image.pU), sample(frame.image.pV)};
}

TEST(Differences, AreThoseOfTheSamplesWhateverTheLayouts) {
    Colour full;
    full.nRange = KQ_RANGE_FULL;
    Colour hdr;
    hdr.nMatrix = KQ_MATRIX_BT2020;
    hdr.nTransfer = KQ_TRANSFER_PQ;
    using Planes = std::array<int, 3>;
    const struct {
        std::int32_t kind;
        Planes samples;
        Colour colour;
        std::int32_t otherKind;
        int otherWidth;
        Planes otherSamples;
        Colour otherColour;
        int doublings;
        std::int32_t resultKind;
        Planes expected; ///< with chroma
    } rows[] = {
        {KQ_PICTURE_PLANAR_YUV,
         {100, 90, 200},
         {},
         KQ_PICTURE_PLANAR_YUV,
         34,
         {100, 90, 200},
         {},
         6,
         KQ_PICTURE_PLANAR_YUV,
         {16, 128, 128}},
        {KQ_PICTURE_PLANAR_YUV,
         {100, 90, 200},
         {},
         KQ_PICTURE_PLANAR_YUV,
         34,
         {107, 88, 190},
         {},
         2,
         KQ_PICTURE_PLANAR_YUV,
         {16 + 28, 128 + 8, 128 + 40}},
        {KQ_PICTURE_PLANAR_422,
         {235, 90, 16},
         {},
         KQ_PICTURE_PLANAR_422,
         34,
         {16, 88, 240},
         {},
         1,
         KQ_PICTURE_PLANAR_422,
         {235, 132, 240}},
        {KQ_PICTURE_PLANAR_444,
         {0, 128, 128},
         full,
         KQ_PICTURE_PLANAR_444,
         34,
         {255, 128, 128},
         full,
         6,
         KQ_PICTURE_PLANAR_444,
         {255, 128, 128}},
        {KQ_PICTURE_PLANAR_420_10,
         {400, 512, 512},
         {},
         KQ_PICTURE_PLANAR_420_10,
         34,
         {401, 510, 512},
         {},
         3,
         KQ_PICTURE_PLANAR_420_10,
         {64 + 8, 512 + 16, 512}},
        {KQ_PICTURE_PLANAR_444_10,
         {940, 512, 512},
         hdr,
         KQ_PICTURE_PLANAR_444_10,
         34,
         {64, 512, 512},
         hdr,
         6,
         KQ_PICTURE_PLANAR_444_10,
         {940, 512, 512}},
        {KQ_PICTURE_PLANAR_422_10,
         {400, 512, 500},
         {},
         KQ_PICTURE_PLANAR_YUV,
         34,
         {90, 128, 120},
         {},
         0,
         KQ_PICTURE_PLANAR_422_10,
         {64 + 40, 512, 512 + 20}},
        {KQ_PICTURE_NV12,
         {100, 90, 200},
         {},
         KQ_PICTURE_PLANAR_444,
         68,
         {104, 91, 202},
         {},
         0,
         KQ_PICTURE_PLANAR_YUV,
         {20, 129, 130}},
        {KQ_PICTURE_P010,
         {400, 512, 512},
         {},
         KQ_PICTURE_NV12,
         20,
         {96, 128, 128},
         {},
         2,
         KQ_PICTURE_PLANAR_420_10,
         {64 + 64, 512, 512}},
        {KQ_PICTURE_PLANAR_YUV,
         {126, 128, 128},
         {},
         KQ_PICTURE_PLANAR_YUV,
         34,
         {128, 128, 128},
         full,
         0,
         KQ_PICTURE_PLANAR_YUV,
         {16, 128, 128}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(&row - rows);
        const auto first = ComPtr<Even>::Adopt(new Even(row.kind, 34, 18, row.samples, row.colour));
        const auto other = ComPtr<Even>::Adopt(new Even(
            row.otherKind, row.otherWidth, 18 * row.otherWidth / 34, row.otherSamples, row.otherColour));
        const auto look = std::make_shared<DifferenceLook>();
        look->doublings = row.doublings;
        const auto stream = ComPtr<IMediaStream>::Adopt(MakeDifference(*first, *other, look));
        Planes expected = {row.expected[0], row.resultKind >= KQ_PICTURE_PLANAR_420_10 ? 512 : 128, 0};
        expected[2] = expected[1];
        EXPECT_EQ(Samples(*stream->GetCurrentFrame()), expected) << "luma alone";
        look->hasChroma = true;
        const MEDIA_FRAME* const frame = stream->GetCurrentFrame();
        EXPECT_EQ(frame->nKind, row.resultKind);
        EXPECT_EQ(Samples(*frame), row.expected);
        const std::string pixels = PixelsOf(*frame);
        EXPECT_EQ(pixels.substr(0, 32), pixels.substr(2, 32)) << "along the row";
        EXPECT_EQ(ColourOf(*frame).nRange, row.colour.nRange);
        EXPECT_EQ(ColourOf(*frame).nTransfer, KQ_TRANSFER_SDR);
    }
}

TEST(Differences, AreNoneWhereOneOfTheTwoIsMissing) {
    Beside beside("bframes.mp4", Clip("bframes.mp4"));
    const auto look = std::make_shared<DifferenceLook>();
    const auto stream =
        ComPtr<IMediaStream>::Adopt(MakeDifference(beside.reference.Video(), *beside.file.video, look));
    const auto isBlack = [&] {
        const MEDIA_FRAME& frame = *stream->GetCurrentFrame();
        const std::string luma = PixelsOf(frame).substr(0, 160 * 120);
        return luma.find_first_not_of('\x10') == std::string::npos;
    };
    EXPECT_TRUE(isBlack());
    beside.companion->SetOffset(1);
    EXPECT_FALSE(isBlack()) << "another picture";
    EXPECT_NE(stream->GetCurrentFrame()->llPTS, KQ_NO_PTS);
    beside.companion->SetOffset(-1);
    EXPECT_EQ(stream->GetCurrentFrame()->llPTS, KQ_NO_PTS);
    EXPECT_FALSE(isBlack()) << "the sign";
}

} // namespace
} // namespace kq::streams::test
