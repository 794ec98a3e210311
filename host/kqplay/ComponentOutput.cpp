#include "ComponentOutput.h"

#include <kqplayer/log.h>

#include <fcntl.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <utility>

namespace kqplay {
namespace {

FileDescriptor Duplicate(int fd) {
    return FileDescriptor(fcntl(fd, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
}

FileDescriptor OpenTarget(const std::string& logPath, bool verbose) {
    if (!logPath.empty()) {
        return FileDescriptor(
            open(logPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC, 0666));
    }
    if (verbose) {
        return Duplicate(STDERR_FILENO);
    }
    return FileDescriptor(open("/dev/null", O_WRONLY | O_CLOEXEC));
}

/// What the records of the image library begin with. The reason stands behind the last colon.
constexpr const char* imageRecord = "DISaveEx: ";

} // namespace

void ComponentOutput::TakeRecord(const char* text, void* userData) {
    auto* output = static_cast<ComponentOutput*>(userData);
    output->Note(text);
    const std::string record = text;
    if (record.rfind(imageRecord, 0) != 0) {
        return;
    }
    const std::lock_guard guard(output->m_lock);
    output->m_imageRecord = record;
}

std::string ComponentOutput::TakeImageComplaint() {
    const std::lock_guard guard(m_lock);
    const std::string record = std::exchange(m_imageRecord, {});
    const std::size_t colon = record.rfind(": ");
    return colon == std::string::npos ? std::string() : record.substr(colon + 2);
}

ComponentOutput::~ComponentOutput() {
    KQLogSetSink(nullptr, nullptr);
    std::fflush(stdout);
}

bool ComponentOutput::Redirect(const std::string& logPath, bool verbose, std::string& error) {
    m_screen = Duplicate(STDOUT_FILENO);
    m_target = OpenTarget(logPath, verbose);
    if (!m_target) {
        error = logPath + ": " + std::strerror(errno);
        return false;
    }
    std::fflush(stdout);
    dup2(m_target.Get(), STDOUT_FILENO);
    std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ); // whole lines, in the order in which they were printed
    KQLogSetSink(TakeRecord, this);
    return true;
}

void ComponentOutput::Note(const std::string& line) const {
    dprintf(m_target.Get(), "%s\n", line.c_str());
}

ComponentOutput::QuietErrors::QuietErrors(const ComponentOutput& output)
    : m_errors(Duplicate(STDERR_FILENO)) {
    dup2(output.m_target.Get(), STDERR_FILENO);
}

ComponentOutput::QuietErrors::~QuietErrors() {
    dup2(m_errors.Get(), STDERR_FILENO);
}

} // namespace kqplay
