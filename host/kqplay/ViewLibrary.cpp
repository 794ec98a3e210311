#include "ViewLibrary.h"

#include <type_traits>
#include <utility>

namespace kqplay {

ViewLibrary::ViewLibrary() : ViewLibrary(kq::OpenViewLibrary()) {}

ViewLibrary::ViewLibrary(kq::OpenedViewLibrary opened)
    : m_library(opened.pHandle), m_path(opened.pHandle ? std::move(opened.path) : std::string()),
      m_loadError(std::move(opened.error)) {}

ViewLibrary::~ViewLibrary() {
    SetPictureSink(nullptr, nullptr);
}

std::string ViewLibrary::LackingFunction() const {
    for (const char* name : kq::ViewLibraryFunctions()) {
        if (!m_path.empty() && !Function<void*>(name)) {
            return name;
        }
    }
    return {};
}

bool ViewLibrary::SetPictureSink(PVPictureSink sink, void* userData, bool readsPixels) {
    using SetSink = decltype(&PVSetPictureSink);
    SetSink function = readsPixels ? nullptr : Function<SetSink>("PVSetPictureWatch");
    if (!function) {
        function = Function<SetSink>("PVSetPictureSink");
    }
    if (!function) {
        return false;
    }
    function(nullptr, sink, userData);
    return true;
}

int& ViewsMade() {
    static int made = 0;
    return made;
}

LibraryView::~LibraryView() {
    if (m_view) {
        m_destroy(m_view);
    }
}

std::unique_ptr<LibraryView> LibraryView::Make(const ViewLibrary& library, void* parent) {
    if (library.Path().empty() || !library.LackingFunction().empty()) {
        return nullptr;
    }
    std::unique_ptr<LibraryView> made(new LibraryView);
    const auto resolve = [&](const char* name, auto& function) {
        function = library.Function<std::decay_t<decltype(function)>>(name);
    };
    resolve("PVDestroyPlayerView", made->m_destroy);
    resolve("PVGetHwnd", made->m_window);
    resolve("PVShowRGB32Image", made->m_show);
    decltype(&PVCreatePlayerView) create = nullptr;
    resolve("PVCreatePlayerView", create);
    VRECT anywhere{0, 0, 1, 1};
    made->m_view = create(parent, &anywhere);
    if (!made->m_view) {
        return nullptr;
    }
    ++ViewsMade();
    return made;
}

std::string ViewLibrary::WhyNoView() const {
    if (m_path.empty()) {
        return m_loadError;
    }
    const std::string lacking = LackingFunction();
    return lacking.empty() ? m_path + " refuses the window" : m_path + " has no function " + lacking;
}

} // namespace kqplay
