#include "ViewLibrary.h"

#include <dlfcn.h>

#include <filesystem>

namespace kqplay {
namespace {

/// What the component requires of the library.
constexpr const char* requiredFunctions[] = {
    "PVCreatePlayerView", "PVDestroyPlayerView",
    "PVSetCropMode",      "PVSetMaskMode",
    "PVSetCallbackWnd",   "PVSetCropRect",
    "PVGetCropRect",      "PVSetDisplayResizeMode",
    "PVSetDisplayScale",  "PVUpdate",
    "PVGetHwnd",          "PVShowRGB32Image",
};

} // namespace

ViewLibrary::ViewLibrary() {
    std::error_code failure;
    m_path =
        (std::filesystem::read_symlink("/proc/self/exe", failure).parent_path() / "PlayerView.so").string();
    m_library = dlopen(m_path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!m_library)
        m_loadError = dlerror();
}

ViewLibrary::~ViewLibrary() {
    if (!m_library)
        return;
    SetPictureSink(nullptr, nullptr);
    dlclose(m_library);
}

bool ViewLibrary::SetPictureSink(PVPictureSink sink, void* userData) {
    void* function = m_library ? dlsym(m_library, "PVSetPictureSink") : nullptr;
    if (!function)
        return false;
    reinterpret_cast<decltype(&PVSetPictureSink)>(function)(nullptr, sink, userData);
    return true;
}

std::string ViewLibrary::WhyNoView() const {
    if (!m_library)
        return m_loadError;
    for (const char* name : requiredFunctions) {
        if (!dlsym(m_library, name))
            return m_path + " has no function " + name;
    }
    return m_path + " refuses the window";
}

} // namespace kqplay
