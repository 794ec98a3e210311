/// @file
/// The base of every object that the component hands out: counting, aggregation, interface queries.
#pragma once

#include <kqplayer/com.h>

namespace scombase {

/// The object's own three slots, in the shape and order of IUnknown's, so that a pointer to them can stand
/// where an IUnknown* is expected.
struct INonDelegatingUnknown {
    virtual std::int32_t NonDelegatingQueryInterface(const _GUID& riid, void** ppv) = 0;
    virtual std::uint32_t NonDelegatingAddRef() = 0;
    virtual std::uint32_t NonDelegatingRelease() = 0;

protected:
    ~INonDelegatingUnknown() = default;
};

/// Base class of all concrete classes; they derive from it first and from their interfaces after it.
///
/// A concrete class forwards the IUnknown slots of its interfaces to the owner (KQ_FORWARD_IUNKNOWN) and
/// overrides NonDelegatingQueryInterface() to offer its interfaces.
class CUnknown : public INonDelegatingUnknown {
public:
    /// @param pOuter outer unknown of an aggregate, or null: the object owns itself. The count starts at 0.
    explicit CUnknown(IUnknown* pOuter);
    CUnknown(IUnknown* pOuter, long* phr); ///< the same; @p phr is left untouched
    CUnknown(const CUnknown&) = delete;
    CUnknown& operator=(const CUnknown&) = delete;

    std::int32_t NonDelegatingQueryInterface(const _GUID& riid, void** ppv) override;
    std::uint32_t NonDelegatingAddRef() override;
    /// The release that reaches 0 destroys the object.
    std::uint32_t NonDelegatingRelease() override;
    virtual ~CUnknown() = default;

protected:
    IUnknown* GetOwner() const { return m_pOwner; }

private:
    IUnknown* m_pOwner; ///< never null
    std::int32_t m_nRefCount = 0;
};

/// Hands out an interface of an object with one reference. @return 0, or 0x80000005 for a null @p ppv
std::int32_t GetInterface(IUnknown* pUnk, void** ppv);

/// @return whether two interface pointers belong to the same object
KQ_API bool IsEqualObject(IUnknown* pFirst, IUnknown* pSecond);

} // namespace scombase

/// The IUnknown slots of a concrete class: they forward to the owner.
#define KQ_FORWARD_IUNKNOWN                                                                                  \
    std::int32_t QueryInterface(const _GUID& riid, void** ppv) override {                                    \
        return GetOwner()->QueryInterface(riid, ppv);                                                        \
    }                                                                                                        \
    std::uint32_t AddRef() override {                                                                        \
        return GetOwner()->AddRef();                                                                         \
    }                                                                                                        \
    std::uint32_t Release() override {                                                                       \
        return GetOwner()->Release();                                                                        \
    }
