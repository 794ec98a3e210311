/// @file
/// Visibility of the symbols that the libraries publish. Everything else stays hidden.
#pragma once

#include "version.h"

/// Published.
#define KQ_API __attribute__((visibility("default")))
/// Of members of a published class that are not for its users.
#define KQ_LOCAL __attribute__((visibility("hidden")))

#ifdef __cplusplus
/// Published with C linkage.
#define KQ_EXTERN_C extern "C" KQ_API
#else
#define KQ_EXTERN_C extern KQ_API
#endif
