#include "Encoders.h"

#include <array>

namespace {

constexpr std::uint32_t FileHeaderBytes = 14;
constexpr std::uint32_t PixelsAt = FileHeaderBytes + sizeof(tagBITMAPINFOHEADER);
constexpr std::uint32_t PixelsPerMeter = 2835; // 72 dpi

/// Fields in file order, little-endian.
class Fields {
public:
    void add(std::uint32_t value, int bytes) {
        for (int i = 0; i < bytes; ++i) {
            m_bytes[m_length++] = static_cast<std::uint8_t>(value >> (8 * i));
        }
    }
    const std::uint8_t* data() const { return m_bytes.data(); }
    std::size_t length() const { return m_length; }

private:
    std::array<std::uint8_t, PixelsAt> m_bytes = {};
    std::size_t m_length = 0;
};

Fields headersOf(const Bitmap& bitmap) {
    const auto pixelBytes = static_cast<std::uint32_t>(bitmap.rowBytes() * bitmap.height());
    Fields fields;
    fields.add('B' | 'M' << 8, 2);
    fields.add(PixelsAt + pixelBytes, 4);
    fields.add(0, 4); // reserved
    fields.add(PixelsAt, 4);
    fields.add(sizeof(tagBITMAPINFOHEADER), 4);
    fields.add(bitmap.width(), 4);
    fields.add(bitmap.height(), 4);
    fields.add(1, 2);  // planes
    fields.add(24, 2); // bits a pixel
    fields.add(0, 4);  // not compressed
    fields.add(pixelBytes, 4);
    fields.add(PixelsPerMeter, 4);
    fields.add(PixelsPerMeter, 4);
    fields.add(0, 4); // no colour table
    fields.add(0, 4);
    return fields;
}

} // namespace

EncodeResult encodeBmp(const Bitmap& bitmap, AtomicFile& file) {
    const Fields headers = headersOf(bitmap);
    bool written = file.write(headers.data(), headers.length());
    for (int y = bitmap.height() - 1; written && y >= 0; --y) {
        written = file.write(bitmap.row(y), bitmap.rowBytes());
    }
    return file.error();
}
