/// @file
/// The base of the component's worker threads.
#pragma once

#include "thread/Critical.h"
#include "thread/SyncEvent.h"

#include <atomic>
#include <cstdint>
#include <memory>

enum : std::int32_t {
    THREAD_IDLE = 0,      ///< never started
    THREAD_RUNNING = 1,   ///< started and not suspended
    THREAD_SUSPENDED = 2, ///< started, suspend count above 0
    THREAD_FINISHED = 3,  ///< svc() has returned, or has said that it is about to
};

/// A worker thread with a stop request and a cooperative suspend count: a suspended thread keeps running, and
/// its svc() sleeps while it sees the suspended state.
///
/// Any thread may call the operations. A finished thread can be started again, also by itself from the last
/// thing that its svc() does: the new thread then joins the old one before it ends, so no thread is lost.
/// What a finished thread still does after that never reaches the object.
class BaseThread {
public:
    BaseThread();
    BaseThread(const BaseThread&) = delete;
    BaseThread& operator=(const BaseThread&) = delete;
    /// Aborts, and waits for the thread unless it is the caller itself.
    virtual ~BaseThread();
    /// The thread's body. On each pass: sleep while THREAD_SUSPENDED, leave when the stop event is set, else
    /// work.
    virtual int svc();

    /// Starts a thread. @return 1, or 0 when one is active or none can be made
    int Start();
    /// Requests the end of the active thread; suspensions are undone so that it can see the request.
    /// @return 1, or 0 when no thread is active
    int Abort();
    /// Waits until the active thread has ended and joins it.
    /// @return 0 when no thread is active or it has ended; 258 when the time ran out
    unsigned int Wait(unsigned int dwMilliseconds);
    void Suspend();
    void Resume();
    /// @return whether the state is THREAD_RUNNING or THREAD_SUSPENDED
    bool IsActive() const { return static_cast<std::uint32_t>(m_nState - 1) < 2; }
    std::int32_t GetState() const { return m_nState; }

    /// Entry of the platform thread.
    static void* thread_func(void* pThis);

protected:
    /// What a started thread and its waiters share. It outlives the object where it must.
    struct ThreadRun;
    using RunPtr = std::shared_ptr<ThreadRun>;

    /// Start() without its pause, with the state that the thread finds. THREAD_SUSPENDED counts as one
    /// Suspend(). The thread begins its svc() once the caller has left the control lock.
    int StartAs(std::int32_t nState);
    /// Abort() that tells which thread it has aborted; null when none was active.
    RunPtr AbortRun();
    /// Wait() for one certain thread.
    unsigned int WaitForRun(const RunPtr& pRun, unsigned int dwMilliseconds);
    /// The active thread, or null.
    RunPtr ActiveRun() const;
    static bool HasEnded(const RunPtr& pRun);
    /// Called by svc(): the run is over, waiters may go, the object may be started again.
    void MarkFinished();
    /// Waits until the thread started last is done with the object, for destructors of classes whose fields its
    /// last steps still use. It does not wait for the caller's own thread; when the caller is an older thread of
    /// the object, which the newer one joins, it does wait for the newer one.
    void AwaitLastSteps();
    /// @return whether the caller runs on a thread of this object, a finished one included
    bool IsOwnThread() const;
    /// Guards the state, the suspend count and the current run; a leaf among the locks.
    CCritical& ControlLock() const;

    std::atomic<std::int32_t> m_nState{THREAD_IDLE};
    std::unique_ptr<SyncEvent> m_pStopEvent;
    std::unique_ptr<SyncEvent> m_pExitEvent;

private:
    struct Control;

    static void JoinOnce(const RunPtr& pRun);
    static void Detach(const RunPtr& pRun);

    std::shared_ptr<Control> m_pControl;
    std::int32_t m_nSuspendCount = 0;
};
