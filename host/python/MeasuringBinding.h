/// @file
/// The figures of a measurement for Python.
#pragma once

#include "Interpreter.h"

namespace kq::python {

void BindMeasuring(py::module_& module);

} // namespace kq::python
