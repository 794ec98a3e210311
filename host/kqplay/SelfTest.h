/// @file
/// One second of play through the component, with streams that need no file.
#pragma once

#include "ViewLibrary.h"

#include <string>

namespace kqplay {

/// What a self-test has seen.
struct SelfTestResult {
    std::string failure; ///< why nothing could be played, or empty
    bool inWindow = false;
    bool ended = false;    ///< the run came to its end by itself
    bool watched = false;  ///< the view library handed out the pictures; what follows up to worstLate counts
    int due = 0;           ///< pictures that belong into the second
    int shown = 0;         ///< of these, shown whole and in order
    double medianLate = 0; ///< seconds after the most punctual picture
    double worstLate = 0;
    int samplesTaken = 0; ///< sample frames that the sound player has taken from the stream
    double moved = 0;     ///< seconds by which the reported position moved
    double passed = 0;    ///< seconds that passed meanwhile
};

/// Plays a bar that moves, at 50 pictures a second, and a soft tone, for a second.
/// @param views where the pictures are watched
/// @param inWindow show them in a window of their own; otherwise off-screen
/// @param sound play the tone too, on the OpenAL context that is current
SelfTestResult RunSelfTest(ViewLibrary& views, bool inWindow, bool sound);

} // namespace kqplay
