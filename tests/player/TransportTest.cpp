#include "tests/support/FakeStream.h"
#include "tests/support/PlayerHost.h"
#include "tests/support/Recorder.h"
#include "tests/support/ViewRecorder.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <vector>

namespace {

using namespace kq::test;

TEST(Transport, WithoutStreamsNothingStarts) {
    FakeVideo video(5, 25);
    PlayerHost host;
    EXPECT_EQ(host->IsActivate(), KQ_ACTIVATE_STOPPED);
    TakeLog();
    EXPECT_EQ(host->Play(), 1);
    EXPECT_EQ(host->IsActivate(), KQ_ACTIVATE_PLAYING);
    EXPECT_TRUE(HasLogged("CMediaPlayer::Play() Error:No  Any Stream \r\n"));
    host.AddView(0, &video); // a single view of mode 0 is no reference view
    EXPECT_EQ(host->Play(), 1);
    EXPECT_EQ(host->Stop(), 0);
    EXPECT_EQ(host->Pause(), 0);
    EXPECT_EQ(host->Resume(), 0);
    EXPECT_EQ(host->IsActivate(), KQ_ACTIVATE_STOPPED);
    EXPECT_EQ(host->Update(0), kq::Failed);
    EXPECT_EQ(host->GetPlayerViewMgr(nullptr), kq::NullPointer);
    EXPECT_EQ(host.GetEnds(), 0);
}

TEST(Transport, TellsTheDecoderWhatHappens) {
    FakeVideo video(250, 25);
    PlayerHost host(&video);
    EXPECT_EQ(host->Play(), 0);
    EXPECT_EQ(host->Play(), 0); // one thread, the command again
    EXPECT_EQ(host->Pause(), 0);
    EXPECT_EQ(host->Pause(), 0); // already suspended
    EXPECT_EQ(host->IsActivate(), KQ_ACTIVATE_PAUSED);
    TakeLog();
    EXPECT_EQ(host->Play(), 0);
    EXPECT_TRUE(HasLogged("PlayerControl::Play() Statat Is Pause(),So Resume().\r\n"));
    EXPECT_EQ(host->Update(0), 1);
    EXPECT_EQ(host->Stop(), 0);
    EXPECT_TRUE(HasLogged(" CMediaPlayer::Stop \n"));
    EXPECT_EQ(host->Load(), 0);
    EXPECT_EQ(host->Resume(), 0);
    EXPECT_EQ(host->IsActivate(), KQ_ACTIVATE_PLAYING);
    host->Stop();
    EXPECT_EQ(video.GetCommands(), (std::vector<int>{0, 0, 3, 4, 1, 1, 3, 4, 1}));
    EXPECT_EQ(host.GetEnds(), 2);
}

TEST(Transport, WithSeveralViewsTheDecoderOfModeZeroIsTold) {
    FakeVideo first(50, 25);
    FakeVideo second(50, 25);
    FakeVideo third(50, 25);
    third.hasDispatch = false;
    PlayerHost host;
    host.AddView(0, &first);
    host.AddView(1, &second);
    host.AddView(2, &third);
    host->SetPlayTime(0, 0);
    host->Play();
    EXPECT_TRUE(WaitUntil([&] { return second.GetIndex() > 1; })); // three views: mode 1 is the reference
    host->Stop();
    EXPECT_EQ(first.GetIndex(), 0);
    EXPECT_EQ(first.GetCommands(), (std::vector<int>{0, 1}));
    EXPECT_TRUE(second.GetCommands().empty());

    host.GetManager()->Remove(2);
    host->Play();
    EXPECT_TRUE(WaitUntil([&] { return first.GetIndex() > 1; })); // two views: mode 0 is
    host->Stop();
}

TEST(Transport, LoadShowsTheFirstFrameAndWaits) {
    FakeVideo video(50, 25);
    FakeAudio audio(2.0);
    ViewRecorder recorder;
    PlayerHost host(&video, &audio);
    host->SetPlayTime(0.4, 0);
    recorder.Clear();
    EXPECT_EQ(host->Load(), 0);
    EXPECT_EQ(host->IsActivate(), KQ_ACTIVATE_PAUSED);
    EXPECT_TRUE(host.WaitForPause());
    EXPECT_EQ(recorder.GetFrames().back(), 10);
    EXPECT_EQ(host.GetPositions(), std::vector<double>{0.0});
    EXPECT_EQ(audio.GetIndex(), 20); // sought, and nothing pulled
    EXPECT_EQ(host.GetEnds(), 0);
    host->Load(); // ends the run and opens the next one
    EXPECT_TRUE(WaitUntil([&] { return host.GetPositions().size() == 2; }));
    EXPECT_EQ(host.GetEnds(), 1);
    host->Stop();
    EXPECT_EQ(recorder.GetFrames().back(), -1);
    EXPECT_EQ(host->IsActivate(), KQ_ACTIVATE_STOPPED);
}

TEST(Transport, UpdateRedrawsWhilePaused) {
    FakeVideo video(50, 25);
    ViewRecorder recorder;
    PlayerHost host(&video);
    EXPECT_EQ(host->Update(1), 0); // no run: nothing to do
    host->Load();
    ASSERT_TRUE(host.WaitForPause());
    recorder.Clear();
    EXPECT_EQ(host->Update(1), 0);
    EXPECT_EQ(recorder.GetFrames(), std::vector<int>{0});
    EXPECT_EQ(host->Update(0), 0);
    EXPECT_TRUE(WaitUntil([&] { return recorder.GetCount() == 2; }));
}

TEST(Transport, LengthsComeFromTheStreams) {
    FakeVideo video(250, 25);
    FakeAudio longer(12.5, 8000);
    PlayerHost host;
    EXPECT_EQ(host->GetMovieLength(), 0.0);
    host.AddView(1, &video);
    host.SetAudio(&longer);
    EXPECT_EQ(host->GetMovieLength(), 12.5);
    EXPECT_EQ(host->SetPlayTime(2.0, 0), 0);
    video.noFormat = true;
    EXPECT_EQ(host->GetMovieLength(), 0.0);
    EXPECT_EQ(host->SetPlayTime(2.0, 0), 1);
    EXPECT_EQ(host->SetPlayTime(2.0, 1.0), 0);
    video.noFormat = false;
    host.SetAudio(nullptr);
    EXPECT_EQ(host->GetMovieLength(), 10.0);
    EXPECT_EQ(longer.GetRefCount(), 1);
}

TEST(Transport, AudioWithoutInformationIsNotKept) {
    FakeAudio audio(1.0);
    PlayerHost host;
    for (bool FakeAudio::*fault : {&FakeAudio::infoFails, &FakeAudio::noFormat}) {
        audio.*fault = true;
        TakeLog();
        host.SetAudio(&audio);
        EXPECT_TRUE(HasLogged(" CMediaPlayer::SetAudioInput \n"));
        EXPECT_EQ(audio.GetRefCount(), 1);
        audio.*fault = false;
    }
    EXPECT_EQ(host->Play(), 1);
}

TEST(Transport, SoundOfAnyFormatIsTaken) {
    FakeAudio audio(0.1);
    audio.format.nSampleRate = std::numeric_limits<std::int32_t>::min();
    PlayerHost host;
    host.SetAudio(&audio);
    EXPECT_EQ(audio.GetRefCount(), 2);
}

TEST(Transport, RefusesWhatWouldHangInsideTheCallback) {
    FakeVideo video(50, 100);
    PlayerHost host(&video);
    std::vector<std::int32_t> results;
    host.onNotify = [&](unsigned int notice) {
        if (notice == KQ_NOTIFY_POSITION && results.empty()) {
            results = {host->Stop(), host->Load(), host->SyncSeek(0.2, 1)};
        }
    };
    host->Play();
    ASSERT_TRUE(host.WaitForEnd());
    EXPECT_EQ(results, (std::vector<std::int32_t>{1, 1, 1}));
    EXPECT_TRUE(
        HasLogged("CMediaPlayer::Stop refused: called on the playback thread, from inside the callback \n"));
}

} // namespace
