/// @file
/// How play time and the file's time belong together. Nothing but arithmetic.
#pragma once

#include "Handles.h"

#include <cstdint>
#include <deque>
#include <limits>

namespace kq::streams {

/// The part of a file that is played, and how often.
struct PlayRange {
    static constexpr Ticks open = std::numeric_limits<Ticks>::max();

    Ticks begin = 0;
    Ticks end = open; ///< open: the end of the file, wherever that turns out to be
    int rounds = 1;   ///< 0: for ever; anything but 1 needs an end that is not open

    Ticks Length() const { return end - begin; }
    bool Repeats() const { return rounds != 1; }
    bool operator==(const PlayRange& other) const {
        return begin == other.begin && end == other.end && rounds == other.rounds;
    }
};

/// A stretch of play time in which rate and range stay the same. Round 0 is the one that the stretch begins
/// in; each later one plays the whole range.
struct Stretch {
    Ticks play = 0;  ///< play time of its begin
    Ticks media = 0; ///< time in the file there, within the range
    double rate = 1; ///< not 0; below 0 backwards
    PlayRange range; ///< with the rounds that are left

    bool operator==(const Stretch& other) const {
        return play == other.play && media == other.media && rate == other.rate && range == other.range;
    }
    bool IsForward() const { return rate > 0; }
    /// @return the time in the file; at the end of the last round it stands still
    /// @param round receives the round, unless it is null
    Ticks MediaAt(Ticks playTime, std::int64_t* round = nullptr) const;
    /// @return the play time at which a time in the file is reached in a round
    Ticks PlayAt(Ticks mediaTime, std::int64_t round) const;
    /// @return the number of rounds that it plays, PlayRange::open for ever
    std::int64_t Rounds() const;
    /// @return the play time at which the last round ends, PlayRange::open for never or unknown
    Ticks End() const;
};

/// The stretches of a play time that only rises. A seek begins anew with a play time that equals the time in
/// the file; changes of rate and range keep what was before them, so that it can be asked for while it is
/// still heard and seen.
class Schedule {
public:
    /// Begins anew at a time in the file, moved into the range.
    /// @return that time, which is the play time there too
    Ticks Restart(Ticks time);
    /// Changes rate or range from a play time on, not before the last stretch. A place outside of a new range
    /// becomes the range's begin (forwards) or end (backwards), and its rounds begin; with the same range as
    /// before, rounds that were played stay played.
    void Change(Ticks playTime, double rate, const PlayRange& range);

    const Stretch& First() const { return m_stretches.front(); }
    const Stretch& Last() const { return m_stretches.back(); }
    /// @return the range as it was set
    const PlayRange& Range() const { return m_range; }
    Ticks MediaAt(Ticks playTime) const { return StretchAt(playTime).MediaAt(playTime); }
    /// @return the stretch that holds a play time
    const Stretch& StretchAt(Ticks playTime) const;
    /// @return the play time at which the next stretch begins, PlayRange::open after the last one
    Ticks NextChange(Ticks playTime) const;

private:
    std::size_t IndexAt(Ticks playTime) const;

    PlayRange m_range;
    std::deque<Stretch> m_stretches{Stretch{}};
};

} // namespace kq::streams
