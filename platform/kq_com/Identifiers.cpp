#include <kqplayer/com.h>

const _GUID IID_IUnknown = {0x00000000, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
const _GUID IID_IClassFactory = {0x00000001, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

namespace kq::com {
namespace {

/// One x a nibble, in the order of the text.
constexpr wchar_t form[] = L"xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx";

int Nibble(wchar_t c) {
    if (c >= L'0' && c <= L'9') {
        return c - L'0';
    }
    if (c >= L'a' && c <= L'f') {
        return c - L'a' + 10;
    }
    if (c >= L'A' && c <= L'F') {
        return c - L'A' + 10;
    }
    return -1;
}

/// Reads the 16 bytes in the order of the text. @return false when the text has another form
bool Parse(const wchar_t* text, std::uint8_t (&bytes)[16]) {
    int nibbles = 0;
    for (const wchar_t* expected = form; *expected != L'\0'; ++expected, ++text) {
        if (*expected == L'-') {
            if (*text != L'-') {
                return false;
            }
            continue;
        }
        const int value = Nibble(*text);
        if (value < 0) {
            return false;
        }
        std::uint8_t& byte = bytes[nibbles++ / 2];
        byte = static_cast<std::uint8_t>(byte << 4 | value);
    }
    return *text == L'\0';
}

} // namespace
} // namespace kq::com

using namespace kq::com;

std::int32_t CLSIDFromString(const wchar_t* text, _GUID* guid) {
    if (text == nullptr || guid == nullptr) {
        return kq::NullPointer;
    }
    *guid = {};
    std::uint8_t bytes[16] = {};
    if (!Parse(text, bytes)) {
        return kq::Failed;
    }
    guid->Data1 = std::uint32_t{bytes[0]} << 24 | std::uint32_t{bytes[1]} << 16 |
                  std::uint32_t{bytes[2]} << 8 | bytes[3];
    guid->Data2 = static_cast<std::uint16_t>(bytes[4] << 8 | bytes[5]);
    guid->Data3 = static_cast<std::uint16_t>(bytes[6] << 8 | bytes[7]);
    std::memcpy(guid->Data4, bytes + 8, sizeof(guid->Data4));
    return kq::Ok;
}
