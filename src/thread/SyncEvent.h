/// @file
/// An event that is waited for by polling.
#pragma once

#include "thread/Critical.h"

#include <atomic>
#include <cstdint>

inline constexpr unsigned int WAIT_SET = 0;
inline constexpr unsigned int WAIT_TIMED_OUT = 258;
inline constexpr unsigned int WAIT_FOREVER = 0xFFFFFFFF;

/// A flag that threads set, reset and wait for. All operations are safe from any thread.
class SyncEvent : public CCritical {
public:
    /// @param bManualReset true: a successful wait leaves the event set; false: it clears it
    SyncEvent(bool bInitialState, bool bManualReset);

    void Set();
    void Reset();
    /// Waits in steps of 10 ms.
    /// @param dwMilliseconds time limit, counted in ticks of 10 ms; 0 only tests, WAIT_FOREVER waits without
    /// limit
    /// @return 0 when the event was or became set, 258 when the time ran out
    unsigned int Wait(unsigned int dwMilliseconds);

private:
    /// Tests the event, and clears it when it resets itself. Only one of several waiters gets such an event.
    bool TryTake();

    std::atomic<std::int32_t> m_bSignaled;
    const std::int32_t m_bManualReset;
};
