#include "AtomicFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>

namespace kq::imageproc {

namespace {

std::string TemporaryNameBeside(const std::string& path) {
    static std::atomic<unsigned> counter = 0;
    const std::string folder = path.substr(0, path.rfind('/') + 1); // empty for a plain name
    char name[64];
    std::snprintf(name, sizeof(name), ".kqimage-%d-%u.tmp", static_cast<int>(getpid()), counter++);
    return folder + name;
}

} // namespace

AtomicFile::AtomicFile(const std::string& path) : m_path(path) {
    m_buffer.reserve(bufferBytes);
    if (MayReplace()) {
        Open();
    }
}

AtomicFile::~AtomicFile() {
    if (m_fd >= 0) {
        close(m_fd);
    }
    if (!m_temporary.empty()) {
        unlink(m_temporary.c_str());
    }
}

/// A rename would replace a device or a socket as readily as a file.
bool AtomicFile::MayReplace() {
    struct stat status = {};
    if (stat(m_path.c_str(), &status) != 0 || S_ISREG(status.st_mode)) {
        return true;
    }
    m_error = S_ISDIR(status.st_mode) ? "it is a folder" : "it is not a regular file";
    return false;
}

void AtomicFile::Open() {
    do {
        m_temporary = TemporaryNameBeside(m_path);
        m_fd = ::open(m_temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    } while (m_fd < 0 && errno == EEXIST); // left behind by a process that had the same number
    if (m_fd < 0) {
        Fail(errno);
        m_temporary.clear();
    }
}

bool AtomicFile::Write(const void* data, std::size_t bytes) {
    if (!m_error.empty()) {
        return false;
    }
    if (bytes > bufferBytes - m_buffer.size() && !Flush()) {
        return false;
    }
    const char* text = static_cast<const char*>(data);
    if (bytes >= bufferBytes) {
        return WriteThrough(text, bytes);
    }
    m_buffer.append(text, bytes);
    return true;
}

bool AtomicFile::Commit() {
    if (!m_error.empty() || !Flush()) {
        return false;
    }
    const int fd = m_fd;
    m_fd = -1;
    // A network file system may report a full disk only here.
    if (close(fd) != 0 || rename(m_temporary.c_str(), m_path.c_str()) != 0) {
        return Fail(errno);
    }
    m_temporary.clear();
    return true;
}

bool AtomicFile::Flush() {
    const bool written = WriteThrough(m_buffer.data(), m_buffer.size());
    m_buffer.clear();
    return written;
}

bool AtomicFile::WriteThrough(const char* data, std::size_t bytes) {
    while (bytes > 0) {
        const ssize_t written = ::write(m_fd, data, bytes);
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written <= 0) {
            return Fail(written < 0 ? errno : ENOSPC);
        }
        data += written;
        bytes -= written;
    }
    return true;
}

bool AtomicFile::Fail(int error) {
    char reason[128];
    m_error = strerror_r(error, reason, sizeof(reason));
    return false;
}

} // namespace kq::imageproc
