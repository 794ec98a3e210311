#include "Encoders.h"

#include <png.h>

#include <cstring>

namespace {

/// Much faster than the default of 6, for files that are a few percent larger.
constexpr int CompressionLevel = 3;

/// What libpng reports through its callbacks.
struct Sink {
    AtomicFile* pFile;
    char reason[128];
};

void onError(png_structp pPng, png_const_charp pMessage) {
    auto* pSink = static_cast<Sink*>(png_get_error_ptr(pPng));
    std::strncpy(pSink->reason, pMessage, sizeof(pSink->reason) - 1);
    png_longjmp(pPng, 1);
}

void onWarning(png_structp /*pPng*/, png_const_charp /*pMessage*/) {}

void onWrite(png_structp pPng, png_bytep pData, png_size_t bytes) {
    if (!static_cast<Sink*>(png_get_io_ptr(pPng))->pFile->write(pData, bytes)) {
        png_error(pPng, "write failed");
    }
}

void onFlush(png_structp /*pPng*/) {}

/// Errors come back here by longjmp(): there is nothing to destroy in the frames between. @return false on
/// error
bool writePng(png_structp pPng, png_infop pInfo, const Bitmap& bitmap, Sink* pSink) {
    if (setjmp(png_jmpbuf(pPng)) != 0) {
        return false;
    }
    png_set_write_fn(pPng, pSink, onWrite, onFlush);
    png_set_compression_level(pPng, CompressionLevel);
    png_set_IHDR(pPng, pInfo, bitmap.width(), bitmap.height(), 8, PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_write_info(pPng, pInfo);
    png_set_bgr(pPng);
    for (int y = 0; y < bitmap.height(); ++y) {
        png_write_row(pPng, bitmap.row(y));
    }
    png_write_end(pPng, pInfo);
    return true;
}

} // namespace

EncodeResult encodePng(const Bitmap& bitmap, AtomicFile& file) {
    Sink sink = {&file, {}};
    png_structp pPng = png_create_write_struct(PNG_LIBPNG_VER_STRING, &sink, onError, onWarning);
    png_infop pInfo = pPng != nullptr ? png_create_info_struct(pPng) : nullptr;
    const bool written = pInfo != nullptr && writePng(pPng, pInfo, bitmap, &sink);
    png_destroy_write_struct(&pPng, &pInfo);
    if (!file.error().empty()) {
        return file.error();
    }
    if (written) {
        return {};
    }
    return sink.reason[0] != '\0' ? sink.reason : "out of memory";
}
