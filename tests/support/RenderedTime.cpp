#include "tests/support/RenderedTime.h"

#include <chrono>
#include <thread>

namespace kq::test {

RenderedTime::RenderedTime(const LoopbackDevice& device, double rate) : m_device(device), m_rate(rate) {
    TimeSource::Install(this);
}

RenderedTime::~RenderedTime() {
    TimeSource::Install(nullptr);
}

std::uint32_t RenderedTime::NowMs() {
    const double now = static_cast<double>(m_device.GetRenderedMs()) * m_rate;
    return static_cast<std::uint32_t>(now / 10) * 10;
}

void RenderedTime::Sleep(std::uint32_t microseconds) {
    std::this_thread::sleep_for(std::chrono::microseconds(microseconds));
}

} // namespace kq::test
