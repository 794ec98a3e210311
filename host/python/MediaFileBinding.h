/// @file
/// Media files for Python.
#pragma once

#include "Interpreter.h"

namespace kq::python {

void BindMediaFile(py::module_& module);

} // namespace kq::python
