#include "Picture.h"

#include <kqplayer/image.h>
#include <kqplayer/imageproc.h>

#include <text/Utf8.h>

#include <algorithm>
#include <cctype>
#include <filesystem>

namespace kqplay {
namespace {

constexpr int bitsPerPixel = 24;

/// @return an empty name for text that is not UTF-8
std::wstring ToWide(const std::string& path) {
    std::wstring wide;
    for (const char* at = path.c_str(); *at != '\0';) {
        const std::uint32_t character = kq::text::DecodeUtf8(at);
        if (character == kq::text::replacement) {
            return {};
        }
        wide += static_cast<wchar_t>(character);
    }
    return wide;
}

} // namespace

const wchar_t* PictureFormat(const std::string& path) {
    std::string extension = std::filesystem::path(path).extension().string();
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    if (extension == ".bmp") {
        return L"image/bmp";
    }
    if (extension == ".jpg" || extension == ".jpeg") {
        return L"image/jpeg";
    }
    return extension == ".png" ? L"image/png" : nullptr;
}

std::string WithSuffix(const std::string& path, const std::string& suffix) {
    const std::string extension = std::filesystem::path(path).extension().string();
    return path.substr(0, path.size() - extension.size()) + suffix + extension;
}

Picture::Picture() : m_image(DICreate()) {}

Picture::~Picture() {
    DIDestroy(m_image);
}

void Picture::Resize(int width, int height) {
    DISetContent(m_image, width, height, bitsPerPixel);
}

bool Picture::Take(const MEDIA_FRAME& frame) {
    const tagYUVImage& image = frame.image;
    return DISetContent(m_image, image.nWidth, image.nHeight, bitsPerPixel) != 0 &&
           Yuv420_2_rgb24(DIGetBitmapInfo(m_image), DIGetBits(m_image), image.pY, image.pU, image.pV,
                          image.nPitchY, image.nPitchU, image.nPitchV) == 0;
}

bool Picture::IsEmpty() const {
    return Width() == 0;
}

int Picture::Width() const {
    return DIGetWidth(m_image);
}

int Picture::Height() const {
    return DIGetHeight(m_image);
}

unsigned char* Picture::Bits() {
    return DIGetBits(m_image);
}

bool Picture::Save(const std::string& path, ComponentOutput& output, std::string& error) {
    const std::wstring name = ToWide(path);
    if (name.empty()) {
        error = path + ": the name is not UTF-8";
        return false;
    }
    if (DISaveEx(m_image, name.c_str(), PictureFormat(path)) == 1) {
        return true;
    }
    const std::string reason = output.ImageComplaint();
    error = path + ": " + (reason.empty() ? "cannot be written" : reason);
    return false;
}

} // namespace kqplay
