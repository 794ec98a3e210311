// The parts of kqplay that compute something, without a player.
#include <kqplayer/records.h>

#include <gtest/gtest.h>
#include <host/kqplay/KeyDecoder.h>
#include <host/kqplay/Keys.h>
#include <host/kqplay/LateFrames.h>
#include <host/kqplay/PixelReadout.h>
#include <host/kqplay/ProgressLine.h>
#include <host/kqplay/Speeds.h>
#include <host/kqplay/TypedPlace.h>
#include <host/kqplay/ViewLayout.h>
#include <host/kqplay/Zoom.h>

#include <cmath>
#include <cstdint>
#include <utility>
#include <vector>

using namespace kqplay;

namespace {

constexpr double step = 0.010;

/// Shows frames of 25 Hz from @p from on, each @p delay after its time.
double Show(LateFrames& late, double from, int count, double delay) {
    for (int i = 0; i < count; ++i) {
        late.Frame(100 + from + i * 0.040 + delay, from + i * 0.040);
    }
    return from + count * 0.040;
}

TEST(LateFrames, AreThoseBeyondTheClockStepAndFiveMilliseconds) {
    LateFrames late(step);
    double at = Show(late, 0, 50, 0);
    at = Show(late, at, 10, 0.014);
    EXPECT_EQ(late.Count(), 0);
    at = Show(late, at, 3, 0.016);
    at = Show(late, at, 50, 0);
    late.Restart(); // after a pause
    Show(late, at, 50, 7.0);
    EXPECT_EQ(late.Count(), 3);
}

TEST(LateFrames, ASlowDriftOfTheSoundCardIsNotLateButASlowDecoderIs) {
    LateFrames drifting(step), slow(step);
    for (int i = 0; i < 25 * 600; ++i) {
        drifting.Frame(100 + i * 0.040 * 1.001, i * 0.040);
    }
    for (int i = 0; i < 100; ++i) {
        slow.Frame(100 + i * 0.080, i * 0.040);
    }
    EXPECT_EQ(drifting.Count(), 0);
    EXPECT_GT(slow.Count(), 90);
}

TEST(LateFrames, AfterTheFactTheMostPunctualFrameIsTheMeasure) {
    const std::vector<double> delays = DelaysAfterMostPunctual({105, 142, 180, 260}, 40);
    const std::vector<double> expected = {5, 2, 0, 40};
    EXPECT_EQ(delays, expected);
    EXPECT_TRUE(DelaysAfterMostPunctual({}, 40).empty());
}

TEST(KeyDecoder, TellsKeysApart) {
    using Commands = std::vector<Command>;
    const std::pair<std::vector<const char*>, Commands> rows[] = {
        // the pieces come every 10 ms
        {{" "}, {Command::TogglePause}},
        {{"\033[D"}, {Command::Back}},
        {{"\033", "[", "C"}, {Command::Ahead}},
        {{"\033O", "A"}, {Command::FarAhead}},
        {{"\033[1~\033[4~"}, {Command::ToBegin, Command::ToEnd}},
        {{"\033[1;5D."}, {Command::None, Command::StepForward}},
        {{"\033\033[B"}, {Command::Quit, Command::FarBack}},
        {{"\033", "", "", "", "", "", ""}, {Command::Quit}},
        {{"\033[", "", "", "", "", "", "", "q"}, {Command::Quit}}, // the piece is dropped, then q
        {{"sS"}, {Command::Screenshot, Command::Stop}},
        {{"\0331\033O", "Q\033[20~\033[[", "E"}, std::vector<Command>(4, Command::ChooseFile)},
        {{"\b\177"}, {Command::NormalSpeed, Command::NormalSpeed}},
    };
    for (const auto& [pieces, expected] : rows) {
        KeyDecoder keys;
        Commands commands;
        double now = 100;
        for (const char* piece : pieces) {
            for (int key : keys.Take(piece, now)) {
                commands.push_back(CommandOfKey(key));
            }
            now += 0.010;
        }
        EXPECT_EQ(commands, expected) << testing::PrintToString(pieces);
        EXPECT_FALSE(keys.IsWaiting());
    }
}

TEST(Speeds, AreChangedBySteps) {
    const std::pair<double, double> rows[] = {
        {Speeds::Changed(Speeds::Changed(1, 1.1), 1 / 1.1), 1},
        {Speeds::Changed(6, 2), 8},
        {Speeds::Changed(-3, 2), -4},
        {Speeds::Changed(-0.15, 0.5), -0.1},
        {Speeds::Shuttled(0, 1), 1},
        {Speeds::Shuttled(1, 1), 2},
        {Speeds::Shuttled(8, 1), 8},
        {Speeds::Shuttled(2.5, 1), 4},
        {Speeds::Shuttled(2, -1), -1},
        {Speeds::Shuttled(-4, -1), -4},
    };
    for (const auto& [speed, expected] : rows) {
        EXPECT_EQ(speed, expected) << &speed - &rows[0].first;
    }
}

TEST(ViewLayout, GivesViewsOfOneMomentTheSameShape) {
    const Area none;
    const struct {
        Arrangement arrangement;
        Size needed;                      ///< for pictures of 40x30
        std::vector<Area> visible, whole; ///< of 101x60
    } rows[] = {
        {{1, false, Layout::Side, 0.5}, {40, 30}, {{0, 0, 101, 60}}, {{0, 0, 101, 60}}},
        {{3, false, Layout::Wipe, 0.5},
         {80, 60},
         {{0, 0, 50, 30}, {50, 0, 51, 30}, {0, 30, 50, 30}},
         {{0, 0, 50, 30}, {50, 0, 51, 30}, {0, 30, 50, 30}}},
        {{2, true, Layout::Side, 0.5},
         {80, 30},
         {{0, 0, 50, 60}, {50, 0, 51, 60}},
         {{0, 0, 50, 60}, {50, 0, 51, 60}}},
        {{2, true, Layout::Stack, 0.5},
         {40, 60},
         {{0, 0, 101, 30}, {0, 30, 101, 30}},
         {{0, 0, 101, 30}, {0, 30, 101, 30}}},
        {{2, true, Layout::Wipe, 0.25},
         {40, 30},
         {{0, 0, 101, 60}, {25, 0, 76, 60}},
         {{0, 0, 101, 60}, {0, 0, 101, 60}}},
        {{2, true, Layout::Wipe, 1},
         {40, 30},
         {{0, 0, 101, 60}, {101, 0, 0, 60}},
         {{0, 0, 101, 60}, {0, 0, 101, 60}}},
        {{2, true, Layout::Flip, 0.5}, {40, 30}, {none, {0, 0, 101, 60}}, {{0, 0, 101, 60}, {0, 0, 101, 60}}},
        {{2, true, Layout::Difference, 0.5},
         {40, 30},
         {none, {0, 0, 101, 60}},
         {{0, 0, 101, 60}, {0, 0, 101, 60}}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(&row - rows);
        const Size needed = NeededSize(row.arrangement, {40, 30});
        EXPECT_EQ(needed.width, row.needed.width);
        EXPECT_EQ(needed.height, row.needed.height);
        const std::vector<ViewPlace> places = PlaceViews(row.arrangement, {101, 60});
        ASSERT_EQ(places.size(), row.whole.size());
        for (std::size_t i = 0; i < places.size(); ++i) {
            EXPECT_EQ(places[i].visible, row.visible[i]) << i;
            EXPECT_EQ(places[i].whole, row.whole[i]) << i;
        }
    }
}

TEST(TypedPlace, IsATimeOrAFrame) {
    const struct {
        const char* text;
        std::optional<SoughtPlace> place;
    } rows[] = {
        {"83.5", SoughtPlace{83.5}},
        {"1:23.5", SoughtPlace{83.5}},
        {"1:02:03", SoughtPlace{3723}},
        {"#1234", SoughtPlace{0, 1234}},
        {"#", {}},
        {"", {}},
        {"1:", {}},
        {"-1", {}},
        {"1:2:3:4", {}},
        {"#99999999999999999999999", {}},
        {"#1.5", {}},
        {"inf", {}},
    };
    for (const auto& row : rows) {
        const auto place = ReadPlace(row.text);
        ASSERT_EQ(place.has_value(), row.place.has_value()) << row.text;
        if (place) {
            EXPECT_EQ(place->seconds, row.place->seconds) << row.text;
            EXPECT_EQ(place->frame, row.place->frame) << row.text;
        }
    }
}

TEST(ProgressLine, FormatsTimes) {
    const std::pair<double, const char*> rows[] = {
        {0, "0:00.00"},      {-3, "0:00.00"},          {1.239, "0:01.24"},     {59.994, "0:59.99"},
        {59.996, "1:00.00"}, {3599.996, "1:00:00.00"}, {3725.5, "1:02:05.50"}, {360000, "100:00:00.00"},
    };
    for (const auto& [seconds, text] : rows) {
        EXPECT_EQ(FormatTime(seconds), text) << seconds;
    }
}

TEST(ProgressLine, LeavesOutWhatNobodyKnows) {
    EXPECT_EQ(FormatProgress({"paused", 1.5, 0, std::nullopt}), "paused  0:01.50");
    EXPECT_EQ(FormatProgress({"playing", 1.5, 8, 0}), "playing  0:01.50 / 0:08.00  0 late frames");
    EXPECT_EQ(FormatProgress({"playing", 1.5, 8, 1}), "playing  0:01.50 / 0:08.00  1 late frame");
    EXPECT_EQ(FormatProgress({"playing", 3724, 8000, 1, {}, 93099, 3723.96, 25, -0.5}),
              "playing  1:02:04.00 / 2:13:20.00  #93099  01:02:03:24  -0.5x  1 late frame");
    EXPECT_EQ(FormatProgress({"paused", 1.5, 0, 0, "mute", 37}), "paused  0:01.50  0 late frames  mute");
    EXPECT_EQ(FormatProgress({"playing", 1.5, 0, 0, "mute"}), "playing  0:01.50  0 late frames  mute");
}

/// Views of 640x360 with pictures whose fitted size differs.
constexpr Zoom::Screen large = {640, 360, 1280, 720, 1};
constexpr Zoom::Screen little = {640, 360, 100, 90, 1};
constexpr Zoom::Screen wide = {640, 360, 320, 360, 2};

KQRectF Part(const Zoom& zoom, const Zoom::Screen& screen) {
    return zoom.Display(screen, screen).source;
}

TEST(Zoom, ShowsThePartThatWasAskedFor) {
    const struct {
        Zoom::Screen screen;
        double factor, right, down;
        KQRectF part;
    } rows[] = {
        {large, 1, 0, 0, {320, 180, 960, 540}},     {large, 2, 0, 0, {480, 270, 800, 450}},
        {large, 4, 100, -8, {535, 317, 695, 407}},  {large, 1, 9999, -9999, {0, 360, 640, 720}},
        {little, 1, 50, 0, {-270, -135, 370, 225}}, {little, 8, 0, 0, {10, 22.5, 90, 67.5}},
        {wide, 1, 0, 0, {0, 0, 320, 360}},          {wide, 2, -20, 10, {85, 85, 245, 265}},
    };
    for (const auto& row : rows) {
        Zoom zoom;
        zoom.Move(5, 5, row.screen); // a fitted picture stays
        zoom.SetFactor(row.factor, row.screen);
        zoom.Move(row.right, row.down, row.screen);
        const KQRectF part = Part(zoom, row.screen);
        const KQRectF& expected = row.part;
        EXPECT_TRUE(part.left == expected.left && part.top == expected.top && part.right == expected.right &&
                    part.bottom == expected.bottom)
            << part.left << " " << part.top << " " << part.right << " " << part.bottom;
    }
    Zoom zoom;
    EXPECT_EQ(Part(zoom, large).right, 0);
    zoom.SetFactor(1, large);
    EXPECT_EQ(zoom.Display(large, large).nScaling, KQ_SCALING_BILINEAR);
    zoom.SetFactor(2, large);
    const Zoom::Screen other = {640, 360, 640, 720, 2}; // the same place of another size
    const KQViewDisplay display = zoom.Display(large, other);
    EXPECT_EQ(display.nScaling, KQ_SCALING_NEAREST);
    EXPECT_EQ(display.nResize, IMAGE_RESIZE_STRETCH);
    EXPECT_EQ(display.source.left, 240);
    EXPECT_EQ(display.source.bottom, 450);
}

TEST(Zoom, TheWheelKeepsWhatLiesUnderThePointer) {
    Zoom zoom;
    const KQPointF at = {200.5, 301.5};
    const auto under = [&] {
        const KQRectF part = Part(zoom, large);
        return KQPointF{part.left + at.x * (part.right - part.left) / 640,
                        part.top + at.y * (part.bottom - part.top) / 360};
    };
    zoom.Step(3, at, large);
    EXPECT_EQ(zoom.Factor(large), 1) << "fitted it was at a half";
    const KQPointF place = under();
    EXPECT_NEAR(place.x, 401, 1);
    EXPECT_NEAR(place.y, 603, 1);
    for (const int steps : {1, 5, -2, 4, -3, 30, -30}) {
        zoom.Step(steps, at, large);
        EXPECT_LE(zoom.Factor(large), Zoom::largest);
        EXPECT_TRUE(zoom.IsFit() || std::abs(under().x - place.x) < 2) << steps;
    }
    EXPECT_TRUE(zoom.IsFit());
    zoom.Step(-1, at, large);
    EXPECT_TRUE(zoom.IsFit());
    // A little picture can be made smaller than its view, but not than itself.
    zoom.Step(-20, at, little);
    EXPECT_EQ(zoom.Factor(little), 1);
    zoom.Step(6, at, little);
    EXPECT_TRUE(zoom.IsFit()) << "on the way up it is passed too";
}

TEST(PixelReadout, ReadsTheSamplesOfEveryLayout) {
    // A sample tells its plane, row and column; Cb and Cr in turn are one plane.
    constexpr int pitch = 16;
    std::vector<std::uint8_t> narrow[3];
    std::vector<std::uint16_t> words[3];
    std::vector<std::uint16_t> high[3];
    for (int plane = 0; plane < 3; ++plane) {
        for (int i = 0; i < 4 * pitch; ++i) {
            const int value = 64 * plane + i % pitch + 16 * (i / pitch);
            narrow[plane].push_back(static_cast<std::uint8_t>(value));
            words[plane].push_back(static_cast<std::uint16_t>(4 * value + 0xFC00)); // upper bits do not count
            high[plane].push_back(static_cast<std::uint16_t>((4 * value) << 6 | 0x15));
        }
    }
    const struct {
        std::int32_t kind;
        int bits, y, cb, cr;
    } rows[] = {
        {KQ_PICTURE_PLANAR_YUV, 8, 53, 82, 146},       {KQ_PICTURE_PLANAR_422, 8, 53, 114, 178},
        {KQ_PICTURE_PLANAR_444, 8, 53, 117, 181},      {KQ_PICTURE_NV12, 8, 53, 84, 85},
        {KQ_PICTURE_PLANAR_420_10, 10, 212, 328, 584}, {KQ_PICTURE_PLANAR_422_10, 10, 212, 456, 712},
        {KQ_PICTURE_PLANAR_444_10, 10, 212, 468, 724}, {KQ_PICTURE_P010, 10, 212, 336, 340},
    };
    for (const auto& row : rows) {
        const auto plane = [&](int i) {
            return row.bits == 8 ? narrow[i].data()
                                 : reinterpret_cast<std::uint8_t*>(
                                       (row.kind == KQ_PICTURE_P010 ? high : words)[i].data());
        };
        MEDIA_FRAME frame = {};
        frame.nKind = row.kind;
        frame.image.pY = plane(0);
        frame.image.pU = plane(1);
        frame.image.pV = plane(2);
        frame.image.nWidth = 6;
        frame.image.nHeight = 4;
        frame.image.nPitchY = frame.image.nPitchU = frame.image.nPitchV = row.bits == 8 ? pitch : 2 * pitch;
        const auto samples = SamplesAt(frame, 5, 3);
        ASSERT_TRUE(samples);
        EXPECT_EQ(samples->bits, row.bits);
        EXPECT_EQ(samples->y, row.y) << row.kind;
        EXPECT_EQ(samples->cb, row.cb) << row.kind;
        EXPECT_EQ(samples->cr, row.cr) << row.kind;
        EXPECT_FALSE(SamplesAt(frame, 6, 3) || SamplesAt(frame, 5, 4) || SamplesAt(frame, -1, 0));
        frame.nKind = KQ_PICTURE_PACKED_RGB;
        EXPECT_FALSE(SamplesAt(frame, 0, 0));
    }
}

TEST(PixelReadout, TellsTheDifferences) {
    const FilePixel first = {PixelSamples{8, 128, 90, 200}, 0xA18E3C};
    const FilePixel other = {PixelSamples{8, 127, 90, 205}, 0xA08E40};
    const FilePixel deep = {PixelSamples{10, 512, 360, 800}, std::nullopt};
    EXPECT_EQ(FormatPixel(12, 34, {first}), "12,34  Y 128 Cb 90 Cr 200  RGB 161 142 60");
    EXPECT_EQ(FormatPixel(0, 0, {deep}), "0,0  Y 512 Cb 360 Cr 800 (10 bits)  - - -");
    EXPECT_EQ(FormatPixel(1, 2, {first, other, deep}),
              "1,2  128 90 200 #A18E3C | 127 90 205 #A08E40 | -1 +0 +5, -1 +0 +4"
              " | 512 360 800 - - - | - - -, - - -");
}

} // namespace
