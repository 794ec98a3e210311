#include "ViewLibrary.h"

#include <kqplayer/view_library.h>

#include <dlfcn.h>

namespace kqplay {

ViewLibrary::ViewLibrary() {
    for (const std::string& folder : kq::ViewLibraryFolders()) {
        const std::string path = folder + kq::ViewLibraryName;
        m_library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
        if (m_library) {
            m_path = path;
            return;
        }
        m_loadError += (m_loadError.empty() ? "" : "; ") + std::string(dlerror());
    }
}

ViewLibrary::~ViewLibrary() {
    if (!m_library) {
        return;
    }
    SetPictureSink(nullptr, nullptr);
    dlclose(m_library);
}

std::string ViewLibrary::LackingFunction() const {
    for (const char* name : kq::ViewLibraryFunctions()) {
        if (m_library && !dlsym(m_library, name)) {
            return name;
        }
    }
    return {};
}

bool ViewLibrary::SetPictureSink(PVPictureSink sink, void* userData, bool readsPixels) {
    void* function = m_library && !readsPixels ? dlsym(m_library, "PVSetPictureWatch") : nullptr;
    if (m_library && !function) {
        function = dlsym(m_library, "PVSetPictureSink");
    }
    if (!function) {
        return false;
    }
    reinterpret_cast<decltype(&PVSetPictureSink)>(function)(nullptr, sink, userData);
    return true;
}

std::string ViewLibrary::WhyNoView() const {
    if (!m_library) {
        return m_loadError;
    }
    const std::string lacking = LackingFunction();
    return lacking.empty() ? m_path + " refuses the window" : m_path + " has no function " + lacking;
}

} // namespace kqplay
