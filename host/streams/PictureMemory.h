/// @file
/// Where decoders put their pictures.
#pragma once

#include "Handles.h"

namespace kq::streams {

/// Lets a decoder take the memory of its pictures from one stock that all decoders share. What a stream does
/// not hold any more serves others or goes back to the system: pictures that are kept in changing numbers
/// would leave each decoder of its own with as much memory as it ever needed.
/// @param codec before it is opened
void ShareMemory(AVCodecContext& codec);

} // namespace kq::streams
