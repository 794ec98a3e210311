/// @file
/// Going from one pair of pictures that differ to the next.
#pragma once

#include "Transport.h"

#include <measure/Differences.h>

#include <optional>
#include <string>
#include <vector>

namespace kqplay {

/// Finds where the file and the one beside it differ, and goes there. The files are measured in the
/// background, at a low priority, from the first search on, because that takes as much processor time as
/// playing them. The main thread's.
class DifferenceSearch {
public:
    /// @param parts,transport stay the caller's
    DifferenceSearch(PlaybackParts& parts, Transport& transport) : m_parts(parts), m_transport(transport) {}

    /// Pauses, and goes to the next pair that differs as soon as it is known.
    /// @param direction 1 or -1
    /// @return a note for people, or an empty one
    std::string Begin(int direction);
    /// To be called often. @return a note for people, empty when there is nothing to tell
    std::string GoOn();
    /// Stays where play is.
    void GiveUp() { m_direction = 0; }
    /// @return where the files differ, as far as they were measured
    std::vector<kq::measure::Differences::Span> Found() const;

private:
    kq::measure::MeasureRequest Request() const;
    void Measure(const kq::measure::MeasureRequest& request);

    PlaybackParts& m_parts;
    Transport& m_transport;
    kq::measure::MeasureRequest m_request; ///< of what is being measured
    std::optional<kq::measure::Differences> m_differences;
    int m_direction = 0; ///< 0: nothing is looked for
    kq::streams::PicturePlace m_from;
};

} // namespace kqplay
