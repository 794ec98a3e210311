#include "OtherPlayer.h"

#include <bench/playback/Measured.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <thread>

namespace bench {
namespace {

using Clock = std::chrono::steady_clock;

/// For an answer.
constexpr int patienceMilliseconds = 10000;

} // namespace

OtherPlayer::OtherPlayer(const std::string& file) {
    const std::string path = Scratch("other-player.socket");
    unlink(path.c_str());
    try {
        Start(file, path);
        Connect(path);
        WaitForPicture();
    } catch (...) {
        kill(m_process, SIGKILL);
        waitpid(m_process, nullptr, 0);
        throw;
    }
}

OtherPlayer::~OtherPlayer() {
    close(m_socket);
    kill(m_process, SIGTERM);
    waitpid(m_process, nullptr, 0);
}

void OtherPlayer::Start(const std::string& file, const std::string& path) {
    m_process = Begin({"mpv", "--no-config", "--pause", "--vo=x11", "--no-audio", "--hwdec=no",
                       "--keep-open=yes", "--input-ipc-server=" + path, file});
}

void OtherPlayer::Connect(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) {
        throw std::runtime_error(path + ": too long for a socket");
    }
    std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
    m_socket = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const auto limit = Clock::now() + std::chrono::milliseconds(patienceMilliseconds);
    while (connect(m_socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        if (Clock::now() > limit) {
            throw std::runtime_error("mpv offers no socket");
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

/// Waits until the first picture is there.
void OtherPlayer::WaitForPicture() {
    const auto limit = Clock::now() + std::chrono::milliseconds(patienceMilliseconds);
    while (!Position()) {
        if (Clock::now() > limit) {
            throw std::runtime_error("mpv shows no picture");
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
}

/// @return seconds in the file; none without a picture
std::optional<double> OtherPlayer::Position() {
    Send(R"({"command":["get_property","time-pos"],"request_id":7})");
    const std::string answer = WaitFor(R"("request_id":7)");
    const std::size_t data = answer.find(R"("data":)");
    if (data == std::string::npos) {
        return std::nullopt;
    }
    return std::atof(answer.c_str() + data + std::strlen(R"("data":)"));
}

std::optional<double> OtherPlayer::Seek(double seconds, double period) {
    // It goes to the first picture that begins at or after a place; rounding must not take the next one.
    const std::string place = std::to_string(seconds - period / 4);
    const double milliseconds = Await(R"({"command":["seek",)" + place + R"(,"absolute+exact"]})");
    const std::optional<double> reached = Position();
    const bool isThere = reached && std::abs(*reached - seconds) < period / 2;
    return isThere ? std::optional(milliseconds) : std::nullopt;
}

double OtherPlayer::StepBack() {
    return Await(R"({"command":["frame-back-step"]})");
}

/// @return milliseconds until what a command leads to is on show
double OtherPlayer::Await(const std::string& command) {
    const auto start = Clock::now();
    Send(command);
    WaitFor(R"("event":"seek")"); // what began before ends without being waited for
    WaitFor(R"("event":"playback-restart")");
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

void OtherPlayer::Send(const std::string& command) const {
    const std::string line = command + "\n";
    if (write(m_socket, line.data(), line.size()) != static_cast<ssize_t>(line.size())) {
        throw std::runtime_error("mpv has gone");
    }
}

/// @return the first line that holds a text
std::string OtherPlayer::WaitFor(const std::string& text) {
    for (;;) {
        const std::size_t end = m_received.find('\n');
        if (end != std::string::npos) {
            const std::string line = m_received.substr(0, end);
            m_received.erase(0, end + 1);
            if (line.find(text) != std::string::npos) {
                return line;
            }
        } else if (!Receive()) {
            throw std::runtime_error("mpv does not answer");
        }
    }
}

bool OtherPlayer::Receive() {
    pollfd readable{m_socket, POLLIN, 0};
    char bytes[4096];
    if (poll(&readable, 1, patienceMilliseconds) != 1) {
        return false;
    }
    const ssize_t count = read(m_socket, bytes, sizeof bytes);
    m_received.append(bytes, count > 0 ? static_cast<std::size_t>(count) : 0);
    return count > 0;
}

} // namespace bench
