/// @file
/// An OpenAL device that renders into memory, only as far as a test asks for.
#pragma once

#include "thread/TimeSource.h"

#include <AL/al.h>
#include <AL/alc.h>

#include <atomic>
#include <cstdint>
#include <vector>

namespace kq::test {

/// Its context is the process's current one for as long as it lives.
class LoopbackDevice {
public:
    explicit LoopbackDevice(int nRate = 48000);
    LoopbackDevice(const LoopbackDevice&) = delete;
    LoopbackDevice& operator=(const LoopbackDevice&) = delete;
    ~LoopbackDevice();

    /// Renders that many sample frames. @return interleaved stereo samples
    std::vector<std::int16_t> Render(int nFrames);
    /// @return what has been rendered so far, in milliseconds
    std::int64_t GetRenderedMs() const { return m_rendered * 1000 / m_rate; }

private:
    const int m_rate;
    std::atomic<std::int64_t> m_rendered{0}; ///< sample frames
    ALCdevice* m_pDevice = nullptr;
    ALCcontext* m_pContext = nullptr;
};

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
