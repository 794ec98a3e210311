/// @file
/// The one line that tells how play goes on.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace kqplay {

/// What the line shows.
struct Progress {
    const char* state = "";  ///< "playing", "paused", "stopped"
    double position = 0;     ///< seconds in the file
    double length = 0;       ///< seconds; 0 for unknown
    std::optional<int> late; ///< frames that came late; none when nobody counts
    std::string note = {};   ///< what a key has just changed, or empty
    std::int64_t frame = -1; ///< number of the picture on show; -1 for none or unknown
    double frameTime = 0;    ///< its begin, seconds in the file
    double frameRate = 0;    ///< of the file, pictures per second
    double speed = 1;        ///< below 0 backwards
    std::string pixel = {};  ///< values of a pixel, which take the line's room, or empty
    std::string beside = {}; ///< of the file beside it, or empty
};

/// Draws the line in place on a terminal; elsewhere only the last line is written.
class ProgressLine {
public:
    /// @param screen descriptor to write to; it stays the caller's
    /// @param busy other lines come all the time, so that only the last one is written
    ProgressLine(int screen, bool busy);
    /// Draws the line again if it has changed.
    void Show(const Progress& progress);
    /// Draws a bar for work of which @p done of @p all parts are done.
    void ShowBar(const std::string& what, int done, int all);
    /// Removes the line, so that something else can be written.
    void Clear();
    /// Writes the last line, which stays.
    void Finish(const Progress& progress);

private:
    void Draw(std::string text);
    void Write(const std::string& text) const;

    int m_screen;
    bool m_live;
    std::string m_shown;
};

/// @return how many columns the terminal behind a descriptor has; 80 without one
std::size_t TerminalColumns(int screen);
/// @return "1:02.50", "1:00:02.50" from an hour on
std::string FormatTime(double seconds);
/// @return "00:01:02:12": hours, minutes, seconds, and the picture's number within the second
std::string FormatTimeCode(double seconds, double frameRate);
/// @param pictures by which a file is shifted @return "+3", "-3", "0"
std::string FormatOffset(std::int64_t pictures);
/// @return "playing  0:01.20 / 0:08.00  #30  00:00:01:05  0.5x  offset +3  2 late frames"
std::string FormatProgress(const Progress& progress);

} // namespace kqplay
