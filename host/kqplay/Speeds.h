/// @file
/// The speeds of play, and the steps by which keys change them.
#pragma once

#include <string>

namespace kqplay {

/// A speed is 1 for normal play, and below 0 for play backwards.
struct Speeds {
    static constexpr double slowest = 0.1;
    static constexpr double fastest = 8;
    static constexpr double fastestBack = 4;

    /// @return the nearest speed that can be played, in the same direction
    static double Playable(double speed);
    /// @return the speed after a change by a factor; one that is all but normal becomes normal
    static double Changed(double speed, double factor);
    /// @return what the shuttle key for a direction leads to: that direction's next higher speed, or its
    ///         first one when play goes the other way
    /// @param speed     0 while paused
    /// @param direction 1 or -1
    static double Shuttled(double speed, int direction);
    /// @return "0.5x"
    static std::string Format(double speed);
};

} // namespace kqplay
