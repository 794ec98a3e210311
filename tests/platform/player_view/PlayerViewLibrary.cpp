#include "PlayerViewLibrary.h"

#include <dlfcn.h>
#include <unistd.h>

#include <climits>
#include <stdexcept>
#include <string>

namespace kqtest {
namespace {

std::string besideThisProgram(const std::string& name) {
    char path[PATH_MAX] = {};
    const ssize_t length = readlink("/proc/self/exe", path, sizeof(path) - 1);
    const std::string program(path, length > 0 ? length : 0);
    return program.substr(0, program.rfind('/') + 1) + name;
}

template <typename Function>
void resolve(void* pLibrary, const char* pName, Function& function) {
    function = reinterpret_cast<Function>(dlsym(pLibrary, pName));
    if (function == nullptr) {
        throw std::runtime_error(std::string("PlayerView.so has no ") + pName);
    }
}

} // namespace

PlayerViewLibrary::PlayerViewLibrary() {
    void* pLibrary = dlopen(besideThisProgram("PlayerView.so").c_str(), RTLD_NOW | RTLD_LOCAL);
    if (pLibrary == nullptr) {
        throw std::runtime_error(dlerror());
    }
    resolve(pLibrary, "PVCreatePlayerView", create);
    resolve(pLibrary, "PVDestroyPlayerView", destroy);
    resolve(pLibrary, "PVSetCropMode", setCropMode);
    resolve(pLibrary, "PVSetMaskMode", setMaskMode);
    resolve(pLibrary, "PVSetCallbackWnd", setCallbackWnd);
    resolve(pLibrary, "PVSetCropRect", setCropRect);
    resolve(pLibrary, "PVGetCropRect", getCropRect);
    resolve(pLibrary, "PVSetDisplayResizeMode", setResizeMode);
    resolve(pLibrary, "PVSetDisplayScale", setDisplayScale);
    resolve(pLibrary, "PVUpdate", update);
    resolve(pLibrary, "PVGetHwnd", getHwnd);
    resolve(pLibrary, "PVShowRGB32Image", show);
    resolve(pLibrary, "PVGetPictureBuffer", lend);
    resolve(pLibrary, "PVSetPictureSink", setSink);
    dlclose(pLibrary); // it stays all the same: event threads may run in it
}

} // namespace kqtest
