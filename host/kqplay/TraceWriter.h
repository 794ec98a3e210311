/// @file
/// The trace: what happened and when, for machines.
#pragma once

#include <kqplayer/media_file.h>

#include <cstdint>
#include <cstdio>
#include <mutex>
#include <string>

namespace kqplay {

/// Writes one JSON object a line. Times are microseconds of CLOCK_MONOTONIC.
///
///     {"t_us":…,"ev":"picture","view":0,"w":640,"h":360,"frame":31,"media":1.24,"crc32":"0f3a9c21"}
///     {"t_us":…,"ev":"position","pos":1.240000}
///     {"t_us":…,"ev":"state","activate":1}
///     {"t_us":…,"ev":"end"}
///
/// A closed writer ignores what it is given, so nobody has to ask whether there is a trace. Safe from any
/// thread.
class TraceWriter {
public:
    ~TraceWriter();
    /// @param hash give each picture the CRC-32 of its pixels
    /// @return false with the reason in @p error
    bool Open(const std::string& path, bool hash, std::string& error);
    bool IsOpen() const { return m_file != nullptr; }
    /// @param pixels width * height * 4 bytes
    /// @param place of the picture in its file; without a number when that is not known
    void Picture(int view, int width, int height, const unsigned char* pixels,
                 const kq::streams::PicturePlace& place);
    void Position(double seconds);
    /// Writes the activity state unless it is the one written last.
    void State(int activate);
    void End();
    /// Writes out what is buffered. @return false with the reason in @p error when something could not be
    /// written
    bool Close(std::string& error);

private:
    std::mutex m_lock;
    std::FILE* m_file = nullptr;
    std::string m_path;
    bool m_hash = false;
    int m_lastState = -1;
};

/// @return microseconds of CLOCK_MONOTONIC
std::int64_t MonotonicMicroseconds();

} // namespace kqplay
