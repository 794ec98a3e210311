#include "tests/support/ViewRecorder.h"
#include "thread/BaseThread.h"
#include "thread/SyncEvent.h"

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <thread>
#include <vector>

namespace {

using namespace kq::test;

double MillisecondsOf(const std::function<void()>& action) {
    const auto start = Clock::now();
    action();
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

TEST(SyncEvent, TestsWithoutWaiting) {
    const struct {
        bool set;
        bool manual;
        unsigned int first;
        unsigned int second;
    } cases[] = {
        {false, true, WAIT_TIMED_OUT, WAIT_TIMED_OUT},
        {true, true, WAIT_SET, WAIT_SET},
        {true, false, WAIT_SET, WAIT_TIMED_OUT},
    };
    for (const auto& c : cases) {
        SyncEvent event(c.set, c.manual);
        EXPECT_EQ(event.Wait(0), c.first);
        EXPECT_EQ(event.Wait(0), c.second);
    }
}

TEST(SyncEvent, WaitsForTheLimitOrTheEvent) {
    SyncEvent event(false, true);
    unsigned int result = 0;
    const double waited = MillisecondsOf([&] { result = event.Wait(30); });
    EXPECT_EQ(result, WAIT_TIMED_OUT);
    EXPECT_GE(waited, 20.0); // three ticks, the first of which may be short

    std::thread setter([&] { event.Set(); });
    EXPECT_EQ(event.Wait(WAIT_FOREVER), WAIT_SET);
    setter.join();
    event.Reset();
    EXPECT_EQ(event.Wait(0), WAIT_TIMED_OUT);
}

TEST(SyncEvent, OneOfManyWaitersGetsAnAutoResetEvent) {
    SyncEvent event(false, false);
    std::atomic<int> got{0};
    RunThreads(5, [&](int n) {
        if (n == 4) {
            event.Set();
            return;
        }
        EXPECT_TRUE(WaitUntil([&] {
            got += event.Wait(10) == WAIT_SET ? 1 : 0;
            return got > 0;
        }));
        got += event.Wait(50) == WAIT_SET ? 1 : 0; // nor afterwards
    });
    EXPECT_EQ(got, 1);
}

/// Runs until it is stopped, or a body of the test's own.
class Worker : public BaseThread {
public:
    ~Worker() override {
        Abort();
        Wait(WAIT_FOREVER);
        AwaitLastSteps();
    }
    int svc() override { return body ? body() : BaseThread::svc(); }
    /// As the sound's: it looks at the stop request only while it is not suspended.
    int SleepWhileSuspended() {
        while (GetState() == THREAD_SUSPENDED || m_pStopEvent->Wait(0) != WAIT_SET) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        return 0;
    }
    std::function<int()> body;
    using BaseThread::IsOwnThread;
    using BaseThread::MarkFinished;
};

TEST(BaseThread, IdleObjectDoesNothing) {
    Worker worker;
    EXPECT_EQ(worker.Abort(), 0);
    EXPECT_EQ(worker.Wait(WAIT_FOREVER), WAIT_SET);
    worker.Suspend();
    worker.Resume();
    EXPECT_EQ(worker.GetState(), THREAD_IDLE);
}

TEST(BaseThread, GoesThroughItsStates) {
    Worker worker;
    worker.body = [&] { return worker.SleepWhileSuspended(); };
    EXPECT_EQ(worker.Start(), 1);
    EXPECT_EQ(worker.Start(), 0);
    EXPECT_EQ(worker.GetState(), THREAD_RUNNING);
    EXPECT_EQ(worker.Wait(20), WAIT_TIMED_OUT);
    worker.Suspend();
    worker.Suspend();
    EXPECT_EQ(worker.Start(), 0);
    worker.Resume();
    EXPECT_EQ(worker.GetState(), THREAD_SUSPENDED);
    worker.Resume();
    EXPECT_EQ(worker.GetState(), THREAD_RUNNING);
    worker.Suspend();
    worker.Suspend();
    worker.Suspend();
    EXPECT_EQ(worker.Abort(), 1);
    EXPECT_EQ(worker.Wait(WAIT_FOREVER), WAIT_SET);
    EXPECT_EQ(worker.GetState(), THREAD_FINISHED);
    EXPECT_EQ(worker.Abort(), 0);
    EXPECT_EQ(worker.Start(), 1); // a finished thread starts again
    EXPECT_EQ(worker.GetState(), THREAD_RUNNING);
}

TEST(BaseThread, ARunThatEndsSuspendedLeavesNoSuspensionBehind) {
    Worker worker;
    worker.body = [&] {
        WaitUntil([&] { return worker.GetState() == THREAD_SUSPENDED; });
        return 0;
    };
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(worker.Start(), 1);
        EXPECT_EQ(worker.GetState(), THREAD_RUNNING);
        worker.Suspend();
        EXPECT_TRUE(WaitUntil([&] { return worker.GetState() == THREAD_FINISHED; }, std::chrono::seconds(5)));
    }
}

TEST(BaseThread, StartedFromItsOwnEndLosesNoThreadAndKeepsTheNewState) {
    constexpr int runsWanted = 1000;
    Worker worker;
    std::atomic<int> runs{0};
    worker.body = [&] {
        worker.MarkFinished();
        if (++runs < runsWanted) {
            EXPECT_EQ(worker.Start(), 1);
        }
        return 0;
    };
    worker.Start();
    EXPECT_TRUE(WaitUntil([&] { return runs == runsWanted && worker.GetState() == THREAD_FINISHED; }));
}

TEST(BaseThread, ManyControllersNeitherHangNorJoinTwice) {
    Worker worker;
    RunThreads(4, [&](int i) {
        for (int k = 0; k < 40; ++k) {
            if ((k + i) % 2 == 0) {
                worker.Start();
                worker.Suspend();
                worker.Resume();
            } else {
                worker.Abort();
                worker.Wait(50);
            }
        }
    });
    worker.Abort();
    EXPECT_EQ(worker.Wait(WAIT_FOREVER), WAIT_SET);
    EXPECT_FALSE(worker.IsOwnThread());
}

} // namespace
