/// @file
/// Where the view library, PlayerView.so, is looked for, and what it must have: for the component, and for
/// hosts that talk to the same library (to its picture sinks) or find out why there is no view.
///
/// Header only: what is here is compiled into the host, which links the component.
#pragma once

#include "player_view.h"

#include <dlfcn.h>
#include <unistd.h>

#include <climits>
#include <string>
#include <utility>
#include <vector>

/// Calls @p X with the name of each function that a view library must have, in the order of player_view.h.
#define KQ_VIEW_LIBRARY_FUNCTIONS(X)                                                                         \
    X(PVCreatePlayerView)                                                                                    \
    X(PVDestroyPlayerView)                                                                                   \
    X(PVSetCropMode)                                                                                         \
    X(PVSetMaskMode)                                                                                         \
    X(PVSetCallbackWnd)                                                                                      \
    X(PVSetCropRect)                                                                                         \
    X(PVGetCropRect)                                                                                         \
    X(PVSetDisplayResizeMode)                                                                                \
    X(PVSetDisplayScale)                                                                                     \
    X(PVUpdate)                                                                                              \
    X(PVGetHwnd)                                                                                             \
    X(PVShowRGB32Image)

namespace kq {

/// @cond
#define KQ_NAME_OF(function) #function,
/// @endcond
/// @return the names of the functions that a view library must have
/// @throw std::bad_alloc
inline std::vector<const char*> ViewLibraryFunctions() {
    return {KQ_VIEW_LIBRARY_FUNCTIONS(KQ_NAME_OF)};
}
#undef KQ_NAME_OF

/// The folders in which PlayerView.so is looked for: that of the executable, whose library is a host's own
/// choice, then that of libKQPlayer.so.
/// @return the folders in this order, each with a slash at its end
/// @throw std::bad_alloc
inline std::vector<std::string> ViewLibraryFolders() {
    std::vector<std::string> folders;
    const auto add = [&folders](const std::string& path) {
        const std::string folder = path.substr(0, path.rfind('/') + 1);
        if (!path.empty() && (folders.empty() || folders.back() != folder)) {
            folders.push_back(folder);
        }
    };
    char path[PATH_MAX];
    const ssize_t length = readlink("/proc/self/exe", path, sizeof(path));
    add(std::string(path, length > 0 ? static_cast<std::size_t>(length) : 0));
    Dl_info component{};
    if (dladdr(reinterpret_cast<void*>(&MakeYv12View), &component) != 0 && component.dli_fname != nullptr) {
        add(component.dli_fname);
    }
    return folders;
}

/// The view library's file name.
inline constexpr const char* ViewLibraryName = "PlayerView.so";

/// What OpenViewLibrary() has found.
struct OpenedViewLibrary {
    void* pHandle = nullptr; ///< for dlsym() and, in the end, dlclose(); null for none
    std::string path;        ///< of the library, or of the last one tried
    std::string error;       ///< why those that were tried cannot be loaded
};

/// Opens the view library in the first folder that has one that can be loaded: the component's own.
/// @throw std::bad_alloc
inline OpenedViewLibrary OpenViewLibrary() {
    OpenedViewLibrary library;
    for (const std::string& folder : ViewLibraryFolders()) {
        library.path = folder + ViewLibraryName;
        library.pHandle = dlopen(library.path.c_str(), RTLD_NOW | RTLD_LOCAL);
        if (library.pHandle != nullptr) {
            break;
        }
        library.error += (library.error.empty() ? "" : "; ") + std::string(dlerror());
    }
    return library;
}

/// The view library, kept loaded by a host that calls it.
class LoadedViewLibrary {
public:
    /// None.
    LoadedViewLibrary() = default;
    /// @param pHandle of OpenViewLibrary(), or null; it is closed with the object
    explicit LoadedViewLibrary(void* pHandle) : m_pHandle(pHandle) {}
    ~LoadedViewLibrary() {
        if (m_pHandle != nullptr) {
            dlclose(m_pHandle);
        }
    }
    LoadedViewLibrary(const LoadedViewLibrary&) = delete;
    LoadedViewLibrary& operator=(const LoadedViewLibrary&) = delete;
    /// Takes another one's library over.
    LoadedViewLibrary(LoadedViewLibrary&& other) noexcept
        : m_pHandle(std::exchange(other.m_pHandle, nullptr)) {}
    /// Exchanges the libraries.
    LoadedViewLibrary& operator=(LoadedViewLibrary&& other) noexcept {
        std::swap(m_pHandle, other.m_pHandle);
        return *this;
    }

    /// @tparam F pointer to a function of that type
    /// @return the function of that name, null for none
    template <typename F>
    F Function(const char* pName) const {
        return m_pHandle != nullptr ? reinterpret_cast<F>(dlsym(m_pHandle, pName)) : nullptr;
    }

private:
    void* m_pHandle = nullptr;
};

} // namespace kq
