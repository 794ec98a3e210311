/// @file
#pragma once

#include <kqplayer/bitmap.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>

namespace kq::imageproc {

/// The image behind a handle: a header and its rows, B G R, top-down, padded to 4 bytes.
class Bitmap {
public:
    /// Gives the image its size, in black. @return false, with an empty image, when it is not supported
    bool SetContent(int width, int height, int bitsPerPixel);

    bool IsEmpty() const { return m_bits == nullptr; }
    int Width() const { return m_header.biWidth; }
    int Height() const { return m_header.biHeight; }
    std::size_t RowBytes() const { return RowBytesOf(m_header.biWidth); }
    std::uint8_t* Bits() const { return m_bits.get(); }
    std::uint8_t* Row(int y) const { return m_bits.get() + y * RowBytes(); }
    tagBITMAPINFOHEADER* Header() { return &m_header; }

private:
    struct FreeDeleter {
        void operator()(void* p) const { std::free(p); }
    };
    static std::size_t RowBytesOf(int width) { return (std::size_t{24} * width + 31) / 32 * 4; }

    tagBITMAPINFOHEADER m_header = {};
    std::unique_ptr<std::uint8_t, FreeDeleter> m_bits;
};

} // namespace kq::imageproc
