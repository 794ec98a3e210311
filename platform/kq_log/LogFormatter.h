/// @file
#pragma once

#include "LogRecord.h"

#include <cstdarg>

namespace kq::log {

/// Renders a wide printf format into a record, in UTF-8 whatever the locale of the process is.
///
/// %s and %c take narrow arguments (read as UTF-8), %ls and %lc (also %S and %C) wide ones; widths and
/// precisions of text count characters. Numbers are rendered as in the "C" locale. %n writes nothing to its
/// argument. From a conversion that is not known on, the format is copied as it stands, because the types of
/// the arguments that follow can no longer be told.
/// @param savedErrno what %m names
void FormatRecord(LogRecord& record, const wchar_t* format, va_list args, int savedErrno);

} // namespace kq::log
