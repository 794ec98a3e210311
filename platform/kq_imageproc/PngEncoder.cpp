#include "Encoders.h"

#include <png.h>

#include <cstring>

namespace kq::imageproc {

namespace {

/// Much faster than the default of 6, for files that are a few percent larger.
constexpr int compressionLevel = 3;

/// What libpng reports through its callbacks.
struct Sink {
    AtomicFile* file;
    char reason[128];
};

void OnError(png_structp png, png_const_charp message) {
    auto* sink = static_cast<Sink*>(png_get_error_ptr(png));
    std::strncpy(sink->reason, message, sizeof(sink->reason) - 1);
    png_longjmp(png, 1);
}

void OnWarning(png_structp /*png*/, png_const_charp /*message*/) {}

void OnWrite(png_structp png, png_bytep data, png_size_t bytes) {
    if (!static_cast<Sink*>(png_get_io_ptr(png))->file->Write(data, bytes)) {
        png_error(png, "write failed");
    }
}

void OnFlush(png_structp /*png*/) {}

/// Errors come back here by longjmp(): there is nothing to destroy in the frames between. @return false on
/// error
bool WritePng(png_structp png, png_infop info, const Bitmap& bitmap, Sink* sink) {
    if (setjmp(png_jmpbuf(png)) != 0) {
        return false;
    }
    png_set_write_fn(png, sink, OnWrite, OnFlush);
    png_set_compression_level(png, compressionLevel);
    png_set_IHDR(png, info, bitmap.Width(), bitmap.Height(), 8, PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_set_sRGB_gAMA_and_cHRM(png, info, PNG_sRGB_INTENT_PERCEPTUAL);
    png_write_info(png, info);
    png_set_bgr(png);
    for (int y = 0; y < bitmap.Height(); ++y) {
        png_write_row(png, bitmap.Row(y));
    }
    png_write_end(png, info);
    return true;
}

} // namespace

EncodeResult EncodePng(const Bitmap& bitmap, AtomicFile& file) {
    Sink sink = {&file, {}};
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, &sink, OnError, OnWarning);
    png_infop info = png != nullptr ? png_create_info_struct(png) : nullptr;
    const bool written = info != nullptr && WritePng(png, info, bitmap, &sink);
    png_destroy_write_struct(&png, &info);
    if (!file.Error().empty()) {
        return file.Error();
    }
    if (written) {
        return {};
    }
    return sink.reason[0] != '\0' ? sink.reason : "out of memory";
}

} // namespace kq::imageproc
