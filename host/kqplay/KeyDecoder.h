/// @file
/// What a terminal sends for its keys.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace kqplay {

/// Tells keys apart in what a terminal sends: characters, and the sequences of arrow keys and the like, which
/// begin with Esc. Such a sequence may come in pieces; an Esc that nothing follows for a while is the key
/// itself.
class KeyDecoder {
public:
    /// How long an Esc waits for the rest of a sequence, in seconds.
    static constexpr double patience = 0.05;

    /// @param typed what came; may be empty
    /// @param now seconds of a monotonic clock
    /// @return the keys that are complete, by their codes (see Keys.h); 0 for one that has none
    std::vector<int> Take(std::string_view typed, double now);
    /// @return true while the beginning of a sequence waits for its rest
    bool IsWaiting() const { return !m_rest.empty(); }

private:
    std::string m_rest;
    double m_since = 0;
};

} // namespace kqplay
