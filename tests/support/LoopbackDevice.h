/// @file
/// An OpenAL device that renders into memory, only as far as a test asks for.
#pragma once

#include <AL/al.h>
#include <AL/alc.h>

#include <atomic>
#include <cstdint>
#include <vector>

namespace kq::test {

/// Its context is the process's current one for as long as it lives.
class LoopbackDevice {
public:
    explicit LoopbackDevice(int rate = 48000);
    LoopbackDevice(const LoopbackDevice&) = delete;
    LoopbackDevice& operator=(const LoopbackDevice&) = delete;
    ~LoopbackDevice();

    /// Renders that many sample frames. @return interleaved stereo samples
    std::vector<std::int16_t> Render(int frames);
    /// @return what has been rendered so far, in milliseconds
    std::int64_t GetRenderedMs() const { return m_rendered * 1000 / m_rate; }

private:
    const int m_rate;
    std::atomic<std::int64_t> m_rendered{0}; ///< sample frames
    ALCdevice* m_device = nullptr;
    ALCcontext* m_context = nullptr;
};

} // namespace kq::test
