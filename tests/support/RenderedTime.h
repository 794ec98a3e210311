/// @file
/// Time that moves with what a device has rendered.
#pragma once

#include "tests/support/LoopbackDevice.h"
#include "thread/TimeSource.h"

#include <cstdint>

namespace kq::test {

/// The component's wall clock for as long as it lives, which moves with what a device renders, so that a test
/// that is kept waiting does not look like a sound that stands still. Sleeps are real.
class RenderedTime final : public TimeSource {
public:
    /// @param rate of the wall clock: below 1 the sound is ahead of it, so that a test can tell the two apart
    explicit RenderedTime(const LoopbackDevice& device, double rate = 1.0);
    ~RenderedTime() override;

    std::uint32_t NowMs() override;
    void Sleep(std::uint32_t microseconds) override;

private:
    const LoopbackDevice& m_device;
    const double m_rate;
};

} // namespace kq::test
