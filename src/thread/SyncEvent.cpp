#include "thread/SyncEvent.h"

#include "thread/TimeSource.h"


namespace {
constexpr std::uint32_t kPollMicroseconds = 10'000;
}

SyncEvent::SyncEvent(bool bInitialState, bool bManualReset)
    : m_bSignaled(bInitialState ? 1 : 0), m_bManualReset(bManualReset ? 1 : 0) {}

void SyncEvent::Set() {
    CSingleLock lock(this);
    m_bSignaled = 1;
}

void SyncEvent::Reset() {
    CSingleLock lock(this);
    m_bSignaled = 0;
}

bool SyncEvent::TryTake() {
    if (m_bSignaled == 0) {
        return false;
    }
    if (m_bManualReset != 0) {
        return true;
    }
    CSingleLock lock(this);
    return m_bSignaled.exchange(0) != 0;
}

unsigned int SyncEvent::Wait(unsigned int dwMilliseconds) {
    if (TryTake()) {
        return WAIT_SET;
    }
    if (dwMilliseconds == 0) {
        return WAIT_TIMED_OUT;
    }
    const std::uint32_t nStart = TimeSource::Current().NowMs();
    while (!TryTake()) {
        if (dwMilliseconds != WAIT_FOREVER && TimeSource::Current().NowMs() - nStart >= dwMilliseconds) {
            return WAIT_TIMED_OUT;
        }
        TimeSource::Current().Sleep(kPollMicroseconds);
    }
    return WAIT_SET;
}
