#include "Encoders.h"

#include <array>

namespace kq::imageproc {

namespace {

constexpr std::uint32_t fileHeaderBytes = 14;
constexpr std::uint32_t pixelsAt = fileHeaderBytes + sizeof(tagBITMAPINFOHEADER);
constexpr std::uint32_t pixelsPerMeter = 2835; // 72 dpi

/// Fields in file order, little-endian.
class Fields {
public:
    void Add(std::uint32_t value, int bytes) {
        for (int i = 0; i < bytes; ++i) {
            m_bytes[m_length++] = static_cast<std::uint8_t>(value >> (8 * i));
        }
    }
    const std::uint8_t* Data() const { return m_bytes.data(); }
    std::size_t Length() const { return m_length; }

private:
    std::array<std::uint8_t, pixelsAt> m_bytes = {};
    std::size_t m_length = 0;
};

Fields HeadersOf(const Bitmap& bitmap) {
    const auto pixelBytes = static_cast<std::uint32_t>(bitmap.RowBytes() * bitmap.Height());
    Fields fields;
    fields.Add('B' | 'M' << 8, 2);
    fields.Add(pixelsAt + pixelBytes, 4);
    fields.Add(0, 4); // reserved
    fields.Add(pixelsAt, 4);
    fields.Add(sizeof(tagBITMAPINFOHEADER), 4);
    fields.Add(bitmap.Width(), 4);
    fields.Add(bitmap.Height(), 4);
    fields.Add(1, 2);  // planes
    fields.Add(24, 2); // bits a pixel
    fields.Add(0, 4);  // not compressed
    fields.Add(pixelBytes, 4);
    fields.Add(pixelsPerMeter, 4);
    fields.Add(pixelsPerMeter, 4);
    fields.Add(0, 4); // no colour table
    fields.Add(0, 4);
    return fields;
}

} // namespace

EncodeResult EncodeBmp(const Bitmap& bitmap, AtomicFile& file) {
    const Fields headers = HeadersOf(bitmap);
    bool written = file.Write(headers.Data(), headers.Length());
    for (int y = bitmap.Height() - 1; written && y >= 0; --y) {
        written = file.Write(bitmap.Row(y), bitmap.RowBytes());
    }
    return file.Error();
}

} // namespace kq::imageproc
