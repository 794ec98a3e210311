/// @file
/// kqplay --doctor: what a maintainer would ask for, and what is wrong in plain words.
#pragma once

#include "Options.h"

namespace kqplay {

/// Prints versions, libraries, display and sound device, plays a second of picture and sound, and tells what
/// is wrong and what to do about it. Works without a display, a sound device and the view library.
/// @param options `headless` and the audio target say what the self-test plays on
/// @return ExitPlayed when nothing is broken, ExitFailed otherwise
ExitStatus RunDoctor(const Options& options);

} // namespace kqplay
