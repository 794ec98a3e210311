/// @file
/// One run of the program, from the command line to the exit status: Opening.h opens what it needs,
/// EventLoop.h waits for what happens, and Transport.h drives the player.
#pragma once

#include "PlaybackParts.h"

#include <string>

namespace kqplay {

/// Everything between the command line and the exit status, on the main thread.
class Session {
public:
    explicit Session(const Options& options) : m_parts(options) {}

    /// Plays. @return the exit status; errors have been printed
    int Run();

private:
    int DrawContactSheet();
    bool OpenForSheet(const kq::streams::OpenOptions& how, std::string& error);

    PlaybackParts m_parts;
};

} // namespace kqplay
