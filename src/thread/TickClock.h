/// @file
/// The wall clock of the component.
#pragma once

#include <cstdint>

/// Milliseconds of a monotonic clock that moves in ticks of 10 ms; it wraps after 49.7 days, so only
/// differences in unsigned arithmetic count.
std::uint32_t TickClockMs();
