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

namespace {

using Encoder = EncodeResult (*)(const Bitmap&, AtomicFile&);

struct Format {
    const wchar_t* mimeType;
    Encoder encode; ///< null: this build has no library for it
};

constexpr Format Formats[] = {
    {L"image/bmp", encodeBmp},
#ifdef KQ_HAVE_JPEG
    {L"image/jpeg", encodeJpeg},
#else
    {L"image/jpeg", nullptr},
#endif
#ifdef KQ_HAVE_PNG
    {L"image/png", encodePng},
#else
    {L"image/png", nullptr},
#endif
};

const Format* findFormat(const wchar_t* mimeType) {
    for (const Format& format : Formats) {
        if (std::wcscmp(format.mimeType, mimeType) == 0) {
            return &format;
        }
    }
    return nullptr;
}

/// @return false when the path has a character that does not exist
bool toUtf8(const wchar_t* text, std::string& out) {
    for (; *text != L'\0'; ++text) {
        const auto c = static_cast<char32_t>(*text);
        if (!kq::text::isCodePoint(c)) {
            return false;
        }
        char bytes[kq::text::MaxUtf8Length];
        out.append(bytes, kq::text::encodeUtf8(c, bytes));
    }
    return true;
}

EncodeResult writeFile(const Bitmap& bitmap, Encoder encode, const std::string& path) {
    AtomicFile file(path);
    if (!file.error().empty()) {
        return file.error();
    }
    EncodeResult result = encode(bitmap, file);
    if (result.empty() && !file.commit()) {
        result = file.error();
    }
    return result;
}

/// @return an empty text for success, or why there is no such file
EncodeResult save(const Bitmap* bitmap, const wchar_t* path, const wchar_t* mimeType) {
    if (bitmap == nullptr || bitmap->isEmpty()) {
        return "the image is empty";
    }
    if (mimeType == nullptr) {
        return "no format was given";
    }
    const Format* format = findFormat(mimeType);
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
    if (!toUtf8(path, utf8Path)) {
        return "the path is not Unicode";
    }
    return writeFile(*bitmap, format->encode, utf8Path);
}

Bitmap* asBitmap(void* image) {
    return static_cast<Bitmap*>(image);
}

} // namespace

void* DICreate(void) {
    return new (std::nothrow) Bitmap;
}

int DISetContent(void* image, int width, int height, int bitsPerPixel) {
    return image != nullptr && asBitmap(image)->setContent(width, height, bitsPerPixel) ? 1 : 0;
}

int DIGetWidth(void* image) {
    return image != nullptr ? asBitmap(image)->width() : 0;
}

int DIGetHeight(void* image) {
    return image != nullptr ? asBitmap(image)->height() : 0;
}

unsigned char* DIGetBits(void* image) {
    return image != nullptr ? asBitmap(image)->bits() : nullptr;
}

tagBITMAPINFOHEADER* DIGetBitmapInfo(void* image) {
    if (image == nullptr || asBitmap(image)->isEmpty()) {
        return nullptr;
    }
    return asBitmap(image)->header();
}

int DISaveEx(void* image, const wchar_t* path, const wchar_t* mimeType) {
    try {
        const EncodeResult reason = save(asBitmap(image), path, mimeType);
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
    delete asBitmap(image);
}
