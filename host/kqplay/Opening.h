/// @file
/// Opening everything that a run of the program needs.
#pragma once

#include "PlaybackParts.h"

namespace kqplay {

/// Opens the log and the trace, and makes the progress line: the first step of every run.
/// @return false when that fails, which has been printed
bool OpenLogAndTrace(PlaybackParts& parts);

/// Opens the file, what is shown beside it, sound, player and views, and writes the captures that were asked
/// for. After OpenLogAndTrace(). Without a sound device or a display that can be done without, a line says
/// so.
/// @return false when something fails, which has been printed
bool OpenPlayback(PlaybackParts& parts);

} // namespace kqplay
