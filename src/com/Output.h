/// @file
/// What the component prints.
#pragma once

/// Prints like printf where the host wants it (see KQPlayerSetOutput()). Safe from any thread.
[[gnu::format(printf, 1, 2)]] void Print(const char* pFormat, ...);
/// Prints a text and an end of line, like puts.
void PrintLine(const char* pText);
