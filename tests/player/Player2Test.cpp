// What IMediaPlayer2 adds, and where the component prints.
#include "tests/support/FakeStream.h"
#include "tests/support/LoopbackDevice.h"
#include "tests/support/PlayerHost.h"
#include "tests/support/Recorder.h"
#include "tests/support/RenderedTime.h"
#include "tests/support/ViewRecorder.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace kq::test;

kq::ComPtr<IMediaPlayer2> More(const PlayerHost& host) {
    return kq::ComPtr<IMediaPlayer>::Share(host.Get()).As<IMediaPlayer2>();
}

TEST(Player2, TellsWhereItStandsWithoutARunToo) {
    FakeVideo video(10, 50);
    PlayerHost host(&video);
    const auto player = More(host);
    ASSERT_TRUE(player);
    EXPECT_EQ(player->GetPosition(), 0);
    host->SetPlayTime(0, 0);
    player->Seek(0.1, kq::ExactSeek);
    EXPECT_NEAR(player->GetPosition(), 0.1, 1e-9);
    player->Backward();
    EXPECT_NEAR(player->GetPosition(), 0.08, 1e-9);
    player->Play();
    ASSERT_TRUE(host.WaitForEnd());
    EXPECT_NEAR(host.GetPositions().front(), 0.08, 1e-9); // where the step has led
    EXPECT_NEAR(player->GetPosition(), 0.18, 1e-9);       // the last picture, of which no callback tells
    player->SetPlayTime(0.1, 0);
    EXPECT_NEAR(player->GetPosition(), 0.08, 1e-9); // the same picture, from the new begin
    player->Seek(0.02, kq::ExactSeek);
    player->Stop();
    EXPECT_NEAR(player->GetPosition(), 0.02, 1e-9);
}

TEST(Player2, StepsBackPictureByPictureToTheBegin) {
    const struct {
        double rate;
        double told; ///< in the format record
        double firstStamp;
        double begin;
    } cases[] = {{25, 25, 0, 0}, {24000.0 / 1001, 24000.0 / 1001, 0, 0}, {50, 0, 0, 0}, {25, 25, 3, 0.2}};
    for (const auto& c : cases) {
        FakeVideo video(40, c.rate, 16, 8, c.firstStamp);
        video.format.dFrameRate = c.told;
        FakeAudio audio(2.0);
        ViewRecorder recorder;
        PlayerHost host(&video, &audio);
        const auto player = More(host);
        const int first = static_cast<int>(c.begin * c.rate);
        player->SetPlayTime(c.begin, 10);
        player->Load();
        ASSERT_TRUE(host.WaitForPause());
        player->SyncSeek(3 / c.rate + 1e-4, kq::ExactSeek);
        ASSERT_TRUE(recorder.WaitForLast(first + 3));
        for (int step = 1; step <= 4; ++step) {
            player->Backward();
            const int expected = std::max(0, 3 - step); // the fourth stays at the begin
            ASSERT_TRUE(recorder.WaitForLast(first + expected)) << c.rate << " step " << step;
            EXPECT_TRUE(WaitUntil([&] {
                return std::abs(player->GetPosition() - expected / c.rate) < 0.0011;
            })) << player->GetPosition();
        }
        player->Forward();
        EXPECT_TRUE(recorder.WaitForLast(first + 1));
        recorder.Clear();
        player->Resume();
        const std::vector<int> shown = recorder.WaitForFrames(3);
        EXPECT_EQ(std::vector<int>(shown.begin(), shown.begin() + 3),
                  (std::vector<int>{first + 1, first + 2, first + 3}));
        player->Backward(); // not while it plays
        player->Stop();
    }
}

TEST(Player2, IsHeardAtItsVolumeInEveryRun) {
    LoopbackDevice device;
    RenderedTime time(device);
    FakeAudio audio(20.0); // far more than is rendered until a busy machine has applied a volume
    PlayerHost host(nullptr, &audio);
    const auto player = More(host);
    host->SetPlayTime(0, 0);
    EXPECT_EQ(player->GetVolume(), 1);
    for (const double wrong : {-0.1, 1.1, std::numeric_limits<double>::quiet_NaN()}) {
        EXPECT_EQ(player->SetVolume(wrong), kq::Refused);
    }
    // Samples rise by one a frame: the slope of what is rendered is the gain.
    const auto isHeardAt = [&](double gain) {
        return WaitUntil([&] {
            const auto samples = device.Render(480);
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
            const bool isSilent = samples[0] == 0 && samples[958] == 0;
            const double slopes[] = {(samples[400] - samples[0]) / 200.0,
                                     (samples[958] - samples[558]) / 200.0};
            return isSilent == (gain == 0) && std::abs(slopes[0] - gain) < 0.02 &&
                   std::abs(slopes[1] - gain) < 0.02;
        });
    };
    player->SetVolume(0.5);
    for (int run = 0; run < 2; ++run) {
        player->Play();
        EXPECT_TRUE(isHeardAt(0.5)) << run;
        player->SetMute(1);
        EXPECT_TRUE(isHeardAt(0)) << run;
        EXPECT_TRUE(player->IsMuted() && player->GetVolume() == 0.5);
        player->SetMute(0);
        EXPECT_TRUE(isHeardAt(0.5)) << run;
        player->Stop();
    }
    player->SetVolume(1);
    player->Play();
    EXPECT_TRUE(isHeardAt(1));
    player->Stop();
}

TEST(Player2, CapturesAnyView) {
    FakeVideo first(3, 25, 15, 9);
    FakeVideo second(3, 25, 5, 3);
    std::vector<std::uint8_t> bgr(16 * 3);
    bgr[16 + 3] = 10; // row 1, column 1
    bgr[16 + 4] = 20;
    bgr[16 + 5] = 30;
    second.FrameAt(0).nKind = KQ_PICTURE_PACKED_RGB;
    second.FrameAt(0).image.pRgb = bgr.data();
    PlayerHost host;
    host.AddView(0, &first);
    const int other = host.AddView(1, &second);
    PlayerHost stranger(&first);
    const auto player = More(host);

    kq::CapturedPicture picture;
    ASSERT_EQ(player->CaptureView(nullptr, KQ_PIXELS_RGB24, picture.Out()), kq::Ok);
    EXPECT_EQ(picture->nWidth, 15);
    for (const std::int32_t layout : {KQ_PIXELS_RGB24, KQ_PIXELS_BGRA32}) {
        ASSERT_EQ(player->CaptureView(host.GetView(other), layout, picture.Out()), kq::Ok);
        const bool isRgb = layout == KQ_PIXELS_RGB24;
        EXPECT_EQ(picture->nPitch, isRgb ? 15 : 20);
        EXPECT_EQ(picture->nHeight, 3);
        const std::uint8_t* const pixel = picture->pPixels + picture->nPitch + (isRgb ? 3 : 4);
        EXPECT_EQ(std::vector<int>(pixel, pixel + picture->nPitch / 5),
                  isRgb ? (std::vector<int>{30, 20, 10}) : (std::vector<int>{10, 20, 30, 255}));
    }
    host.ReleasePlayer();
    EXPECT_EQ(picture->pPixels[picture->nPitch + 6], 30); // the pixels outlive the player
    EXPECT_EQ(player->CaptureView(nullptr, 2, picture.Out()), kq::Refused);
    EXPECT_EQ(picture->pPixels, nullptr);
    EXPECT_EQ(player->CaptureView(nullptr, 0, nullptr), kq::NullPointer);
    EXPECT_EQ(player->CaptureView(stranger.GetView(0), 0, picture.Out()), kq::Failed);

    TakeSavedImages();
    const struct {
        IPlayerView* view;
        std::int32_t format;
        const char* path;
        std::int32_t result;
    } cases[] = {
        {nullptr, KQ_CAPTURE_BY_NAME,
         "b\xC3\xBC"
         "cher/\xE6\x97\xA5.PnG",
         kq::Ok},
        {nullptr, KQ_CAPTURE_JPEG, "without ending", kq::Ok},
        {nullptr, KQ_CAPTURE_BY_NAME, "folder.png/name", kq::Refused},
        {nullptr, 7, "a.png", kq::Refused},
        {nullptr, KQ_CAPTURE_PNG, "latin \xFC.png", kq::Failed},
        {nullptr, KQ_CAPTURE_PNG, nullptr, kq::NullPointer},
        {stranger.GetView(0), KQ_CAPTURE_PNG, "a.png", kq::Failed},
    };
    for (const auto& c : cases) {
        TakeLog();
        EXPECT_EQ(player->CaptureViewToFile(c.view, c.format, c.path), c.result);
        EXPECT_EQ(TakeLog().size(), c.result == kq::Ok ? 0u : 1u);
    }
    const auto saved = TakeSavedImages();
    ASSERT_EQ(saved.size(), 2u);
    EXPECT_EQ(saved[0].path, L"b\u00FCcher/\u65E5.PnG");
    EXPECT_EQ(saved[0].mimeType, L"image/png");
    EXPECT_EQ(saved[1].mimeType, L"image/jpeg");
    // A view library without displays has one setting of its own.
    EXPECT_EQ(player->SetResize(nullptr, IMAGE_RESIZE_FILL), kq::Ok);
    EXPECT_EQ(player->SetResize(nullptr, 4), kq::Refused);
    EXPECT_EQ(player->SetResize(stranger.GetView(0), IMAGE_RESIZE_FILL), kq::Failed);
}

TEST(Output, GoesWhereTheHostWantsIt) {
    const std::string text = " soundplayer:: player begin \n";
    const auto play = [] {
        FakeAudio audio(0.1);
        PlayerHost host(nullptr, &audio);
        TakeLog();
        testing::internal::CaptureStdout();
        host->Play();
        host->Stop();
        return testing::internal::GetCapturedStdout();
    };
    EXPECT_NE(play().find(text), std::string::npos);
    EXPECT_EQ(KQPlayerSetOutput(KQ_OUTPUT_LOG), kq::Ok);
    EXPECT_EQ(play(), "");
    EXPECT_TRUE(HasLogged("soundplayer:: player begin"));
    EXPECT_TRUE(HasLogged("SoundPlayer::Open : samplerate = 48000 ,nchannels = 2 ,nbit = 16"));
    EXPECT_EQ(KQPlayerSetOutput(3), kq::Refused);
    EXPECT_EQ(KQPlayerSetOutput(KQ_OUTPUT_NONE), kq::Ok);
    EXPECT_EQ(play(), "");
    EXPECT_FALSE(HasLogged("soundplayer:: player begin"));
    EXPECT_EQ(KQPlayerSetOutput(KQ_OUTPUT_CONSOLE), kq::Ok);
}

} // namespace
