#include "tests/support/LoopbackDevice.h"

#include <AL/alext.h>

#include <stdexcept>

namespace kq::test {

namespace {

template <class Function>
Function Extension(const char* pName) {
    return reinterpret_cast<Function>(alcGetProcAddress(nullptr, pName));
}

} // namespace

LoopbackDevice::LoopbackDevice(int nRate) : m_rate(nRate) {
    m_pDevice = Extension<LPALCLOOPBACKOPENDEVICESOFT>("alcLoopbackOpenDeviceSOFT")(nullptr);
    // The limiter looks ahead, which would delay every sample by a millisecond.
    const ALCint attributes[][2] = {{ALC_FORMAT_CHANNELS_SOFT, ALC_STEREO_SOFT},
                                    {ALC_FORMAT_TYPE_SOFT, ALC_SHORT_SOFT},
                                    {ALC_HRTF_SOFT, ALC_FALSE},
                                    {ALC_OUTPUT_LIMITER_SOFT, ALC_FALSE},
                                    {ALC_FREQUENCY, nRate},
                                    {}};
    m_pContext = m_pDevice != nullptr ? alcCreateContext(m_pDevice, attributes[0]) : nullptr;
    if (m_pContext == nullptr || alcMakeContextCurrent(m_pContext) == ALC_FALSE) {
        throw std::runtime_error("no OpenAL loopback device");
    }
}

LoopbackDevice::~LoopbackDevice() {
    alcMakeContextCurrent(nullptr);
    alcDestroyContext(m_pContext);
    alcCloseDevice(m_pDevice);
}

std::vector<std::int16_t> LoopbackDevice::Render(int nFrames) {
    std::vector<std::int16_t> samples(static_cast<std::size_t>(nFrames) * 2);
    Extension<LPALCRENDERSAMPLESSOFT>("alcRenderSamplesSOFT")(m_pDevice, samples.data(), nFrames);
    m_rendered += nFrames;
    return samples;
}

} // namespace kq::test
