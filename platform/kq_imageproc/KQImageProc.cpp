#include "AtomicFile.h"
#include "Bitmap.h"
#include "Encoders.h"
#include "text/Utf8.h"

#include <kqplayer/imageproc.h>
#include <kqplayer/log.h>

#include <cwchar>
#include <exception>
#include <new>
#include <string>

namespace kq::imageproc {
namespace {

using Encoder = EncodeResult (*)(const Bitmap&, AtomicFile&);

struct Format {
    const wchar_t* mimeType;
    Encoder encode; ///< null: this build has no library for it
};

constexpr Format formats[] = {
    {L"image/bmp", EncodeBmp},
#ifdef KQ_HAVE_JPEG
    {L"image/jpeg", EncodeJpeg},
#else
    {L"image/jpeg", nullptr},
#endif
#ifdef KQ_HAVE_PNG
    {L"image/png", EncodePng},
#else
    {L"image/png", nullptr},
#endif
};

const Format* FindFormat(const wchar_t* mimeType) {
    for (const Format& format : formats) {
        if (std::wcscmp(format.mimeType, mimeType) == 0) {
            return &format;
        }
    }
    return nullptr;
}

/// @return false when the path has a character that does not exist
bool ToUtf8(const wchar_t* text, std::string& out) {
    for (; *text != L'\0'; ++text) {
        const auto c = static_cast<char32_t>(*text);
        if (!kq::text::IsCodePoint(c)) {
            return false;
        }
        char bytes[kq::text::maxUtf8Length];
        out.append(bytes, kq::text::EncodeUtf8(c, bytes));
    }
    return true;
}

EncodeResult WriteFile(const Bitmap& bitmap, Encoder encode, const std::string& path) {
    AtomicFile file(path);
    if (!file.Error().empty()) {
        return file.Error();
    }
    EncodeResult result = encode(bitmap, file);
    if (result.empty() && !file.Commit()) {
        result = file.Error();
    }
    return result;
}

/// @return an empty text for success, or why there is no such file
EncodeResult Save(const Bitmap* bitmap, const wchar_t* path, const wchar_t* mimeType) {
    if (bitmap == nullptr || bitmap->IsEmpty()) {
        return "the image is empty";
    }
    if (mimeType == nullptr) {
        return "no format was given";
    }
    const Format* format = FindFormat(mimeType);
    if (format == nullptr) {
        return "the format is not known";
    }
    if (format->encode == nullptr) {
        return "the format is not built in";
    }
    if (path == nullptr || *path == L'\0') {
        return "no path was given";
    }
    std::string utf8Path;
    if (!ToUtf8(path, utf8Path)) {
        return "the path is not Unicode";
    }
    return WriteFile(*bitmap, format->encode, utf8Path);
}

Bitmap* AsBitmap(void* image) {
    return static_cast<Bitmap*>(image);
}

} // namespace
} // namespace kq::imageproc

using namespace kq::imageproc;

void* DICreate(void) {
    return new (std::nothrow) Bitmap;
}

int DISetContent(void* image, int width, int height, int bitsPerPixel) {
    return image != nullptr && AsBitmap(image)->SetContent(width, height, bitsPerPixel) ? 1 : 0;
}

int DIGetWidth(void* image) {
    return image != nullptr ? AsBitmap(image)->Width() : 0;
}

int DIGetHeight(void* image) {
    return image != nullptr ? AsBitmap(image)->Height() : 0;
}

unsigned char* DIGetBits(void* image) {
    return image != nullptr ? AsBitmap(image)->Bits() : nullptr;
}

tagBITMAPINFOHEADER* DIGetBitmapInfo(void* image) {
    if (image == nullptr || AsBitmap(image)->IsEmpty()) {
        return nullptr;
    }
    return AsBitmap(image)->Header();
}

int DISaveEx(void* image, const wchar_t* path, const wchar_t* mimeType) {
    try {
        const EncodeResult reason = Save(AsBitmap(image), path, mimeType);
        if (reason.empty()) {
            return 1;
        }
        KQLogEx(L"DISaveEx: cannot write %ls as %ls: %s", path, mimeType, reason.c_str());
    } catch (const std::exception& e) { // no memory
        KQLogEx(L"DISaveEx: cannot write %ls: %s", path, e.what());
    }
    return 0;
}

void DIDestroy(void* image) {
    delete AsBitmap(image);
}
