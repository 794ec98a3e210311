/// @file
/// Running kqplay on the test clips, and reading its trace.
#pragma once

#include "Process.h"
#include "tests/support/Files.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

namespace kqtest {

using kq::test::TemporaryFolder;
using Strings = std::vector<std::string>;

/// @return path of a test clip
inline std::string Clip(const std::string& name) {
    return std::string(KQPLAY_CLIPS) + "/" + name;
}

/// One line of a trace.
struct TraceEvent {
    std::int64_t time = 0; ///< microseconds
    std::string name;      ///< picture, position, state, end
    std::string hash;      ///< picture
    int view = 0;          ///< picture
    double position = 0;   ///< position, seconds
    int activate = -1;     ///< state
};

/// What a run left in its trace.
struct Trace {
    std::vector<TraceEvent> events;

    Trace() = default;
    explicit Trace(const std::string& path);
    /// @return the hashes of a view's pictures, in order
    Strings Pictures(int view = 0) const;
    std::vector<int> States() const;
    std::size_t CountEnds() const;
};

/// @return the hash of every frame of a clip: FFmpeg's decoder and the plain reference conversion
Strings ReferenceHashes(const std::string& path);
/// @return the same with the last one twice, as the pictures of a run that ends by itself
Strings HashesOfARun(const std::string& path);
/// @return the hash of the picture that a view shows when it has nothing to show
std::string BlackHash(int width, int height);
/// @return the hash of some bytes, as the trace writes it
std::string HashBytes(const std::string& bytes);

/// @return the command that plays a clip off-screen, with further options
Strings Headless(const std::string& clip, Strings options);

/// Plays a clip off-screen to its end, which has to go well. @return the trace
Trace PlayTraced(const std::string& clip, Strings options, const std::string& err = {},
                 const Process::Environment& environment = {});

/// kqplay at a pseudo-terminal.
class AtTerminal {
public:
    /// @param options all words of the command line
    explicit AtTerminal(Strings options, Process::Environment environment = {});

    /// Types keys, and waits until the terminal shows a text after what it was waited for before.
    void Press(const std::string& keys, const std::string& shown);
    /// Waits until the seeks before have been carried out: a screenshot comes after them.
    void Arrive() { Press("s", "saved "); }
    /// Types keys that end the program, which has to go well and to leave the terminal as it was.
    Trace Quit(const std::string& keys = "q");

    TemporaryFolder folder; ///< the program's current one, has the trace too
    Process process;
};

} // namespace kqtest
