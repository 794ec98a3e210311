/// @file
/// Single pictures of what plays, written to files: captures and screenshots.
#pragma once

#include "PlaybackParts.h"

namespace kqplay {

/// Writes the captures that the command line asks for. Before playing, so that nothing of it shows in the
/// trace and no picture waits for its time.
/// @return false when one cannot be written, which has been printed
bool TakeCaptures(PlaybackParts& parts);

/// Writes the reference picture, and the second view's own, under names that no file has, and prints these.
/// @return false when the player has no picture; true also for one that cannot be written, which is printed
bool TakeScreenshot(PlaybackParts& parts);

} // namespace kqplay
