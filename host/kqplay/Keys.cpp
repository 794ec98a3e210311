#include "Keys.h"

#include <algorithm>

namespace kqplay {
namespace {

std::string KeyName(int key) {
    if (key >= KeyFile1 && key <= KeyFile9) {
        return "F" + std::to_string(key - KeyFile1 + 1);
    }
    switch (key) {
    case KeyTab:
        return "Tab";
    case KeyControlPlus:
        return "Ctrl +";
    case KeyControlMinus:
        return "Ctrl -";
    case ' ':
        return "space";
    case KeyBackspace:
        return "Backspace";
    case KeyEscape:
        return "Esc";
    case KeyLeft:
        return "Left";
    case KeyRight:
        return "Right";
    case KeyUp:
        return "Up";
    case KeyDown:
        return "Down";
    case KeyHome:
        return "Home";
    case KeyEnd:
        return "End";
    default:
        return {static_cast<char>(key)};
    }
}

/// @return null for a key that does nothing
const KeyAction* ActionOfKey(int key) {
    for (const KeyAction& action : KeyActions()) {
        if (std::find(action.keys.begin(), action.keys.end(), key) != action.keys.end()) {
            return &action;
        }
    }
    return nullptr;
}

} // namespace

const std::vector<KeyAction>& KeyActions() {
    static const std::vector<KeyAction> actions = {
        {{' '}, Command::TogglePause, "Pause, resume, and play again after a stop"},
        {{KeyLeft}, Command::Back, "5 s back", true},
        {{KeyRight}, Command::Ahead, "5 s ahead", true},
        {{KeyDown}, Command::FarBack, "1 min back", true},
        {{KeyUp}, Command::FarAhead, "1 min ahead", true},
        {{KeyHome}, Command::ToBegin, "The first picture"},
        {{KeyEnd}, Command::ToEnd, "The last picture"},
        {{','}, Command::StepBackward, "One frame back; pauses first", true},
        {{'.'}, Command::StepForward, "One frame ahead; pauses first", true},
        {{'n'},
         Command::NextDifference,
         "The next pair of pictures that differs, with --compare; pauses first"},
        {{'N'}, Command::PreviousDifference, "The pair before that differs; pauses first"},
        {{'g'}, Command::GoTo, "Go to a time or frame: 1:23.5 or #1234, then Enter"},
        {{'j'}, Command::ShuttleBack, "Play backwards; again: twice as fast, and 4 times"},
        {{'k'}, Command::ShuttlePause, "Pause"},
        {{'l'}, Command::ShuttleAhead, "Play forward; again: twice as fast, 4 and 8 times"},
        {{'['}, Command::Slower, "10 % slower", true},
        {{']'}, Command::Faster, "10 % faster", true},
        {{'{'}, Command::HalfSpeed, "Half the speed"},
        {{'}'}, Command::DoubleSpeed, "Double the speed"},
        {{KeyBackspace}, Command::NormalSpeed, "Normal speed, forward"},
        {{'L'}, Command::ToggleLoop, "Loop on, off"},
        {{'I'}, Command::MarkBegin, "Loop, beginning with the picture on show"},
        {{'O'}, Command::MarkEnd, "Loop, ending with the picture on show"},
        {{'U'}, Command::ClearMarks, "Forget the loop's begin and end"},
        {{'v'}, Command::NextLayout, "Two files: side, stack, wipe, flip, difference in turn"},
        {{KeyTab},
         Command::Flip,
         "Flip: the other file while it is pressed; in a terminal, until pressed again"},
        {{KeyFile1, KeyFile1 + 1, KeyFile1 + 2, KeyFile1 + 3, KeyFile1 + 4, KeyFile1 + 5, KeyFile1 + 6,
          KeyFile1 + 7, KeyFile9},
         Command::ChooseFile,
         "Compare with the file of that number; so do Alt-1 to Alt-9"},
        {{'c'}, Command::NextFile, "Compare with the next file"},
        {{'+', '='}, Command::ShiftOn, "The other file one picture on", true},
        {{'-'}, Command::ShiftBack, "The other file one picture back", true},
        {{KeyControlPlus}, Command::ShiftFarOn, "The other file ten pictures on", true},
        {{KeyControlMinus}, Command::ShiftFarBack, "The other file ten pictures back", true},
        {{'>'}, Command::NextInList, "The next of several files; with --compare, the other ten pictures on"},
        {{'<'}, Command::PreviousInList, "The file before; with --compare, the other ten pictures back"},
        {{'A'}, Command::Align, "Find how far the other file is shifted, and shift it back"},
        {{'d'}, Command::AmplifyDifference, "Differences twice as bright; after 64 times as they are"},
        {{'D'}, Command::ToggleDifferencePlanes, "Differences of luma, or of luma and chroma"},
        {{'a'}, Command::ToggleSound, "Hear the other file, or the first again"},
        {{'#'}, Command::NextTrack, "The next sound track of the file, at the same place"},
        {{'s'}, Command::Screenshot, "Save a screenshot in the current folder"},
        {{'S'}, Command::Stop, "Stop: the window turns black"},
        {{'9'}, Command::Quieter, "Quieter, by 5 %", true},
        {{'0'}, Command::Louder, "Louder, by 5 %", true},
        {{'m'}, Command::ToggleMute, "Mute on, off"},
        {{'f'}, Command::ToggleFullScreen, "Full screen on, off"},
        {{'1'}, Command::ZoomActual, "Zoom to 100 %, a pixel of the picture on each of the window"},
        {{'2'}, Command::ZoomDouble, "Zoom to 200 %"},
        {{'4'}, Command::ZoomFourfold, "Zoom to 400 %"},
        {{'z'}, Command::ZoomFit, "Fit the pictures to the window again"},
        {{'p'}, Command::TogglePixel, "Values of the pixel under the pointer while paused, on, off"},
        {{'o'}, Command::NextInfo, "Information on the picture: none, short, full"},
        {{'w'}, Command::NextScope, "Scope: none, waveform, vectorscope, histogram"},
        {{'i'}, Command::ShowFacts, "Print what the file holds, and how its pictures are read"},
        {{'h'}, Command::ShowKeys, "Print these keys"},
        {{'q', KeyEscape}, Command::Quit, "Quit"},
    };
    return actions;
}

Command CommandOfKey(int key) {
    const KeyAction* const action = ActionOfKey(key);
    return action != nullptr ? action->command : Command::None;
}

bool IsRepeated(int key) {
    const KeyAction* const action = ActionOfKey(key);
    return action == nullptr || action->isRepeated;
}

std::string KeyNames(const KeyAction& action, std::string_view quote) {
    std::string names;
    for (int key : action.keys) {
        names.append(names.empty() ? "" : ", ").append(quote).append(KeyName(key)).append(quote);
    }
    return names;
}

std::string DescribeKeys() {
    constexpr std::size_t column = 10;
    std::string text;
    for (const KeyAction& action : KeyActions()) {
        std::string names = KeyNames(action);
        names.resize(std::max(column, names.size() + 2), ' ');
        text += "  " + names + action.help + "\n";
    }
    return text;
}

} // namespace kqplay
