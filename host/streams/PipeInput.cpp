#include "PipeInput.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace kq::streams {
namespace {

constexpr int bufferBytes = 64 * 1024;
constexpr int pollMilliseconds = 100;

} // namespace

PipeInput::PipeInput(const std::string& path, std::function<bool()> giveUp) : m_giveUp(std::move(giveUp)) {
    // A named pipe whose writer has yet to come would hold up a blocking open().
    m_file = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (m_file < 0) {
        m_error = AVERROR(errno);
        return;
    }
    auto* buffer = static_cast<std::uint8_t*>(av_malloc(bufferBytes));
    m_access = avio_alloc_context(buffer, bufferBytes, 0, this, &PipeInput::Read, nullptr, nullptr);
    m_access->seekable = 0;
}

PipeInput::~PipeInput() {
    if (m_access != nullptr) {
        av_freep(&m_access->buffer);
    }
    avio_context_free(&m_access);
    if (m_file >= 0) {
        close(m_file);
    }
}

int PipeInput::Read(void* self, std::uint8_t* data, int size) {
    auto& input = *static_cast<PipeInput*>(self);
    for (;;) {
        if (input.m_giveUp()) {
            return AVERROR_EXIT;
        }
        pollfd wanted{input.m_file, POLLIN, 0};
        const int ready = poll(&wanted, 1, pollMilliseconds);
        if (ready < 0 && errno != EINTR) {
            return AVERROR(errno);
        }
        if (ready <= 0) {
            continue;
        }
        const auto count = read(input.m_file, data, static_cast<std::size_t>(size));
        if (count > 0) {
            return static_cast<int>(count);
        }
        if (count == 0 || errno != EAGAIN) {
            return count == 0 ? AVERROR_EOF : AVERROR(errno);
        }
    }
}

} // namespace kq::streams
