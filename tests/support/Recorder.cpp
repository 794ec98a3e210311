#include "tests/support/Recorder.h"

#include <kqplayer/imageproc.h>
#include <kqplayer/log.h>

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cwchar>
#include <mutex>
#include <utility>

namespace {

std::mutex recorderLock;
std::vector<std::string> lines;
std::vector<kq::test::SavedImage> saved;
kq::test::ImageCounts counts{0, 0};

struct Image {
    tagBITMAPINFOHEADER header{};
    std::vector<unsigned char> bits;
};

} // namespace

void KQLogEx(const wchar_t* format, ...) {
    std::array<wchar_t, 1024> text{};
    va_list arguments;
    va_start(arguments, format);
    std::vswprintf(text.data(), text.size(), format, arguments);
    va_end(arguments);
    const std::wstring line(text.data());
    const std::lock_guard<std::mutex> lock(recorderLock);
    lines.emplace_back(line.begin(), line.end()); // the component's own lines are ASCII
}

void* DICreate() {
    const std::lock_guard<std::mutex> lock(recorderLock);
    ++counts.alive;
    ++counts.made;
    return new Image;
}

int DISetContent(void* object, int width, int height, int bitsPerPixel) {
    auto& image = *static_cast<Image*>(object);
    image.header.biWidth = width;
    image.header.biHeight = height;
    image.header.biBitCount = static_cast<std::uint16_t>(bitsPerPixel);
    const auto row = static_cast<std::size_t>((width * bitsPerPixel + 31) / 32 * 4);
    image.bits.assign(row * static_cast<std::size_t>(height), 0);
    return 1;
}

int DIGetWidth(void* object) {
    return static_cast<Image*>(object)->header.biWidth;
}

int DIGetHeight(void* object) {
    return static_cast<Image*>(object)->header.biHeight;
}

unsigned char* DIGetBits(void* object) {
    return static_cast<Image*>(object)->bits.data();
}

tagBITMAPINFOHEADER* DIGetBitmapInfo(void* object) {
    return &static_cast<Image*>(object)->header;
}

int DISaveEx(void* object, const wchar_t* path, const wchar_t* mimeType) {
    const auto& image = *static_cast<Image*>(object);
    const std::lock_guard<std::mutex> lock(recorderLock);
    saved.push_back({image.header.biWidth, image.header.biHeight, image.bits, path,
                     mimeType != nullptr ? mimeType : L""});
    return 1;
}

void DIDestroy(void* object) {
    delete static_cast<Image*>(object);
    const std::lock_guard<std::mutex> lock(recorderLock);
    --counts.alive;
}

namespace kq::test {

std::vector<std::string> TakeLog() {
    const std::lock_guard<std::mutex> lock(recorderLock);
    return std::exchange(lines, {});
}

bool HasLogged(const std::string& line) {
    const std::lock_guard<std::mutex> lock(recorderLock);
    return std::find(lines.begin(), lines.end(), line) != lines.end();
}

std::vector<SavedImage> TakeSavedImages() {
    const std::lock_guard<std::mutex> lock(recorderLock);
    return std::exchange(saved, {});
}

ImageCounts GetImageCounts() {
    const std::lock_guard<std::mutex> lock(recorderLock);
    return counts;
}

} // namespace kq::test
