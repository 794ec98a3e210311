/// @file
/// A general-purpose player, asked for the same movements.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

namespace bench {

/// mpv with its software output, paused at the begin of a file without sound, driven through its JSON socket.
/// DISPLAY names the X server.
class OtherPlayer {
public:
    /// @throw std::runtime_error when it cannot be run, or does not answer
    explicit OtherPlayer(const std::string& file);
    ~OtherPlayer();
    OtherPlayer(const OtherPlayer&) = delete;
    OtherPlayer& operator=(const OtherPlayer&) = delete;

    /// Seeks exactly. @return the milliseconds from the command until it plays again from there, or none when
    /// the picture reached is another one
    /// @param seconds begin of a picture
    /// @param period seconds that a picture lasts
    std::optional<double> Seek(double seconds, double period);

    /// @return the milliseconds from the command until it shows the picture before
    double StepBack();

private:
    double Await(const std::string& command);
    void Start(const std::string& file, const std::string& path);
    void Connect(const std::string& path);
    void WaitForPicture();
    std::optional<double> Position();
    void Send(const std::string& command) const;
    std::string WaitFor(const std::string& text);
    bool Receive();

    pid_t m_process = -1;
    int m_socket = -1;
    std::string m_received; ///< and not yet read
};

} // namespace bench
