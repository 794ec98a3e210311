/// @file
#pragma once

#include <cstddef>
#include <string>

namespace kq::imageproc {

/// A file that appears under its name whole or not at all: it is written under a temporary name in the same
/// folder and renamed by commit(). Without a commit() nothing is left, and a file that had the name stays as
/// it was.
class AtomicFile {
public:
    /// @param path UTF-8
    explicit AtomicFile(const std::string& path);
    ~AtomicFile();
    AtomicFile(const AtomicFile&) = delete;
    AtomicFile& operator=(const AtomicFile&) = delete;

    /// Appends to the file. After a failure it does nothing any more. @return false on failure
    bool Write(const void* data, std::size_t bytes);
    /// Gives the file its name. @return false on this or any earlier failure
    bool Commit();
    /// @return why the first operation that failed did, or an empty text
    const std::string& Error() const { return m_error; }

private:
    static constexpr std::size_t bufferBytes = 65536;

    bool MayReplace();
    void Open();
    bool WriteThrough(const char* data, std::size_t bytes);
    bool Flush();
    bool Fail(int error);

    std::string m_path;
    std::string m_temporary; ///< empty: there is no such file
    std::string m_buffer;
    std::string m_error;
    int m_fd = -1;
};

} // namespace kq::imageproc
