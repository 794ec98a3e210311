#include "LogRelay.h"

#include "Dispatcher.h"
#include "Interpreter.h"

#include <kqplayer/log.h>

namespace kq::python {
namespace {

thread_local std::string* capturedLine = nullptr;

/// Never destroyed: threads of the component may log until the process ends.
Dispatcher*& TheDispatcher() {
    static Dispatcher* instance = new Dispatcher;
    return instance;
}

void Hand(const char* level, std::string line) {
    TheDispatcher()->Post([level, line = std::move(line)] {
        const py::object text = py::reinterpret_steal<py::object>(
            PyUnicode_DecodeUTF8(line.data(), static_cast<Py_ssize_t>(line.size()), "backslashreplace"));
        py::module_::import("logging").attr("getLogger")("kqplayer").attr(level)("%s", text);
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
    KQLogSetSink(OnRecord, nullptr);
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
