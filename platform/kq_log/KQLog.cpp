#include "LogFormatter.h"
#include "LogRecord.h"

#include <kqplayer/log.h>

#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <mutex>
#include <type_traits>

namespace kq::log {
namespace {

/// Where records go, and the lock under which they go there one at a time. Needs neither construction nor
/// destruction at run time, because records come before main() and while the process ends, too.
class LogOutput {
public:
    void Write(LogRecord& record) {
        const std::lock_guard<std::recursive_mutex> guard(m_lock);
        // A sink that logs all the same gets here a second time on its own thread.
        if (m_sink == nullptr || m_inSink) {
            WriteToStandardError(record);
            return;
        }
        m_inSink = true;
        m_sink(record.Text(), m_userData);
        m_inSink = false;
    }

    void SetSink(KQLogSink sink, void* userData) {
        const std::lock_guard<std::recursive_mutex> guard(m_lock);
        m_sink = sink;
        m_userData = userData;
    }

private:
    static void WriteToStandardError(LogRecord& record) {
        char* p = record.Text();
        std::size_t left = record.Length() + 1;
        p[record.Length()] = '\n';
        while (left > 0) {
            const ssize_t written = ::write(STDERR_FILENO, p, left);
            if (written < 0 && errno == EINTR) {
                continue;
            }
            if (written <= 0) {
                return;
            }
            p += written;
            left -= written;
        }
    }

    std::recursive_mutex m_lock;
    KQLogSink m_sink = nullptr;
    void* m_userData = nullptr;
    bool m_inSink = false;
};

LogOutput theOutput;
static_assert(std::is_trivially_destructible_v<LogOutput>);

} // namespace
} // namespace kq::log

using namespace kq::log;

void KQLogEx(const wchar_t* format, ...) {
    if (format == nullptr) {
        return;
    }
    const int savedErrno = errno;
    LogRecord record;
    va_list args;
    va_start(args, format);
    FormatRecord(record, format, args, savedErrno);
    va_end(args);
    record.MakeLine();
    theOutput.Write(record);
    errno = savedErrno;
}

void KQLogSetSink(KQLogSink sink, void* userData) {
    theOutput.SetSink(sink, userData);
}
