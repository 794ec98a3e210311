// Calls that cross each other or a run's last steps, at exact moments of simulated time.
#include "tests/support/FakeStream.h"
#include "tests/support/ForwardingStream.h"
#include "tests/support/PlayerHost.h"
#include "tests/support/Recorder.h"
#include "tests/support/Scheduler.h"
#include "tests/support/ViewRecorder.h"

#include <gtest/gtest.h>
#include <pthread.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <vector>

namespace {

using namespace kq::test;

struct Shown {
    int picture;
    double when; ///< milliseconds since the begin of the test
};

class Crossing : public testing::Test {
protected:
    Crossing() {
        m_recorder.onPicture = [this](int picture) { m_shown.push_back({picture, Now()}); };
    }
    ~Crossing() override {
        m_scheduler.SleepFor(1'000'000); // threads that end by themselves
        TakeLog();
    }

    double Now() const { return static_cast<double>(m_scheduler.Now()) / 1000 - 1000; }
    void Pass(double milliseconds) { m_scheduler.SleepFor(static_cast<std::uint64_t>(milliseconds * 1000)); }
    bool PassUntil(const std::function<bool()>& condition, double most = 10'000) {
        const double deadline = Now() + most;
        while (!condition() && Now() < deadline) {
            Pass(0.5);
        }
        return condition();
    }
    /// The frames shown since a moment, each with how long it came after the first of them.
    void ExpectPaced(std::size_t first, int picture, double rate) const {
        ASSERT_GT(m_shown.size(), first + 5);
        for (std::size_t i = 0; first + i < m_shown.size() && m_shown[first + i].picture >= 0; ++i) {
            const double due = static_cast<double>(i) * 1000 / rate;
            ASSERT_EQ(m_shown[first + i].picture, picture + static_cast<int>(i));
            ASSERT_NEAR(m_shown[first + i].when - m_shown[first].when, due, 15) << i;
        }
    }

    Scheduler m_scheduler{1};
    ViewRecorder m_recorder;
    std::vector<Shown> m_shown;
};

TEST_F(Crossing, ASeekBeforeTheFirstRunIsWhereItBeginsAndIsPaced) {
    for (const bool setsRange : {false, true}) {
        FakeVideo video(200, 25);
        PlayerHost host(&video);
        m_shown.clear();
        if (setsRange) {
            host->SetPlayTime(0, 0);
        }
        host->Seek(5.0, 1);
        m_shown.clear();
        host->Play();
        ASSERT_TRUE(PassUntil([&] { return host.GetEnds() == 1; }));
        ExpectPaced(0, 125, 25);
        const auto positions = host.GetPositions();
        EXPECT_NEAR(positions.front(), 5.0, 1e-3);
        EXPECT_TRUE(std::is_sorted(positions.begin(), positions.end()));
    }
}

TEST_F(Crossing, StampsMayBeginAboveZero) {
    // With and without a frame rate, with and without a range; positions are in the stream's own time or from
    // the begin.
    const struct {
        double rate;
        bool setsRange;
        double first;
    } cases[] = {{25, false, 0}, {25, true, 0}, {0, false, 3}, {0, true, 0}};
    for (const auto& c : cases) {
        FakeVideo video(40, 25, 16, 8, 3.0);
        video.format.dFrameRate = c.rate;
        PlayerHost host(&video);
        m_shown.clear();
        if (c.setsRange) {
            host->SetPlayTime(0, 0);
        }
        m_shown.clear();
        host->Play();
        ASSERT_TRUE(PassUntil([&] { return host.GetPositions().size() == 11; }));
        ExpectPaced(0, 0, 25);
        EXPECT_NEAR(host.GetLastPosition(), c.first + 0.4, 2e-3);
        host->Pause();
        ASSERT_TRUE(PassUntil([&] { return host.GetPositions().size() == 12; }));
        EXPECT_NEAR(host.GetLastPosition(), c.first + 0.44, 2e-3); // the one that is shown in the pause
        host->Forward();
        ASSERT_TRUE(PassUntil([&] { return host.GetPositions().size() == 13; }));
        EXPECT_NEAR(host.GetLastPosition(), c.first + 0.48, 2e-3);
        host->Stop();
    }
}

TEST_F(Crossing, EveryPauseIsAddedToTheClock) {
    FakeVideo video(100, 25);
    PlayerHost host(&video);
    host->Play();
    Pass(210);
    for (int i = 0; i < 3; ++i) {
        m_shown.clear();
        host->Pause();
        Pass(500);
        EXPECT_TRUE(host->IsPaused());
        ASSERT_EQ(m_shown.size(), 1u) << i; // the picture that comes next
        EXPECT_EQ(m_shown[0].picture, video.GetIndex());
        // Back to back within one poll of the loop: still a pause, and all of it counts.
        host->Resume();
        host->Pause();
        Pass(300);
        m_shown.clear();
        host->Resume();
        Pass(400);
        EXPECT_FALSE(host->IsPaused());
        const auto count = m_shown.size();
        EXPECT_GE(count, 8u) << i;
        EXPECT_LE(count, 12u) << i;
    }
}

TEST_F(Crossing, ASeekAtTheEndOfTheRangeGoesOn) {
    for (const bool isPaused : {true, false}) {
        FakeVideo video(100, 25);
        PlayerHost host(&video);
        host->SetPlayTime(0, 1.0);
        bool done = false;
        // Between two looks of the loop, in a pause together with a resume.
        host.onNotify = [&](unsigned int what) {
            if (what == KQ_NOTIFY_POSITION && host.GetLastPosition() > 0.99 && !done) {
                done = true;
                m_shown.clear();
                host->Seek(0.2, 1);
                host->Resume();
            }
        };
        isPaused ? host->Load() : host->Play();
        Pass(20);
        isPaused ? host->SyncSeek(1.0, 1) : host->Seek(0.8, 1);
        ASSERT_TRUE(PassUntil([&] { return done; }));
        Pass(300);
        EXPECT_EQ(host.GetEnds(), 0) << isPaused;
        ExpectPaced(0, 5, 25);
    }
}

TEST_F(Crossing, ARunThatLeavesLosesNeitherSeeksNorPlays) {
    for (const bool waits : {false, true}) {
        FakeVideo video(10, 25);
        PlayerHost host(&video);
        m_shown.clear();
        host->SetPlayTime(0, 0);
        host->Play();
        // The last picture is taken at 360 ms, and a run's last steps take a tenth of a second.
        ASSERT_TRUE(PassUntil([&] { return video.GetIndex() == 10; }));
        Pass(40);
        ASSERT_EQ(host.GetEnds(), 0);
        waits ? host->SyncSeek(0.2, 1) : host->Seek(0.2, 1);
        ASSERT_TRUE(PassUntil([&] { return host.GetEnds() == 1; }, 200));
        EXPECT_FALSE(host->IsSeeking());
        EXPECT_EQ(video.GetIndex(), 5);
        EXPECT_EQ(m_shown.back().picture, 5);
        host->Play();
        ASSERT_TRUE(PassUntil([&] { return video.GetIndex() == 10; }));
        Pass(40);
        m_shown.clear();
        EXPECT_EQ(host->Play(), 0);
        ASSERT_TRUE(PassUntil([&] { return host.GetEnds() == 2; }, 200));
        EXPECT_EQ(host->IsActivate(), KQ_ACTIVATE_PLAYING);
        ASSERT_TRUE(PassUntil([&] { return host.GetEnds() == 3; }));
        EXPECT_EQ(host->IsActivate(), KQ_ACTIVATE_ENDED);
        EXPECT_GE(m_shown.size(), 10u);
    }
}

/// Does something when a reference is given back.
class WatchedStream final : public ForwardingStream {
public:
    using ForwardingStream::ForwardingStream;
    std::uint32_t Release() override {
        if (onRelease) {
            onRelease();
        }
        return ForwardingStream::Release();
    }
    std::function<void()> onRelease;
};

TEST_F(Crossing, ASeekAfterTheRunReplacesTheOneThatTheRunHasLeft) {
    FakeVideo video(10, 25);
    WatchedStream stream(video);
    PlayerHost host(&stream);
    host->SetPlayTime(0, 0);
    host->Play();
    ASSERT_TRUE(PassUntil([&] { return video.GetIndex() == 10; }));
    Pass(40);
    host->Seek(0.2, 1); // comes too late for the run
    // The run is over when it gives its stream back, and what it has left is not carried out yet.
    bool done = false;
    stream.onRelease = [&] {
        if (!done && host->IsActivate() == KQ_ACTIVATE_ENDED) {
            done = true;
            host->Seek(0.08, 1);
        }
    };
    ASSERT_TRUE(PassUntil([&] { return host.GetEnds() == 1; }, 200));
    EXPECT_TRUE(done);
    EXPECT_FALSE(host->IsSeeking());
    EXPECT_EQ(video.GetIndex(), 2);
}

TEST_F(Crossing, APauseWithTheLastPictureIsAPause) {
    FakeVideo video(10, 25);
    PlayerHost host(&video);
    host.onNotify = [&](unsigned int what) {
        if (what == KQ_NOTIFY_POSITION && video.GetIndex() == 9 && !host->IsPaused()) {
            host->Pause();
            host->Resume(); // undone again
        }
    };
    m_recorder.onPicture = [&](int picture) {
        if (picture == 9 && !host->IsPaused()) {
            m_recorder.onPicture = nullptr;
            host->Pause();
        }
    };
    host->Play();
    Pass(2000);
    EXPECT_EQ(host.GetEnds(), 0);
    EXPECT_TRUE(host->IsPaused());
    host->Resume();
    EXPECT_TRUE(PassUntil([&] { return host.GetEnds() == 1; }, 200));
}

struct Seeker {
    IMediaPlayer* player;
    int done = 0;
};

TEST_F(Crossing, TwoThatWaitForTheirSeeksDoNotStarveEachOther) {
    FakeVideo video(500, 25);
    PlayerHost host(&video);
    host->Play();
    Pass(100);
    Seeker seekers[2] = {{host.Get()}, {host.Get()}};
    pthread_t threads[2];
    for (int i = 0; i < 2; ++i) {
        pthread_create(
            &threads[i], nullptr,
            [](void* argument) -> void* {
                auto& seeker = *static_cast<Seeker*>(argument);
                for (; seeker.done < 200; ++seeker.done) {
                    seeker.player->SyncSeek(seeker.done % 10, 1);
                }
                return nullptr;
            },
            &seekers[i]);
    }
    EXPECT_TRUE(PassUntil([&] { return seekers[0].done == 200 && seekers[1].done == 200; }, 3000));
    for (const pthread_t thread : threads) {
        pthread_join(thread, nullptr);
    }
    host->Stop();
}

TEST_F(Crossing, InsideTheEndOfPlayAPlayerMayBeReplaced) {
    FakeVideo video(3, 100);
    std::vector<std::unique_ptr<PlayerHost>> hosts;
    int loads = 0;
    std::function<void(PlayerHost&)> follow = [&](PlayerHost& host) {
        host.onNotify = [&](unsigned int what) {
            if (what != KQ_NOTIFY_END || hosts.size() > 8) {
                return;
            }
            hosts.back()->ReleasePlayer();
            auto& next = *hosts.emplace_back(std::make_unique<PlayerHost>(&video));
            follow(next);
            loads += next->Load() == 0 ? 1 : 0;
            next->Play();
        };
    };
    follow(*hosts.emplace_back(std::make_unique<PlayerHost>(&video)));
    (*hosts.front())->Play();
    PassUntil([&] { return hosts.size() > 8; });
    EXPECT_EQ(loads, 8);
    Pass(500);
    hosts.clear();
    EXPECT_EQ(video.GetRefCount(), 1);
}

TEST_F(Crossing, TheLastReferenceMayGoInAnEndOfPlayWhileANewerRunIsActive) {
    FakeVideo video(50, 100);
    PlayerHost host(&video);
    bool released = false;
    host.onNotify = [&](unsigned int what) {
        if (what == KQ_NOTIFY_END && !released) {
            host->Play();
            Pass(100); // the newer run is under way
            released = true;
            host.ReleasePlayer();
        }
    };
    host->Play();
    ASSERT_TRUE(PassUntil([&] { return released; }));
    Pass(1000);
    EXPECT_EQ(video.GetRefCount(), 1);
}

} // namespace
