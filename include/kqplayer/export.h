/// @file
/// Visibility of the symbols that the libraries publish. Everything else stays hidden.
#pragma once

/// Published.
#define KQ_API __attribute__((visibility("default")))

#ifdef __cplusplus
/// Published with C linkage.
#define KQ_EXTERN_C extern "C" KQ_API
#else
#define KQ_EXTERN_C extern KQ_API
#endif
