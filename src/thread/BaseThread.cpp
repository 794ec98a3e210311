#include "thread/BaseThread.h"

#include "thread/TimeSource.h"

#include <pthread.h>

#include <new>
#include <utility>

/// Shared by the object and its threads, because a finished thread may outlive the object.
struct BaseThread::Control {
    explicit Control(BaseThread* pOwner) : m_pOwner(pOwner) {}

    CCritical m_csControl;
    BaseThread* m_pOwner; ///< null once the object is gone
    RunPtr m_pRun;        ///< the thread started last
};

struct BaseThread::ThreadRun {
    ThreadRun(std::shared_ptr<Control> pShared, RunPtr pBefore)
        : m_pControl(std::move(pShared)), m_pPredecessor(std::move(pBefore)) {}

    std::shared_ptr<Control> m_pControl;
    RunPtr m_pPredecessor; ///< a finished thread that nobody has joined yet; this one does before it ends
    pthread_t m_thread{};
    std::atomic<std::int32_t> m_bEnded{0};
    std::atomic<std::int32_t> m_bLeft{0}; ///< the thread no longer touches the object
    std::atomic<std::int32_t> m_bJoined{0};
};

namespace {
constexpr std::uint32_t kSuspendedPollMicroseconds = 10'000;
constexpr std::uint32_t kWaitPollMicroseconds = 10'000;
constexpr std::uint32_t kStartPauseMicroseconds = 1'000;

/// What stands for the object whose thread this is: not the object's address, which another object may have
/// once this one is gone. Compared only, never followed; it lives as long as the thread.
thread_local const void* t_pThreadOf = nullptr;
} // namespace

BaseThread::BaseThread()
    : m_pStopEvent(std::make_unique<SyncEvent>(true, true)),
      m_pExitEvent(std::make_unique<SyncEvent>(true, true)), m_pControl(std::make_shared<Control>(this)) {}

BaseThread::~BaseThread() {
    AbortRun();
    AwaitLastSteps();
    CSingleLock lock(&m_pControl->m_csControl);
    const RunPtr pRun = std::exchange(m_pControl->m_pRun, nullptr);
    m_pControl->m_pOwner = nullptr;
    lock.Unlock();
    if (pRun && IsOwnThread() && pthread_equal(pRun->m_thread, pthread_self()) == 0) {
        Detach(pRun); // a newer thread, which joins this one before it ends
    } else {
        JoinOnce(pRun);
    }
    m_nSuspendCount = 0;
    m_nState = THREAD_IDLE;
}

CCritical& BaseThread::ControlLock() const {
    return m_pControl->m_csControl;
}

int BaseThread::Start() {
    if (StartAs(THREAD_RUNNING) == 0) {
        return 0;
    }
    TimeSource::Current().Sleep(kStartPauseMicroseconds);
    return 1;
}

int BaseThread::StartAs(std::int32_t nState) {
    CSingleLock lock(&ControlLock());
    if (IsActive()) {
        return 0;
    }
    RunPtr pBefore = m_pControl->m_pRun;
    if (pBefore && pBefore->m_bJoined != 0) {
        pBefore.reset();
    }
    RunPtr pRun;
    try {
        pRun = std::make_shared<ThreadRun>(m_pControl, std::move(pBefore));
    } catch (const std::bad_alloc&) {
        return 0;
    }
    m_pStopEvent->Reset();
    m_pExitEvent->Reset();
    if (pthread_create(&pRun->m_thread, nullptr, &BaseThread::thread_func, this) != 0) {
        m_pStopEvent->Set();
        m_pExitEvent->Set();
        return 0;
    }
    // The new thread waits for the control lock, so it finds all of this done.
    m_pControl->m_pRun = pRun;
    m_nSuspendCount = nState == THREAD_SUSPENDED ? 1 : 0;
    m_nState = nState;
    return 1;
}

void* BaseThread::thread_func(void* pThis) {
    if (pThis == nullptr) {
        return nullptr;
    }
    auto* const pThread = static_cast<BaseThread*>(pThis);
    CSingleLock startLock(&pThread->ControlLock());
    const RunPtr pRun = pThread->m_pControl->m_pRun;
    startLock.Unlock();
    t_pThreadOf = pRun->m_pControl.get();

    pThread->svc();

    // From here on the object may be gone, or may already run its next thread.
    CSingleLock lock(&pRun->m_pControl->m_csControl);
    BaseThread* const pOwner = pRun->m_pControl->m_pOwner;
    if (pOwner != nullptr && pRun->m_pControl->m_pRun == pRun) {
        pOwner->MarkFinished();
    }
    pRun->m_bEnded = 1;
    pRun->m_bLeft = 1;
    lock.Unlock();
    JoinOnce(std::exchange(pRun->m_pPredecessor, nullptr));
    return nullptr;
}

int BaseThread::svc() {
    while (m_pStopEvent->Wait(0) != WAIT_SET) {
        if (m_nState == THREAD_SUSPENDED) {
            TimeSource::Current().Sleep(kSuspendedPollMicroseconds);
        }
    }
    return 0;
}

void BaseThread::MarkFinished() {
    CSingleLock lock(&ControlLock());
    m_pExitEvent->Set();
    m_nState = THREAD_FINISHED;
    m_pControl->m_pRun->m_bEnded = 1;
}

int BaseThread::Abort() {
    return AbortRun() ? 1 : 0;
}

BaseThread::RunPtr BaseThread::AbortRun() {
    CSingleLock lock(&ControlLock());
    if (!IsActive()) {
        return nullptr;
    }
    m_pStopEvent->Set();
    while (m_nSuspendCount > 0) {
        Resume();
    }
    return m_pControl->m_pRun;
}

unsigned int BaseThread::Wait(unsigned int dwMilliseconds) {
    const RunPtr pRun = ActiveRun();
    return pRun ? WaitForRun(pRun, dwMilliseconds) : WAIT_SET;
}

BaseThread::RunPtr BaseThread::ActiveRun() const {
    CSingleLock lock(&ControlLock());
    return IsActive() ? m_pControl->m_pRun : nullptr;
}

bool BaseThread::HasEnded(const RunPtr& pRun) {
    return pRun->m_bEnded != 0;
}

unsigned int BaseThread::WaitForRun(const RunPtr& pRun, unsigned int dwMilliseconds) {
    const std::uint32_t nStart = TimeSource::Current().NowMs();
    while (!HasEnded(pRun)) {
        if (dwMilliseconds != WAIT_FOREVER && TimeSource::Current().NowMs() - nStart >= dwMilliseconds) {
            return WAIT_TIMED_OUT;
        }
        TimeSource::Current().Sleep(kWaitPollMicroseconds);
    }
    if (!IsOwnThread()) {
        JoinOnce(pRun); // else it joins this older thread
    }
    return WAIT_SET;
}

void BaseThread::Detach(const RunPtr& pRun) {
    if (pRun->m_bJoined.exchange(1) == 0) {
        pthread_detach(pRun->m_thread);
    }
}

void BaseThread::JoinOnce(const RunPtr& pRun) {
    if (!pRun || pRun->m_bJoined.exchange(1) != 0) {
        return;
    }
    if (pthread_equal(pRun->m_thread, pthread_self()) != 0) {
        pthread_detach(pRun->m_thread);
    } else {
        pthread_join(pRun->m_thread, nullptr);
    }
}

void BaseThread::AwaitLastSteps() {
    CSingleLock lock(&ControlLock());
    const RunPtr pRun = m_pControl->m_pRun;
    lock.Unlock();
    if (!pRun || pthread_equal(pRun->m_thread, pthread_self()) != 0) {
        return;
    }
    while (pRun->m_bLeft == 0) {
        TimeSource::Current().Sleep(kStartPauseMicroseconds);
    }
    if (!IsOwnThread()) {
        JoinOnce(pRun);
    }
}

bool BaseThread::IsOwnThread() const {
    return t_pThreadOf == m_pControl.get();
}

void BaseThread::Suspend() {
    CSingleLock lock(&ControlLock());
    if (!IsActive()) {
        return;
    }
    if (m_nSuspendCount++ == 0) {
        m_nState = THREAD_SUSPENDED;
    }
}

void BaseThread::Resume() {
    CSingleLock lock(&ControlLock());
    if (!IsActive()) {
        return;
    }
    if (m_nSuspendCount > 0 && --m_nSuspendCount > 0) {
        return;
    }
    m_nState = THREAD_RUNNING;
}
