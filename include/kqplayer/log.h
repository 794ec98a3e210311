/// @file
/// The log library, libKQ_Log.so. A host that wants the records elsewhere than on standard error installs a
/// sink.
#pragma once

#include "export.h"

#ifndef __cplusplus
#include <stddef.h>
#endif

/// Receives one whole record, rendered as UTF-8 with its line end trimmed. Called by the thread that logs,
/// one call at a time for the whole process. It may not log itself.
typedef void (*KQLogSink)(const char* pText, void* pUserData);

/// Writes one record. The format string and %ls/%s arguments follow the wide printf rules; %s takes char*.
/// The record reaches the sink as one line of UTF-8, never torn by other threads. Safe from any thread.
KQ_EXTERN_C void KQLogEx(const wchar_t* pFormat, ...);

/// Installs the sink of the process; null: records go to standard error, which is also how a process starts.
/// When the call returns, the sink before it is no longer running and never runs again.
KQ_EXTERN_C void KQLogSetSink(KQLogSink pfnSink, void* pUserData);
