/// @file
/// Measuring and verifying files instead of playing them.
#pragma once

#include "PlaybackParts.h"

namespace kqplay {

/// Measures the file, against the one beside it if there is one: report, summary, sheet of the worst pairs.
/// SIGINT and its like end it with what has been measured.
/// @return the exit status; errors have been printed
int MeasureFiles(PlaybackParts& parts);

/// Moves about in the file at random and tells what was wrong.
/// @return the exit status; errors have been printed
int VerifyFile(PlaybackParts& parts);

} // namespace kqplay
