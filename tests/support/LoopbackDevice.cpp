#include "tests/support/LoopbackDevice.h"

#include <AL/alext.h>

#include <stdexcept>

namespace kq::test {

namespace {

template <class Function>
Function Extension(const char* name) {
    return reinterpret_cast<Function>(alcGetProcAddress(nullptr, name));
}

} // namespace

LoopbackDevice::LoopbackDevice(int rate) : m_rate(rate) {
    m_device = Extension<LPALCLOOPBACKOPENDEVICESOFT>("alcLoopbackOpenDeviceSOFT")(nullptr);
    // The limiter looks ahead, which would delay every sample by a millisecond.
    const ALCint attributes[][2] = {{ALC_FORMAT_CHANNELS_SOFT, ALC_STEREO_SOFT},
                                    {ALC_FORMAT_TYPE_SOFT, ALC_SHORT_SOFT},
                                    {ALC_HRTF_SOFT, ALC_FALSE},
                                    {ALC_OUTPUT_LIMITER_SOFT, ALC_FALSE},
                                    {ALC_FREQUENCY, rate},
                                    {}};
    m_context = m_device != nullptr ? alcCreateContext(m_device, attributes[0]) : nullptr;
    if (m_context == nullptr || alcMakeContextCurrent(m_context) == ALC_FALSE) {
        throw std::runtime_error("no OpenAL loopback device");
    }
}

LoopbackDevice::~LoopbackDevice() {
    alcMakeContextCurrent(nullptr);
    alcDestroyContext(m_context);
    alcCloseDevice(m_device);
}

std::vector<std::int16_t> LoopbackDevice::Render(int frames) {
    std::vector<std::int16_t> samples(static_cast<std::size_t>(frames) * 2);
    Extension<LPALCRENDERSAMPLESSOFT>("alcRenderSamplesSOFT")(m_device, samples.data(), frames);
    m_rendered += frames;
    return samples;
}

} // namespace kq::test
