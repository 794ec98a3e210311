/// @file
/// A place in the file that the user types.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace kqplay {

/// A place as it was typed.
struct SoughtPlace {
    double seconds = 0;      ///< in the file, unless there is a frame
    std::int64_t frame = -1; ///< number of a picture, counted from 0
};

/// @param text "83.5", "1:23.5" or "1:02:03" for a time, "#1234" for a picture's number
/// @return nothing for anything else
std::optional<SoughtPlace> ReadPlace(const std::string& text);

/// @return seconds of a time as ReadPlace() takes it, nothing for anything else
std::optional<double> ReadTime(const std::string& text);

/// The line in which a place is typed, key by key.
class TypedPlace {
public:
    enum class Typing { Goes, Done, Left };

    bool IsOpen() const { return m_open; }
    const std::string& Text() const { return m_text; }
    void Open();
    /// Takes a key while it is open; Enter and Escape close it, and Backspace where nothing is typed.
    /// @return Done after Enter: the text is complete
    Typing Take(int key);

private:
    bool m_open = false;
    std::string m_text;
};

} // namespace kqplay
