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

void KQLogEx(const wchar_t* pFormat, ...) {
    std::array<wchar_t, 1024> text{};
    va_list arguments;
    va_start(arguments, pFormat);
    std::vswprintf(text.data(), text.size(), pFormat, arguments);
    va_end(arguments);
    const std::wstring line(text.data());
    const std::lock_guard<std::mutex> lock(recorderLock);
    lines.emplace_back(line.begin(), line.end()); // the component's own lines are ASCII
}

void* DICreate() {
    const std::lock_guard<std::mutex> lock(recorderLock);
    ++counts.nAlive;
    ++counts.nMade;
    return new Image;
}

int DISetContent(void* pImage, int nWidth, int nHeight, int nBitsPerPixel) {
    auto& image = *static_cast<Image*>(pImage);
    image.header.biWidth = nWidth;
    image.header.biHeight = nHeight;
    image.header.biBitCount = static_cast<std::uint16_t>(nBitsPerPixel);
    const auto nRow = static_cast<std::size_t>((nWidth * nBitsPerPixel + 31) / 32 * 4);
    image.bits.assign(nRow * static_cast<std::size_t>(nHeight), 0);
    return 1;
}

int DIGetWidth(void* pImage) {
    return static_cast<Image*>(pImage)->header.biWidth;
}

int DIGetHeight(void* pImage) {
    return static_cast<Image*>(pImage)->header.biHeight;
}

unsigned char* DIGetBits(void* pImage) {
    return static_cast<Image*>(pImage)->bits.data();
}

tagBITMAPINFOHEADER* DIGetBitmapInfo(void* pImage) {
    return &static_cast<Image*>(pImage)->header;
}

int DISaveEx(void* pImage, const wchar_t* pPath, const wchar_t* pMimeType) {
    const auto& image = *static_cast<Image*>(pImage);
    const std::lock_guard<std::mutex> lock(recorderLock);
    saved.push_back({image.header.biWidth, image.header.biHeight, image.bits, pPath,
                     pMimeType != nullptr ? pMimeType : L""});
    return 1;
}

void DIDestroy(void* pImage) {
    delete static_cast<Image*>(pImage);
    const std::lock_guard<std::mutex> lock(recorderLock);
    --counts.nAlive;
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
