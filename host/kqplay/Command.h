/// @file
/// What the user can ask for while a file plays.
#pragma once

namespace kqplay {

enum class Command {
    None,
    TogglePause, ///< pause, resume, or play again after a stop
    Stop,
    Quit,
    Back,         ///< 5 s
    Ahead,        ///< 5 s
    FarBack,      ///< a minute
    FarAhead,     ///< a minute
    ToBegin,      ///< of the play range
    ToEnd,        ///< the last picture
    StepForward,  ///< one frame
    StepBackward, ///< one frame
    NextDifference,
    PreviousDifference,
    Screenshot,
    ToggleFullScreen,
    ZoomActual,   ///< 100 %
    ZoomDouble,   ///< 200 %
    ZoomFourfold, ///< 400 %
    ZoomFit,      ///< the whole picture
    TogglePixel,  ///< values under the pointer
    Quieter,
    Louder,
    ToggleMute,
    Slower,       ///< by 10 %
    Faster,       ///< by 10 %
    HalfSpeed,    ///< of the present one
    DoubleSpeed,  ///< of the present one
    NormalSpeed,  ///< forward
    ShuttleBack,  ///< backwards, faster each time
    ShuttlePause, ///< stays paused
    ShuttleAhead, ///< forward, faster each time
    ToggleLoop,
    MarkBegin,  ///< of the loop
    MarkEnd,    ///< of the loop
    ClearMarks, ///< of the loop
    GoTo,       ///< a place that is typed
    NextInfo,   ///< on the pictures: none, short, full
    NextScope,  ///< none, or one of the scopes
    NextLayout, ///< of two files
    Flip,       ///< the other file in place of the first, or the first again
    ShiftOn,    ///< the other file by a picture
    ShiftBack,
    ShiftFarOn, ///< by ten
    ShiftFarBack,
    Align,             ///< find the offset
    NextFile,          ///< to stand beside the first
    ChooseFile,        ///< the one that the key says
    AmplifyDifference, ///< twice as much
    ToggleDifferencePlanes,
    ToggleSound, ///< of the first file, or of the other
    NextTrack,   ///< of the file's sounds
    NextInList,  ///< the next file to play
    PreviousInList,
    ShowFacts,
    ShowKeys,
};

} // namespace kqplay
