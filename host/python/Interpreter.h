/// @file
/// What the module shares with the interpreter: its lock, its end, and its copies by fork().
///
/// The rule of locks: whoever takes a lock of C++ or calls the component does not hold the interpreter's
/// (Unlocked), and no lock of C++ is held while the interpreter's is taken. So neither waits for the other.
#pragma once

#include <pybind11/pybind11.h>

#include <atomic>
#include <cstdint>
#include <exception>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>

namespace kq::python {

namespace py = pybind11;

/// Gives the interpreter's lock back while it lives; on a thread that has it. A thread that the ending
/// interpreter does not wait for stays there for ever: the interpreter would end it in the middle of C++.
class Unlocked {
public:
    Unlocked() : m_state(PyEval_SaveThread()) {}
    ~Unlocked();
    Unlocked(const Unlocked&) = delete;
    Unlocked& operator=(const Unlocked&) = delete;

private:
    PyThreadState* const m_state;
};

/// Takes the interpreter's lock.
class Locked {
public:
    Locked();
    ~Locked();
    Locked(const Locked&) = delete;
    Locked& operator=(const Locked&) = delete;

private:
    const py::gil_scoped_acquire m_lock;
};

/// Becomes kqplayer.Error.
class Error : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Becomes ValueError: the object was closed.
class Closed : public std::runtime_error {
public:
    explicit Closed(const std::string& what) : std::runtime_error(what + " is closed") {}
};

/// Something with threads or files of its own. It is made, and used, in one process: in a copy of it by
/// fork() the threads are missing, and locks may be held for ever.
class Owned {
public:
    Owned();
    virtual ~Owned() = default;
    Owned(const Owned&) = delete;
    Owned& operator=(const Owned&) = delete;

    /// Ends the threads and closes the files; to be called without the interpreter's lock. More than once is
    /// once.
    virtual void Close() = 0;

    /// @return false in a copy of the process that made the object
    bool IsOurs() const;
    /// @throw Error in such a copy
    void Check() const;

private:
    const std::uint64_t m_process;
};

/// Has an object closed before the interpreter ends, if it lives until then.
void CloseAtExit(const std::shared_ptr<Owned>& object);

/// Holds the object that a Python object stands for. What comes from before a fork() is left alone in the
/// copy: nobody can end threads that are not there.
template <class Core>
class Holder {
public:
    explicit Holder(std::shared_ptr<Core> core) : m_core(std::move(core)) { CloseAtExit(m_core); }
    Holder(const Holder&) = delete;
    Holder& operator=(const Holder&) = delete;
    ~Holder() {
        if (!m_core->IsOurs()) {
            static_cast<void>(new (std::nothrow) std::shared_ptr<Core>(std::move(m_core)));
            return;
        }
        try {
            const Unlocked unlocked;
            m_core.reset();
        } catch (const std::exception&) { // what gives the lock back is said to throw where it cannot
        }
    }

    /// @throw Error in a copy of the process
    const std::shared_ptr<Core>& Get() const {
        m_core->Check();
        return m_core;
    }
    /// @return the object, also in a copy of the process
    const Core& Raw() const { return *m_core; }

private:
    std::shared_ptr<Core> m_core;
};

/// @return true once the interpreter is about to end: nobody calls it any more
bool IsEnding();

/// @return the name of a file, given as text, bytes or a path, as the system has it
std::string PathOf(const py::object& path);

/// Runs signal handlers that wait for their turn; with the interpreter's lock.
/// @throw py::error_already_set when one raises
void CheckSignals();

/// Has the interpreter tell the module about its end and about fork().
void Watch(py::module_& module);

} // namespace kq::python
