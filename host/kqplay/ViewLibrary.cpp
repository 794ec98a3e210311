#include "ViewLibrary.h"

#include "LoadedLibraries.h"

#include <dlfcn.h>

#include <filesystem>

namespace fs = std::filesystem;

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

std::vector<std::string> ViewLibrary::Folders() {
    std::error_code failure;
    std::vector<std::string> folders = {
        fs::read_symlink("/proc/self/exe", failure).parent_path().string(),
        fs::path(PathOfLoaded("libKQPlayer.so")).parent_path().string(),
    };
    if (folders[0] == folders[1])
        folders.pop_back();
    return folders;
}

ViewLibrary::ViewLibrary() {
    for (const std::string& folder : Folders()) {
        const std::string path = folder + "/PlayerView.so";
        m_library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
        if (m_library) {
            m_path = path;
            return;
        }
        m_loadError += (m_loadError.empty() ? "" : "; ") + std::string(dlerror());
    }
}

ViewLibrary::~ViewLibrary() {
    if (!m_library)
        return;
    SetPictureSink(nullptr, nullptr);
    dlclose(m_library);
}

std::string ViewLibrary::LackingFunction() const {
    for (const char* name : requiredFunctions) {
        if (m_library && !dlsym(m_library, name))
            return name;
    }
    return {};
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
    const std::string lacking = LackingFunction();
    return lacking.empty() ? m_path + " refuses the window" : m_path + " has no function " + lacking;
}

} // namespace kqplay
