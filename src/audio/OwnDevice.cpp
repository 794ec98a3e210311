#include "audio/OwnDevice.h"

#include <unistd.h>

#include <mutex>

namespace {

/// The context is left current between runs, because a host may be using it by then. OpenAL complains of a
/// device that nobody has closed when it is unloaded, which comes after this.
struct OwnDevice {
    ~OwnDevice() { Close(); }
    /// Closes it, unless somebody plays: a host that ends meanwhile must not lose it under its threads.
    void Close();

    std::mutex csLock; ///< guards the rest
    ALCdevice* pDevice = nullptr;
    ALCcontext* pContext = nullptr;
    pid_t nProcess = 0;
    int nUses = 0;
};

void OwnDevice::Close() {
    // A forked process has no mixer, for which closing would wait; and the host may have closed it itself.
    if (pDevice == nullptr || nProcess != getpid() || nUses > 0 ||
        alcGetContextsDevice(pContext) != pDevice) {
        return;
    }
    if (alcGetCurrentContext() == pContext) {
        alcMakeContextCurrent(nullptr);
    }
    alcDestroyContext(pContext);
    alcCloseDevice(pDevice);
    pDevice = nullptr;
}

OwnDevice s_own;

} // namespace

ALCcontext* AcquireContext() {
    // Two players that start at the same time share one context instead of each making its own.
    const std::lock_guard<std::mutex> lock(s_own.csLock);
    if (ALCcontext* const pCurrent = alcGetCurrentContext()) {
        return alcMakeContextCurrent(pCurrent) != ALC_FALSE ? pCurrent : nullptr;
    }
    s_own.Close(); // the host has taken its place, and gone
    ALCdevice* const pDevice = alcOpenDevice(nullptr);
    if (pDevice == nullptr) {
        return nullptr;
    }
    ALCcontext* const pContext = alcCreateContext(pDevice, nullptr);
    if (pContext == nullptr) {
        alcCloseDevice(pDevice);
        return nullptr;
    }
    if (alcMakeContextCurrent(pContext) == ALC_FALSE) {
        alcDestroyContext(pContext);
        alcCloseDevice(pDevice);
        return nullptr;
    }
    s_own.pDevice = pDevice;
    s_own.pContext = pContext;
    s_own.nProcess = getpid();
    return pContext;
}

DeviceUse::DeviceUse() {
    const std::lock_guard<std::mutex> lock(s_own.csLock);
    ++s_own.nUses;
}

DeviceUse::~DeviceUse() {
    const std::lock_guard<std::mutex> lock(s_own.csLock);
    --s_own.nUses;
}
