#include "RealTimeDevice.h"

#include <cstdlib>
#include <ctime>

namespace bench {

void SleepUntil(double milliseconds) {
    timespec until;
    until.tv_sec = static_cast<time_t>(milliseconds / 1e3);
    until.tv_nsec = static_cast<long>((milliseconds - static_cast<double>(until.tv_sec) * 1e3) * 1e6);
    clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &until, nullptr);
}

double NowMilliseconds() {
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) / 1e6;
}

void RealTimeDevice::Stop() {
    m_stop = true;
    if (m_thread.joinable())
        m_thread.join();
}

void RealTimeDevice::Render() {
    const double start = NowMilliseconds();
    double quietSince = start - 1000;
    for (long block = 0; !m_stop; ++block) {
        const double time = start + static_cast<double>(block) * Period * 1000.0 / SampleRate;
        SleepUntil(time);
        const auto samples = m_device.Render(Period);
        for (int i = 0; i < Period; ++i) {
            if (std::abs(samples[static_cast<std::size_t>(i) * 2]) < 1000)
                continue;
            const double heard = time + i * 1000.0 / SampleRate;
            if (heard - quietSince > 100)
                m_beeps.push_back(heard);
            quietSince = heard;
        }
    }
}

} // namespace bench
