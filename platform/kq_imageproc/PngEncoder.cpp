#include "Encoders.h"

#include <png.h>

#include <cstring>

namespace {

/// Much faster than the default of 6, for files that are a few percent larger.
constexpr int CompressionLevel = 3;

/// What libpng reports through its callbacks.
struct Sink {
    AtomicFile* file;
    char reason[128];
};

void onError(png_structp png, png_const_charp message) {
    auto* sink = static_cast<Sink*>(png_get_error_ptr(png));
    std::strncpy(sink->reason, message, sizeof(sink->reason) - 1);
    png_longjmp(png, 1);
}

void onWarning(png_structp /*png*/, png_const_charp /*message*/) {}

void onWrite(png_structp png, png_bytep data, png_size_t bytes) {
    if (!static_cast<Sink*>(png_get_io_ptr(png))->file->write(data, bytes)) {
        png_error(png, "write failed");
    }
}

void onFlush(png_structp /*png*/) {}

/// Errors come back here by longjmp(): there is nothing to destroy in the frames between. @return false on
/// error
bool writePng(png_structp png, png_infop info, const Bitmap& bitmap, Sink* sink) {
    if (setjmp(png_jmpbuf(png)) != 0) {
        return false;
    }
    png_set_write_fn(png, sink, onWrite, onFlush);
    png_set_compression_level(png, CompressionLevel);
    png_set_IHDR(png, info, bitmap.width(), bitmap.height(), 8, PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_write_info(png, info);
    png_set_bgr(png);
    for (int y = 0; y < bitmap.height(); ++y) {
        png_write_row(png, bitmap.row(y));
    }
    png_write_end(png, info);
    return true;
}

} // namespace

EncodeResult encodePng(const Bitmap& bitmap, AtomicFile& file) {
    Sink sink = {&file, {}};
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, &sink, onError, onWarning);
    png_infop info = png != nullptr ? png_create_info_struct(png) : nullptr;
    const bool written = info != nullptr && writePng(png, info, bitmap, &sink);
    png_destroy_write_struct(&png, &info);
    if (!file.error().empty()) {
        return file.error();
    }
    if (written) {
        return {};
    }
    return sink.reason[0] != '\0' ? sink.reason : "out of memory";
}
