#include "TraceWriter.h"

#include <zlib.h>

#include <cerrno>
#include <cinttypes>
#include <cstring>
#include <ctime>

namespace kqplay {

std::int64_t MonotonicMicroseconds() {
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<std::int64_t>(now.tv_sec) * 1000000 + now.tv_nsec / 1000;
}

TraceWriter::~TraceWriter() {
    std::string ignored;
    Close(ignored);
}

bool TraceWriter::Open(const std::string& path, bool hash, std::string& error) {
    m_file = std::fopen(path.c_str(), "we");
    if (!m_file) {
        error = path + ": " + std::strerror(errno);
        return false;
    }
    std::setvbuf(m_file, nullptr, _IOFBF, std::size_t{1} << 16);
    m_path = path;
    m_hash = hash;
    return true;
}

void TraceWriter::Picture(int view, int width, int height, const unsigned char* pixels,
                          const kq::streams::PicturePlace& place) {
    if (!m_file) {
        return;
    }
    const std::int64_t time = MonotonicMicroseconds();
    char hash[32] = "";
    if (m_hash) {
        const std::size_t size = static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 4;
        std::snprintf(hash, sizeof hash, ",\"crc32\":\"%08lx\"", crc32_z(0, pixels, size));
    }
    char where[64] = "null,\"media\":null";
    if (place.number >= 0) {
        std::snprintf(where, sizeof where, "%" PRId64 ",\"media\":%.6f", place.number, place.time);
    }
    const std::lock_guard guard(m_lock);
    std::fprintf(m_file,
                 "{\"t_us\":%" PRId64 ",\"ev\":\"picture\",\"view\":%d,\"w\":%d,\"h\":%d,\"frame\":%s%s}\n",
                 time, view, width, height, where, hash);
}

void TraceWriter::Position(double seconds) {
    if (!m_file) {
        return;
    }
    const std::lock_guard guard(m_lock);
    std::fprintf(m_file, "{\"t_us\":%" PRId64 ",\"ev\":\"position\",\"pos\":%.6f}\n", MonotonicMicroseconds(),
                 seconds);
}

void TraceWriter::State(int activate) {
    if (!m_file) {
        return;
    }
    const std::lock_guard guard(m_lock);
    if (activate == m_lastState) {
        return;
    }
    m_lastState = activate;
    std::fprintf(m_file, "{\"t_us\":%" PRId64 ",\"ev\":\"state\",\"activate\":%d}\n", MonotonicMicroseconds(),
                 activate);
}

void TraceWriter::End() {
    if (!m_file) {
        return;
    }
    const std::lock_guard guard(m_lock);
    std::fprintf(m_file, "{\"t_us\":%" PRId64 ",\"ev\":\"end\"}\n", MonotonicMicroseconds());
}

bool TraceWriter::Close(std::string& error) {
    if (!m_file) {
        return true;
    }
    const bool intact = std::ferror(m_file) == 0;
    const bool closed = std::fclose(m_file) == 0;
    m_file = nullptr;
    if (intact && closed) {
        return true;
    }
    error = m_path + ": could not be written whole: " + std::strerror(errno);
    return false;
}

} // namespace kqplay
