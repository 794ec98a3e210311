/// @file
/// Reading from a pipe, which FFmpeg's own file access could not be interrupted at.
#pragma once

#include "Handles.h"

#include <functional>
#include <string>

namespace kq::streams {

/// An unseekable input (named pipe, terminal, socket) for a demuxer. A read waits for data until the given
/// question is answered with yes.
class PipeInput {
public:
    /// @param path    of a file that is neither a regular file nor a folder
    /// @param giveUp  asked ten times a second while no data comes
    PipeInput(const std::string& path, std::function<bool()> giveUp);
    ~PipeInput();
    PipeInput(const PipeInput&) = delete;
    PipeInput& operator=(const PipeInput&) = delete;

    /// @return 0, or a negative FFmpeg error code when the path could not be opened
    int Error() const { return m_error; }
    /// @return the access for AVFormatContext::pb, owned by this object
    AVIOContext* Access() const { return m_access; }

private:
    static int Read(void* self, std::uint8_t* data, int size);

    int m_file = -1;
    int m_error = 0;
    AVIOContext* m_access = nullptr;
    std::function<bool()> m_giveUp;
};

} // namespace kq::streams
