/// @file
/// A real player that runs in simulated time on scripted streams, a scripted sound and a scripted host.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace kq::test {

/// What came of one script.
struct SimulationResult {
    std::vector<std::string> faults; ///< rules that were broken; empty: all held
    std::string script;              ///< what was played and called, a line each, with the times
    double seconds = 0;              ///< of simulated time
    int pictures = 0;                ///< presented
};

/// Plays the random script of a seed and checks after every step: each picture of a stretch once and in
/// order, positions that rise between seeks and fit the pictures, no picture before its time and none later
/// than the clock allows, a bounded number of pictures in any 100 ms, every seek settled, a run that ends
/// when it should and only then. The same seed gives the same history. A script that hangs prints itself and
/// ends the process.
SimulationResult Simulate(std::uint64_t seed);

} // namespace kq::test
