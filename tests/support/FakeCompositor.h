/// @file
#pragma once

#include "Files.h"

#include <wayland-server-core.h>

#include <functional>
#include <string>
#include <thread>
#include <vector>

namespace kqtest {

/// A Wayland compositor that offers what a test says, takes every request and shows nothing. While it lives
/// XDG_RUNTIME_DIR and WAYLAND_DISPLAY name it.
class FakeCompositor {
public:
    /// Called on the compositor's thread with what was requested, and the object that was made for it or
    /// null.
    using OnRequest = std::function<void(const std::string& request, wl_resource* made)>;

    /// @param offered interfaces, each in its latest version
    explicit FakeCompositor(const std::vector<const wl_interface*>& offered, OnRequest onRequest = {});
    ~FakeCompositor();
    FakeCompositor(const FakeCompositor&) = delete;
    FakeCompositor& operator=(const FakeCompositor&) = delete;

    std::string RuntimeFolder() const { return m_folder / ""; }
    static constexpr const char* socket = "kqfake-0"; ///< what WAYLAND_DISPLAY says

private:
    struct Global {
        FakeCompositor* compositor;
        const wl_interface* interface;
    };

    void Adopt(wl_resource* resource);
    static int Dispatch(const void* self, void* target, std::uint32_t opcode, const wl_message* message,
                        wl_argument* arguments);

    kq::test::TemporaryFolder m_folder;
    OnRequest m_onRequest;
    std::vector<Global> m_globals;
    wl_display* m_display;
    int m_end; ///< readable when the thread is to end
    wl_event_source* m_ending = nullptr;
    std::thread m_thread;
};

} // namespace kqtest
