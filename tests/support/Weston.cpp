#include "Weston.h"

#include "WaitUntil.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <utility>

namespace kqtest {
namespace {

/// Repaints as soon as the screen, which the X server only imitates, has taken the last one: otherwise it
/// would do so at less than 60 Hz. No panel and no animations: the screen is the windows' and of one colour
/// behind them.
constexpr const char* configuration =
    "[core]\nidle-time=0\nrepaint-window=17\n"
    "[shell]\npanel-position=none\nbackground-color=0xff305070\nlocking=false\n"
    "animation=none\nstartup-animation=none\nclose-animation=none\n";

} // namespace

Weston::Weston(const Settings& settings)
    : m_screen(
          {"-screen", "0", std::to_string(settings.width) + "x" + std::to_string(settings.height) + "x24"}) {
    const std::string config = kq::test::WriteFile(m_folder / "weston.ini", configuration);
    setenv("XDG_RUNTIME_DIR", RuntimeFolder().c_str(), 1);
    setenv("WAYLAND_DISPLAY", socket, 1);
    // The shell becomes the compositor, which dies with the test.
    const std::string command =
        "echo $$; exec setpriv --pdeathsig KILL weston --backend=x11-backend.so --use-pixman --debug "
        "--socket=" +
        std::string(socket) + " --config=" + config +
        " --width=" + std::to_string(settings.width / settings.scale) +
        " --height=" + std::to_string(settings.height / settings.scale) +
        " --scale=" + std::to_string(settings.scale) + (settings.hasInput ? "" : " --no-input") +
        " --log=" + (m_folder / "log") + " </dev/null 2>/dev/null";
    m_output = popen(command.c_str(), "re");
    if (m_output == nullptr || std::fscanf(m_output, "%d", &m_pid) != 1) {
        throw std::runtime_error("weston does not start");
    }
    const auto isReady = [&](const Image& image) {
        return image.width == settings.width && image.At(0, 0) == background &&
               image.At(settings.width - 1, settings.height - 1) == background;
    };
    if (!isReady(m_screen.WaitFor(isReady))) {
        throw std::runtime_error("weston shows nothing: " + kq::test::ReadFile(m_folder / "log"));
    }
    unsetenv("DISPLAY");
}

Weston::~Weston() {
    Stop();
    unsetenv("XDG_RUNTIME_DIR");
    unsetenv("WAYLAND_DISPLAY");
}

void Weston::Stop() {
    if (m_output != nullptr) {
        kill(m_pid, SIGKILL);
        pclose(std::exchange(m_output, nullptr));
    }
}

} // namespace kqtest
