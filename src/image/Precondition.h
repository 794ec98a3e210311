/// @file
/// The check that guards the conversion routines. It is active in every build.
#pragma once

namespace kq::image {

/// Prints the routine, the unit, the line and the expression to standard error and aborts.
[[noreturn]] void PreconditionFailed(const char* routine, int line, const char* expression);

} // namespace kq::image

#define KQ_PRECONDITION(expression)                                                                          \
    ((expression) ? void() : ::kq::image::PreconditionFailed(__func__, __LINE__, #expression))

/// The same for a condition that is not written as the message gives it.
#define KQ_PRECONDITION_TEXT(condition, text)                                                                \
    ((condition) ? void() : ::kq::image::PreconditionFailed(__func__, __LINE__, text))
