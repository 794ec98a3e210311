/// @file
/// Running kqplay on the test clips, and reading its trace.
#pragma once

#include "Process.h"
#include "tests/support/Files.h"

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

namespace kqtest {

using kq::test::TemporaryFolder;
using Strings = std::vector<std::string>;

/// @return path of a test clip
inline std::string Clip(const std::string& name) {
    return std::string(KQPLAY_CLIPS) + "/" + name;
}

/// What a run left in its trace.
struct Trace {
    std::array<Strings, 17> pictures; ///< hashes, by view
    /// Where each picture stands in its file, by view: "7 0.280000", or "null null" when nobody knows.
    std::array<Strings, 17> places;
    std::array<std::vector<double>, 17> times; ///< seconds: when each picture was shown, by view
    std::vector<double> positions;             ///< seconds
    std::vector<int> states;                   ///< what the player's activity became
    std::size_t ends = 0;                      ///< of runs
    double seconds = 0;                        ///< from its first line to its last
};
Trace ReadTrace(const std::string& path);

/// @return the hash of every frame of a clip: FFmpeg's decoder and the plain reference conversion
Strings ReferenceHashes(const std::string& path);
/// @return the same with the last one twice, as the pictures of a run that ends by itself
Strings HashesOfARun(const std::string& path);
/// @return the hash of some bytes, as the trace writes it
std::string HashBytes(const std::string& bytes);

/// @return the words of both
Strings Joined(Strings words, const Strings& more);
/// @return the command that plays a clip off-screen, with further options
Strings Headless(const std::string& clip, const Strings& options);

/// @return the hash of a picture file's pixels, as a view would be handed them
std::string FileHash(const std::string& path);

/// Copies kqplay and its libraries, with another view library or with none. @return the copy
std::string CopyProgram(const TemporaryFolder& folder, const std::string& viewLibrary);

/// Plays a clip off-screen to its end, which has to go well. @return the trace
Trace PlayTraced(const std::string& clip, const Strings& options, const std::string& err = {},
                 const Process::Environment& environment = {});

/// kqplay at a pseudo-terminal.
class AtTerminal {
public:
    /// @param options all words of the command line
    explicit AtTerminal(const Strings& options, Process::Environment environment = {});

    /// Types keys, and waits until the terminal shows a text after what it was waited for before.
    void Press(const std::string& keys, const std::string& shown);
    /// Waits until the seeks before have been carried out: a screenshot comes after them.
    void Arrive() { Press("s", "saved "); }
    /// @return the hashes of the screenshots, in the order in which they were saved
    Strings SavedPictures() const;
    /// Types Ctrl-Z, which has to give the terminal back, and lets the program go on after that time.
    void Suspend(double seconds);
    /// Types keys that end the program, which has to go well and to leave the terminal as it was.
    Trace Quit(const std::string& keys = "q");

    TemporaryFolder folder; ///< the program's current one, has the trace too
    Process process;
};

/// kqplay, playing the clip of a minute off-screen.
class PlayingLong : public AtTerminal {
public:
    explicit PlayingLong(const Strings& options)
        : AtTerminal(Joined({"--headless", Clip("long.mp4")}, options)) {
        Press("", "playing  0:");
    }
};

} // namespace kqtest
