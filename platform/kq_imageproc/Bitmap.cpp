#include "Bitmap.h"

namespace kq::imageproc {

namespace {

constexpr int maxSide = 65500; ///< what a JPEG file can hold
constexpr std::size_t maxBytes = std::size_t{1} << 30;
constexpr int onlyDepth = 24; ///< bits per pixel

} // namespace

bool Bitmap::SetContent(int width, int height, int bitsPerPixel) {
    m_header = {};
    m_bits.reset();
    const auto isSide = [](int side) { return side > 0 && side <= maxSide; };
    if (bitsPerPixel != onlyDepth || !isSide(width) || !isSide(height) ||
        RowBytesOf(width) > maxBytes / height) {
        return false;
    }
    const std::size_t bytes = RowBytesOf(width) * height;
    m_bits.reset(static_cast<std::uint8_t*>(std::calloc(bytes, 1)));
    if (!m_bits) {
        return false;
    }
    m_header.biSize = sizeof(m_header);
    m_header.biWidth = width;
    m_header.biHeight = height;
    m_header.biPlanes = 1;
    m_header.biBitCount = onlyDepth;
    m_header.biSizeImage = static_cast<std::uint32_t>(bytes);
    return true;
}

} // namespace kq::imageproc
