// Takes a picture through the conversion routines: 24-bit BMP to planar 4:2:0, and back into a file.
//     convert IN.bmp OUT      OUT ends in .bmp, .png or .jpg
// No player is needed for this: the routines are plain functions of libKQPlayer.so.

#include <kqplayer/image.h>
#include <kqplayer/imageproc.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<std::uint8_t>;

/// A 24-bit picture: B, G, R in bottom-up rows of ((width * 24 + 31) / 32) * 4 bytes, as BMP has them.
struct Picture {
    tagBITMAPINFOHEADER header{};
    Bytes rows;
};

std::size_t RowBytes(int width) {
    return (static_cast<std::size_t>(width) * 24 + 31) / 32 * 4;
}

bool Read(const char* path, Picture& picture) {
    constexpr std::size_t fileHeader = 14;
    std::ifstream file(path, std::ios::binary);
    const Bytes bytes{std::istreambuf_iterator<char>(file), {}};
    if (bytes.size() < fileHeader + sizeof picture.header || bytes[0] != 'B' || bytes[1] != 'M') {
        return false;
    }
    std::uint32_t begin = 0;
    std::memcpy(&begin, &bytes[10], sizeof begin);
    tagBITMAPINFOHEADER& header = picture.header;
    std::memcpy(&header, &bytes[fileHeader], sizeof header);
    if (header.biBitCount != 24 || header.biCompression != 0 || header.biWidth <= 0 || header.biHeight <= 0 ||
        header.biWidth > 16384 || header.biHeight > 16384) {
        return false;
    }
    const std::size_t size = RowBytes(header.biWidth) * static_cast<std::size_t>(header.biHeight);
    if (begin > bytes.size() || bytes.size() - begin < size) {
        return false;
    }
    picture.rows.assign(&bytes[begin], &bytes[begin] + size);
    return true;
}

/// Planar 4:2:0: luma, and two chroma planes of half the size each way.
struct Planar {
    Planar(int width, int height)
        : pitch(width + 2), y(static_cast<std::size_t>(pitch) * static_cast<std::size_t>(height)),
          u(y.size()), v(y.size()) {}
    int pitch; // at least a column more than the width, which odd widths need
    Bytes y, u, v;
};

struct ImageCloser {
    void operator()(void* image) const { DIDestroy(image); }
};
using Image = std::unique_ptr<void, ImageCloser>;

/// @return an image of the image library, top-down
Image ToImage(Planar& planar, int width, int height) {
    Image image(DICreate());
    if (!image || DISetContent(image.get(), width, height, 24) == 0) {
        return nullptr;
    }
    Yuv420_2_rgb24(DIGetBitmapInfo(image.get()), DIGetBits(image.get()), planar.y.data(), planar.u.data(),
                   planar.v.data(), planar.pitch, planar.pitch, planar.pitch);
    return image;
}

/// @return by how much the two differ, on average, 0 to 255
double Difference(const Picture& picture, const std::uint8_t* topDown) {
    const auto width = static_cast<std::size_t>(picture.header.biWidth) * 3;
    const auto height = static_cast<std::size_t>(picture.header.biHeight);
    const std::size_t pitch = RowBytes(picture.header.biWidth);
    double sum = 0;
    for (std::size_t row = 0; row < height; ++row) {
        for (std::size_t i = 0; i < width; ++i) {
            sum += std::abs(picture.rows[(height - 1 - row) * pitch + i] - topDown[row * pitch + i]);
        }
    }
    return sum / static_cast<double>(width * height);
}

const wchar_t* MimeType(const std::filesystem::path& path) {
    if (path.extension() == ".png") {
        return L"image/png";
    }
    return path.extension() == ".jpg" ? L"image/jpeg" : L"image/bmp";
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: convert IN.bmp OUT.(bmp|png|jpg)\n");
        return 2;
    }
    Picture picture;
    if (!Read(argv[1], picture)) {
        std::fprintf(stderr, "convert: %s: not a 24-bit BMP file that can be read\n", argv[1]);
        return 1;
    }
    const int width = picture.header.biWidth;
    const int height = picture.header.biHeight;
    Planar planar(width, height);
    Rgb24_2_yuv420(planar.y.data(), planar.u.data(), planar.v.data(), planar.pitch, planar.pitch,
                   planar.pitch, &picture.header, picture.rows.data());
    const Image image = ToImage(planar, width, height);
    const std::filesystem::path out = argv[2];
    if (!image || DISaveEx(image.get(), out.wstring().c_str(), MimeType(out)) == 0) {
        std::fprintf(stderr, "convert: cannot write %s\n", argv[2]);
        return 1;
    }
    std::printf("%dx%d, changed by %.2f of 255 on average\n", width, height,
                Difference(picture, DIGetBits(image.get())));
    return 0;
}
