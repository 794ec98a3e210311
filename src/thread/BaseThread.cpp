#include "thread/BaseThread.h"

#include "thread/TickClock.h"

#include <pthread.h>
#include <unistd.h>

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
    std::atomic<std::int32_t> m_bJoined{0};
};

namespace {
constexpr useconds_t kSuspendedPollMicroseconds = 10'000;
constexpr useconds_t kWaitPollMicroseconds = 10'000;
constexpr useconds_t kStartPauseMicroseconds = 1'000;

/// The object whose thread this is. Compared only, never followed.
thread_local const BaseThread* t_pThreadOf = nullptr;
} // namespace

BaseThread::BaseThread()
    : m_pStopEvent(std::make_unique<SyncEvent>(true, true)),
      m_pExitEvent(std::make_unique<SyncEvent>(true, true)), m_pControl(std::make_shared<Control>(this)) {}

BaseThread::~BaseThread() {
    if (const RunPtr pRun = AbortRun()) {
        WaitForRun(pRun, WAIT_FOREVER);
    }
    CSingleLock lock(&m_pControl->m_csControl);
    const RunPtr pRun = std::exchange(m_pControl->m_pRun, nullptr);
    m_pControl->m_pOwner = nullptr;
    lock.Unlock();
    JoinOnce(pRun);
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
    usleep(kStartPauseMicroseconds);
    return 1;
}

int BaseThread::StartAs(std::int32_t nState) {
    CSingleLock lock(&ControlLock());
    if (IsActive()) {
        return 0;
    }
    m_pStopEvent->Reset();
    m_pExitEvent->Reset();
    RunPtr pBefore = m_pControl->m_pRun;
    if (pBefore && pBefore->m_bJoined != 0) {
        pBefore.reset();
    }
    const RunPtr pRun = std::make_shared<ThreadRun>(m_pControl, std::move(pBefore));
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
    t_pThreadOf = pThread;
    CSingleLock startLock(&pThread->ControlLock());
    const RunPtr pRun = pThread->m_pControl->m_pRun;
    startLock.Unlock();

    pThread->svc();

    // From here on the object may be gone, or may already run its next thread.
    CSingleLock lock(&pRun->m_pControl->m_csControl);
    BaseThread* const pOwner = pRun->m_pControl->m_pOwner;
    if (pOwner != nullptr && pRun->m_pControl->m_pRun == pRun) {
        pOwner->MarkFinished();
    }
    pRun->m_bEnded = 1;
    lock.Unlock();
    JoinOnce(std::exchange(pRun->m_pPredecessor, nullptr));
    return nullptr;
}

int BaseThread::svc() {
    while (m_pStopEvent->Wait(0) != WAIT_SET) {
        if (m_nState == THREAD_SUSPENDED) {
            usleep(kSuspendedPollMicroseconds);
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
    const std::uint32_t nStart = TickClockMs();
    while (!HasEnded(pRun)) {
        if (dwMilliseconds != WAIT_FOREVER && TickClockMs() - nStart >= dwMilliseconds) {
            return WAIT_TIMED_OUT;
        }
        usleep(kWaitPollMicroseconds);
    }
    JoinOnce(pRun);
    return WAIT_SET;
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

void BaseThread::JoinFinished() {
    if (IsOwnThread()) {
        return;
    }
    CSingleLock lock(&ControlLock());
    const RunPtr pRun = m_pControl->m_pRun;
    lock.Unlock();
    JoinOnce(pRun);
}

bool BaseThread::IsOwnThread() const {
    return t_pThreadOf == this;
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
