#include "com/Factory.h"

#include <new>

std::int32_t CFactory::s_cServerLocks = 0;
void* CFactory::s_hModule = nullptr;

CFactory::CFactory(const CFactoryTemplate* pTemplate) : m_pTemplate(pTemplate) {}

std::int32_t CFactory::QueryInterface(const _GUID& riid, void** ppv) {
    if (riid == IID_IUnknown || riid == IID_IClassFactory) {
        AddRef();
        *ppv = this;
        return kq::Ok;
    }
    *ppv = nullptr;
    return kq::NoInterface;
}

std::uint32_t CFactory::AddRef() {
    return static_cast<std::uint32_t>(InterlockedIncrement(&m_nRefCount));
}

std::uint32_t CFactory::Release() {
    const std::int32_t nCount = InterlockedDecrement(&m_nRefCount);
    if (nCount == 0) {
        delete this;
    }
    return static_cast<std::uint32_t>(nCount);
}

std::int32_t CFactory::CreateInstance(IUnknown* pUnkOuter, const _GUID& riid, void** ppv) {
    if (pUnkOuter != nullptr && riid != IID_IUnknown) {
        return kq::NoAggregation;
    }
    long nResult = kq::Ok;
    scombase::CUnknown* const pObject = m_pTemplate->m_pfnCreate(pUnkOuter, &nResult);
    const auto nCode = static_cast<std::int32_t>(nResult);
    if (nCode < 0) {
        return nCode;
    }
    const std::int32_t nQuery = pObject->NonDelegatingQueryInterface(riid, ppv);
    pObject->NonDelegatingRelease();
    return nQuery;
}

std::int32_t CFactory::LockServer(int fLock) {
    if (fLock != 0) {
        InterlockedIncrement(&s_cServerLocks);
    } else {
        InterlockedDecrement(&s_cServerLocks);
    }
    return kq::Ok;
}

std::int32_t CFactory::GetClassObject(const _GUID& rclsid, const _GUID& riid, void** ppv) {
    if (riid != IID_IUnknown && riid != IID_IClassFactory) {
        return kq::NoInterface;
    }
    for (int i = 0; i < g_cTemplates; ++i) {
        if (*g_Templates[i].m_pClassId != rclsid) {
            continue;
        }
        if (ppv == nullptr) {
            return kq::NullPointer;
        }
        *ppv = new (std::nothrow) CFactory(&g_Templates[i]);
        return *ppv != nullptr ? kq::Ok : kq::OutOfMemory;
    }
    return kq::ClassNotAvailable;
}
