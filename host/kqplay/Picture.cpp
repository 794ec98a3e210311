#include "Picture.h"

#include <kqplayer/imageproc.h>

#include <text/Utf8.h>

#include <algorithm>
#include <cctype>
#include <filesystem>

namespace kqplay {
namespace {

constexpr int bitsPerPixel = 24;

constexpr const wchar_t* mimeTypes[] = {L"image/bmp", L"image/jpeg", L"image/png"};

} // namespace

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

int PictureFormat(const std::string& path) {
    std::string extension = std::filesystem::path(path).extension().string();
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    if (extension == ".bmp") {
        return 0;
    }
    if (extension == ".jpg" || extension == ".jpeg") {
        return 1;
    }
    return extension == ".png" ? 2 : -1;
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
    const int format = PictureFormat(path);
    if (DISaveEx(m_image, name.c_str(), format >= 0 ? mimeTypes[format] : nullptr) == 1) {
        return true;
    }
    const std::string reason = output.TakeImageComplaint();
    error = path + ": " + (reason.empty() ? "cannot be written" : reason);
    return false;
}

} // namespace kqplay
