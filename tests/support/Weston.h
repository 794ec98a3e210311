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
    enum class Input {
        All,
        /// No keyboard, and no pointer either: its picture lies above the windows, and becomes that of a busy
        /// window when one has not answered for ten seconds.
        None
    };

    /// Starts both and waits until they can be used.
    /// @param scale pixels of the screen per unit
    /// @throw std::runtime_error when one does not start
    explicit Weston(int scale = 1, Input input = Input::All);
    ~Weston();
    Weston(const Weston&) = delete;
    Weston& operator=(const Weston&) = delete;

    /// The X server, whose screen has the size below and the colour behind all windows.
    Xvfb& Screen() { return m_screen; }
    static constexpr int width = 1024;
    static constexpr int height = 768;
    static constexpr std::uint32_t background = 0x305070;

    std::string RuntimeFolder() const { return m_folder / ""; }
    static constexpr const char* socket = "kqtest-0"; ///< what WAYLAND_DISPLAY says
    pid_t Id() const { return m_pid; }                ///< of the compositor
    /// Ends the compositor without a word to its clients, as if it had crashed.
    void Stop();

private:
    Xvfb m_screen{{"-screen", "0", "1024x768x24"}};
    kq::test::TemporaryFolder m_folder;
    std::FILE* m_output = nullptr; ///< what it writes
    pid_t m_pid = -1;
};

} // namespace kqtest
