/// @file
/// The exported conversions on arrays.
#pragma once

#include "Interpreter.h"

namespace kq::python {

void BindConversions(py::module_& module);

} // namespace kq::python
