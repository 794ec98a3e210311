/// @file
/// The sound device that the component opens itself.
#pragma once

#include <AL/alc.h>

/// @return the OpenAL context that is current, somebody else's or the component's; else a new one on the
/// default device, which stays current for the rest of the process; null without a device
ALCcontext* AcquireContext();

/// Somebody plays through OpenAL as long as one of these exists.
class DeviceUse {
public:
    DeviceUse();
    DeviceUse(const DeviceUse&) = delete;
    DeviceUse& operator=(const DeviceUse&) = delete;
    ~DeviceUse();
};
