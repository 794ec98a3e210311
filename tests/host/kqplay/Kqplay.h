/// @file
/// Running kqplay on the test clips, and reading its trace.
#pragma once

#include "Process.h"

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace kqtest {

/// @return path of a test clip
std::string Clip(const std::string& name);
/// @return path of the program under test
std::string KqplayPath();

/// A folder of a test's own, removed after it.
class TemporaryFolder {
public:
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
    std::string operator/(const std::string& name) const { return (m_path / name).string(); }

private:
    std::filesystem::path m_path;
};

/// One line of a trace.
struct TraceEvent {
    std::int64_t time = 0; ///< microseconds
    std::string name;      ///< picture, position, state, end
    std::string hash;      ///< picture
    int view = 0;          ///< picture
    int width = 0;         ///< picture
    int height = 0;        ///< picture
    double position = 0;   ///< position, seconds
    int activate = -1;     ///< state
};

std::vector<TraceEvent> ReadTrace(const std::string& path);
/// @return the hashes of the trace's pictures, in order
std::vector<std::string> PictureHashes(const std::vector<TraceEvent>& trace);
/// @return the activity states of the trace, in order
std::vector<int> States(const std::vector<TraceEvent>& trace);
std::size_t CountEnds(const std::vector<TraceEvent>& trace);

/// @return the hash of every frame of a clip: FFmpeg's decoder and the plain reference conversion
std::vector<std::string> ReferenceHashes(const std::string& path);
/// @return the hash of the picture that a view shows when it has nothing to show
std::string BlackHash(int width, int height);

/// @return the hash of some bytes, as the trace writes it
std::string HashBytes(const std::string& bytes);

/// @return the command that plays a clip off-screen, with further options
std::vector<std::string> Headless(const std::string& clip, const std::vector<std::string>& options);

} // namespace kqtest
