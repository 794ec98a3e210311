#include "tests/support/WaitUntil.h"

#include <kqplayer/com.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

std::string BytesOf(const _GUID& guid) {
    return std::string(reinterpret_cast<const char*>(&guid), sizeof(guid));
}

TEST(KQCom, IdentifiersHaveTheirPublishedBytes) {
    EXPECT_EQ(BytesOf(IID_IUnknown), std::string("\0\0\0\0\0\0\0\0\xC0\0\0\0\0\0\0\x46", 16));
    EXPECT_EQ(BytesOf(IID_IClassFactory), std::string("\1\0\0\0\0\0\0\0\xC0\0\0\0\0\0\0\x46", 16));
}

TEST(KQCom, TextBecomesAnIdentifier) {
    _GUID guid = {};
    for (const wchar_t* text :
         {L"01234567-89ab-cdef-FEDC-BA9876543210", L"01234567-89AB-CDEF-fedc-ba9876543210"}) {
        EXPECT_EQ(CLSIDFromString(text, &guid), kq::Ok);
        EXPECT_EQ(guid.Data1, 0x01234567u);
        EXPECT_EQ(BytesOf(guid),
                  std::string("\x67\x45\x23\x01\xAB\x89\xEF\xCD\xFE\xDC\xBA\x98\x76\x54\x32\x10"));
    }
}

TEST(KQCom, TextOfAnotherFormIsRefused) {
    const std::vector<std::wstring> texts = {
        L"",
        L"{01234567-89ab-cdef-fedc-ba9876543210}",
        L"01234567-89ab-cdef-fedc-ba987654321",
        L"01234567-89ab-cdef-fedc-ba98765432100",
        L"01234567-89ab-cdef-fedc-ba9876543210 ",
        L"0123456789ab-cdef-fedc-ba9876543210-",
        L"01234567-89ab-cdef-fedc-ba987654321g",
        L"01234567_89ab-cdef-fedc-ba9876543210",
        L"-1234567-89ab-cdef-fedc-ba9876543210",
        L"01234567-89ab-cdef-fedcba98-76543210",
        std::wstring(L"01234567-89ab-cdef-fedc-ba987654321") + static_cast<wchar_t>(0xFF11), // full-width 1
    };
    for (const std::wstring& text : texts) {
        _GUID guid = IID_IUnknown;
        EXPECT_EQ(CLSIDFromString(text.c_str(), &guid), kq::Failed) << text.size();
        EXPECT_EQ(guid, _GUID{}) << text.size();
    }
    _GUID guid = {};
    EXPECT_EQ(CLSIDFromString(nullptr, &guid), kq::NullPointer);
    EXPECT_EQ(CLSIDFromString(L"", nullptr), kq::NullPointer);
}

TEST(KQCom, CountsChangeAtomically) {
    std::int32_t count = -1;
    EXPECT_EQ(InterlockedIncrement(&count), 0);
    EXPECT_EQ(InterlockedDecrement(&count), -1);
    kq::test::RunThreads(4, [&](int) {
        for (int n = 0; n < 20000; ++n) {
            InterlockedIncrement(&count);
            InterlockedIncrement(&count);
            InterlockedDecrement(&count);
        }
    });
    EXPECT_EQ(count, 4 * 20000 - 1);
}

} // namespace
