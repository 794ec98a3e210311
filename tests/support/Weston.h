/// @file
#pragma once

#include "Files.h"
#include "Xvfb.h"

#include <string>

namespace kqtest {

/// A Wayland compositor of the test's own that fills the screen of an X server of the test's own: what it
/// shows is seen there, and keys and mouse are given there. While it lives XDG_RUNTIME_DIR and
/// WAYLAND_DISPLAY name it, and DISPLAY is not set.
class Weston {
public:
    struct Settings {
        int width; ///< pixels
        int height;
        int scale; ///< pixels of the screen per unit
        /// Keyboard and pointer. The pointer's picture lies above the windows, and becomes that of a busy one
        /// when a window's program has not answered for ten seconds.
        bool hasInput;
    };

    /// Starts both and waits until they can be used.
    /// @throw std::runtime_error when one does not start
    explicit Weston(const Settings& settings = {1024, 768, 1, true});
    ~Weston();
    Weston(const Weston&) = delete;
    Weston& operator=(const Weston&) = delete;

    /// The X server, whose screen has the colour below behind all windows.
    Xvfb& Screen() { return m_screen; }
    static constexpr std::uint32_t background = 0x305070;

    std::string RuntimeFolder() const { return m_folder / ""; }
    static constexpr const char* socket = "kqtest-0"; ///< what WAYLAND_DISPLAY says
    pid_t Id() const { return m_pid; }                ///< of the compositor
    /// Ends the compositor without a word to its clients, as if it had crashed.
    void Stop();

private:
    Xvfb m_screen;
    kq::test::TemporaryFolder m_folder;
    std::FILE* m_output = nullptr; ///< what it writes
    pid_t m_pid = -1;
};

} // namespace kqtest
