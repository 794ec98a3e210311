#include "Interpreter.h"

#include "LogRelay.h"

#include <chrono>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace kq::python {
namespace {

std::atomic<std::uint64_t> process{0};
std::atomic<bool> isEnding{false};
std::atomic<bool> isClosing{false}; ///< from before that on, while threads of the module still call back
std::thread::id endingThread;
std::atomic<int> returning{0};  ///< threads that wait for the interpreter's lock, or have just got it
thread_local int callbacks = 0; ///< that the module is making on this thread

/// What is to be closed at the end. Never destroyed: objects of Python may outlive the library's statics.
struct Register {
    std::mutex lock;
    std::vector<std::weak_ptr<Owned>> objects;
};

Register*& TheRegister() {
    static Register* instance = new Register;
    return instance;
}

/// In the copy: locks of the other threads stay locked, so everything that is shared begins anew.
void BeginAsCopy() {
    ++process;
    returning = 0;
    TheRegister() = new Register;
    LogRelay::BeginAsCopy();
}

void CloseAll() {
    std::vector<std::weak_ptr<Owned>> objects;
    {
        Register& known = *TheRegister();
        const std::lock_guard guard(known.lock);
        objects.swap(known.objects);
    }
    for (const auto& entry : objects) {
        if (const auto object = entry.lock(); object && object->IsOurs()) {
            object->Close();
        }
    }
}

} // namespace

Unlocked::~Unlocked() {
    ++returning;
    if (isClosing && callbacks == 0 && std::this_thread::get_id() != endingThread) {
        --returning;
        while (true) {
            std::this_thread::sleep_for(std::chrono::hours(1));
        }
    }
    PyEval_RestoreThread(m_state);
    --returning;
}

Locked::Locked() {
    ++callbacks;
}

Locked::~Locked() {
    --callbacks;
}

Owned::Owned() : m_process(process) {}

bool Owned::IsOurs() const {
    return m_process == process;
}

void Owned::Check() const {
    if (!IsOurs()) {
        throw Error("this object was made before fork(): make another one in the child process");
    }
}

void CloseAtExit(const std::shared_ptr<Owned>& object) {
    const Unlocked unlocked;
    Register& known = *TheRegister();
    const std::lock_guard guard(known.lock);
    auto& objects = known.objects;
    std::size_t kept = 0;
    for (auto& entry : objects) {
        if (!entry.expired()) {
            std::swap(objects[kept++], entry);
        }
    }
    objects.resize(kept);
    objects.push_back(object);
}

bool IsEnding() {
    return isEnding;
}

std::string PathOf(const py::object& path) {
    return py::module_::import("os").attr("fsencode")(path).cast<std::string>();
}

void CheckSignals() {
    if (PyErr_CheckSignals() != 0) {
        throw py::error_already_set();
    }
}

void Watch(py::module_& module) {
    static py::exception<Error> errorType(module, "Error", PyExc_RuntimeError);
    errorType.attr("__doc__") = "What kqplayer cannot do, in one line: which file, and why.";
    py::register_exception_translator([](std::exception_ptr thrown) {
        try {
            std::rethrow_exception(std::move(thrown));
        } catch (const Closed& closed) {
            PyErr_SetString(PyExc_ValueError, closed.what());
        } catch (const Error& error) {
            errorType(error.what());
        }
    });
    py::module_::import("atexit").attr("register")(py::cpp_function([] {
        endingThread = std::this_thread::get_id();
        isClosing = true;
        {
            const Unlocked unlocked;
            while (returning != 0) { // they get the lock while there is one
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
            CloseAll();
        }
        LogRelay::Stop();
        isEnding = true;
    }));
    py::module_::import("os").attr("register_at_fork")(py::arg("after_in_child") =
                                                           py::cpp_function([] { BeginAsCopy(); }));
}

} // namespace kq::python
