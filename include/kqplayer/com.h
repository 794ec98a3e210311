/// @file
/// The object model: identifiers, result codes, and the two interfaces that everything starts from.
///
/// Every object is reached through interface pointers only. An interface pointer that a call hands out
/// carries one reference, which its receiver gives back with Release(); the last Release() destroys the
/// object. Counts change atomically, so AddRef() and Release() may be called from any thread.
/// QueryInterface() with IID_IUnknown gives the same pointer every time, which is how two interface pointers
/// are compared.
#pragma once

#include "export.h"

#include <cstdint>
#include <cstring>

/// 16-byte identifier. The first three fields are little-endian in memory; comparison is always bytewise.
struct _GUID {
    std::uint32_t Data1;   ///< the first 8 hexadecimal digits of the text form
    std::uint16_t Data2;   ///< the next 4 digits
    std::uint16_t Data3;   ///< the next 4 digits
    std::uint8_t Data4[8]; ///< the last 16 digits, byte by byte
};
/// The identifier under its other usual name.
using GUID = _GUID;
static_assert(sizeof(_GUID) == 16, "an identifier is 16 bytes");

/// @return true when all 16 bytes are equal
inline bool operator==(const _GUID& a, const _GUID& b) {
    return std::memcmp(&a, &b, sizeof(_GUID)) == 0;
}
/// @return true when a byte differs
inline bool operator!=(const _GUID& a, const _GUID& b) {
    return !(a == b);
}

/// Result codes: 0 is success, a negative value failure. Several player operations return 1 for a soft
/// refusal (nothing was done, nothing is wrong with the object).
namespace kq {
/// Success.
inline constexpr std::int32_t Ok = 0;
/// A soft refusal: nothing was done, and nothing is wrong with the object.
inline constexpr std::int32_t Refused = 1;
/// Memory ran out, or none could be had where it is needed.
inline constexpr std::int32_t OutOfMemory = static_cast<std::int32_t>(0x80000002);
/// The object does not offer the interface that was asked for.
inline constexpr std::int32_t NoInterface = static_cast<std::int32_t>(0x80000004);
/// A required pointer is null.
inline constexpr std::int32_t NullPointer = static_cast<std::int32_t>(0x80000005);
/// The operation failed; a log line says why where there is more than one possible reason.
inline constexpr std::int32_t Failed = static_cast<std::int32_t>(0x80000008);
/// An outer unknown was given together with another interface than IID_IUnknown.
inline constexpr std::int32_t NoAggregation = static_cast<std::int32_t>(0x80040110);
/// The library has no such class.
inline constexpr std::int32_t ClassNotAvailable = static_cast<std::int32_t>(0x80040111);
} // namespace kq

/// The three slots that every interface begins with.
struct IUnknown {
    /// Asks the object for another of its interfaces.
    /// @param riid identifier of the interface wanted
    /// @param ppv  receives the interface with one reference, or null
    /// @return 0; 0x80000004 when the object does not offer it; 0x80000005 for a null @p ppv
    virtual std::int32_t QueryInterface(const _GUID& riid, void** ppv) = 0;
    /// Adds one reference. @return the new count, for diagnosis only
    virtual std::uint32_t AddRef() = 0;
    /// Gives one reference back; the last one destroys the object. @return the new count, for diagnosis only
    virtual std::uint32_t Release() = 0;

protected:
    ~IUnknown() = default;
};

/// Makes objects of one class. Obtained from DllGetClassObject().
struct IClassFactory : IUnknown {
    /// Makes an object and asks it for @p riid.
    /// @param pUnkOuter outer unknown for aggregation, usually null; allowed with IID_IUnknown only
    /// @param riid      identifier of the interface wanted
    /// @param ppv       receives the interface with one reference
    /// @return 0; 0x80040110 for an outer unknown with another interface; 0x80000004, with null in @p ppv,
    ///         when the class does not offer the interface; 0x80000002 when memory ran out
    virtual std::int32_t CreateInstance(IUnknown* pUnkOuter, const _GUID& riid, void** ppv) = 0;
    /// Counts a lock on the server up (non-zero) or down (zero). @return 0
    virtual std::int32_t LockServer(int fLock) = 0;

protected:
    ~IClassFactory() = default;
};

// What libKQ_Com provides.

/// 00000000-0000-0000-C000-000000000046
KQ_EXTERN_C const _GUID IID_IUnknown;
/// 00000001-0000-0000-C000-000000000046
KQ_EXTERN_C const _GUID IID_IClassFactory;

/// Converts the text form of an identifier: exactly 36 characters, upper or lower case, no braces.
/// @return 0; 0x80000008, with all bytes of @p pGuid zero, for a text of another form; 0x80000005 for a null
///         argument
KQ_EXTERN_C std::int32_t CLSIDFromString(const wchar_t* pText, _GUID* pGuid);
/// Adds one atomically. @return the new value
KQ_EXTERN_C std::int32_t InterlockedIncrement(std::int32_t* pCount);
/// Subtracts one atomically. @return the new value
KQ_EXTERN_C std::int32_t InterlockedDecrement(std::int32_t* pCount);
