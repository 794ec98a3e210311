/// @file
/// Keys for the files beside the first.
#pragma once

#include "Command.h"
#include "PlaybackParts.h"
#include "Transport.h"

#include <compare/Alignment.h>

#include <atomic>
#include <future>
#include <optional>
#include <string>

namespace kqplay {

/// Changes what stands beside the first file, and how, and has it drawn. The main thread's.
class CompareControl {
public:
    /// @param parts opened; both stay the caller's
    CompareControl(PlaybackParts& parts, Transport& transport) : m_parts(parts), m_transport(transport) {}
    ~CompareControl();
    CompareControl(const CompareControl&) = delete;
    CompareControl& operator=(const CompareControl&) = delete;

    /// @param key that gave the command
    /// @return what has become of it, for people; nothing for a command that is not about comparing
    std::optional<std::string> Obey(Command command, int key);
    /// To be called often: follows the key that is held, and takes an offset that was found.
    /// @return a note for people, if there is something new
    std::optional<std::string> Follow();

private:
    std::string Carry(Command command, int key);
    std::string SetLayout(Layout layout);
    std::string Choose(std::size_t number);
    std::string Shift(int pictures);
    std::string BeginToAlign();
    std::optional<std::string> TakeAlignment();

    PlaybackParts& m_parts;
    Transport& m_transport;
    bool m_isFlipped = false; ///< by the terminal's key, which tells nothing of its release
    std::future<kq::compare::Outcome> m_search;
    std::atomic<bool> m_isCancelled{false};
    std::size_t m_searched = 0; ///< file whose offset is looked for
};

/// Finds the offsets that the command line asks for, before play.
void AlignFiles(PlaybackParts& parts);

} // namespace kqplay
