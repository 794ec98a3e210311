/// @file
/// A sound device that is rendered in real time and notes what is heard.
#pragma once

#include <tests/support/LoopbackDevice.h>

#include <atomic>
#include <thread>
#include <vector>

namespace bench {

/// @return a monotonic time
double NowMilliseconds();
/// @param milliseconds what NowMilliseconds() is to say then
void SleepUntil(double milliseconds);

/// A sound card without delay: a block is heard from the moment on at which it is rendered.
class RealTimeDevice {
public:
    static constexpr int SampleRate = 48000;
    static constexpr int Period = 256; ///< sample frames, as kqplay asks for

    RealTimeDevice() : m_thread([this] { Render(); }) {}
    ~RealTimeDevice() { Stop(); }
    RealTimeDevice(const RealTimeDevice&) = delete;
    RealTimeDevice& operator=(const RealTimeDevice&) = delete;

    void Stop();
    /// @return milliseconds at which each beep began to be heard; to be called after Stop()
    const std::vector<double>& Beeps() const { return m_beeps; }

private:
    void Render();

    kq::test::LoopbackDevice m_device{SampleRate};
    std::atomic<bool> m_stop{false};
    std::vector<double> m_beeps;
    std::thread m_thread;
};

} // namespace bench
