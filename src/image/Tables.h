/// @file
/// The process-wide lookup tables behind yuv2rgb_24().
#pragma once

#include "Arithmetic.h"

namespace kq::image {

/// Zero until init_yuv2rgb() fills them.
const YuvTables& Tables();

} // namespace kq::image
