#include "Encoders.h"

#include <jpeglib.h>

#include <csetjmp>
#include <cstdio>

namespace {

constexpr int Quality = 92;
constexpr std::size_t BlockBytes = 16384;

/// libjpeg's error manager and where to go on after an error. The library knows it by its first member.
struct ErrorManager {
    jpeg_error_mgr base;
    std::jmp_buf onError;
    char reason[JMSG_LENGTH_MAX];
};

/// libjpeg's destination: blocks that go to the file. Known by its first member, too.
struct Destination {
    jpeg_destination_mgr base;
    AtomicFile* file;
    JOCTET block[BlockBytes];
};

[[noreturn]] void onError(j_common_ptr info) {
    auto* errors = reinterpret_cast<ErrorManager*>(info->err);
    errors->base.format_message(info, errors->reason);
    std::longjmp(errors->onError, 1);
}

void onMessage(j_common_ptr /*info*/) {}

void startBlock(j_compress_ptr info) {
    auto* destination = reinterpret_cast<Destination*>(info->dest);
    destination->base.next_output_byte = destination->block;
    destination->base.free_in_buffer = BlockBytes;
}

void writeBlock(j_compress_ptr info, std::size_t bytes) {
    auto* destination = reinterpret_cast<Destination*>(info->dest);
    if (!destination->file->write(destination->block, bytes)) {
        onError(reinterpret_cast<j_common_ptr>(info));
    }
}

boolean writeFullBlock(j_compress_ptr info) {
    writeBlock(info, BlockBytes);
    startBlock(info);
    return TRUE;
}

void writeLastBlock(j_compress_ptr info) {
    writeBlock(info, BlockBytes - info->dest->free_in_buffer);
}

void setUp(jpeg_compress_struct& info, const Bitmap& bitmap) {
    info.image_width = bitmap.width();
    info.image_height = bitmap.height();
    info.input_components = 3;
    info.in_color_space = JCS_EXT_BGR;
    jpeg_set_defaults(&info);
    jpeg_set_quality(&info, Quality, TRUE);
    info.comp_info[0].h_samp_factor = 1; // 4:4:4
    info.comp_info[0].v_samp_factor = 1;
}

/// Errors come back here by longjmp(): there is nothing to destroy in the frames between. @return false on
/// error
bool writeJpeg(jpeg_compress_struct& info, Destination& destination, ErrorManager& errors,
               const Bitmap& bitmap) {
    if (setjmp(errors.onError) != 0) {
        return false;
    }
    jpeg_create_compress(&info);
    info.dest = &destination.base;
    setUp(info, bitmap);
    jpeg_start_compress(&info, TRUE);
    while (info.next_scanline < info.image_height) {
        JSAMPROW row = bitmap.row(static_cast<int>(info.next_scanline));
        jpeg_write_scanlines(&info, &row, 1);
    }
    jpeg_finish_compress(&info);
    return true;
}

} // namespace

EncodeResult encodeJpeg(const Bitmap& bitmap, AtomicFile& file) {
    ErrorManager errors = {};
    jpeg_std_error(&errors.base);
    errors.base.error_exit = onError;
    errors.base.output_message = onMessage;
    Destination destination = {};
    destination.base.init_destination = startBlock;
    destination.base.empty_output_buffer = writeFullBlock;
    destination.base.term_destination = writeLastBlock;
    destination.file = &file;
    jpeg_compress_struct info = {};
    info.err = &errors.base;
    const bool written = writeJpeg(info, destination, errors, bitmap);
    jpeg_destroy_compress(&info);
    if (!file.error().empty()) {
        return file.error();
    }
    return written ? EncodeResult() : EncodeResult(errors.reason);
}
