#include "LogRelay.h"

#include "Dispatcher.h"
#include "Interpreter.h"

#include <kqplayer/identifiers.h>
#include <kqplayer/log.h>

namespace kq::python {
namespace {

thread_local std::string* capturedLine = nullptr;

/// Never destroyed: threads of the component may log until the process ends.
Dispatcher*& TheDispatcher() {
    static Dispatcher* instance = new Dispatcher;
    return instance;
}

/// Kept from the import of the module on: a thread that imported could hold the lock of that when the process
/// forks.
py::handle logger;

void Hand(const char* level, std::string line) {
    TheDispatcher()->Post([level, line = std::move(line)] {
        const py::object text = py::reinterpret_steal<py::object>(
            PyUnicode_DecodeUTF8(line.data(), static_cast<Py_ssize_t>(line.size()), "backslashreplace"));
        logger.attr(level)("%s", text);
    });
}

void OnRecord(const char* text, void* /*userData*/) {
    if (capturedLine != nullptr) {
        *capturedLine = text;
    }
    Hand("debug", text);
}

} // namespace

LogRelay::Capture::Capture() {
    capturedLine = &m_last;
}

LogRelay::Capture::~Capture() {
    capturedLine = nullptr;
}

void LogRelay::Begin() {
    logger = py::module_::import("logging").attr("getLogger")("kqplayer").inc_ref();
    KQLogSetSink(OnRecord, nullptr);
    KQPlayerSetOutput(KQ_OUTPUT_LOG); // standard output is the script's
}

void LogRelay::Warn(const std::string& line) {
    Hand("warning", line);
}

void LogRelay::BeginAsCopy() {
    TheDispatcher() = new Dispatcher;
}

void LogRelay::Stop() {
    const Unlocked unlocked;
    TheDispatcher()->Stop();
}

} // namespace kq::python
