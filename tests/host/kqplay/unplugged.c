/* Preloaded before OpenAL: some time after its first use the device says that it has gone, as an unplugged
 * one does. */
#define _GNU_SOURCE
#include <AL/alc.h>
#include <AL/alext.h>
#include <dlfcn.h>
#include <stdlib.h>
#include <time.h>

static double Now(void) {
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return (double)now.tv_sec + (double)now.tv_nsec / 1e9;
}

void alcGetIntegerv(ALCdevice* device, ALCenum name, ALCsizei size, ALCint* values) {
    static double first;
    union {
        void* address;
        LPALCGETINTEGERV call;
    } real = {dlsym(RTLD_NEXT, "alcGetIntegerv")};
    const char* delay = getenv("KQ_UNPLUG_AFTER");
    real.call(device, name, size, values);
    if (first == 0)
        first = Now();
    if (name == ALC_CONNECTED && delay && Now() - first > atof(delay))
        *values = ALC_FALSE;
}
