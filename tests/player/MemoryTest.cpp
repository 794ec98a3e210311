// Players and inputs where memory runs out at any moment, with the libraries as they are shipped.
#include "tests/support/FailingAllocation.h"
#include "tests/support/FakeStream.h"

#include <kqplayer/convenience.h>
#include <kqplayer/kqplayer.h>

#include <gtest/gtest.h>

#include <cstdint>

namespace {

using namespace kq::test;

TEST(WithoutMemory, NoPlayerIsMade) {
    const int failures = FailEachAllocation(
        [] {
            kq::ComPtr<IMediaPlayer> player;
            const std::int32_t result = kq::CreatePlayer(player);
            return result == kq::Ok ? std::int32_t{player ? 0 : 1} : result;
        },
        [](std::int32_t result, bool hasFailed) { EXPECT_EQ(result, hasFailed ? kq::OutOfMemory : kq::Ok); });
    EXPECT_GT(failures, 3);
}

TEST(WithoutMemory, AnAudioInputIsKeptWholeOrNotAtAll) {
    FakeAudio audio(1.0);
    kq::ComPtr<IMediaPlayer> player;
    ASSERT_EQ(kq::CreatePlayer(player), kq::Ok);
    const auto input = player.As<IAudioInput>();
    FailEachAllocation([&] { return input->SetAudioInput(&audio); },
                       [&](std::int32_t result, bool) {
                           EXPECT_EQ(result, 0);
                           EXPECT_LE(audio.GetRefCount(), 2);
                       });
    EXPECT_EQ(audio.GetRefCount(), 2);
}

TEST(WithoutMemory, ARunThatCannotStartSaysSoAndTheNextOneCan) {
    FakeAudio audio(0.1, 48000, 3); // no device is needed for a format that is refused
    kq::ComPtr<IMediaPlayer> player;
    ASSERT_EQ(kq::CreatePlayer(player), kq::Ok);
    player.As<IAudioInput>()->SetAudioInput(&audio);
    int refused = 0;
    FailEachAllocation([&] { return player->Play(); },
                       [&](std::int32_t result, bool) {
                           refused += result == kq::OutOfMemory ? 1 : 0;
                           EXPECT_TRUE(result == kq::OutOfMemory || result == kq::Ok) << result;
                           player->Stop();
                       });
    EXPECT_GE(refused, 1);
    EXPECT_EQ(player->Load(), kq::Ok);
}

} // namespace
