#include "Encoders.h"

#include <jpeglib.h>

#include <csetjmp>
#include <cstdio>

namespace kq::imageproc {

namespace {

constexpr int quality = 92;
constexpr std::size_t blockBytes = 16384;

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
    JOCTET block[blockBytes];
};

[[noreturn]] void OnError(j_common_ptr info) {
    auto* errors = reinterpret_cast<ErrorManager*>(info->err);
    errors->base.format_message(info, errors->reason);
    std::longjmp(errors->onError, 1);
}

void OnMessage(j_common_ptr /*info*/) {}

void StartBlock(j_compress_ptr info) {
    auto* destination = reinterpret_cast<Destination*>(info->dest);
    destination->base.next_output_byte = destination->block;
    destination->base.free_in_buffer = blockBytes;
}

void WriteBlock(j_compress_ptr info, std::size_t bytes) {
    auto* destination = reinterpret_cast<Destination*>(info->dest);
    if (!destination->file->Write(destination->block, bytes)) {
        OnError(reinterpret_cast<j_common_ptr>(info));
    }
}

boolean WriteFullBlock(j_compress_ptr info) {
    WriteBlock(info, blockBytes);
    StartBlock(info);
    return TRUE;
}

void WriteLastBlock(j_compress_ptr info) {
    WriteBlock(info, blockBytes - info->dest->free_in_buffer);
}

/// What says that the colours are sRGB: an Exif segment with two directories, the second of which holds the
/// colour space and what has to stand beside it. Numbers are big-endian.
constexpr JOCTET exif[] = {
    'E',  'x',  'i', 'f', 0, 0,                           //
    'M',  'M',  0,   42,  0, 0, 0, 8,                     // offsets count from this line
    0,    1,                                              // 8: one entry
    0x87, 0x69, 0,   4,   0, 0, 0, 1, 0,   0,   0,   26,  // the second directory
    0,    0,    0,   0,                                   // no further one
    0,    4,                                              // 26: four entries
    0x90, 0x00, 0,   7,   0, 0, 0, 4, '0', '2', '3', '0', // version
    0x91, 0x01, 0,   7,   0, 0, 0, 4, 1,   2,   3,   0,   // components: Y, Cb, Cr
    0xA0, 0x00, 0,   7,   0, 0, 0, 4, '0', '1', '0', '0', // version of the colours' description
    0xA0, 0x01, 0,   3,   0, 0, 0, 1, 0,   1,   0,   0,   // colour space: sRGB
    0,    0,    0,   0,                                   // no further one
};

void SetUp(jpeg_compress_struct& info, const Bitmap& bitmap) {
    info.image_width = bitmap.Width();
    info.image_height = bitmap.Height();
    info.input_components = 3;
    info.in_color_space = JCS_EXT_BGR;
    jpeg_set_defaults(&info);
    jpeg_set_quality(&info, quality, TRUE);
    info.comp_info[0].h_samp_factor = 1; // 4:4:4
    info.comp_info[0].v_samp_factor = 1;
}

/// Errors come back here by longjmp(): there is nothing to destroy in the frames between. @return false on
/// error
bool WriteJpeg(jpeg_compress_struct& info, Destination& destination, ErrorManager& errors,
               const Bitmap& bitmap) {
    if (setjmp(errors.onError) != 0) {
        return false;
    }
    jpeg_create_compress(&info);
    info.dest = &destination.base;
    SetUp(info, bitmap);
    jpeg_start_compress(&info, TRUE);
    jpeg_write_marker(&info, JPEG_APP0 + 1, exif, sizeof exif);
    while (info.next_scanline < info.image_height) {
        JSAMPROW row = bitmap.Row(static_cast<int>(info.next_scanline));
        jpeg_write_scanlines(&info, &row, 1);
    }
    jpeg_finish_compress(&info);
    return true;
}

} // namespace

EncodeResult EncodeJpeg(const Bitmap& bitmap, AtomicFile& file) {
    ErrorManager errors = {};
    jpeg_std_error(&errors.base);
    errors.base.error_exit = OnError;
    errors.base.output_message = OnMessage;
    Destination destination = {};
    destination.base.init_destination = StartBlock;
    destination.base.empty_output_buffer = WriteFullBlock;
    destination.base.term_destination = WriteLastBlock;
    destination.file = &file;
    jpeg_compress_struct info = {};
    info.err = &errors.base;
    const bool written = WriteJpeg(info, destination, errors, bitmap);
    jpeg_destroy_compress(&info);
    if (!file.Error().empty()) {
        return file.Error();
    }
    return written ? EncodeResult() : EncodeResult(errors.reason);
}

} // namespace kq::imageproc
