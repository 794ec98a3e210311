#include "com/Unknown.h"

#include <algorithm>

namespace scombase {

CUnknown::CUnknown(IUnknown* pOuter)
    : m_pOwner(pOuter != nullptr ? pOuter
                                 : reinterpret_cast<IUnknown*>(static_cast<INonDelegatingUnknown*>(this))) {}

CUnknown::CUnknown(IUnknown* pOuter, long* /*phr*/) : CUnknown(pOuter) {}

std::int32_t CUnknown::NonDelegatingQueryInterface(const _GUID& riid, void** ppv) {
    if (ppv == nullptr) {
        return kq::NullPointer;
    }
    if (riid == IID_IUnknown) {
        *ppv = static_cast<INonDelegatingUnknown*>(this);
        NonDelegatingAddRef();
        return kq::Ok;
    }
    *ppv = nullptr;
    return kq::NoInterface;
}

std::uint32_t CUnknown::NonDelegatingAddRef() {
    return std::max(static_cast<std::uint32_t>(InterlockedIncrement(&m_nRefCount)), std::uint32_t{1});
}

std::uint32_t CUnknown::NonDelegatingRelease() {
    const std::int32_t nCount = InterlockedDecrement(&m_nRefCount);
    if (nCount == 0) {
        delete this;
        return 0;
    }
    return std::max(static_cast<std::uint32_t>(nCount), std::uint32_t{1});
}

std::int32_t GetInterface(IUnknown* pUnk, void** ppv) {
    if (ppv == nullptr) {
        return kq::NullPointer;
    }
    *ppv = pUnk;
    pUnk->AddRef();
    return kq::Ok;
}

namespace {

/// The pointer that stands for an object's identity, without a reference; null when the object gives none.
void* Identity(IUnknown* pUnk) {
    void* pIdentity = nullptr;
    if (pUnk == nullptr || pUnk->QueryInterface(IID_IUnknown, &pIdentity) < 0) {
        return nullptr;
    }
    static_cast<IUnknown*>(pIdentity)->Release();
    return pIdentity;
}

} // namespace

bool IsEqualObject(IUnknown* pFirst, IUnknown* pSecond) {
    if (pFirst == pSecond) {
        return true;
    }
    void* const pIdentity = Identity(pFirst);
    return pIdentity != nullptr && pIdentity == Identity(pSecond);
}

} // namespace scombase
