#include "ReadImage.h"

#include "tests/support/Files.h"

#include <cstdio>

#ifdef KQ_HAVE_PNG
#include <png.h>
#endif
#ifdef KQ_HAVE_JPEG
#include <jpeglib.h>
#endif

namespace kqtest {

RgbImage readBmp(const std::string& path) {
    const std::string file = kq::test::ReadFile(path);
    const auto number = [&file](std::size_t at, int bytes) {
        std::uint32_t value = 0;
        for (int i = 0; i < bytes; ++i) {
            value |= static_cast<std::uint32_t>(static_cast<std::uint8_t>(file.at(at + i))) << (8 * i);
        }
        return value;
    };
    const bool isKnown = file.size() > 54 && file.compare(0, 2, "BM") == 0 && number(2, 4) == file.size() &&
                         number(14, 4) == 40 && number(26, 2) == 1 && number(28, 2) == 24 &&
                         number(30, 4) == 0;
    if (!isKnown) {
        return {};
    }
    RgbImage image;
    image.width = static_cast<int>(number(18, 4));
    image.height = static_cast<int>(number(22, 4));
    const std::size_t rowBytes = (image.width * 3 + 3) / 4 * 4;
    for (int y = image.height - 1; y >= 0; --y) {
        for (int x = 0; x < image.width; ++x) {
            for (const int channel : {2, 1, 0}) {
                image.rgb.push_back(
                    static_cast<std::uint8_t>(file.at(number(10, 4) + y * rowBytes + x * 3 + channel)));
            }
        }
    }
    return image;
}

#ifdef KQ_HAVE_PNG
RgbImage readPng(const std::string& path) {
    png_image png = {};
    png.version = PNG_IMAGE_VERSION;
    if (png_image_begin_read_from_file(&png, path.c_str()) == 0) {
        return {};
    }
    png.format = PNG_FORMAT_RGB;
    RgbImage image = {static_cast<int>(png.width), static_cast<int>(png.height), {}};
    image.rgb.resize(PNG_IMAGE_SIZE(png));
    return png_image_finish_read(&png, nullptr, image.rgb.data(), 0, nullptr) != 0 ? image : RgbImage();
}
#endif

#ifdef KQ_HAVE_JPEG
/// The standard error manager ends the process for a file that is not a JPEG: then the test fails, too.
RgbImage readJpeg(const std::string& path) {
    std::FILE* pFile = std::fopen(path.c_str(), "rb");
    if (pFile == nullptr) {
        return {};
    }
    jpeg_error_mgr errors;
    jpeg_decompress_struct info = {};
    info.err = jpeg_std_error(&errors);
    jpeg_create_decompress(&info);
    jpeg_stdio_src(&info, pFile);
    jpeg_read_header(&info, TRUE);
    info.out_color_space = JCS_RGB;
    jpeg_start_decompress(&info);
    RgbImage image = {static_cast<int>(info.output_width), static_cast<int>(info.output_height), {}};
    image.rgb.resize(std::size_t{3} * image.width * image.height);
    while (info.output_scanline < info.output_height) {
        JSAMPROW pRow = &image.rgb[std::size_t{3} * image.width * info.output_scanline];
        jpeg_read_scanlines(&info, &pRow, 1);
    }
    jpeg_finish_decompress(&info);
    jpeg_destroy_decompress(&info);
    std::fclose(pFile);
    return image;
}
#endif

} // namespace kqtest
