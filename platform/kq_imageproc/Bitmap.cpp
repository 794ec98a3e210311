#include "Bitmap.h"

namespace {

constexpr int MaxSide = 65500; ///< what a JPEG file can hold
constexpr std::size_t MaxBytes = std::size_t{1} << 30;
constexpr int BitsPerPixel = 24;

} // namespace

bool Bitmap::setContent(int width, int height, int bitsPerPixel) {
    m_header = {};
    m_bits.reset();
    const auto isSide = [](int side) { return side > 0 && side <= MaxSide; };
    if (bitsPerPixel != BitsPerPixel || !isSide(width) || !isSide(height) ||
        rowBytesOf(width) > MaxBytes / height) {
        return false;
    }
    const std::size_t bytes = rowBytesOf(width) * height;
    m_bits.reset(static_cast<std::uint8_t*>(std::calloc(bytes, 1)));
    if (!m_bits) {
        return false;
    }
    m_header.biSize = sizeof(m_header);
    m_header.biWidth = width;
    m_header.biHeight = height;
    m_header.biPlanes = 1;
    m_header.biBitCount = BitsPerPixel;
    m_header.biSizeImage = static_cast<std::uint32_t>(bytes);
    return true;
}
