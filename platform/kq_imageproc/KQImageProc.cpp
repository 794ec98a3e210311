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
    const wchar_t* pMimeType;
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

const Format* findFormat(const wchar_t* pMimeType) {
    for (const Format& format : Formats) {
        if (std::wcscmp(format.pMimeType, pMimeType) == 0) {
            return &format;
        }
    }
    return nullptr;
}

/// @return false when the path has a character that does not exist
bool toUtf8(const wchar_t* pText, std::string& out) {
    for (; *pText != L'\0'; ++pText) {
        const auto c = static_cast<char32_t>(*pText);
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
EncodeResult save(const Bitmap* pBitmap, const wchar_t* pPath, const wchar_t* pMimeType) {
    if (pBitmap == nullptr || pBitmap->isEmpty()) {
        return "the image is empty";
    }
    if (pMimeType == nullptr) {
        return "no format was given";
    }
    const Format* pFormat = findFormat(pMimeType);
    if (pFormat == nullptr) {
        return "the format is not known";
    }
    if (pFormat->encode == nullptr) {
        return "the format is not built in";
    }
    std::string path;
    if (pPath == nullptr || *pPath == L'\0') {
        return "no path was given";
    }
    if (!toUtf8(pPath, path)) {
        return "the path is not Unicode";
    }
    return writeFile(*pBitmap, pFormat->encode, path);
}

Bitmap* asBitmap(void* pImage) {
    return static_cast<Bitmap*>(pImage);
}

} // namespace

void* DICreate(void) {
    return new (std::nothrow) Bitmap;
}

int DISetContent(void* pImage, int nWidth, int nHeight, int nBitsPerPixel) {
    return pImage != nullptr && asBitmap(pImage)->setContent(nWidth, nHeight, nBitsPerPixel) ? 1 : 0;
}

int DIGetWidth(void* pImage) {
    return pImage != nullptr ? asBitmap(pImage)->width() : 0;
}

int DIGetHeight(void* pImage) {
    return pImage != nullptr ? asBitmap(pImage)->height() : 0;
}

unsigned char* DIGetBits(void* pImage) {
    return pImage != nullptr ? asBitmap(pImage)->bits() : nullptr;
}

tagBITMAPINFOHEADER* DIGetBitmapInfo(void* pImage) {
    if (pImage == nullptr || asBitmap(pImage)->isEmpty()) {
        return nullptr;
    }
    return asBitmap(pImage)->header();
}

int DISaveEx(void* pImage, const wchar_t* pPath, const wchar_t* pMimeType) {
    try {
        const EncodeResult reason = save(asBitmap(pImage), pPath, pMimeType);
        if (reason.empty()) {
            return 1;
        }
        KQLogEx(L"DISaveEx: cannot write %ls as %ls: %s", pPath, pMimeType, reason.c_str());
    } catch (const std::exception& e) { // no memory
        KQLogEx(L"DISaveEx: cannot write %ls: %s", pPath, e.what());
    }
    return 0;
}

void DIDestroy(void* pImage) {
    delete asBitmap(pImage);
}
