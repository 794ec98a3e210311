/// @file
/// The file formats. Each writes a whole image and stops at the first write that fails.
#pragma once

#include "AtomicFile.h"
#include "Bitmap.h"

#include <string>

namespace kq::imageproc {

/// An empty text for success, or why the image was not written.
using EncodeResult = std::string;

/// Bottom-up rows, the form that every reader knows.
EncodeResult EncodeBmp(const Bitmap& bitmap, AtomicFile& file);
/// Lossless, 8 bits a channel. Says that it is sRGB.
EncodeResult EncodePng(const Bitmap& bitmap, AtomicFile& file);
/// Quality 92 and full chroma resolution: a still that is looked at closely keeps its coloured edges.
/// Says that it is sRGB.
EncodeResult EncodeJpeg(const Bitmap& bitmap, AtomicFile& file);

} // namespace kq::imageproc
