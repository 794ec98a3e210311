/// @file
/// The class factory and the table of classes that it can make.
#pragma once

#include "com/Unknown.h"

/// One creatable class.
struct CFactoryTemplate {
    const wchar_t* m_pName;
    const _GUID* m_pClassId;
    /// Makes an object with a count of 1 and writes its result code to @p phr; null on failure.
    scombase::CUnknown* (*m_pfnCreate)(IUnknown* pUnkOuter, long* phr);
};

extern KQ_API CFactoryTemplate g_Templates[];
extern KQ_API int g_cTemplates;

/// The IClassFactory of one template. Born with a count of 1, which its receiver owns.
class CFactory final : public IClassFactory {
public:
    explicit CFactory(const CFactoryTemplate* pTemplate);

    std::int32_t QueryInterface(const _GUID& riid, void** ppv) override;
    std::uint32_t AddRef() override;
    std::uint32_t Release() override;
    std::int32_t CreateInstance(IUnknown* pUnkOuter, const _GUID& riid, void** ppv) override;
    std::int32_t LockServer(int fLock) override;

    /// See DllGetClassObject().
    static std::int32_t GetClassObject(const _GUID& rclsid, const _GUID& riid, void** ppv);
    static std::int32_t RegisterAll() { return kq::Ok; }
    static std::int32_t UnregisterAll() { return kq::Ok; }
    static std::int32_t CanUnloadNow() { return kq::Ok; }

    KQ_API static std::int32_t s_cServerLocks;
    KQ_API static void* s_hModule;

private:
    ~CFactory() = default;

    std::int32_t m_nRefCount = 1;
    const CFactoryTemplate* m_pTemplate;
};
