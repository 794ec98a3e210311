/// @file
#pragma once

#include <kqplayer/bitmap.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>

/// The image behind a handle: a header and its rows, B G R, top-down, padded to 4 bytes.
class Bitmap {
public:
    /// Gives the image its size, in black. @return false, with an empty image, when it is not supported
    bool setContent(int width, int height, int bitsPerPixel);

    bool isEmpty() const { return m_bits == nullptr; }
    int width() const { return m_header.biWidth; }
    int height() const { return m_header.biHeight; }
    std::size_t rowBytes() const { return rowBytesOf(m_header.biWidth); }
    std::uint8_t* bits() const { return m_bits.get(); }
    std::uint8_t* row(int y) const { return m_bits.get() + y * rowBytes(); }
    tagBITMAPINFOHEADER* header() { return &m_header; }

private:
    struct FreeDeleter {
        void operator()(void* p) const { std::free(p); }
    };
    static std::size_t rowBytesOf(int width) { return (std::size_t{24} * width + 31) / 32 * 4; }

    tagBITMAPINFOHEADER m_header = {};
    std::unique_ptr<std::uint8_t, FreeDeleter> m_bits;
};
