#include "tests/support/FakeStream.h"
#include "tests/support/PlayerHost.h"
#include "tests/support/ViewRecorder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <functional>
#include <iterator>
#include <memory>
#include <random>
#include <thread>
#include <vector>

namespace {

using namespace kq::test;

/// Seconds that the long tests take; KQ_STRESS_SECONDS asks for more than the everyday few.
std::chrono::seconds StressTime() {
    const char* const text = std::getenv("KQ_STRESS_SECONDS");
    return std::chrono::seconds(text != nullptr ? std::max(1, std::atoi(text)) : 4);
}

/// With a sound device that plays into nothing in real time, and without the component's own prints.
class Stress : public testing::Test {
protected:
    Stress() {
        setenv("ALSOFT_DRIVERS", "null", 1);
        testing::internal::CaptureStdout();
    }
    ~Stress() override { testing::internal::GetCapturedStdout(); }
};

TEST_F(Stress, SixteenPlayersWithTwoViewsAndSound) {
    const auto deadline = Clock::now() + StressTime();
    RunThreads(16, [deadline](int seed) {
        FakeVideo reference(80, 50, 32, 18);
        FakeVideo other(80, 50, 32, 18);
        FakeAudio audio(1.6);
        PlayerHost host(nullptr, &audio);
        host.AddView(0, &reference);
        host.AddView(1, &other);
        std::mt19937 random(static_cast<unsigned int>(seed));
        while (Clock::now() < deadline) {
            const auto action = random() % 6;
            action == 0   ? host->Stop()
            : action == 1 ? host->Pause()
            : action == 2 ? host->Resume()
                          : host->Play();
            std::this_thread::sleep_for(std::chrono::milliseconds(random() % 60));
        }
        host.ReleasePlayer();
        EXPECT_EQ(reference.GetRefCount(), 1);
        EXPECT_EQ(audio.GetRefCount(), 1);
    });
}

TEST_F(Stress, AThousandRunsHalfOfThemOfPlayersMadeInTheEndOfPlay) {
    constexpr int runsWanted = 1000;
    constexpr int chainCount = 50; // a run's last steps take a tenth of a second, so many share the runs
    FakeVideo video(1, 100);
    /// Hosts that follow each other: each run starts the next one, its own player's or a new one's.
    struct Chain {
        std::vector<std::unique_ptr<PlayerHost>> hosts;
        std::atomic<int> runs{0};
    };
    std::vector<Chain> chains(chainCount);
    std::function<void(Chain&)> begin = [&](Chain& chain) {
        PlayerHost& host = *chain.hosts.emplace_back(std::make_unique<PlayerHost>(&video));
        // The run may end, and its callback give the host's reference back, before Play() has returned here.
        const auto shared = kq::ComPtr<IMediaPlayer>::Share(host.Get());
        host.onNotify = [&](unsigned int notice) {
            if (notice != KQ_NOTIFY_END) {
                return;
            }
            const int number = ++chain.runs; // before the next run, which may end at any time
            if (number < runsWanted / chainCount && number % 2 == 0) {
                EXPECT_EQ(host->Play(), 0);
                EXPECT_EQ(host->IsActivate(), KQ_ACTIVATE_PLAYING);
            } else if (number < runsWanted / chainCount) {
                host.ReleasePlayer();
                begin(chain);
            }
        };
        EXPECT_EQ(shared->Load(), 0);
        EXPECT_EQ(shared->Play(), 0);
    };
    for (Chain& chain : chains) {
        chain.hosts.reserve(runsWanted);
        begin(chain);
    }
    for (const Chain& chain : chains) {
        EXPECT_TRUE(WaitUntil([&] { return chain.runs >= runsWanted / chainCount; }));
    }
    chains.clear();
    EXPECT_EQ(video.GetRefCount(), 1);
}

TEST_F(Stress, ViewsAndStreamsComeAndGoWhileThePlayerRuns) {
    FakeVideo reference(2000, 100, 32, 18);
    FakeVideo other(2000, 100, 32, 18);
    PlayerHost host(&reference);
    host->Play();
    // A run that starts while there are two views looks for source mode 0.
    ASSERT_TRUE(WaitUntil([&] { return !host.GetPositions().empty(); }));
    const auto deadline = Clock::now() + StressTime() / 2;
    RunThreads(3, [&](int seed) {
        std::mt19937 random(static_cast<unsigned int>(seed));
        while (Clock::now() < deadline) {
            IPlayerView* const view =
                host.GetManager()->CreatePlayView(kq::OffScreenParent(), tagRECT{0, 0, 32, 18});
            view->SetVideoInput(static_cast<int>(random() % 3), random() % 2 == 0 ? &reference : &other);
            std::this_thread::sleep_for(std::chrono::milliseconds(random() % 8));
            if (random() % 2 == 0) {
                view->SetVideoInput(1, nullptr);
            }
            host->GetMovieLength();
            host->Update(1);
            host.GetManager()->Remove(view->GetIndex());
            view->Release();
        }
    });
    host->Stop();
    EXPECT_GT(host.GetPositions().size(), 50u);
}

/// Four threads and the callback make requests of one player.
void MakeAStorm(bool withVideo, bool withAudio) {
    // By each thread; KQ_STRESS_CALLS asks for more than the everyday few.
    const char* const text = std::getenv("KQ_STRESS_CALLS");
    const int calls = text != nullptr ? std::max(1, std::atoi(text)) : 150;
    FakeVideo video(100, 50, 32, 18);
    FakeAudio audio(2.0);
    PlayerHost host(withVideo ? &video : nullptr, withAudio ? &audio : nullptr);
    std::atomic<unsigned int> notified{0};
    host.onNotify = [&](unsigned int notice) {
        const std::function<void()> actions[] = {[&] { host->Seek(0.3, 1); }, [&] { host->Pause(); },
                                                 [&] { host->Resume(); }, [&] { host->Forward(); },
                                                 [&] { host->Stop(); }};
        const unsigned int number = notified++ % 16;
        if (number % 3 == 0 && number < 15) {
            actions[number / 3]();
        } else if (notice == KQ_NOTIFY_END) {
            host->Play();
        }
    };
    RunThreads(4, [&](int seed) {
        std::mt19937 random(static_cast<unsigned int>(seed));
        const auto time = [&] { return static_cast<double>(random() % 220) / 100.0 - 0.1; };
        const CaptureImageInfo info{};
        const std::function<void()> once[] = {
            [&] { host->Stop(); },
            [&] { host->Load(); },
            [&] { host->CaptureCurrentImage(&info, L"picture"); },
            [&] { host->CaptureCurrentImageEx(); },
            [&] { host->Update(static_cast<int>(random() % 2)); },
            [&] { host->IsSeeking(); },
            [&] { host->GetMovieLength(); },
            [&] { host.SetAudio(withAudio && (!withVideo || random() % 2 == 0) ? &audio : nullptr); },
        };
        const std::function<void()> often[] = {
            [&] { host->Pause(); },
            [&] { host->Resume(); },
            [&] { host->Forward(); },
            [&] { host->Play(); },
            [&] { EXPECT_EQ(host->SyncSeek(time(), static_cast<int>(random() % 2)), 0); },
            [&] { host->Seek(time(), 1); },
        };
        for (int i = 0; i < calls; ++i) {
            random() % 4 == 0 ? once[random() % std::size(once)]() : often[random() % std::size(often)]();
        }
    });
    host->Stop();
    host->SetCallBack(nullptr, nullptr);
    host->Stop();
    host.ReleasePlayer();
    EXPECT_EQ(video.GetRefCount(), 1);
    EXPECT_EQ(audio.GetRefCount(), 1);
}

TEST_F(Stress, AStormOfRequestsLosesNobody) {
    RunThreads(4, [](int n) { MakeAStorm(n < 2, n % 2 == 0); }); // every combination
}

} // namespace
