/// @file
/// One run of the program, from the command line to the exit status: Opening.h opens what it needs,
/// EventLoop.h waits for what happens, and Transport.h drives the player.
#pragma once

#include "PlaybackParts.h"

#include <cstddef>
#include <optional>
#include <set>
#include <string>

namespace kqplay {

/// Everything between the command line and the exit status, on the main thread.
class Session {
public:
    explicit Session(const Options& options) : m_lasting(options) {}

    /// Plays. @return the exit status; errors have been printed
    int Run();

private:
    int PlayFiles();
    std::optional<std::size_t> Beside(std::size_t number, int direction) const;
    int End(int status);
    int DrawContactSheet();
    bool OpenForSheet(const kq::streams::OpenOptions& how, std::string& error);

    PlaybackParts& Parts() { return *m_parts; }

    LastingParts m_lasting;
    std::optional<PlaybackParts> m_parts; ///< of the file that is played
    std::set<std::size_t> m_unplayable;   ///< files that could not be opened, by number
};

} // namespace kqplay
