/// @file
/// The player and its views for Python.
#pragma once

#include "Interpreter.h"

namespace kq::python {

void BindPlayer(py::module_& module);

} // namespace kq::python
