#include "FileLog.h"

#include "Handles.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <map>
#include <utility>

namespace kq::streams {
namespace {

constexpr int messagesPerSecond = 4;

/// The logs that exist, so that an address found in a context is trusted only when it is one of them.
struct Registry {
    std::mutex lock;
    std::map<const void*, std::weak_ptr<FileLog>> logs;

    static Registry& Instance() {
        static auto* registry = new Registry; // FFmpeg's threads may speak while the process ends
        return *registry;
    }

    std::shared_ptr<FileLog> Find(const void* address) {
        const std::lock_guard guard(lock);
        const auto found = logs.find(address);
        return found == logs.end() ? nullptr : found->second.lock();
    }
};

thread_local FileLog* activeLog = nullptr;

const void* OpaqueOf(void* object, const AVClass* type) {
    if (type == avcodec_get_class()) {
        return static_cast<AVCodecContext*>(object)->opaque;
    }
    if (type == avformat_get_class()) {
        return static_cast<AVFormatContext*>(object)->opaque;
    }
    return nullptr;
}

/// Walks from an object to the objects that it belongs to.
std::shared_ptr<FileLog> LogOf(void* object) {
    while (object != nullptr) {
        const AVClass* type = *static_cast<const AVClass**>(object);
        if (type == nullptr) {
            break;
        }
        if (auto log = Registry::Instance().Find(OpaqueOf(object, type))) {
            return log;
        }
        if (type->parent_log_context_offset == 0) {
            break;
        }
        object = *reinterpret_cast<void**>(static_cast<char*>(object) + type->parent_log_context_offset);
    }
    return activeLog != nullptr ? Registry::Instance().Find(activeLog) : nullptr;
}

void OnFfmpegMessage(void* object, int level, const char* format, va_list arguments) {
    if (level > AV_LOG_WARNING) {
        return;
    }
    char text[1024];
    std::vsnprintf(text, sizeof text, format, arguments);
    // A message may come in pieces; the line break ends it.
    thread_local std::string partialLine;
    partialLine += text;
    if (partialLine.empty() || partialLine.back() != '\n') {
        return;
    }
    partialLine.pop_back();
    std::string line = std::exchange(partialLine, {});
    std::replace(line.begin(), line.end(), '\n', ' '); // whoever prints it prints a line
    if (const auto log = LogOf(object)) {
        log->FromFfmpeg(line, level <= AV_LOG_ERROR);
    }
}

} // namespace

FileLog::FileLog(std::string file, Sink sink) : m_file(std::move(file)), m_sink(std::move(sink)) {}

std::shared_ptr<FileLog> FileLog::Make(std::string file, Sink sink) {
    static std::once_flag installed;
    std::call_once(installed, [] { av_log_set_callback(OnFfmpegMessage); });

    std::shared_ptr<FileLog> log(new FileLog(std::move(file), std::move(sink)));
    auto& registry = Registry::Instance();
    const std::lock_guard guard(registry.lock);
    registry.logs[log.get()] = log;
    return log;
}

FileLog::~FileLog() {
    {
        auto& registry = Registry::Instance();
        const std::lock_guard guard(registry.lock);
        registry.logs.erase(this);
    }
    if (m_held > 0) {
        Notice(std::to_string(m_held) + " more messages of FFmpeg's");
    }
}

void FileLog::Notice(const std::string& text) const {
    if (m_sink) {
        m_sink(m_file + ": " + text);
    }
}

void FileLog::NoticeOnce(const std::string& text) {
    {
        const std::lock_guard guard(m_lock);
        if (!m_given.insert(text).second) {
            return;
        }
    }
    Notice(text);
}

void FileLog::FromFfmpeg(const std::string& text, bool isError) {
    int held = 0;
    {
        const std::lock_guard guard(m_lock);
        if (isError && m_firstError.empty()) {
            m_firstError = text;
        }
        if (isError) {
            m_lastError = text;
        }
        const auto now = Clock::now();
        if (now - m_periodStart >= std::chrono::seconds(1)) {
            m_periodStart = now;
            m_passed = 0;
            held = std::exchange(m_held, 0);
        }
        if (m_passed == messagesPerSecond) {
            ++m_held;
            return;
        }
        ++m_passed;
    }
    if (held > 0) {
        Notice(std::to_string(held) + " more messages of FFmpeg's");
    }
    Notice(text);
}

std::string FileLog::FirstError() const {
    const std::lock_guard guard(m_lock);
    return m_firstError;
}

std::string FileLog::LastError() const {
    const std::lock_guard guard(m_lock);
    return m_lastError;
}

LogScope::LogScope(FileLog& log) : m_outer(std::exchange(activeLog, &log)) {}

LogScope::~LogScope() {
    activeLog = m_outer;
}

} // namespace kq::streams
